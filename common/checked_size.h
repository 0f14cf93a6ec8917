// Size arithmetic on values that come from input or from the system: every
// product and sum of sizes is made here, and reports overflow instead of
// wrapping, so that a block is never allocated smaller than what is later
// written into it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

namespace QOR::internal {

// a × b, or nothing when it does not fit in a size_t.
//
// Example:
//   auto rows = checkedMultiply(stride, height);
//   if (!rows) throw std::logic_error("bitmap too large");
[[nodiscard]] constexpr std::optional<std::size_t> checkedMultiply(std::size_t a, std::size_t b) noexcept {
  if (a != 0 && b > std::numeric_limits<std::size_t>::max() / a) return std::nullopt;
  return a * b;
}

// a + b, or nothing when it does not fit in a size_t.
[[nodiscard]] constexpr std::optional<std::size_t> checkedAdd(std::size_t a, std::size_t b) noexcept {
  if (b > std::numeric_limits<std::size_t>::max() - a) return std::nullopt;
  return a + b;
}

// Chains: checkedAdd(checkedMultiply(a, b), c) stays empty once a step overflowed.
[[nodiscard]] constexpr std::optional<std::size_t> checkedMultiply(std::optional<std::size_t> a,
                                                                   std::size_t b) noexcept {
  return a ? checkedMultiply(*a, b) : std::nullopt;
}
[[nodiscard]] constexpr std::optional<std::size_t> checkedAdd(std::optional<std::size_t> a, std::size_t b) noexcept {
  return a ? checkedAdd(*a, b) : std::nullopt;
}

// Whether [offset, offset + length) lies inside a block of `size` bytes,
// without forming a sum that could wrap.
[[nodiscard]] constexpr bool rangeInside(std::size_t offset, std::size_t length, std::size_t size) noexcept {
  return offset <= size && length <= size - offset;
}

// `value` as a T when it fits, nothing otherwise (for handing sizes to
// 32-bit system interfaces).
template <class T>
[[nodiscard]] constexpr std::optional<T> checkedNarrow(std::size_t value) noexcept {
  if (value > static_cast<std::uintmax_t>(std::numeric_limits<T>::max())) return std::nullopt;
  return static_cast<T>(value);
}
// Ends a chain: checkedNarrow<std::uint32_t>(checkedAdd(...)).
template <class T>
[[nodiscard]] constexpr std::optional<T> checkedNarrow(std::optional<std::size_t> value) noexcept {
  return value ? checkedNarrow<T>(*value) : std::nullopt;
}

}  // namespace QOR::internal
