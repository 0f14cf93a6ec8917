// qorcor14/object/identifier.h - Identifier, a process-unique 32-bit number
// handed out in sequence.
#pragma once

#include <qorcor14/config.h>

#include <compare>
#include <iosfwd>

// A number unique in the process: each default-constructed Identifier takes
// the next value of one process-wide counter (the first is 1), atomically.
//
// Example:
//   Identifier a, b;                // b is a + 1 unless another thread came between
//   std::wcout << a;                // <1> for the first one made
//   Identifier::PODTYPE raw = a.toPod();
//   Identifier same(raw);           // == a
//
// Note: the counter wraps after 2^32 identifiers.
class QORCOR14_API Identifier {
public:
  // The plain form, for storing identifiers in plain data.
  struct PODTYPE {
    long value;
  };

  // The next identifier.
  Identifier();
  explicit Identifier(PODTYPE pod) noexcept : m_value(pod.value) {}

  [[nodiscard]] PODTYPE toPod() const noexcept { return PODTYPE{m_value}; }
  [[nodiscard]] long value() const noexcept { return m_value; }

  friend bool operator==(const Identifier&, const Identifier&) = default;
  friend auto operator<=>(const Identifier&, const Identifier&) = default;

private:
  long m_value;
};

// Writes '<', the number as the stream formats a long, then '>'.
QORCOR14_API std::wostream& operator<<(std::wostream& out, const Identifier& id);
