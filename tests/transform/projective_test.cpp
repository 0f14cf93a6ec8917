#include "support.h"

using namespace tfm;

namespace {

TEST(PerspectiveTransform, DefaultProjectionDividesByTheLastCoordinate) {
  const PerspectiveTransform<2> p;
  EXPECT_EQ(Point<2>(2, -4) * p, Point<2>(-0.5, 0.25));
  EXPECT_EQ(Point<2>(2, 4) * p, Point<2>(0.5, -0.25));
  EXPECT_FALSE((Point<2>(1, 0) * p).isFinite());  // on the eye plane
  EXPECT_EQ(text(p), L"[1,0,0/0,0,1/0,-1,0]");
  EXPECT_EQ(text(PerspectiveTransform<3>()), L"[1,0,0,0/0,1,0,0/0,0,0,1/0,0,-1,0]");
  EXPECT_EQ(Point<3>(2, 4, -2) * PerspectiveTransform<3>(), Point<3>(-1, -2, 0.5));
  // The inverse is compared by value: the adjugate leaves some zeros negative.
  const double inv[3][3] = {{1, 0, 0}, {0, 0, -1}, {0, 1, 0}};
  EXPECT_TRUE(sameMatrix(p.inverse().homogeneous(), Matrix<3>(inv)));
  EXPECT_EQ(Point<2>(-0.5, 0.25) / p, Point<2>(2, -4));
}

struct Box {
  double lo[3], hi[3];
};
constexpr Box kNone = {{kMax, kMax, kMax}, {-kMax, -kMax, -kMax}};

struct Case {
  const char* name;
  Box in, out;
};

// Hand-followed: the front set F (w < 0), the behind set B, then per axis
// "grow F to +max if F.hi > B.lo" and "to -max if B.hi > F.lo", each growth
// pulling the other axes out to 0. No front corner, or an empty input, gives
// the canonical empty extent.
TEST(PerspectiveTransform, ExtentsKeepWhatIsInFrontAndReachToTheLimitsAcrossTheEyePlane) {
  const Case planar[] = {
      {"behind", {{-1, 1, 0}, {1, 2, 0}}, kNone},
      {"empty input", {{0, 0, 0}, {-1, 1, 0}}, kNone},
      {"in front", {{-1, -2, 0}, {1, -1, 0}}, {{-1, 0.5, 0}, {1, 1, 0}}},
      {"straddling x = 0", {{-1, -1, 0}, {1, 1, 0}}, {{-kMax, 0, 0}, {kMax, kMax, 0}}},
      {"right of x = 0", {{1, -1, 0}, {2, 1, 0}}, {{-kMax, 0, 0}, {0, kMax, 0}}},
      {"left of x = 0", {{-2, -1, 0}, {-1, 1, 0}}, {{0, 0, 0}, {kMax, kMax, 0}}},
      // A corner with w = 0 is behind: it lands at infinity in B.
      {"touching the eye plane", {{1, -1, 0}, {2, 0, 0}}, {{-kMax, 0, 0}, {0, kMax, 0}}},
  };
  for (const Case& c : planar) {
    SCOPED_TRACE(c.name);
    const Extent<2> got = box<2>(c.in.lo, c.in.hi) * PerspectiveTransform<2>();
    EXPECT_EQ(got, box<2>(c.out.lo, c.out.hi)) << text(got);
  }
  const Case spatial[] = {
      {"behind", {{-1, -1, 0}, {1, 1, 3}}, kNone},
      {"in front", {{1, 2, -2}, {2, 4, -1}}, {{-2, -4, 0.5}, {-0.5, -1, 1}}},
      {"x and y positive", {{1, 1, -1}, {2, 2, 1}}, {{-kMax, -kMax, 0}, {0, 0, kMax}}},
      {"x and y negative", {{-2, -2, -1}, {-1, -1, 1}}, {{0, 0, 0}, {kMax, kMax, kMax}}},
      {"straddling both", {{-1, -1, -1}, {1, 1, 1}}, {{-kMax, -kMax, 0}, {kMax, kMax, kMax}}},
  };
  for (const Case& c : spatial) {
    SCOPED_TRACE(c.name);
    const Extent<3> got = box<3>(c.in.lo, c.in.hi) * PerspectiveTransform<3>();
    EXPECT_EQ(got, box<3>(c.out.lo, c.out.hi)) << text(got);
  }
}

TEST(PerspectiveTransform, CameraLookingAlongXCrossesOnTheOtherAxis) {
  // Turning the scene first makes w depend on x: the crossing now happens as
  // x changes sign and the rule fires on the other axis.
  PerspectiveTransform<2> p;
  p.preMultiply(UniformTransform<2>::rotation(Angle::cosSin(0, 1)));  // (x, y) -> (-y, x); w = x
  EXPECT_EQ(text(box<2>({-1, -1, 0}, {-0.5, 1, 0}) * p), text(box<2>({-2, 1, 0}, {2, 2, 0})));
  EXPECT_EQ(text(box<2>({-1, -2, 0}, {1, -1, 0}) * p), text(box<2>({-kMax, 0, 0}, {0, kMax, 0})));
  EXPECT_EQ(text(box<2>({-1, 1, 0}, {1, 2, 0}) * p), text(box<2>({0, 0, 0}, {kMax, kMax, 0})));
}

TEST(PerspectiveTransform, BackwardExtentUsesTheInverseAndTheSameRule) {
  const PerspectiveTransform<2> p;
  const Extent<2> image = box<2>({-1, -2, 0}, {1, -1, 0}) * p;
  EXPECT_EQ(image / p, image * p.inverse());
  EXPECT_EQ(box<2>({0, 0, 0}, {-1, 1, 0}) / p, Extent<2>());
}

TEST(PerspectiveTransform, PointsRoundTripAwayFromTheEyePlane) {
  Rng rng(71);
  for (int n = 0; n < 200; ++n) {
    SCOPED_TRACE(n);
    PerspectiveTransform<3> p;
    p.preMultiply(rng.affine<3>());
    p *= rng.similarity<3>();
    const Point<3> q = rng.point<3>();
    const Point<3> image = q * p;
    if (!(image.isFinite() && (image - Point<3>::origin()).length() < 1e4)) continue;
    EXPECT_TRUE(near(image / p, q, 1e-7));
    EXPECT_TRUE(near(image * *inverseOf(p), q, 1e-7));
  }
}

// Records which of the two product slots each operator reaches.
class Recording : public PerspectiveTransform<2> {
public:
  std::string calls;
  PerspectiveTransform& divide(const AffineTransform<2>& a) override {
    calls += "divide;";
    return PerspectiveTransform::divide(a);
  }
  PerspectiveTransform& multiply(const AffineTransform<2>& a) override {
    calls += "multiply;";
    return PerspectiveTransform::multiply(a);
  }
};

TEST(PerspectiveTransform, DivideAssignMultipliesTooAndTheOperatorsCrossOver) {
  Recording r;
  const auto a = UniformTransform<2>::translation(Vector<2>(1, 2));
  r *= a;
  r /= a;
  EXPECT_EQ(r.calls, "divide;multiply;");
  const Matrix<3> twice = PerspectiveTransform<2>::m_unitTrn * a.homogeneous() * a.homogeneous();
  EXPECT_TRUE(sameMatrix(r.homogeneous(), twice));
}

TEST(PerspectiveTransform, SliceDropsTheLastSpatialAxis) {
  EXPECT_EQ(text(*sliceOf(PerspectiveTransform<3>())), L"[1,0,0/0,1,0/0,0,0]");
  // The slice maps (x, y) as the spatial transform maps (x, y, 0).
  PerspectiveTransform<3> g;
  const double pod[4][3] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 10}, {1, 2, 3}};
  g.preMultiply(NonUniformTransform<3>::createFromPod(pod));
  auto gs = sliceOf(g);
  ASSERT_EQ(dynamicType(*gs), typeid(PerspectiveTransform<2>));
  Rng rng(13);
  for (int n = 0; n < 20; ++n) {
    const Point<2> q2 = rng.point<2>();
    const Point<3> q3 = pt<3>(q2[0], q2[1], 0) * g;
    EXPECT_TRUE(near(q2 * *gs, Point<2>(q3[0], q3[1]), 1e-12));
  }
  auto s = sliceOf(PerspectiveTransform<2>());
  EXPECT_NE(dynamic_cast<PerspectiveTransform<1>*>(s.get()), nullptr);
}

}  // namespace
