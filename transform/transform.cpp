// The root of the transform family and the two kinds built from other
// transforms: compound (a chain of two) and sliced (a spatial transform used
// on the plane z = 0).
#include <qorcor14/transform/transform.h>

#include "transform/internal/block_cache.h"

#include <ostream>

// ---- Transform<N> ----

Transform<1>::~Transform() = default;

template <int N>
Transform<N>::~Transform() = default;

template <int N>
void* Transform<N>::operator new(std::size_t size) {
  return QOR::internal::allocateTransformBlock(size);
}

template <int N>
void Transform<N>::operator delete(void* p, std::size_t size) noexcept {
  QOR::internal::releaseTransformBlock(p, size);
}

template <int N>
Transform<N - 1>* Transform<N>::pSlice() const {
  return new SlicedTransform<N - 1>(clone());
}

template <int N>
Transform<N>* Transform<N>::composeWith(const Transform& other) const {
  // Each clone is owned by a smart pointer until the compound takes both, so
  // that a failing second clone does not leak the first.
  std::unique_ptr<Transform> first(clone());
  std::unique_ptr<Transform> second(other.clone());
  auto* r = new CompoundTransform<N>(first.get(), second.get());
  first.release();
  second.release();
  return r;
}

template <int N>
Extent<N> Transform<N>::preMultiply(const Extent<N>& e) const {
  if (e.degenerate()) return e;
  Extent<N> r;
  for (unsigned int i = 0; i < (1u << N); ++i) r += preMultiply(e.corner(i));
  return r;
}

template <int N>
Extent<N> Transform<N>::preDivide(const Extent<N>& e) const {
  if (e.degenerate()) return e;
  Extent<N> r;
  for (unsigned int i = 0; i < (1u << N); ++i) r += preDivide(e.corner(i));
  return r;
}

// ---- CompoundTransform<N> ----

template <int N>
CompoundTransform<N>::~CompoundTransform() {
  delete m_first;
  delete m_second;
}

template <int N>
CompoundTransform<N>* CompoundTransform<N>::clone() const {
  std::unique_ptr<Transform<N>> first(m_first->clone());
  std::unique_ptr<Transform<N>> second(m_second->clone());
  auto* r = new CompoundTransform(first.get(), second.get());
  first.release();
  second.release();
  return r;
}

template <int N>
Transform<N>* CompoundTransform<N>::pInverse() const {
  std::unique_ptr<Transform<N>> first(m_second->pInverse());
  std::unique_ptr<Transform<N>> second(m_first->pInverse());
  auto* r = new CompoundTransform(first.get(), second.get());
  first.release();
  second.release();
  return r;
}

template <int N>
std::wostream& CompoundTransform<N>::putOn(std::wostream& os) const {
  return os << *m_first << L'*' << *m_second;
}

template <int N>
Extent<N> CompoundTransform<N>::preMultiply(const Extent<N>& e) const {
  return e * *m_first * *m_second;
}

template <int N>
Point<N> CompoundTransform<N>::preMultiply(const Point<N>& p) const {
  return p * *m_first * *m_second;
}

template <int N>
Extent<N> CompoundTransform<N>::preDivide(const Extent<N>& e) const {
  return e / *m_second / *m_first;
}

template <int N>
Point<N> CompoundTransform<N>::preDivide(const Point<N>& p) const {
  return p / *m_second / *m_first;
}

// ---- SlicedTransform<N> ----

SlicedTransform<1>::~SlicedTransform() { delete m_wrapped; }

template <int N>
SlicedTransform<N>::~SlicedTransform() {
  delete m_wrapped;
}

template <int N>
SlicedTransform<N>* SlicedTransform<N>::clone() const {
  std::unique_ptr<Transform<N + 1>> w(m_wrapped->clone());
  auto* r = new SlicedTransform(w.get());
  w.release();
  return r;
}

template <int N>
Transform<N>* SlicedTransform<N>::pInverse() const {
  std::unique_ptr<Transform<N + 1>> w(m_wrapped->pInverse());
  auto* r = new SlicedTransform(w.get());
  w.release();
  return r;
}

template <int N>
std::wostream& SlicedTransform<N>::putOn(std::wostream& os) const {
  return os << *m_wrapped;
}

namespace {

Point<3> lift(const Point<2>& p) { return Point<3>(p[0], p[1], 0); }

Point<2> drop(const Point<3>& p) { return Point<2>(p[0], p[1]); }

Extent<3> lift(const Extent<2>& e) { return Extent<3>(lift(e.lo()), lift(e.hi())); }

// The spatial image's x and y ranges, or the canonical empty extent when it
// is empty on any of its three axes (z included).
Extent<2> drop(const Extent<3>& e) {
  if (e.degenerate()) return Extent<2>();
  return Extent<2>(drop(e.lo()), drop(e.hi()));
}

}  // namespace

template <int N>
Extent<N> SlicedTransform<N>::preMultiply(const Extent<N>& e) const {
  if (e.degenerate()) return Extent<N>();
  return drop(lift(e) * *m_wrapped);
}

template <int N>
Point<N> SlicedTransform<N>::preMultiply(const Point<N>& p) const {
  return drop(lift(p) * *m_wrapped);
}

template <int N>
Extent<N> SlicedTransform<N>::preDivide(const Extent<N>& e) const {
  if (e.degenerate()) return Extent<N>();
  return drop(lift(e) / *m_wrapped);
}

template <int N>
Point<N> SlicedTransform<N>::preDivide(const Point<N>& p) const {
  return drop(lift(p) / *m_wrapped);
}

template class Transform<2>;
template class Transform<3>;
template class CompoundTransform<2>;
template class CompoundTransform<3>;
template class SlicedTransform<2>;
