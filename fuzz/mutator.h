// Deterministic mutation of seed inputs: the same seeds and the same PRNG
// seed give the same sequence of inputs on every run.
#pragma once

#include "fuzz_target.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qorfuzz {

// xorshift64*: small, fast and the same everywhere.
class Random {
public:
  explicit Random(std::uint64_t seed) : m_state(seed ? seed : 0x9E3779B97F4A7C15u) {}
  std::uint64_t next() {
    m_state ^= m_state >> 12;
    m_state ^= m_state << 25;
    m_state ^= m_state >> 27;
    return m_state * 2685821657736338717u;
  }
  // Uniform enough in [0, n); 0 when n is 0.
  std::size_t below(std::size_t n) { return n == 0 ? 0 : static_cast<std::size_t>(next() % n); }

private:
  std::uint64_t m_state;
};

class Mutator {
public:
  // seeds must hold at least one input (it may be empty).
  Mutator(const std::vector<Seed>& seeds, std::size_t maxSize, std::uint64_t seed);

  // Replaces `input` with the next one: usually a seed, sometimes `input`
  // itself, changed by one to eight mutations and kept within maxSize.
  void next(std::vector<std::uint8_t>& input);

private:
  void mutateOnce(std::vector<std::uint8_t>& b);
  void writeInteresting(std::vector<std::uint8_t>& b);
  void repeatChunk(std::vector<std::uint8_t>& b);
  void splice(std::vector<std::uint8_t>& b);

  const std::vector<Seed>& m_seeds;
  std::size_t m_maxSize;
  Random m_random;
};

}  // namespace qorfuzz
