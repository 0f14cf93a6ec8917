// Interning of quarks and their collation order.
#include "internal/quark_table.h"

#include <qorcor14/threading/lock.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <cwchar>
#include <new>

namespace QOR::internal {

bool OrdinalLess::operator()(const wchar_t* a, const wchar_t* b) const noexcept {
  for (;; ++a, ++b) {
    const auto ua = static_cast<char16_t>(*a), ub = static_cast<char16_t>(*b);
    if (ua != ub) return ua < ub;
    if (ua == 0) return false;
  }
}

QuarkTableImp::~QuarkTableImp() {
  while (m_chunks) {
    void* previous = *static_cast<void**>(m_chunks);
    ::operator delete(m_chunks);
    m_chunks = previous;
  }
}

void QuarkTableImp::addChunk(std::size_t n) {
  const std::size_t bytes = std::max(2 * n + sizeof(void*), kChunkBytes);
  void* chunk = ::operator new(bytes);
  *static_cast<void**>(chunk) = m_chunks;
  m_chunks = chunk;
  m_free = reinterpret_cast<wchar_t*>(static_cast<unsigned char*>(chunk) + sizeof(void*));
  m_freeCount = (bytes - sizeof(void*)) / sizeof(wchar_t);
}

const wchar_t* QuarkTableImp::create(const wchar_t* text) {
  ReadWriteLockExclusive lock(m_lock);
  const std::size_t n = std::wcslen(text) + 1;
  // The room is made before the lookup, so even a known text may start a
  // new chunk; the rest of the old one is abandoned.
  if (n > m_freeCount) addChunk(n);
  // The copy doubles as the lookup key; it is kept only if the text is new,
  // otherwise the next call overwrites it.
  std::memcpy(m_free, text, n * sizeof(wchar_t));
  const auto [at, added] = m_texts.insert(m_free);
  if (added) {
    m_free += n;
    m_freeCount -= n;
  }
  return *at;
}

const wchar_t* QuarkTableImp::value(Quark q) { return q.value(); }

}  // namespace QOR::internal

QuarkTable::~QuarkTable() = default;

QuarkTable& QuarkTable::quarkTable() {
  static QOR::internal::QuarkTableImp table;
  return table;
}

Quark Quark::create(const wchar_t* text) {
  if (!text) return Quark();
  return Quark(QuarkTable::quarkTable().create(text));
}

bool QuarkCollatesLess::operator()(const Quark& a, const Quark& b) const {
  const wchar_t* x = a.value();
  const wchar_t* y = b.value();
  if (x == y) return false;
  if (!x || !y) return !x;
  errno = 0;
  const int r = std::wcscoll(x, y);
  if (errno == 0 && r != 0) return r < 0;
  // Collation failed, or two different texts collate equal: their units
  // decide, so that the order stays strict and total.
  return QOR::internal::OrdinalLess()(x, y);
}
