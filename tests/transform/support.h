#pragma once

#include <qorcor14/transform.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <typeinfo>

namespace tfm {

constexpr double kMax = 1.7976931348623157e308;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// typeid(*p) on a smart pointer would call operator* inside typeid.
template <typename T>
const std::type_info& dynamicType(const T& object) {
  return typeid(object);
}

template <typename T>
std::wstring text(const T& value) {
  std::wostringstream os;
  os << value;
  return os.str();
}

template <int N>
Point<N> pt(double x, double y, double z = 0) {
  const double c[3] = {x, y, z};
  return Point<N>(c);
}

// The rows taken as given, so that lo may lie above hi.
template <int N>
Extent<N> box(const double (&lo)[3], const double (&hi)[3]) {
  double r[2][N];
  for (int k = 0; k < N; ++k) {
    r[0][k] = lo[k];
    r[1][k] = hi[k];
  }
  return Extent<N>(r);
}

template <template <int> class P, int N>
::testing::AssertionResult near(const P<N>& a, const P<N>& b, double tol = 1e-9) {
  for (int k = 0; k < N; ++k)
    if (!(std::fabs(a[k] - b[k]) <= tol * std::fmax(1.0, std::fmax(std::fabs(a[k]), std::fabs(b[k])))))
      return ::testing::AssertionFailure() << text(a) << " vs " << text(b);
  return ::testing::AssertionSuccess();
}

template <int N>
bool sameMatrix(const Matrix<N>& a, const Matrix<N>& b) {
  for (int i = 0; i < N; ++i)
    for (int j = 0; j < N; ++j)
      if (!(a[i][j] == b[i][j])) return false;
  return true;
}

struct Rng {
  std::mt19937_64 gen;
  explicit Rng(unsigned seed) : gen(seed) {}
  double operator()(double lo = -1, double hi = 1) { return std::uniform_real_distribution<double>(lo, hi)(gen); }

  template <int N>
  Point<N> point(double r = 5) {
    return pt<N>((*this)(-r, r), (*this)(-r, r), (*this)(-r, r));
  }
  template <int N>
  Vector<N> vector(double r = 5) {
    return point<N>(r) - Point<N>::origin();
  }
  template <int N>
  NonUniformTransform<N> affine() {
    double pod[N + 1][N];
    for (int i = 0; i <= N; ++i)
      for (int j = 0; j < N; ++j) pod[i][j] = i == N ? (*this)(-3, 3) : (*this)() + (i == j ? 3 : 0);
    return NonUniformTransform<N>::createFromPod(pod);
  }
  template <int N>
  UniformTransform<N> similarity() {
    UniformTransform<N> t = UniformTransform<N>::scale((*this)(0.5, 2));
    if constexpr (N == 2) t *= UniformTransform<2>::rotation(Angle::degrees((*this)(-180, 180)));
    else t *= UniformTransform<3>::rotation(Angle::degrees((*this)(-180, 180)), vector<3>());
    t *= UniformTransform<N>::translation(vector<N>());
    return t;
  }
};

}  // namespace tfm
