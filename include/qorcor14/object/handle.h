// qorcor14/object/handle.h - intrusive reference counting: QOR::Handlable
// carries the count, QOR::Handle<T> holds one reference.
//
// Shared heap objects of the library (event lists, colour profiles...) derive
// from QOR::Handlable and are handed out as QOR::Handle<T> by their static
// create functions. The last handle that lets go deletes the object.
#pragma once

#include <qorcor14/config.h>

#include <atomic>
#include <utility>

namespace QOR {

class HandleBase;

// The counting interface. Only handles (through HandleBase) count.
class QORCOR14_API IHandlable {
private:
  friend class HandleBase;
  // Adds one reference.
  virtual void adref() const = 0;
  // Drops one reference; the last one destroys the object.
  virtual void deref() const = 0;

protected:
  virtual ~IHandlable();
};

// The base of every reference-counted object: a count that starts at 0 and
// is changed only with interlocked operations.
//
// Example:
//   class Profile : public QOR::Handlable { ... };
//   QOR::Handle<Profile> p(new Profile);   // count 1
//   QOR::Handle<Profile> q = p;             // count 2
//   p = QOR::Handle<Profile>();             // count 1; deleted when q goes
//
// Note: copying an object does not copy its count (the copy starts at 0), and
// assigning one object to another leaves both counts alone, so a derived
// class's copy and assignment never disturb ownership.
// Note: the object must come from plain `new`: the last reference deletes it.
// Before deleting, the count is set back to 1, so a destructor that takes and
// drops a handle to its own object (1 -> 2 -> 1) does not delete it twice.
class QORCOR14_API Handlable : public IHandlable {
protected:
  Handlable() noexcept : IHandlable(), m_count(0) {}
  Handlable(const Handlable&) noexcept : IHandlable(), m_count(0) {}
  Handlable& operator=(const Handlable&) noexcept { return *this; }

  // Interlocked increment. A derived class may override counting.
  void adref() const override;
  // Interlocked exchange-add of -1; deletes the object when the count was 1.
  void deref() const override;

  ~Handlable() override;

private:
  friend class HandleBase;
  mutable long volatile m_count;
};

// The counting helpers of Handle<T>: null-safe, virtual calls to the object.
class QORCOR14_API HandleBase {
public:
  HandleBase& operator=(const HandleBase&) noexcept { return *this; }
  HandleBase& operator=(HandleBase&&) noexcept { return *this; }

protected:
  HandleBase() noexcept = default;
  HandleBase(const HandleBase&) noexcept = default;
  HandleBase(HandleBase&&) noexcept = default;
  ~HandleBase() = default;

  static void adref(const IHandlable* p) {
    if (p) p->adref();
  }
  static void deref(const IHandlable* p) {
    if (p) p->deref();
  }
  // The current count of p (not null): a snapshot, read without ordering.
  [[nodiscard]] static long refC(const Handlable* p) noexcept { return p->m_count; }
};

// One counted reference to a T (which derives from Handlable), or nothing.
//
// Example:
//   auto list = EVSubscriptionList<int>::create();   // a Handle, count 1
//   QOR::Handle<EVSubscriptionList<int>> other = list;
//   other.isLastHandle();                              // false: two handles
//
// Note: copies and destructions of handles to one object may run on any
// threads at once. One Handle object itself is not thread-safe: reading it
// on one thread while another assigns, swaps or moves into it is a race
// (reset alone exchanges the pointer atomically).
// Note: move assignment swaps: the source handle keeps the target's former
// object until it is destroyed or reset.
template <class T>
class Handle : public HandleBase {
public:
  Handle() noexcept : m_p(nullptr) {}
  // Takes a reference to p (none when p is null).
  explicit Handle(T* p) : m_p(p) { adref(p); }
  Handle(const Handle& h) : HandleBase(), m_p(h.m_p) { adref(m_p); }
  Handle(Handle&& h) noexcept : HandleBase(), m_p(std::exchange(h.m_p, nullptr)) {}
  ~Handle() { deref(m_p); }

  Handle& operator=(const Handle& h) {
    reset(h.get());
    return *this;
  }
  Handle& operator=(Handle&& h) noexcept {
    swap(h);
    return *this;
  }

  // Refers to p instead: takes the new reference, exchanges the pointer
  // atomically, then drops the old reference. h.reset(h.get()) is safe.
  void reset(T* p) {
    adref(p);
    T* old = std::atomic_ref<T*>(m_p).exchange(p);
    deref(old);
  }
  // Exchanges the pointers; no count changes.
  void swap(Handle& h) noexcept { std::swap(m_p, h.m_p); }

  // The object, without a null check.
  [[nodiscard]] T* get() const noexcept { return m_p; }
  T* operator->() const noexcept { return m_p; }
  T& operator*() const noexcept { return *m_p; }

  [[nodiscard]] bool null() const noexcept { return m_p == nullptr; }
  // True when this is the only handle to a non-null object (a snapshot).
  [[nodiscard]] bool isLastHandle() const { return m_p != nullptr && refC(m_p) == 1; }

  // Identity, not value.
  bool operator==(const Handle& h) const noexcept { return m_p == h.m_p; }
  bool operator!=(const Handle& h) const noexcept { return m_p != h.m_p; }

private:
  T* m_p;
};

}  // namespace QOR

QORCOR14_EXTERN_TEMPLATE(QORCOR14_API QOR::Handle<QOR::Handlable>)
