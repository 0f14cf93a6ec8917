// Handlable's interlocked count and the exported Handle<Handlable>.
#include <qorcor14/object/handle.h>

#include <windows.h>

namespace QOR {

IHandlable::~IHandlable() = default;

void Handlable::adref() const { InterlockedIncrement(&m_count); }

void Handlable::deref() const {
  if (InterlockedExchangeAdd(&m_count, -1) != 1) return;
  // Back to 1 before dying: a handle that the destructor takes on this object
  // and drops again moves the count 1 -> 2 -> 1 and never reaches the last
  // reference a second time.
  InterlockedExchange(&m_count, 1);
  delete this;
}

Handlable::~Handlable() = default;

// Exported through the extern declaration in the header.
template class Handle<Handlable>;

}  // namespace QOR
