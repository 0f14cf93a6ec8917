// Event lists and subscriptions, instantiated for the four event kinds.
#include <qorcor14/object/events.h>

#include <utility>

template <class T>
QOR::Handle<EVSubscriptionList<T>> EVSubscriptionList<T>::create() {
  return QOR::Handle<EVSubscriptionList<T>>(new EVSubscriptionListImp<T>());
}

template <class T>
EVSubscriptionListImp<T>::EVSubscriptionListImp() : m_lock(0) {}

template <class T>
EVSubscriptionListImp<T>::EVSubscriptionListImp(const EVSubscriptionListImp& other)
    : QOR::internal::EVFiring<T, typename QOR::internal::EVSignature<T>::type>(other), m_lock(other.m_lock),
      m_subscribers(other.m_subscribers) {}

template <class T>
EVSubscriptionListImp<T>::EVSubscriptionListImp(EVSubscriptionListImp&& other) noexcept
    : QOR::internal::EVFiring<T, typename QOR::internal::EVSignature<T>::type>(other), m_lock(other.m_lock),
      m_subscribers(std::move(other.m_subscribers)) {
  other.m_subscribers.clear();  // a moved-from set is only "valid": make it empty
}

template <class T>
EVSubscriptionListImp<T>& EVSubscriptionListImp<T>::operator=(const EVSubscriptionListImp& other) {
  m_lock = other.m_lock;
  if (this != &other) m_subscribers = other.m_subscribers;
  return *this;
}

template <class T>
EVSubscriptionListImp<T>& EVSubscriptionListImp<T>::operator=(EVSubscriptionListImp&& other) noexcept {
  m_lock = other.m_lock;
  if (this != &other) {
    m_subscribers = std::move(other.m_subscribers);
    other.m_subscribers.clear();
  }
  return *this;
}

template <class T>
EVSubscriptionListImp<T>::~EVSubscriptionListImp() = default;

template <class T>
void EVSubscriptionListImp<T>::insert(EVSubscription<T>* s) {
  ReadWriteLockExclusive lock(m_lock);
  m_subscribers.insert(s);
}

template <class T>
void EVSubscriptionListImp<T>::erase(EVSubscription<T>* s) {
  ReadWriteLockExclusive lock(m_lock);
  m_subscribers.erase(s);
}

template <class T>
EVSubscription<T>::EVSubscription(EVSubscriptionList<T>& list) : m_mute(0), m_list(&list) {
  list.insert(this);
}

template <class T>
EVSubscription<T>::EVSubscription(EVSubscriptionList<T>& list, StartMuted) : m_mute(1), m_list(&list) {
  list.insert(this);
}

template <class T>
EVSubscription<T>::~EVSubscription() {
  destroy();
}

template <class T>
void EVSubscription<T>::destroy() {
  if (m_list.null()) return;
  m_list->erase(this);
  // Exchanges the pointer with null atomically, then drops the reference:
  // this may delete the list.
  m_list.reset(nullptr);
}

template class EVSubscriptionList<void>;
template class EVSubscriptionList<int>;
template class EVSubscriptionList<std::wstring>;
template class EVSubscriptionList<Quark>;
template class EVSubscriptionListImp<void>;
template class EVSubscriptionListImp<int>;
template class EVSubscriptionListImp<std::wstring>;
template class EVSubscriptionListImp<Quark>;
template class EVSubscription<void>;
template class EVSubscription<int>;
template class EVSubscription<std::wstring>;
template class EVSubscription<Quark>;
