// Randomized differential test of the hot geometry paths: matrix products and
// inverses, row vector times matrix, and the affine point, vector, extent and
// composition arithmetic. Each operation is recomputed here by a plain scalar
// reference in the library's fixed evaluation order, and the two must agree
// bit for bit; any NaN agrees with any NaN, since the operands of a product
// may be swapped, which can change a NaN's payload or sign. A rewrite of these
// paths, vectorised or not, must keep every other bit.
#include <qorcor14/geometry/extent.h>
#include <qorcor14/geometry/matrix.h>
#include <qorcor14/transform/non_uniform.h>
#include <qorcor14/transform/uniform.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <type_traits>

namespace {

using Limits = std::numeric_limits<double>;

// Plain-data operands, laid out as the library's packToPod forms.
template <int N>
struct Vec {
  double c[N];
};
template <int N>
struct Mat {
  double e[N][N];
};
template <int N>
struct Affine {
  Mat<N> m;
  Vec<N> t;
};  // the rows of M, then t
template <int N>
struct Box {
  Vec<N> lo, hi;
};
static_assert(sizeof(Affine<3>) == sizeof(double[4][3]) && sizeof(Box<3>) == sizeof(double[2][3]));

// ---- The scalar reference ----

// Component j is v0·m0j + v1·m1j + ..., added in row order.
template <int N>
Vec<N> times(const Vec<N>& v, const Mat<N>& m) {
  Vec<N> r;
  for (int j = 0; j < N; ++j) {
    r.c[j] = v.c[0] * m.e[0][j];
    for (int i = 1; i < N; ++i) r.c[j] += v.c[i] * m.e[i][j];
  }
  return r;
}
template <int N>
Vec<N> plus(Vec<N> a, const Vec<N>& b) {
  for (int k = 0; k < N; ++k) a.c[k] += b.c[k];
  return a;
}
template <int N>
Vec<N> minus(Vec<N> a, const Vec<N>& b) {
  for (int k = 0; k < N; ++k) a.c[k] -= b.c[k];
  return a;
}

// Row i of a·b is row i of a times b.
template <int N>
Mat<N> product(const Mat<N>& a, const Mat<N>& b) {
  Mat<N> r;
  for (int i = 0; i < N; ++i) {
    Vec<N> row;
    std::copy_n(a.e[i], N, row.c);
    std::copy_n(times(row, b).c, N, r.e[i]);
  }
  return r;
}

Mat<2> inverse(const Mat<2>& m) {
  const auto& e = m.e;
  const double det = e[0][0] * e[1][1] - e[0][1] * e[1][0];
  return {{{e[1][1] / det, e[0][1] / -det}, {e[1][0] / -det, e[0][0] / det}}};
}

// The cofactors of the first row, shared by the inverse and the determinant.
Vec<3> cofactors(const Mat<3>& m) {
  const auto& e = m.e;
  return {{e[1][1] * e[2][2] - e[2][1] * e[1][2], e[1][2] * e[2][0] - e[1][0] * e[2][2],
           e[2][1] * e[1][0] - e[1][1] * e[2][0]}};
}

// c1·m01 + c0·m00 + c2·m02. The first addition commutes, so what this pins is
// that the c2 term comes last.
double determinant(const Mat<3>& m) {
  const Vec<3> c = cofactors(m);
  return c.c[1] * m.e[0][1] + c.c[0] * m.e[0][0] + c.c[2] * m.e[0][2];
}

// The adjugate, each element divided by the determinant (summed here in
// cofactor order) on its own.
Mat<3> inverse(const Mat<3>& m) {
  const auto& e = m.e;
  const Vec<3> c = cofactors(m);
  const double d = c.c[0] * e[0][0] + c.c[1] * e[0][1] + c.c[2] * e[0][2];
  return {{{c.c[0] / d, (e[0][2] * e[2][1] - e[0][1] * e[2][2]) / d, (e[0][1] * e[1][2] - e[0][2] * e[1][1]) / d},
           {c.c[1] / d, (e[0][0] * e[2][2] - e[0][2] * e[2][0]) / d, (e[0][2] * e[1][0] - e[0][0] * e[1][2]) / d},
           {c.c[2] / d, (e[0][1] * e[2][0] - e[0][0] * e[2][1]) / d, (e[0][0] * e[1][1] - e[0][1] * e[1][0]) / d}}};
}

// Elimination beside the identity with scaled partial pivoting; rows are
// reached through p, never moved. A candidate wins only with a strictly larger
// ratio, so ties keep the earlier row and NaN ratios never win.
Mat<4> inverse(const Mat<4>& m) {
  Mat<4> a = m, b{}, r;
  double s[4];
  int p[4];
  for (int i = 0; i < 4; ++i) {
    s[i] = 0;
    for (int j = 0; j < 4; ++j)
      if (std::fabs(a.e[i][j]) > s[i]) s[i] = std::fabs(a.e[i][j]);
    b.e[i][i] = 1;
    p[i] = i;
  }
  for (int k = 0; k < 3; ++k) {
    int best = k;
    for (int i = k + 1; i < 4; ++i)
      if (std::fabs(a.e[p[i]][k]) / s[p[i]] > std::fabs(a.e[p[best]][k]) / s[p[best]]) best = i;
    std::swap(p[k], p[best]);
    for (int i = k + 1; i < 4; ++i) {
      const double f = a.e[p[i]][k] / a.e[p[k]][k];
      for (int j = k + 1; j < 4; ++j) a.e[p[i]][j] -= f * a.e[p[k]][j];
      for (int j = 0; j < 4; ++j) b.e[p[i]][j] -= f * b.e[p[k]][j];
    }
  }
  for (int k = 3; k >= 0; --k) {
    for (int i = k - 1; i >= 0; --i) {
      const double f = a.e[p[i]][k] / a.e[p[k]][k];
      for (int j = 0; j < 4; ++j) b.e[p[i]][j] -= f * b.e[p[k]][j];
    }
    for (int j = 0; j < 4; ++j) b.e[p[k]][j] /= a.e[p[k]][k];
  }
  for (int i = 0; i < 4; ++i) std::copy_n(b.e[p[i]], 4, r.e[i]);
  return r;
}

template <int N>
Vec<N> forward(const Affine<N>& a, const Vec<N>& p) {
  return plus(times(p, a.m), a.t);
}
template <int N>
Vec<N> backward(const Affine<N>& a, const Vec<N>& p) {
  return times(minus(p, a.t), inverse(a.m));
}
// The translation first, from the operands as they were.
template <int N>
Affine<N> multiply(const Affine<N>& a, const Affine<N>& b) {
  return {product(a.m, b.m), plus(times(a.t, b.m), b.t)};
}
template <int N>
Affine<N> divide(const Affine<N>& a, const Affine<N>& b) {
  const Mat<N> inv = inverse(b.m);
  return {product(a.m, inv), times(minus(a.t, b.t), inv)};
}

// An empty box comes back as it came; otherwise corners i = 0, 1, ... (bit k
// of i picks hi on axis k) are mapped and grown into the canonical empty box.
template <int N, class Map>
Box<N> mapBox(const Box<N>& e, Map map) {
  for (int k = 0; k < N; ++k)
    if (e.lo.c[k] > e.hi.c[k]) return e;
  Box<N> r;
  std::fill_n(r.lo.c, N, Limits::max());
  std::fill_n(r.hi.c, N, -Limits::max());
  for (unsigned i = 0; i < (1u << N); ++i) {
    Vec<N> corner;
    for (int k = 0; k < N; ++k) corner.c[k] = (i >> k) & 1u ? e.hi.c[k] : e.lo.c[k];
    const Vec<N> q = map(corner);
    for (int k = 0; k < N; ++k) {
      if (r.lo.c[k] > q.c[k]) r.lo.c[k] = q.c[k];
      if (q.c[k] > r.hi.c[k]) r.hi.c[k] = q.c[k];
    }
  }
  return r;
}

// ---- Between the plain data and the library's types ----

template <class To, class From>
To as(const From& from) {
  static_assert(sizeof(To) == sizeof(From));
  To to;
  std::memcpy(&to, &from, sizeof to);
  return to;
}
template <int N>
using Rows = double[N + 1][N];  // the createFromPod layout

template <int N>
Matrix<N> lib(const Mat<N>& m) {
  return Matrix<N>(m.e);
}
template <int N>
Vector<N> lib(const Vec<N>& v) {
  return Vector<N>(v.c);
}
template <int N>
Extent<N> lib(const Box<N>& b) {
  double r[2][N];
  std::memcpy(r, &b, sizeof r);
  return Extent<N>(r);
}
template <int N>
Point<N> point(const Vec<N>& v) {
  return Point<N>(v.c);
}

template <int N>
Mat<N> pod(const Matrix<N>& m) {
  Mat<N> r;
  m.packToPod(r.e);
  return r;
}
template <int N>
Vec<N> pod(const Vector<N>& v) {
  Vec<N> r;
  v.packToPod(r.c);
  return r;
}
template <int N>
Vec<N> pod(const Point<N>& p) {
  Vec<N> r;
  p.packToPod(r.c);
  return r;
}
template <int N>
Box<N> pod(const Extent<N>& e) {
  double r[2][N];
  e.packToPod(r);
  return as<Box<N>>(r);
}
template <int N>
Affine<N> pod(const AffineTransform<N>& t) {
  Rows<N> r;
  t.packToPod(r);
  return as<Affine<N>>(r);
}

template <class Kind, int N>
Kind make(const Affine<N>& a) {
  Rows<N> r;
  std::memcpy(r, &a, sizeof r);
  return Kind::createFromPod(r);
}

// Both affine kinds made from one pod, so that a trial can go through either.
template <int N>
struct Kinds {
  explicit Kinds(const Affine<N>& a)
      : uniform(make<UniformTransform<N>>(a)), general(make<NonUniformTransform<N>>(a)) {}
  AffineTransform<N>& pick(bool isUniform) { return isUniform ? static_cast<AffineTransform<N>&>(uniform) : general; }
  UniformTransform<N> uniform;
  NonUniformTransform<N> general;
};

// ---- Random operands ----

constexpr double kSpecials[] = {Limits::quiet_NaN(),
                                -Limits::quiet_NaN(),
                                Limits::infinity(),
                                -Limits::infinity(),
                                0.0,
                                -0.0,
                                Limits::denorm_min(),
                                -Limits::denorm_min(),
                                0x1.8p-1040,
                                -0x1p-1025,
                                Limits::min(),
                                Limits::max(),
                                -Limits::max(),
                                1e300,
                                -1e300,
                                1e-300,
                                -1e-300,
                                1.0,
                                -1.0};

class Inputs {
public:
  explicit Inputs(std::uint64_t seed) : m_rng(seed) {}

  int below(int n) { return static_cast<int>(m_rng() % static_cast<std::uint64_t>(n)); }
  bool chance(int oneIn) { return below(oneIn) == 0; }

  // Each operand draws its numbers from one mix: half are ordinary numbers of
  // mixed magnitude; the rest lean on exact cancellation and ties (small
  // integers), special values, or the whole exponent range, subnormals too.
  template <int N>
  Vec<N> vector() {
    const int mix = below(8);
    Vec<N> v;
    for (double& c : v.c) c = scalar(mix);
    return v;
  }

  // Each row draws from its own mix; one matrix in four is then made singular
  // or nearly so.
  template <int N>
  Mat<N> matrix() {
    Mat<N> r;
    for (auto& row : r.e) std::copy_n(vector<N>().c, N, row);
    if (!chance(4)) return r;
    const int a = below(N), b = (a + 1 + below(N - 1)) % N;
    switch (below(6)) {
    case 0: std::copy_n(r.e[a], N, r.e[b]); break;  // repeated row
    case 1: std::fill_n(r.e[a], N, 0.0); break;     // zero row
    case 2:
      for (auto& row : r.e) row[a] = 0;
      break;  // zero column
    case 3:
      for (int i = 0; i < N; ++i) r.e[i][0] = i == N - 1 ? 1 : 0;
      break;  // first column (0, ..., 0, 1)
    case 4:
      for (int j = 0; j < N; ++j) r.e[b][j] = -2 * r.e[a][j];
      break;  // a multiple of another row
    default:  // one ulp from a repeated row
      std::copy_n(r.e[a], N, r.e[b]);
      r.e[b][N - 1] = std::nextafter(r.e[b][N - 1], Limits::infinity());
    }
    return r;
  }

  template <int N>
  Affine<N> affine() {
    return {matrix<N>(), vector<N>()};
  }

  // Mostly ordered boxes; some raw (possibly empty) ones, the canonical empty
  // box and the unbounded one.
  template <int N>
  Box<N> box() {
    Box<N> b{vector<N>(), vector<N>()};
    const int k = below(16);
    if (k < 2) {
      std::fill_n(b.lo.c, N, k == 0 ? Limits::max() : -Limits::max());
      std::fill_n(b.hi.c, N, k == 0 ? -Limits::max() : Limits::max());
    }
    for (int i = 0; i < N && k > 3; ++i)
      if (b.hi.c[i] < b.lo.c[i]) std::swap(b.lo.c[i], b.hi.c[i]);
    return b;
  }

private:
  // Random sign and fraction bits under an exponent within 2^±20 (mix 0-3)
  // or anywhere below infinity (mix 7); mix 4 is integers from -3 to 3, mixes
  // 5 and 6 put a special value in one place in ten.
  double scalar(int mix) {
    const std::uint64_t bits = m_rng();
    if (mix == 4) return static_cast<int>(bits % 7) - 3;
    if ((mix == 5 || mix == 6) && bits % 10 == 0) return kSpecials[(bits >> 8) % std::size(kSpecials)];
    const std::uint64_t field = (bits >> 52) & 0x7ff;
    const std::uint64_t exponent = mix == 7 ? field % 2047 : 1003 + field % 41;
    return as<double>((bits & 0x800fffffffffffffu) | exponent << 52);
  }

  std::mt19937_64 m_rng;
};

// ---- Comparing ----

bool same(double a, double b) {
  return as<std::uint64_t>(a) == as<std::uint64_t>(b) || (std::isnan(a) && std::isnan(b));
}

std::string hex(const double* v, int n) {
  std::string s = "(";
  for (int k = 0; k < n; ++k) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%a", v[k]);
    s += (k ? ", " : "") + std::string(buf);
  }
  return s + ")";
}

// The operands of one trial, kept raw: text is made only for a mismatch.
class Trial {
public:
  // Starts a trial: the operands, under their names, for the report.
  template <class... T>
  void inputs(std::initializer_list<const char*> names, const T&... values) {
    static_assert(sizeof...(T) <= kOperands && (sizeof(T) + ...) <= kValues * sizeof(double));
    std::copy(names.begin(), names.end(), m_names);
    m_used = m_count = 0;
    (add(&values, sizeof(T) / sizeof(double)), ...);
  }

  template <class T>
  void agree(const char* what, const T& got, const T& want) {
    constexpr int n = sizeof(T) / sizeof(double);
    const auto g = as<Vec<n>>(got), w = as<Vec<n>>(want);
    for (int k = 0; k < n; ++k)
      if (!same(g.c[k], w.c[k])) return fail(what, "\n  library:   " + hex(g.c, n) + "\n  reference: " + hex(w.c, n));
  }

  void require(bool ok, const char* what) {
    if (!ok) fail(what, "");
  }

  const std::string& failure() const { return m_failure; }

private:
  void add(const void* value, int n) {
    std::memcpy(m_values + m_used, value, n * sizeof(double));
    m_used += m_sizes[m_count++] = n;
  }

  void fail(const char* what, const std::string& results) {
    if (!m_failure.empty()) return;
    m_failure = what;
    for (int i = 0, at = 0; i < m_count; at += m_sizes[i++])
      m_failure += "\n  " + std::string(m_names[i]) + " = " + hex(m_values + at, m_sizes[i]);
    m_failure += results;
  }

  static constexpr int kOperands = 3, kValues = 32;
  double m_values[kValues];
  const char* m_names[kOperands];
  int m_sizes[kOperands];
  int m_used = 0, m_count = 0;
  std::string m_failure;
};

// Runs body over fixed-seed trials; reports the first mismatch, with its
// inputs, and stops there.
template <int N, class Body>
void differential(int trials, Body body) {
  constexpr std::uint64_t seed = 0x9E3779B97F4A7C15u + N;
  Inputs in(seed);
  Trial t;
  for (int k = 0; k < trials; ++k) {
    body(in, t);
    if (!t.failure().empty()) {
      ADD_FAILURE() << "trial " << k << " (seed " << seed << "): " << t.failure();
      return;
    }
  }
}

constexpr int kTrials = 1 << 19;  // per dimension

template <int N>
using Dim = std::integral_constant<int, N>;
template <class D>
class HotPathDifferentialMatrix : public testing::Test {};
template <class D>
class HotPathDifferentialAffine : public testing::Test {};
using MatrixDims = testing::Types<Dim<2>, Dim<3>, Dim<4>>;
using AffineDims = testing::Types<Dim<2>, Dim<3>>;
TYPED_TEST_SUITE(HotPathDifferentialMatrix, MatrixDims);
TYPED_TEST_SUITE(HotPathDifferentialAffine, AffineDims);

TYPED_TEST(HotPathDifferentialMatrix, ProductSumsOverTheInnerIndexInOrderEvenInPlace) {
  constexpr int N = TypeParam::value;
  differential<N>(kTrials, [](Inputs& in, Trial& t) {
    const Mat<N> a = in.matrix<N>(), b = in.matrix<N>();
    t.inputs({"a", "b"}, a, b);
    Matrix<N> m = lib(a), self = lib(a);
    m *= lib(b);
    self *= self;
    t.agree("a *= b", pod(m), product(a, b));
    t.agree("a * b", pod(lib(a) * lib(b)), product(a, b));
    t.agree("a *= a", pod(self), product(a, a));
  });
}

TYPED_TEST(HotPathDifferentialMatrix, RowVectorTimesMatrixSumsInRowOrderThenAddsTheTranslation) {
  constexpr int N = TypeParam::value;
  differential<N>(kTrials, [](Inputs& in, Trial& t) {
    const Vec<N> v = in.vector<N>(), s = in.vector<N>();
    const Mat<N> m = in.matrix<N>();
    t.inputs({"v", "m", "t"}, v, m, s);
    t.agree("Vector(v, m)", pod(Vector<N>(lib(v), lib(m))), times(v, m));
    t.agree("Vector(v, m, t)", pod(Vector<N>(lib(v), lib(m), lib(s))), plus(times(v, m), s));
  });
}

// N = 2, 3: the adjugate, one division per element; N = 4: elimination with
// scaled partial pivoting. Division multiplies by that inverse.
TYPED_TEST(HotPathDifferentialMatrix, InverseAndDivisionMatchTheScalarFormsEvenWhenSingular) {
  constexpr int N = TypeParam::value;
  differential<N>(kTrials, [](Inputs& in, Trial& t) {
    const Mat<N> a = in.matrix<N>(), b = in.matrix<N>();
    t.inputs({"a", "b"}, a, b);
    Matrix<N> q = lib(a), self = lib(a);
    const Matrix<N>& alias = self;  // through another name: clang warns on self /= self
    q /= lib(b);
    self /= alias;
    t.agree("a.inverse()", pod(lib(a).inverse()), inverse(a));
    t.agree("a /= b", pod(q), product(a, inverse(b)));
    t.agree("a /= a", pod(self), product(a, inverse(a)));
  });
}

TEST(HotPathDifferential, Matrix3DeterminantMatchesTheFirstRowCofactorExpansionBitForBit) {
  differential<3>(kTrials, [](Inputs& in, Trial& t) {
    const Mat<3> a = in.matrix<3>();
    t.inputs({"a"}, a);
    t.agree("a.determinant()", lib(a).determinant(), determinant(a));
  });
}

// Both kinds, reached through the base classes, with an arbitrary matrix.
TYPED_TEST(HotPathDifferentialAffine, PointsAndVectorsMapForwardAndBackWithAFreshInverse) {
  constexpr int N = TypeParam::value;
  differential<N>(kTrials, [](Inputs& in, Trial& t) {
    const Affine<N> a = in.affine<N>();
    const Vec<N> p = in.vector<N>();
    const bool uniform = in.chance(2);
    t.inputs({uniform ? "uniform a" : "non-uniform a", "p"}, a, p);
    Kinds<N> kinds(a);
    const AffineTransform<N>& affine = kinds.pick(uniform);
    const Transform<N>& any = affine;
    t.agree("point * a", pod(point(p) * any), forward(a, p));
    t.agree("point / a", pod(point(p) / any), backward(a, p));
    t.agree("vector * a", pod(lib(p) * affine), times(p, a.m));
    t.agree("vector / a", pod(lib(p) / affine), times(p, inverse(a.m)));
  });
}

TYPED_TEST(HotPathDifferentialAffine, ExtentsBoundTheirMappedCornersInCornerOrder) {
  constexpr int N = TypeParam::value;
  differential<N>(kTrials, [](Inputs& in, Trial& t) {
    const Affine<N> a = in.affine<N>();
    const Box<N> e = in.box<N>();
    const bool uniform = in.chance(2);
    t.inputs({uniform ? "uniform a" : "non-uniform a", "extent lo, hi"}, a, e);
    Kinds<N> kinds(a);
    const Transform<N>& any = kinds.pick(uniform);
    t.agree("extent * a", pod(lib(e) * any), mapBox(e, [&](const Vec<N>& p) { return forward(a, p); }));
    t.agree("extent / a", pod(lib(e) / any), mapBox(e, [&](const Vec<N>& p) { return backward(a, p); }));
  });
}

TYPED_TEST(HotPathDifferentialAffine, MultiplyAndDivideUpdateTheTranslationFirstEvenOnThemselves) {
  constexpr int N = TypeParam::value;
  differential<N>(kTrials, [](Inputs& in, Trial& t) {
    const Affine<N> a = in.affine<N>(), b = in.affine<N>();
    const bool uniformA = in.chance(2), uniformB = in.chance(2);
    t.inputs({uniformA ? "uniform a" : "non-uniform a", uniformB ? "uniform b" : "non-uniform b"}, a, b);
    Kinds<N> kb(b), k1(a), k2(a), k3(a), k4(a);
    AffineTransform<N>& self = k3.pick(uniformA);
    AffineTransform<N>& selfDivided = k4.pick(uniformA);
    t.agree("a.multiply(b)", pod(k1.pick(uniformA).multiply(kb.pick(uniformB))), multiply(a, b));
    t.agree("a.divide(b)", pod(k2.pick(uniformA).divide(kb.pick(uniformB))), divide(a, b));
    t.agree("a.multiply(a)", pod(self.multiply(self)), multiply(a, a));
    t.agree("a.divide(a)", pod(selfDivided.divide(selfDivided)), divide(a, a));
  });
}

TYPED_TEST(HotPathDifferentialAffine, ComposeWithIsUniformOnlyForTwoUniformsAndMultipliesThePods) {
  constexpr int N = TypeParam::value;
  differential<N>(kTrials / 2, [](Inputs& in, Trial& t) {
    const Affine<N> a = in.affine<N>(), b = in.affine<N>();
    const bool uniformA = in.chance(2), uniformB = in.chance(2);
    t.inputs({uniformA ? "uniform a" : "non-uniform a", uniformB ? "uniform b" : "non-uniform b"}, a, b);
    Kinds<N> ka(a), kb(b);
    const Transform<N>& first = ka.pick(uniformA);
    const std::unique_ptr<Transform<N>> c(first.composeWith(kb.pick(uniformB)));
    if (uniformA && uniformB)
      t.require(dynamic_cast<const UniformTransform<N>*>(c.get()) != nullptr, "a.composeWith(b) is uniform");
    else t.require(dynamic_cast<const NonUniformTransform<N>*>(c.get()) != nullptr, "a.composeWith(b) is non-uniform");
    if (const auto* affine = dynamic_cast<const AffineTransform<N>*>(c.get()))
      t.agree("a.composeWith(b)", pod(*affine), multiply(a, b));
  });
}

}  // namespace
