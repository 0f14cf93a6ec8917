// Lock words: acquisition and release, and the waiting of blocked threads.
//
// A blocked thread sleeps on the address of its own word (WaitOnAddress),
// which compares the word with the value it last saw and goes to sleep in one
// step, and a release wakes the sleepers of that address only
// (WakeByAddressAll). So a release can neither slip in between a waiter's last
// look and its sleep, nor have its wake-up taken by a thread waiting for
// another word. The 32 wait slots remain as counters only: a release looks at
// its slot's count and skips the wake call while nobody waits on any word of
// the slot, which keeps the uncontended release at one exchange and one read.
//
// lock_model.pml beside this file is a model of this protocol that spin
// checks exhaustively for mutual exclusion, lost wake-ups and deadlock.
#include <qorcor14/threading/lock.h>

#include <qorcor14/errors.h>

#include <windows.h>

#include <cstdint>

namespace {

// The threads registered (or about to be) as sleeping on some word whose
// address hashes to this slot. Each slot has a cache line of its own.
struct alignas(64) WaitSlot {
  long volatile waiters = 0;
};

constexpr unsigned kSlotCount = 32;

// Nothing to create: the table is constant-initialised, so loading the module
// cannot fail on its account.
constinit WaitSlot g_slots[kSlotCount];

// The top five bits of the address times 0x9E3779B97F4A7C14, wrapping. The
// multiplier is even on purpose (one below the usual golden-ratio constant);
// it only has to be the same here for lock and unlock.
WaitSlot& slotOf(long volatile& word) {
  const std::uint64_t address = reinterpret_cast<std::uintptr_t>(&word);
  return g_slots[(address * 0x9E3779B97F4A7C14ull) >> 59];
}

// Two's-complement arithmetic on the word without signed overflow.
long wrappingAdd(long a, long b) {
  return static_cast<long>(static_cast<unsigned long>(a) + static_cast<unsigned long>(b));
}

// Counts the calling thread in its slot for the life of the scope.
class Registration {
public:
  explicit Registration(WaitSlot& slot) : m_slot(slot) { InterlockedIncrement(&m_slot.waiters); }
  ~Registration() { InterlockedDecrement(&m_slot.waiters); }
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;

private:
  WaitSlot& m_slot;
};

}  // namespace

#if defined(_MSC_VER) && !defined(__clang__)
#define QOR_NOINLINE __declspec(noinline)
#else
#define QOR_NOINLINE [[gnu::noinline]]
#endif

namespace {

// The loop of readWriteLockLock from a fresh read of the word, sleeping on
// the word while the mask holds. Kept out of line so that the uncontended
// acquire does not pay for saving the registers the waiting needs.
QOR_NOINLINE bool lockContended(long volatile& word, long increment, long mask, unsigned long timeoutMs) {
  WaitSlot& slot = slotOf(word);
  for (;;) {
    long v = word;
    if (v & mask) {
      // Registered before the second look: a release that changes the word
      // after that look sees the count and wakes the word's sleepers, and
      // the sleep itself does not start once the word differs from v.
      Registration registered(slot);
      while ((v = word) & mask) {
        // Trying once: the word is taken now, and a sleep of 0 ms would only
        // cost a round trip to the system.
        if (timeoutMs == 0) return false;
        if (!WaitOnAddress(const_cast<long*>(&word), &v, sizeof v, timeoutMs)) {
          const DWORD error = GetLastError();
          if (error == ERROR_TIMEOUT) return false;
          throw WinError(error);
        }
      }
    }
    if (InterlockedCompareExchange(&word, wrappingAdd(v, increment), v) == v) return true;
  }
}

}  // namespace

bool readWriteLockLock(long volatile& word, long increment, long mask, unsigned long timeoutMs) {
  // The loop's first turn when the word is free: one read, one exchange.
  const long v = word;
  if (!(v & mask) && InterlockedCompareExchange(&word, wrappingAdd(v, increment), v) == v) return true;
  return lockContended(word, increment, mask, timeoutMs);
}

void readWriteLockUnlock(long volatile& word, long increment) {
  WaitSlot& slot = slotOf(word);
  // One atomic subtraction: what a compare-and-swap loop of v to v - increment
  // ends in, without its read and retries.
  InterlockedExchangeAdd(&word, static_cast<long>(0ul - static_cast<unsigned long>(increment)));
  // The exchange above is a full barrier, as is a waiter's registration: of
  // a waiter's registration and this release, each sees the other's write
  // or comes after it, so a count of 0 means no thread can be asleep on
  // this word with its old value.
  if (slot.waiters <= 0) return;
  WakeByAddressAll(const_cast<long*>(&word));
}

// Exported through the extern declaration in the header.
template class ReadWriteLock<268435456, -1>;
