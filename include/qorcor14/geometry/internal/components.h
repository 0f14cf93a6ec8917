// The index rule shared by the floating-point and integer points and vectors.
#pragma once

namespace QOR::internal {

// Component i of N components: for N = 2 every index but 0 reads y, for
// N = 3 every index but 0 and 1 reads z, so those never read out of range;
// any other N indexes directly and does not check i.
template <int N, class T>
[[nodiscard]] constexpr T componentAt(const T (&c)[N], int i) noexcept {
  if constexpr (N == 2) {
    return i == 0 ? c[0] : c[1];
  } else if constexpr (N == 3) {
    return i == 0 ? c[0] : i == 1 ? c[1] : c[2];
  } else {
    return c[i];
  }
}

}  // namespace QOR::internal
