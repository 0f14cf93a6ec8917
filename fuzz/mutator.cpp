#include "mutator.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace qorfuzz {

namespace {

// Values that sit on the edges of sizes, counts and signedness.
constexpr std::uint32_t kInteresting[] = {0,          1,          0x7F,       0x80,    0xFF,       0x100,
                                          0x7FFF,     0x8000,     0xFFFF,     0x10000, 0x7FFFFFFF, 0x80000000,
                                          0xFFFFFFFF, 0xFFFFFFFE, 0x40000000, 0xD800,  0xFFFD,     0x10FFFF};

}  // namespace

Mutator::Mutator(const std::vector<Seed>& seeds, std::size_t maxSize, std::uint64_t seed)
    : m_seeds(seeds), m_maxSize(maxSize), m_random(seed) {}

void Mutator::next(std::vector<std::uint8_t>& input) {
  // Mostly a fresh seed; now and then a further step from the last input, so
  // that changes can pile up.
  if (input.empty() || m_random.below(5) != 0) input = m_seeds[m_random.below(m_seeds.size())].bytes;
  for (std::size_t n = 1 + m_random.below(8); n > 0; --n) mutateOnce(input);
  if (input.size() > m_maxSize) input.resize(m_maxSize);
}

void Mutator::mutateOnce(std::vector<std::uint8_t>& b) {
  const std::size_t size = b.size();
  const std::size_t at = m_random.below(size);
  switch (m_random.below(11)) {
  case 0:  // flip one bit
    if (size) b[at] ^= static_cast<std::uint8_t>(1u << m_random.below(8));
    break;
  case 1:  // a random byte
    if (size) b[at] = static_cast<std::uint8_t>(m_random.next());
    break;
  case 2:  // a small step up or down
    if (size) b[at] = static_cast<std::uint8_t>(b[at] + (m_random.below(2) ? 1 : -1) * int(1 + m_random.below(35)));
    break;
  case 3: {  // insert random bytes, or a run of one byte
    const std::size_t n = 1 + m_random.below(16);
    const std::uint8_t fill = static_cast<std::uint8_t>(m_random.next());
    const bool run = m_random.below(2) == 0;
    std::vector<std::uint8_t> bytes(n, fill);
    if (!run)
      for (auto& x : bytes) x = static_cast<std::uint8_t>(m_random.next());
    b.insert(b.begin() + static_cast<std::ptrdiff_t>(m_random.below(size + 1)), bytes.begin(), bytes.end());
    break;
  }
  case 4: {  // delete a range
    if (!size) break;
    const std::size_t n = 1 + m_random.below(std::min<std::size_t>(size - at, 64));
    b.erase(b.begin() + static_cast<std::ptrdiff_t>(at), b.begin() + static_cast<std::ptrdiff_t>(at + n));
    break;
  }
  case 5: writeInteresting(b); break;
  case 6: b.resize(m_random.below(size + 1)); break;  // truncate
  case 7: repeatChunk(b); break;
  case 8: splice(b); break;
  case 9: {  // copy a chunk over another place
    if (size < 2) break;
    const std::size_t from = m_random.below(size), to = m_random.below(size);
    const std::size_t n = 1 + m_random.below(std::min(size - from, size - to));
    std::memmove(b.data() + to, b.data() + from, n);  // the two may overlap
    break;
  }
  default: {  // insert a chunk of another seed
    const auto& other = m_seeds[m_random.below(m_seeds.size())].bytes;
    if (other.empty()) break;
    const std::size_t from = m_random.below(other.size());
    const std::size_t n = 1 + m_random.below(std::min<std::size_t>(other.size() - from, 256));
    b.insert(b.begin() + static_cast<std::ptrdiff_t>(m_random.below(size + 1)),
             other.begin() + static_cast<std::ptrdiff_t>(from), other.begin() + static_cast<std::ptrdiff_t>(from + n));
    break;
  }
  }
}

// One of kInteresting as 1, 2 or 4 bytes, little or big endian, written over
// the input at a random place (or appended when it does not fit).
void Mutator::writeInteresting(std::vector<std::uint8_t>& b) {
  const std::uint32_t value = kInteresting[m_random.below(std::size(kInteresting))];
  const std::size_t width = std::size_t(1) << m_random.below(3);
  const bool bigEndian = m_random.below(2) == 0;
  std::uint8_t bytes[4];
  for (std::size_t i = 0; i < width; ++i) {
    const std::size_t shift = 8 * (bigEndian ? width - 1 - i : i);
    bytes[i] = static_cast<std::uint8_t>(value >> shift);
  }
  if (b.size() < width) {
    b.insert(b.end(), bytes, bytes + width);
    return;
  }
  std::copy_n(bytes, width, b.begin() + static_cast<std::ptrdiff_t>(m_random.below(b.size() - width + 1)));
}

// A chunk of the input repeated 2 to 32 times in place.
void Mutator::repeatChunk(std::vector<std::uint8_t>& b) {
  if (b.empty()) return;
  const std::size_t from = m_random.below(b.size());
  const std::size_t n = 1 + m_random.below(std::min<std::size_t>(b.size() - from, 256));
  const std::vector<std::uint8_t> chunk(b.begin() + static_cast<std::ptrdiff_t>(from),
                                        b.begin() + static_cast<std::ptrdiff_t>(from + n));
  for (std::size_t times = 1 + m_random.below(31); times > 0 && b.size() + n <= m_maxSize; --times)
    b.insert(b.begin() + static_cast<std::ptrdiff_t>(from), chunk.begin(), chunk.end());
}

// The start of the input joined to the end of another seed.
void Mutator::splice(std::vector<std::uint8_t>& b) {
  const auto& other = m_seeds[m_random.below(m_seeds.size())].bytes;
  b.resize(m_random.below(b.size() + 1));
  const std::size_t from = m_random.below(other.size() + 1);
  b.insert(b.end(), other.begin() + static_cast<std::ptrdiff_t>(from), other.end());
}

}  // namespace qorfuzz
