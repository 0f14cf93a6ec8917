#include "support.h"

#include <memory>
#include <typeinfo>

using namespace tfm;

namespace {

// Shifts x by one, optionally sets z to NaN, and counts live instances.
template <int N>
class Counted : public Transform<N> {
public:
  static inline int live = 0;
  explicit Counted(bool nanZ = false) : m_nanZ(nanZ) { ++live; }
  Counted(const Counted& o) : Transform<N>(o), m_nanZ(o.m_nanZ) { ++live; }
  ~Counted() override { --live; }
  Counted* clone() const override { return new Counted(*this); }
  Transform<N>* pInverse() const override { return new Counted(*this); }

protected:
  std::wostream& putOn(std::wostream& os) const override { return os << L"C"; }
  Point<N> preMultiply(const Point<N>& p) const override { return shift(p, 1); }
  Point<N> preDivide(const Point<N>& p) const override { return shift(p, -1); }

private:
  Point<N> shift(const Point<N>& p, double dx) const {
    double c[N];
    p.packToPod(c);
    c[0] += dx;
    if (m_nanZ && N == 3) c[N - 1] = kNaN;
    return Point<N>(c);
  }
  bool m_nanZ;
};

enum Kind { U, NU, P, C, S };
const char* const kKindNames[] = {"uniform", "non-uniform", "perspective", "compound", "sliced"};

template <int N>
std::unique_ptr<Transform<N>> make(Kind k) {
  const Vector<N> shift = (pt<N>(0.5, -0.25, 0.125) - Point<N>::origin());
  switch (k) {
  case U: {
    auto u = UniformTransform<N>::scale(1.5);
    u *= UniformTransform<N>::translation(shift);
    return cloneOf(u);
  }
  case NU: {
    if constexpr (N == 2) {
      const double pod[3][2] = {{2, 0.5}, {0, 3}, {1, 1}};
      return cloneOf(NonUniformTransform<2>::createFromPod(pod));
    } else {
      const double pod[4][3] = {{2, 0.5, 0}, {0, 3, 0.25}, {0.5, 0, 1.5}, {1, 1, 1}};
      return cloneOf(NonUniformTransform<3>::createFromPod(pod));
    }
  }
  case P: {
    auto p = std::make_unique<PerspectiveTransform<N>>();
    p->preMultiply(
        UniformTransform<N>::translation(-(pt<N>(0, N == 2 ? 20 : 0, N == 3 ? 20 : 0) - Point<N>::origin())));
    return p;
  }
  case C: return std::make_unique<CompoundTransform<N>>(make<N>(U).release(), make<N>(NU).release());
  case S:
  default:
    if constexpr (N == 2) {
      // Keeps the plane z = 0, so that the slice maps back.
      auto u = UniformTransform<3>::scale(1.5);
      u *= UniformTransform<3>::translation(Vector<3>(0.5, -0.25, 0));
      const CompoundTransform<3> c(cloneOf(u).release(), cloneOf(NonUniformTransform<3>::scale(2, 3, 4)).release());
      return std::unique_ptr<Transform<2>>(c.pSlice());
    } else {
      return nullptr;
    }
  }
}

template <int N>
const std::type_info& expected(Kind a, Kind b) {
  if (a == C || a == S) return typeid(CompoundTransform<N>);
  if (a == P) return b == U || b == NU ? typeid(PerspectiveTransform<N>) : typeid(CompoundTransform<N>);
  if (b == U) return a == U ? typeid(UniformTransform<N>) : typeid(NonUniformTransform<N>);
  if (b == NU) return typeid(NonUniformTransform<N>);
  if (b == P) return typeid(PerspectiveTransform<N>);
  return typeid(CompoundTransform<N>);
}

template <int N>
void checkEveryPair(int kinds) {
  Rng rng(100 + N);
  for (int i = 0; i < kinds; ++i)
    for (int j = 0; j < kinds; ++j) {
      const Kind ka = static_cast<Kind>(i), kb = static_cast<Kind>(j);
      SCOPED_TRACE(std::string(kKindNames[i]) + " then " + kKindNames[j]);
      const auto a = make<N>(ka), b = make<N>(kb);
      const auto r = compose(*a, *b);
      ASSERT_TRUE(r);
      EXPECT_EQ(typeid(*r), expected<N>(ka, kb)) << typeid(*r).name();
      if (typeid(*r) == typeid(CompoundTransform<N>)) {
        EXPECT_EQ(text(*r), text(*a) + L"*" + text(*b));
        const auto& c = dynamic_cast<const CompoundTransform<N>&>(*r);
        EXPECT_EQ(typeid(c.first()), typeid(*a));
        EXPECT_EQ(typeid(c.second()), typeid(*b));
      }
      // Whatever the kind, the result maps as a and then b, and back.
      for (int n = 0; n < 10; ++n) {
        const Point<N> q = rng.point<N>(2);
        EXPECT_TRUE(near(q * *r, q * *a * *b, 1e-9));
        EXPECT_TRUE(near(q * *r / *r, q, 1e-7));
      }
    }
}

TEST(Composition, EveryPlanarPairGivesTheMostSpecificKind) { checkEveryPair<2>(5); }

TEST(Composition, EverySpatialPairGivesTheMostSpecificKind) { checkEveryPair<3>(4); }

TEST(CompoundTransform, BoundsExtentsAfterEachPart) {
  // Two turns of 45 degrees give a wider box than a single turn of 90 would.
  const auto r45 = UniformTransform<2>::rotation(Angle::degrees(45));
  const CompoundTransform<2> twice(cloneOf(r45).release(), cloneOf(r45).release());
  const Extent<2> unit(Point<2>(0, 0), Point<2>(1, 1));
  EXPECT_TRUE(near((unit * twice).lo(), Point<2>(-1.5, -0.5), 1e-14));
  EXPECT_TRUE(near((unit * twice).hi(), Point<2>(0.5, 1.5), 1e-14));
  EXPECT_TRUE(near((unit / twice).lo(), Point<2>(-0.5, -1.5), 1e-14));
}

TEST(CompoundTransform, DeletesWhatItOwnsThroughTheBase) {
  ASSERT_EQ(Counted<2>::live, 0);
  {
    auto c = compose(UniformTransform<2>(), Counted<2>());
    EXPECT_EQ(Counted<2>::live, 1);  // the clone inside; the argument is gone
    auto cc = compose(*c, Counted<2>());
    EXPECT_EQ(Counted<2>::live, 3);
    ASSERT_EQ(dynamicType(*cc), typeid(CompoundTransform<2>));
    EXPECT_EQ(text(*cc), L"(0,0)*1~0*C*C");
    auto inv = inverseOf(*cc);
    EXPECT_EQ(Counted<2>::live, 5);
    auto copy = cloneOf(*cc);
    EXPECT_EQ(Counted<2>::live, 7);
    Transform<2>* raw = copy.release();
    delete raw;  // through the base
    EXPECT_EQ(Counted<2>::live, 5);
  }
  EXPECT_EQ(Counted<2>::live, 0);
}

TEST(SlicedTransform, RootSliceWrapsAnOwnedClone) {
  ASSERT_EQ(Counted<2>::live, 0);
  ASSERT_EQ(Counted<3>::live, 0);
  {
    const Counted<2> planar;
    std::unique_ptr<Transform<1>> line = sliceOf(planar);
    ASSERT_EQ(dynamicType(*line), typeid(SlicedTransform<1>));
    EXPECT_EQ(Counted<2>::live, 2);
    const Counted<3> spatial;
    auto s = sliceOf(spatial);
    ASSERT_EQ(dynamicType(*s), typeid(SlicedTransform<2>));
    EXPECT_EQ(Counted<3>::live, 2);
    auto again = sliceOf(*s);  // the sliced kind slices through the root too
    EXPECT_EQ(dynamicType(*again), typeid(SlicedTransform<1>));
    EXPECT_EQ(Counted<3>::live, 3);
    auto inv = inverseOf(*s);
    EXPECT_EQ(dynamicType(*inv), typeid(SlicedTransform<2>));
    EXPECT_EQ(Counted<3>::live, 4);
  }
  EXPECT_EQ(Counted<2>::live, 0);
  EXPECT_EQ(Counted<3>::live, 0);
}

TEST(SlicedTransform, MapsTheXYPlaneAndDropsZ) {
  // (x, y, z) -> (x, -z, y) up to rounding: the plane z = 0 lands on y = 0.
  const auto rx = UniformTransform<3>::rotation(Angle::degrees(90), Vector<3>(1, 0, 0));
  SlicedTransform<2> s(cloneOf(rx).release());
  EXPECT_TRUE(near(Point<2>(3, 4) * s, Point<2>(3, 0), 1e-15));
  const Extent<2> e = Extent<2>(Point<2>(0, 0), Point<2>(1, 1)) * s;
  EXPECT_TRUE(near(e.lo(), Point<2>(0, 0), 1e-15));
  EXPECT_TRUE(near(e.hi(), Point<2>(1, 0), 1e-15));
  EXPECT_EQ(text(s), text(rx));
  EXPECT_EQ(Point<2>(1, 2) * SlicedTransform<2>(new Counted<3>()), Point<2>(2, 2));
  EXPECT_EQ(Point<2>(1, 2) / SlicedTransform<2>(new Counted<3>()), Point<2>(0, 2));
  EXPECT_EQ(Counted<3>::live, 0);
}

TEST(SlicedTransform, EmptyResultsAreCanonical) {
  const Extent<2> odd = box<2>({3, 0, 0}, {1, 1, 0});
  SlicedTransform<2> shift(new Counted<3>());
  EXPECT_EQ(odd * shift, Extent<2>());
  EXPECT_EQ(odd / shift, Extent<2>());
  const Extent<2> unit(Point<2>(0, 0), Point<2>(1, 1));
  EXPECT_EQ(unit * shift, Extent<2>(Point<2>(1, 0), Point<2>(2, 1)));
  // Empty in z alone is enough to empty the whole slice.
  SlicedTransform<2> nanZ(new Counted<3>(true));
  EXPECT_EQ(unit * nanZ, Extent<2>());
  EXPECT_EQ(unit / nanZ, Extent<2>());
}

}  // namespace
