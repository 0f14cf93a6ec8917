// Run-time kind tests for composition and extent mapping, answered cheaply
// for the kinds already met.
//
// dynamic_cast walks the class tree comparing type names, and even typeid
// equality compares names: a program that links the library may hold its own
// copy of a class's type_info, so the addresses differ and the names are
// compared. Both cost more than the composition they decide. Here the name
// comparison is made once per type_info object met: its address is then
// remembered with the kind it names, and the next test is a few loads. Every
// answer is that of the dynamic_cast it replaces.
#pragma once

#include <qorcor14/transform/non_uniform.h>
#include <qorcor14/transform/projective.h>
#include <qorcor14/transform/uniform.h>

#include <atomic>
#include <typeinfo>

namespace QOR::internal {

// The dynamic type of a transform, as far as composition cares: exactly
// UniformTransform<N>, exactly NonUniformTransform<N>, exactly
// PerspectiveTransform<N>, or another class (the library's compound and
// sliced kinds, or one a program derived), which dynamic_cast must judge.
enum class TransformKind { uniform, nonUniform, perspective, other };

// The type_info addresses met so far and their kinds. Slots fill once and
// are never cleared; when all are taken, the names are compared every time.
template <int N>
class KindCache {
public:
  static TransformKind kindOf(const std::type_info& type) {
    for (const Slot& s : m_slots) {
      const std::type_info* known = s.type.load(std::memory_order_acquire);
      if (known == &type) return s.kind;
      if (known == nullptr) break;
    }
    const TransformKind kind = compareNames(type);
    remember(type, kind);
    return kind;
  }

private:
  struct Slot {
    std::atomic<const std::type_info*> type{nullptr};
    std::atomic<bool> claimed{false};
    TransformKind kind = TransformKind::other;
  };

  static TransformKind compareNames(const std::type_info& type) {
    if (type == typeid(UniformTransform<N>)) return TransformKind::uniform;
    if (type == typeid(NonUniformTransform<N>)) return TransformKind::nonUniform;
    if (type == typeid(PerspectiveTransform<N>)) return TransformKind::perspective;
    return TransformKind::other;
  }

  // A slot is claimed by its writer alone (the kind is written before the
  // address is published), so readers never see an address with a stale kind.
  static void remember(const std::type_info& type, TransformKind kind) {
    for (Slot& s : m_slots) {
      if (s.type.load(std::memory_order_acquire) == &type) return;
      if (s.claimed.exchange(true, std::memory_order_acq_rel)) continue;
      s.kind = kind;
      s.type.store(&type, std::memory_order_release);
      return;
    }
  }

  static inline Slot m_slots[8];
};

template <int N>
[[nodiscard]] inline TransformKind kindOf(const Transform<N>& t) {
  return KindCache<N>::kindOf(typeid(t));
}

// dynamic_cast<const AffineTransform<N>*>(&t).
template <int N>
[[nodiscard]] inline const AffineTransform<N>* asAffine(const Transform<N>& t) {
  switch (kindOf(t)) {
  case TransformKind::uniform: return static_cast<const UniformTransform<N>*>(&t);
  case TransformKind::nonUniform: return static_cast<const NonUniformTransform<N>*>(&t);
  case TransformKind::perspective: return nullptr;
  case TransformKind::other: break;
  }
  return dynamic_cast<const AffineTransform<N>*>(&t);
}

// dynamic_cast<const PerspectiveTransform<N>*>(&t).
template <int N>
[[nodiscard]] inline const PerspectiveTransform<N>* asPerspective(const Transform<N>& t) {
  switch (kindOf(t)) {
  case TransformKind::perspective: return static_cast<const PerspectiveTransform<N>*>(&t);
  case TransformKind::uniform:
  case TransformKind::nonUniform: return nullptr;
  case TransformKind::other: break;
  }
  return dynamic_cast<const PerspectiveTransform<N>*>(&t);
}

// dynamic_cast<const UniformTransform<N>*>(&t) != nullptr.
template <int N>
[[nodiscard]] inline bool isUniform(const AffineTransform<N>& t) {
  switch (kindOf<N>(t)) {
  case TransformKind::uniform: return true;
  case TransformKind::nonUniform:
  case TransformKind::perspective: return false;
  case TransformKind::other: break;
  }
  return dynamic_cast<const UniformTransform<N>*>(&t) != nullptr;
}

// True when t is exactly UniformTransform<N> or NonUniformTransform<N>: a
// kind whose point mapping is the affine one, not a program's override.
template <int N>
[[nodiscard]] inline bool isPlainAffine(const AffineTransform<N>& t) {
  const TransformKind kind = kindOf<N>(t);
  return kind == TransformKind::uniform || kind == TransformKind::nonUniform;
}

}  // namespace QOR::internal
