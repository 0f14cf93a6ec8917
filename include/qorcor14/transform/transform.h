// qorcor14/transform/transform.h - the root of the polymorphic transform
// family (Transform<N>), the two kinds built from other transforms
// (CompoundTransform<N>, a chain of two, and SlicedTransform<N>, a spatial
// transform restricted to the plane z = 0), and the operators that apply a
// transform to points and extents.
//
// Points are row vectors: "p * t" maps p forward through t and "p / t" maps it
// back. Applying a and then b is a.composeWith(b). Every clone, inverse, slice
// and composition is a new heap object that the caller owns and deletes
// through the virtual destructor; cloneOf, inverseOf, sliceOf and compose wrap
// them in std::unique_ptr.
//
// Nothing here reports numeric failure: singular or degenerate transforms give
// infinities or NaN.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/geometry/extent.h>
#include <qorcor14/geometry/vector.h>

#include <cstddef>
#include <memory>
#include <ostream>
#include <type_traits>

template <int N>
class Transform;
template <int N>
class AffineTransform;
template <int N>
class CompoundTransform;
template <int N>
class SlicedTransform;
template <int N>
class PerspectiveTransform;

// The root of the transforms of the plane (N = 2) and of space (N = 3).
// Abstract; holds no data.
//
// Example:
//   UniformTransform<2> r = UniformTransform<2>::rotation(Angle::degrees(90));
//   const Transform<2>& t = r;
//   Point<2>(1, 0) * t;                            // about (0,1)
//   Extent<2>(Point<2>(0, 0), Point<2>(1, 1)) * t; // about (-1,0):(0,1)
//   std::unique_ptr<Transform<2>> back = inverseOf(t);
//
// Note: the point and extent workers are protected; the operators below are
// the way to reach them.
template <int N>
class QORCOR14_API Transform {
  static_assert(N == 2 || N == 3, "Transform<N> exists for N = 2 and 3; Transform<1> is specialised");

public:
  virtual ~Transform();

  // A new heap copy of the same kind; the caller owns it.
  [[nodiscard]] virtual Transform* clone() const = 0;
  // A new heap transform that undoes this one; the caller owns it.
  [[nodiscard]] virtual Transform* pInverse() const = 0;
  // The restriction to the plane z = 0 as a transform of one dimension less,
  // new on the heap. Here: a SlicedTransform<N - 1> around clone().
  [[nodiscard]] virtual Transform<N - 1>* pSlice() const;
  // This followed by other, new on the heap, of the most specific kind that
  // can represent it. Here: a CompoundTransform<N> of clone() and
  // other.clone().
  [[nodiscard]] virtual Transform* composeWith(const Transform& other) const;

  // Forward mapping: p * t, e * t (and the assigning forms).
  [[nodiscard]] friend Point<N> operator*(const Point<N>& p, const Transform& t) { return t.preMultiply(p); }
  [[nodiscard]] friend Extent<N> operator*(const Extent<N>& e, const Transform& t) { return t.preMultiply(e); }
  friend Point<N>& operator*=(Point<N>& p, const Transform& t) { return p = t.preMultiply(p); }
  friend Extent<N>& operator*=(Extent<N>& e, const Transform& t) { return e = t.preMultiply(e); }
  // Backward mapping: p / t, e / t (and the assigning forms).
  [[nodiscard]] friend Point<N> operator/(const Point<N>& p, const Transform& t) { return t.preDivide(p); }
  [[nodiscard]] friend Extent<N> operator/(const Extent<N>& e, const Transform& t) { return t.preDivide(e); }
  friend Point<N>& operator/=(Point<N>& p, const Transform& t) { return p = t.preDivide(p); }
  friend Extent<N>& operator/=(Extent<N>& e, const Transform& t) { return e = t.preDivide(e); }

  // The text form of the concrete kind.
  friend std::wostream& operator<<(std::wostream& os, const Transform& t) { return t.putOn(os); }

  // Every composition, inverse and clone is a new heap object: the memory of
  // deleted transforms is kept for the next ones instead of going back to the
  // platform heap each time. new and delete work as usual, placement new too.
  static void* operator new(std::size_t size);
  static void operator delete(void* p, std::size_t size) noexcept;
  static void* operator new(std::size_t, void* where) noexcept { return where; }
  static void operator delete(void*, void*) noexcept {}

protected:
  Transform() = default;
  Transform(const Transform&) = default;
  Transform& operator=(const Transform&) = default;

  virtual std::wostream& putOn(std::wostream& os) const = 0;
  // The bounding extent of the 2^N mapped corners, visited in the order of
  // Extent::corner. A degenerate extent is returned unchanged.
  [[nodiscard]] virtual Extent<N> preMultiply(const Extent<N>& e) const;
  [[nodiscard]] virtual Point<N> preMultiply(const Point<N>& p) const = 0;
  // As preMultiply(Extent), through preDivide(Point).
  [[nodiscard]] virtual Extent<N> preDivide(const Extent<N>& e) const;
  [[nodiscard]] virtual Point<N> preDivide(const Point<N>& p) const = 0;
};

// The root of the one-dimensional kinds, which exist only as the result of
// slicing a planar transform: they can be held and deleted, nothing more.
template <>
class QORCOR14_API Transform<1> {
public:
  virtual ~Transform();

protected:
  Transform() = default;
  Transform(const Transform&) = default;
  Transform& operator=(const Transform&) = default;
};

// first, then second: a chain of two owned transforms of the same dimension.
// Made by composeWith when the parts cannot be merged into one matrix.
//
// Example:
//   auto c = compose(PerspectiveTransform<2>(), PerspectiveTransform<2>());
//   dynamic_cast<CompoundTransform<2>*>(c.get());   // non-null
//   std::wcout << *c;   // first's text, "*", second's text
//
// Note: composing a compound with anything makes a compound of compounds; the
// chain is never flattened.
template <int N>
class QORCOR14_API CompoundTransform : public Transform<N> {
public:
  // Takes ownership of both; neither may be null.
  CompoundTransform(Transform<N>* first, Transform<N>* second) : m_first(first), m_second(second) {}
  CompoundTransform(const CompoundTransform&) = delete;
  CompoundTransform& operator=(const CompoundTransform&) = delete;
  // Deletes both parts.
  ~CompoundTransform() override;

  // A compound of clones of both parts.
  [[nodiscard]] CompoundTransform* clone() const override;
  // The compound of second's inverse, then first's inverse.
  [[nodiscard]] Transform<N>* pInverse() const override;

  [[nodiscard]] const Transform<N>& first() const { return *m_first; }
  [[nodiscard]] const Transform<N>& second() const { return *m_second; }

protected:
  // first's text, "*", second's text.
  std::wostream& putOn(std::wostream& os) const override;
  [[nodiscard]] Extent<N> preMultiply(const Extent<N>& e) const override;
  [[nodiscard]] Point<N> preMultiply(const Point<N>& p) const override;
  [[nodiscard]] Extent<N> preDivide(const Extent<N>& e) const override;
  [[nodiscard]] Point<N> preDivide(const Point<N>& p) const override;

private:
  Transform<N>* m_first;
  Transform<N>* m_second;
};

// A transform of N + 1 dimensions used on the plane z = 0: a point (x, y) is
// mapped as (x, y, 0) and the result's z is dropped. SlicedTransform<2> wraps
// a Transform<3>; SlicedTransform<1> wraps a Transform<2> and, like every
// one-dimensional transform, only holds it.
//
// Example:
//   CompoundTransform<3> c(new PerspectiveTransform<3>(), new PerspectiveTransform<3>());
//   auto s = sliceOf(c);            // a SlicedTransform<2> around a clone of c
//   Point<2>(1, 2) * *s;            // (1, 2, 0) through c, z dropped
//
// Note: an empty extent maps to the canonical empty extent, not to the input,
// and so does one whose spatial image is empty on any axis.
template <int N>
class QORCOR14_API SlicedTransform : public Transform<N> {
  static_assert(N == 2, "SlicedTransform<1> is specialised");

public:
  // Takes ownership of wrapped, which may not be null.
  explicit SlicedTransform(Transform<N + 1>* wrapped) : m_wrapped(wrapped) {}
  SlicedTransform(const SlicedTransform&) = delete;
  SlicedTransform& operator=(const SlicedTransform&) = delete;
  // Deletes the wrapped transform.
  ~SlicedTransform() override;

  // A sliced transform around a clone of the wrapped one.
  [[nodiscard]] SlicedTransform* clone() const override;
  // A sliced transform around the wrapped one's inverse.
  [[nodiscard]] Transform<N>* pInverse() const override;

  [[nodiscard]] const Transform<N + 1>& wrapped() const { return *m_wrapped; }

protected:
  // The wrapped transform's text.
  std::wostream& putOn(std::wostream& os) const override;
  [[nodiscard]] Extent<N> preMultiply(const Extent<N>& e) const override;
  [[nodiscard]] Point<N> preMultiply(const Point<N>& p) const override;
  [[nodiscard]] Extent<N> preDivide(const Extent<N>& e) const override;
  [[nodiscard]] Point<N> preDivide(const Point<N>& p) const override;

private:
  Transform<N + 1>* m_wrapped;
};

// The slice of a planar transform: owns the Transform<2> it was made from.
template <>
class QORCOR14_API SlicedTransform<1> : public Transform<1> {
public:
  // Takes ownership of wrapped.
  explicit SlicedTransform(Transform<2>* wrapped) : m_wrapped(wrapped) {}
  SlicedTransform(const SlicedTransform&) = delete;
  SlicedTransform& operator=(const SlicedTransform&) = delete;
  // Deletes the wrapped transform.
  ~SlicedTransform() override;

  [[nodiscard]] const Transform<2>& wrapped() const { return *m_wrapped; }

private:
  Transform<2>* m_wrapped;
};

// Owning conveniences over the raw heap results.

// t.clone(), keeping the static kind where clone() is covariant.
template <class T>
[[nodiscard]] auto cloneOf(const T& t) {
  return std::unique_ptr<std::remove_pointer_t<decltype(t.clone())>>(t.clone());
}
// t.pInverse().
template <int N>
[[nodiscard]] std::unique_ptr<Transform<N>> inverseOf(const Transform<N>& t) {
  return std::unique_ptr<Transform<N>>(t.pInverse());
}
// t.pSlice().
template <int N>
[[nodiscard]] std::unique_ptr<Transform<N - 1>> sliceOf(const Transform<N>& t) {
  return std::unique_ptr<Transform<N - 1>>(t.pSlice());
}
// a.composeWith(b): a, then b.
template <int N>
[[nodiscard]] std::unique_ptr<Transform<N>> compose(const Transform<N>& a, const Transform<N>& b) {
  return std::unique_ptr<Transform<N>>(a.composeWith(b));
}

QORCOR14_EXTERN_TEMPLATE(Transform<2>)
QORCOR14_EXTERN_TEMPLATE(Transform<3>)
QORCOR14_EXTERN_TEMPLATE(CompoundTransform<2>)
QORCOR14_EXTERN_TEMPLATE(CompoundTransform<3>)
QORCOR14_EXTERN_TEMPLATE(SlicedTransform<2>)
