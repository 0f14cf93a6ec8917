// qorcor14/object/events.h - typed event-subscription lists: an event source
// owns an EVSubscriptionList<T>, listeners derive from EVSubscription<T>.
//
// The library provides exactly four event kinds: T = void (no value), int,
// std::wstring and Quark. A listener is attached by constructing it on a
// list and detached by destroy() or its destructor; firing the list calls
// every attached, unmuted listener in the order of their addresses, under
// the list's lock word taken shared.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/object/handle.h>
#include <qorcor14/object/quark.h>
#include <qorcor14/threading/lock.h>

#include <atomic>
#include <set>
#include <string>

template <class T>
class EVSubscription;
template <class T>
class EVSubscriptionListImp;

namespace QOR::internal {

// The callback's parameter list: nothing for void, the value otherwise.
template <class T>
struct EVSignature {
  using type = void(const T&);
};
template <>
struct EVSignature<void> {
  using type = void();
};

// The list interface's firing slot, in the form of the signature.
template <class Signature>
class EVFire;
template <class... A>
class EVFire<void(A...)> : public Handlable {
public:
  virtual void operator()(A... value) = 0;

protected:
  EVFire() = default;
  EVFire(const EVFire&) = default;
  EVFire& operator=(const EVFire&) = default;
  ~EVFire() override = default;
};

}  // namespace QOR::internal

// The common base of the subscription classes.
class QORCOR14_API EVSubscriptionBase {
protected:
  EVSubscriptionBase() = default;
};

namespace QOR::internal {

// The subscription's callback slot, in the form of the signature.
template <class Signature>
class EVCallback;
template <class... A>
class EVCallback<void(A...)> : public EVSubscriptionBase {
public:
  // Called for each event while attached and not muted.
  virtual void operator()(A... value) = 0;
  virtual ~EVCallback() = default;

protected:
  EVCallback() = default;
};

}  // namespace QOR::internal

// An event of kind T: firing it (operator(), with the value unless T is
// void) calls every attached listener.
//
// Example:
//   auto changed = EVSubscriptionList<int>::create();
//   (*changed)(42);           // every listener's operator()(42)
//
// Note: listeners run on the firing thread, under the list's lock held
// shared. Several threads may fire at once; attaching and detaching wait
// until running notifications end. The lock is not re-entrant: a listener
// must not attach to or detach from (nor destroy a listener of) the list
// that is calling it, or it waits for ever. Firing again from a listener is
// fine.
// Note: the list holds plain pointers: it neither counts nor owns its
// listeners. Each listener holds a reference to the list instead, so the
// list lives as long as its last handle or listener.
template <class T>
class QORCOR14_API EVSubscriptionList : public QOR::internal::EVFire<typename QOR::internal::EVSignature<T>::type> {
public:
  // A new, empty list and the first handle to it.
  [[nodiscard]] static QOR::Handle<EVSubscriptionList> create();

protected:
  EVSubscriptionList() = default;
  // A fresh list base: count 0, as for every Handlable.
  EVSubscriptionList(const EVSubscriptionList&) = default;
  EVSubscriptionList& operator=(const EVSubscriptionList&) { return *this; }
  ~EVSubscriptionList() override = default;

private:
  friend class EVSubscription<T>;
  virtual void insert(EVSubscription<T>* s) = 0;
  virtual void erase(EVSubscription<T>* s) = 0;
};

namespace QOR::internal {

// The firing slot of the concrete list: passes the value to notify.
template <class T, class Signature>
class EVFiring;
template <class T, class... A>
class EVFiring<T, void(A...)> : public EVSubscriptionList<T> {
public:
  void operator()(A... value) override { static_cast<EVSubscriptionListImp<T>&>(*this).notify(value...); }

protected:
  EVFiring() = default;
  EVFiring(const EVFiring&) = default;
  EVFiring& operator=(const EVFiring&) = default;
  ~EVFiring() override = default;
};

}  // namespace QOR::internal

// The one concrete list: a lock word and the set of listeners, ordered by
// address.
//
// Note: copies and moves are member-wise, for storing lists by value: a copy
// gets the listener set and the lock word's current value; a move takes the
// set and leaves the source's empty. Listeners are not told: they stay
// attached to (and detach from) the list they were constructed on, so a
// copied set may outlive its listeners. Copy a list only while nothing
// attaches to it, detaches from it or fires it.
// Note: a list held by value must never have a listener attached. A
// listener holds its list through a QOR::Handle: the first attachment
// raises the list's count from 0 to 1, and the last detachment then deletes
// a list that was never allocated with new. Attach listeners only to lists
// made by EVSubscriptionList<T>::create(); keep by-value lists for copying
// and moving listener sets.
template <class T>
class QORCOR14_API EVSubscriptionListImp
    : public QOR::internal::EVFiring<T, typename QOR::internal::EVSignature<T>::type> {
public:
  EVSubscriptionListImp();
  EVSubscriptionListImp(const EVSubscriptionListImp& other);
  EVSubscriptionListImp(EVSubscriptionListImp&& other) noexcept;
  EVSubscriptionListImp& operator=(const EVSubscriptionListImp& other);
  EVSubscriptionListImp& operator=(EVSubscriptionListImp&& other) noexcept;
  ~EVSubscriptionListImp() override;

private:
  template <class U, class Signature>
  friend class QOR::internal::EVFiring;

  // Calls every unmuted listener with the value, in address order, under the
  // lock taken shared.
  template <class... A>
  void notify(const A&... value);

  void insert(EVSubscription<T>* s) override;
  void erase(EVSubscription<T>* s) override;

  long volatile m_lock;
  std::set<EVSubscription<T>*> m_subscribers;
};

// A listener to events of kind T: derive, implement operator() (taking
// nothing for void, const T& otherwise), construct on a list.
//
// Example:
//   class Counter : public EVSubscription<int> {
//   public:
//     explicit Counter(EVSubscriptionList<int>& list) : EVSubscription(list, StartMuted{}) { unmute(); }
//     ~Counter() override { destroy(); }       // first, always
//     void operator()(const int& v) override { m_sum += v; }
//   private:
//     long m_sum = 0;
//   };
//   auto list = EVSubscriptionList<int>::create();
//   Counter c(*list);
//   (*list)(5);                                 // c.m_sum == 5
//
// Note: the base constructor attaches the listener before the derived class
// exists, and the base destructor detaches it after the derived class is
// gone; an event fired on another thread in either interval would call a
// pure virtual function. So a derived class must
//   - call destroy() first thing in its destructor (it waits for running
//     notifications), and
//   - if the list may be fired on another thread while it is being
//     constructed, construct the base with `StartMuted{}` and call unmute() as
//     the last step of its own constructor: notifications skip it until
//     then. The plain constructor is safe only while no other thread fires
//     the list.
// Note: not copyable; not reference-counted (its owner destroys it).
template <class T>
class QORCOR14_API EVSubscription : public QOR::internal::EVCallback<typename QOR::internal::EVSignature<T>::type> {
public:
  EVSubscription(const EVSubscription&) = delete;
  EVSubscription& operator=(const EVSubscription&) = delete;

  // Detaches (destroy()), then drops the list reference if still held.
  ~EVSubscription() override = 0;

  // While the mute count is not 0, notifications pass this listener over.
  // Muting nests: each mute() needs its unmute().
  void mute() noexcept { std::atomic_ref<long>(m_mute).fetch_add(1); }
  void unmute() noexcept { std::atomic_ref<long>(m_mute).fetch_sub(1); }
  [[nodiscard]] bool muted() const noexcept { return std::atomic_ref<long>(const_cast<long&>(m_mute)).load() != 0; }

protected:
  // The tag of the constructor that attaches the listener muted once.
  struct StartMuted {};

  // Mute count 0, a reference to `list`, then attaches (list.insert).
  explicit EVSubscription(EVSubscriptionList<T>& list);
  // As above with mute count 1: the derived constructor ends with unmute().
  EVSubscription(EVSubscriptionList<T>& list, StartMuted);

  // Detaches: erases this listener from the list (waiting for running
  // notifications) and drops the list reference, which may delete the list.
  // Does nothing once detached.
  void destroy();

private:
  long m_mute;
  QOR::Handle<EVSubscriptionList<T>> m_list;
};

template <class T>
template <class... A>
void EVSubscriptionListImp<T>::notify(const A&... value) {
  ReadWriteLockShared lock(m_lock);
  for (EVSubscription<T>* s : m_subscribers)
    if (!s->muted()) (*s)(value...);
}

QORCOR14_EXTERN_TEMPLATE(EVSubscriptionList<void>)
QORCOR14_EXTERN_TEMPLATE(EVSubscriptionList<int>)
QORCOR14_EXTERN_TEMPLATE(EVSubscriptionList<std::wstring>)
QORCOR14_EXTERN_TEMPLATE(EVSubscriptionList<Quark>)
QORCOR14_EXTERN_TEMPLATE(EVSubscriptionListImp<void>)
QORCOR14_EXTERN_TEMPLATE(EVSubscriptionListImp<int>)
QORCOR14_EXTERN_TEMPLATE(EVSubscriptionListImp<std::wstring>)
QORCOR14_EXTERN_TEMPLATE(EVSubscriptionListImp<Quark>)
QORCOR14_EXTERN_TEMPLATE(EVSubscription<void>)
QORCOR14_EXTERN_TEMPLATE(EVSubscription<int>)
QORCOR14_EXTERN_TEMPLATE(EVSubscription<std::wstring>)
QORCOR14_EXTERN_TEMPLATE(EVSubscription<Quark>)
