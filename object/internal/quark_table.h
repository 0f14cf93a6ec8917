// The one implementation of QuarkTable: texts copied into chained chunks and
// found through an ordered set, all under one lock word.
#pragma once

#include <qorcor14/object/quark.h>

#include <cstddef>
#include <set>

namespace QOR::internal {

// Unit-by-unit comparison of NUL-terminated UTF-16 texts as unsigned values.
struct OrdinalLess {
  bool operator()(const wchar_t* a, const wchar_t* b) const noexcept;
};

class QuarkTableImp : public QuarkTable {
public:
  QuarkTableImp() = default;
  ~QuarkTableImp() override;

  const wchar_t* create(const wchar_t* text) override;
  const wchar_t* value(Quark q) override;

private:
  // The wide characters an ordinary chunk holds after its link pointer.
  static constexpr std::size_t kChunkBytes = 16392;

  // Allocates a chunk for at least n characters and makes it the newest.
  void addChunk(std::size_t n);

  long volatile m_lock = 0;
  std::set<const wchar_t*, OrdinalLess> m_texts;
  // Each chunk starts with a pointer to the chunk allocated before it.
  void* m_chunks = nullptr;
  wchar_t* m_free = nullptr;
  std::size_t m_freeCount = 0;
};

}  // namespace QOR::internal
