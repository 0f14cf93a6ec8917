// qorcor14/object/quark.h - Quark, an interned wide string compared by
// pointer, and the two orders for containers of quarks.
#pragma once

#include <qorcor14/config.h>

class Quark;

// The process-wide store of interned texts. Texts are never removed or
// moved, so the pointers it hands out stay valid for the life of the process.
class QORCOR14_API QuarkTable {
public:
  // The interned copy of the NUL-terminated `text` (the same pointer for
  // equal texts).
  virtual const wchar_t* create(const wchar_t* text) = 0;
  // The text of q (null for nullQuark).
  virtual const wchar_t* value(Quark q) = 0;
  virtual ~QuarkTable();

  QuarkTable(const QuarkTable&) = delete;
  QuarkTable& operator=(const QuarkTable&) = delete;

protected:
  QuarkTable() = default;

private:
  friend class Quark;
  // The one table, made on first use and freed when the library unloads.
  static QuarkTable& quarkTable();
};

// An interned text: quarks of equal texts hold the same pointer, so they
// compare and hash by pointer.
//
// Example:
//   Quark a = Quark::create(L"layer"), b = Quark::create(L"layer");
//   a == b;                       // true: one pointer
//   a.value();                    // L"layer", valid for the life of the process
//   Quark::create(L"") != nullQuark;   // the empty text is a quark like any other
//
// Note: interning takes a process-wide lock (always exclusive); comparing,
// copying and reading values take none.
class QORCOR14_API Quark {
public:
  // nullQuark.
  constexpr Quark() noexcept : m_text(nullptr) {}

  // The quark of the NUL-terminated `text`; a null pointer gives nullQuark.
  [[nodiscard]] static Quark create(const wchar_t* text);

  // The interned text, or null for nullQuark.
  [[nodiscard]] const wchar_t* value() const noexcept { return m_text; }

  bool operator==(const Quark& q) const noexcept { return m_text == q.m_text; }
  bool operator!=(const Quark& q) const noexcept { return m_text != q.m_text; }

private:
  explicit constexpr Quark(const wchar_t* text) noexcept : m_text(text) {}

  const wchar_t* m_text;
};

// The quark whose text pointer is null.
inline constexpr Quark nullQuark{};

// A fast, arbitrary but stable order: by text pointer. For maps keyed by quark.
struct QuarkLess {
  bool operator()(const Quark& a, const Quark& b) const noexcept { return a.value() < b.value(); }
};

// Alphabetical order by wcscoll under the C runtime's current locale; texts
// that collate equal, or that the runtime fails to collate (errno set), are
// ordered by their UTF-16 units, so the order is strict and total.
//
// Example:
//   std::set<Quark, QuarkCollatesLess> names;   // sorted for display
//
// Note: nullQuark sorts before every other quark, the empty text included.
struct QORCOR14_API QuarkCollatesLess {
  bool operator()(const Quark& a, const Quark& b) const;
};
