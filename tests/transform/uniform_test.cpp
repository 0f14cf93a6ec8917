#include "support.h"

#include <qorcor14/errors.h>

using namespace tfm;

namespace {

TEST(UniformTransform2, RotationTurnsCounterClockwiseAndScaleAndAngleReadBack) {
  EXPECT_TRUE(near(Point<2>(1, 0) * UniformTransform<2>::rotation(Angle::degrees(90)), Point<2>(0, 1), 1e-15));
  auto t = UniformTransform<2>::scale(2);
  t *= UniformTransform<2>::rotation(Angle::degrees(30));
  EXPECT_NEAR(t.scale(), 2, 2e-15);
  EXPECT_NEAR(t.rotation().degrees(), 30, 1e-13);
  EXPECT_EQ(UniformTransform<2>::scale(5).rotation().degrees(), 0);
}

TEST(UniformTransform2, MirrorInALineFixesItAndReflectsAcrossIt) {
  const auto m = UniformTransform<2>::mirror(QOR::Line<2>(Vector<2>(1, 0), Point<2>(0, 3)));
  EXPECT_EQ(Point<2>(5, 1) * m, Point<2>(5, 5));
  EXPECT_TRUE(std::isnan(m.scale()));
  EXPECT_TRUE(m.mirroring());
  Rng rng(21);
  for (int n = 0; n < 100; ++n) {
    SCOPED_TRACE(n);
    const QOR::Line<2> line(rng.vector<2>(), rng.point<2>());
    const auto t = UniformTransform<2>::mirror(line);
    const Point<2> q = rng.point<2>();
    // Reference: q reflected through its foot on the line.
    const Vector<2> d = line.direction();
    const Point<2> foot = line.point() + d * dot(q - line.point(), d);
    EXPECT_TRUE(near(q * t, foot + (foot - q)));
  }
}

TEST(UniformTransform2, TextIsTranslationScaleAndDegreesAndPodMatrixIsTakenAsGiven) {
  EXPECT_EQ(text(UniformTransform<2>::translation(Vector<2>(1, 2))), L"(1,2)*1~0");
  auto t = UniformTransform<2>::rotation(Angle::cosSin(0, -1));
  t *= UniformTransform<2>::scale(2);
  EXPECT_EQ(text(t), L"(0,0)*2~-90");
  const double pod[3][2] = {{2, 0}, {0, 8}, {1, -1}};
  const auto f = UniformTransform<2>::createFromPod(pod);
  EXPECT_EQ(Point<2>(1, 1) * f, Point<2>(3, 7));
  EXPECT_EQ(f.scale(), 4);  // sqrt(det), whatever the shape
}

TEST(UniformTransform3, RotationMatchesRodriguesInLongDouble) {
  Rng rng(31);
  for (int n = 0; n < 200; ++n) {
    SCOPED_TRACE(n);
    const Vector<3> axis = rng.vector<3>();
    const double deg = rng(-180, 180);
    const auto r = UniformTransform<3>::rotation(Angle::degrees(deg), axis);
    const Point<3> p = rng.point<3>();
    // v cos + (k × v) sin + k (k·v)(1 − cos), with k the unit axis.
    const long double len =
        std::sqrt(static_cast<long double>(axis[0]) * axis[0] + static_cast<long double>(axis[1]) * axis[1] +
                  static_cast<long double>(axis[2]) * axis[2]);
    const long double k[3] = {axis[0] / len, axis[1] / len, axis[2] / len};
    const long double a = deg * 3.14159265358979323846264338327950288L / 180;
    const long double c = std::cos(a), s = std::sin(a);
    const long double v[3] = {p[0], p[1], p[2]};
    const long double kv = k[0] * v[0] + k[1] * v[1] + k[2] * v[2];
    const long double kx[3] = {k[1] * v[2] - k[2] * v[1], k[2] * v[0] - k[0] * v[2], k[0] * v[1] - k[1] * v[0]};
    const Point<3> ref(static_cast<double>(v[0] * c + kx[0] * s + k[0] * kv * (1 - c)),
                       static_cast<double>(v[1] * c + kx[1] * s + k[1] * kv * (1 - c)),
                       static_cast<double>(v[2] * c + kx[2] * s + k[2] * kv * (1 - c)));
    EXPECT_TRUE(near(p * r, ref, 1e-12));
    EXPECT_NEAR(r.scale(), 1, 1e-14);
  }
}

TEST(UniformTransform3, ScaleIsTheRealCubeRootOfTheDeterminant) {
  EXPECT_EQ(UniformTransform<3>::scale(-2).scale(), -2);
  EXPECT_NEAR(UniformTransform<3>::scale(3).scale(), 3, 1e-15);
  const double pod[4][3] = {{0, 2, 0}, {-2, 0, 0}, {0, 0, 2}, {1, 2, 3}};
  const auto t = UniformTransform<3>::createFromPod(pod);
  EXPECT_EQ(text(t), L"UniformTfm[[0,2,0/-2,0,0/0,0,2] + (1,2,3)]");
  EXPECT_EQ(t.scale(), 2);
}

TEST(UniformTransform3, AxesFramesNormaliseTheFirstAndKeepTheSecondInItsPlane) {
  const Vector<3> x(1, 0, 0), y(0, 1, 0), z(0, 0, 1);
  EXPECT_EQ(text(UniformTransform<3>::xyAxes(z * 5, x)), L"UniformTfm[[0,0,1/1,0,0/0,1,0] + (0,0,0)]");
  // Lengthened and tilted within the plane, the unit axes still give the identity.
  const std::wstring identity = L"UniformTfm[[1,0,0/0,1,0/0,0,1] + (0,0,0)]";
  EXPECT_EQ(text(UniformTransform<3>::xyAxes(x * 2, Vector<3>(3, 4, 0))), identity);
  EXPECT_EQ(text(UniformTransform<3>::yzAxes(y * 2, Vector<3>(0, 3, 4))), identity);
  EXPECT_EQ(text(UniformTransform<3>::zxAxes(z * 2, Vector<3>(4, 0, 3))), identity);
  const Vector<3> v(1, 2, 3);  // parallel vectors span no plane
  EXPECT_TRUE((x * UniformTransform<3>::xyAxes(v, v)).isNaN());
  EXPECT_TRUE((y * UniformTransform<3>::yzAxes(v, v * 2)).isNaN());
  EXPECT_TRUE((z * UniformTransform<3>::zxAxes(v, -v)).isNaN());
}

TEST(UniformTransform3, MirrorInAPlaneReflectsThroughTheFoot) {
  Rng rng(51);
  for (int n = 0; n < 100; ++n) {
    SCOPED_TRACE(n);
    const Plane pl(rng.vector<3>(), rng.point<3>());
    const auto m = UniformTransform<3>::mirror(pl);
    const Point<3> q = rng.point<3>();
    EXPECT_TRUE(near(q * m, q - pl.vectorTo(q) * 2));
  }
}

TEST(UniformTransform3, AxisRotationQueryIsNotImplementedAndLeavesTheAxis) {
  Vector<3> axis(1, 2, 3);
  bool caught = false;
  try {
    try {
      (void)UniformTransform<3>::scale(2).rotation(axis);
    } catch (const QOR::QorError&) {
      ADD_FAILURE() << "a QorError handler caught it";
    }
  } catch (const QOR::NotImplemented& e) {
    caught = true;
    EXPECT_STREQ(e.wWhat(), L"UniformTransform<3>::rotation");
  }
  EXPECT_TRUE(caught);
  EXPECT_EQ(axis, Vector<3>(1, 2, 3));
  EXPECT_THROW((void)UniformTransform<3>().rotation(axis), std::logic_error);
}

TEST(NonUniformTransform, FactoriesTakeTheirRowsUnchanged) {
  EXPECT_EQ(Point<2>(1, 1) * NonUniformTransform<2>::scale(2, 3), Point<2>(2, 3));
  EXPECT_EQ(text(NonUniformTransform<3>::scale(2, 3, 4)), L"(0,0,0)+[2,0,0/0,3,0/0,0,4]");
  EXPECT_EQ(text(NonUniformTransform<2>::axes(Vector<2>(1, 2), Vector<2>(3, 4))), L"(0,0)+[1,2/3,4]");
  const auto ax3 = NonUniformTransform<3>::axes(Vector<3>(1, 2, 3), Vector<3>(4, 5, 6), Vector<3>(7, 8, 10));
  EXPECT_EQ(text(ax3), L"(0,0,0)+[1,2,3/4,5,6/7,8,10]");
  EXPECT_EQ(text(NonUniformTransform<3>(UniformTransform<3>::translation(Vector<3>(1, 2, 3)))),
            L"(1,2,3)+[1,0,0/0,1,0/0,0,1]");
}

}  // namespace
