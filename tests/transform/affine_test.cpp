#include "support.h"

using namespace tfm;

namespace {

TEST(AffineTransform, ExtentsBoundEveryMappedCornerAndEmptyOnesComeBackUnchanged) {
  const auto r = UniformTransform<2>::rotation(Angle::degrees(45));
  const double h = std::sqrt(2.0) / 2;
  const Extent<2> unit(Point<2>(0, 0), Point<2>(1, 1));
  EXPECT_TRUE(near((unit * r).lo(), Point<2>(-h, 0), 1e-15));
  EXPECT_TRUE(near((unit * r).hi(), Point<2>(h, 2 * h), 1e-15));
  // Backwards: the bounding box of the corners mapped by the inverse rotation.
  EXPECT_TRUE(near((unit / r).lo(), Point<2>(0, -h), 1e-15));
  EXPECT_TRUE(near((unit / r).hi(), Point<2>(2 * h, h), 1e-15));
  // All eight corners: (x, y, z) -> (x, -z, y) up to rounding.
  const auto rx = UniformTransform<3>::rotation(Angle::degrees(90), Vector<3>(1, 0, 0));
  EXPECT_TRUE(near((box<3>({0, 1, 2}, {1, 3, 5}) * rx).lo(), Point<3>(0, -5, 1), 1e-12));
  EXPECT_TRUE(near((box<3>({0, 1, 2}, {1, 3, 5}) * rx).hi(), Point<3>(1, -2, 3), 1e-12));
  const Extent<2> odd = box<2>({5, 0, 0}, {1, 9, 0});  // lo above hi on x only
  EXPECT_EQ(odd * r, odd);
  EXPECT_EQ(odd / r, odd);
}

TEST(AffineTransform, HomogeneousPutsTranslationInTheLastRow) {
  const double pod[4][3] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}};
  EXPECT_EQ(text(NonUniformTransform<3>::createFromPod(pod).homogeneous()), L"[1,2,3,0/4,5,6,0/7,8,9,0/10,11,12,1]");
}

TEST(AffineTransform, MirroringNeedsAStrictlyNegativeDeterminant) {
  EXPECT_FALSE(NonUniformTransform<2>::scale(-0.0, 1).mirroring());
  EXPECT_TRUE(NonUniformTransform<2>::scale(-1, 1).mirroring());
  EXPECT_TRUE(UniformTransform<3>::scale(-1).mirroring());
  EXPECT_FALSE(NonUniformTransform<3>::scale(-1, -1, 1).mirroring());
}

TEST(AffineTransform, VectorsIgnoreTheTranslationAndAssigningFormsMatchTheBinaryOnes) {
  Rng rng(11);
  for (int n = 0; n < 200; ++n) {
    SCOPED_TRACE(n);
    const auto a2 = rng.affine<2>();
    const auto a3 = rng.affine<3>();
    const Point<2> p2 = rng.point<2>();
    const Point<3> p3 = rng.point<3>();
    const Vector<3> v = rng.vector<3>();
    EXPECT_TRUE(near(v * a3 / a3, v));
    // A vector maps as the difference of two mapped points.
    EXPECT_TRUE(near(v * a3, (p3 + v) * a3 - p3 * a3, 1e-12));
    Point<2> p = p2;
    EXPECT_EQ(p *= a2, p2 * a2);
    EXPECT_EQ(p /= a2, p2 * a2 / a2);
    Vector<3> w = v;
    EXPECT_EQ(w *= a3, v * a3);
    EXPECT_EQ(w /= a3, v * a3 / a3);
    Extent<2> e(p2, p2 + Vector<2>(1, 1));
    const Extent<2> e0 = e;
    EXPECT_EQ(e *= a2, e0 * a2);
    EXPECT_EQ(e /= a2, e0 * a2 / a2);
    NonUniformTransform<3> ab = a3;  // multiply is this then other, divide undoes it
    ab *= rng.affine<3>();
    EXPECT_TRUE(near(p3 * ab / ab, p3));
    EXPECT_TRUE(near(p3 * a3 * a3.inverse(), p3));
  }
}

TEST(AffineTransform, MultiplyByItselfUsesTheMatrixBeforeTheUpdate) {
  Rng rng(8);
  const auto a = rng.affine<2>();
  NonUniformTransform<2> self = a, other = a;
  const NonUniformTransform<2> copy = a;
  self.multiply(self);
  other.multiply(copy);
  EXPECT_TRUE(sameMatrix(self.homogeneous(), other.homogeneous()));
  self.divide(self);  // (t - t)·M⁻¹ and M·M⁻¹
  EXPECT_EQ(self.translation(), Vector<2>(0, 0));
  EXPECT_TRUE(near(Point<2>(3, -4) * self, Point<2>(3, -4)));
}

TEST(AffineTransform, SingularMatrixMapsBackToNonFiniteValuesWithoutThrowing) {
  const auto flat = NonUniformTransform<2>::scale(1, 0);
  EXPECT_FALSE((Point<2>(1, 1) / flat).isFinite());
  EXPECT_FALSE((Vector<2>(1, 1) / flat).isFinite());
}

TEST(AffineTransform, SpatialSliceKeepsTheUpperLeftBlockAndXYTranslation) {
  const double pod[4][3] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}};
  auto s = sliceOf(NonUniformTransform<3>::createFromPod(pod));
  ASSERT_NE(dynamic_cast<NonUniformTransform<2>*>(s.get()), nullptr);
  EXPECT_EQ(text(*s), L"(10,11)+[1,2/4,5]");
  // The slice of a uniform transform is non-uniform too.
  EXPECT_EQ(dynamicType(*sliceOf(UniformTransform<3>::scale(2))), typeid(NonUniformTransform<2>));
}

TEST(AffineTransform, PlanarSliceThrowsABareStringPastErrorHandlers) {
  const char* caught = nullptr;
  try {
    try {
      delete UniformTransform<2>().pSlice();
    } catch (const std::exception&) {
      ADD_FAILURE() << "a std::exception handler caught it";
    }
  } catch (const char* s) {
    caught = s;
  }
  ASSERT_NE(caught, nullptr);
  EXPECT_STREQ(caught, "Not Implemented");
  EXPECT_THROW(delete NonUniformTransform<2>().pSlice(), const char*);
}

}  // namespace
