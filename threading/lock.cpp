// Lock words: acquisition and release over the process-wide wait slots.
#include <qorcor14/threading/lock.h>

#include <qorcor14/errors.h>

#include "internal/scoped_handle.h"

#include <windows.h>

#include <cstdint>

namespace {

using QOR::Threading::internal::ScopedHandle;

// Threads blocked on lock words sleep on one of these, chosen by the word's
// address. `waiters` counts the threads registered (or about to be) on the
// slot, whatever word they wait for.
struct WaitSlot {
  long volatile waiters = 0;
  ScopedHandle semaphore;
};

constexpr unsigned kSlotCount = 32;
constexpr long kSemaphoreMaximum = 2147483647;

// Zero until the semaphores exist; closed at unload.
constinit WaitSlot g_slots[kSlotCount];

// Fills the table when the module is loaded. A refusal by the system is
// thrown as WinError, which fails the load.
struct SlotSemaphores {
  SlotSemaphores() {
    for (WaitSlot& slot : g_slots) {
      HANDLE h = CreateSemaphoreW(nullptr, 0, kSemaphoreMaximum, nullptr);
      if (!h) throw WinError(GetLastError());
      slot.semaphore = ScopedHandle(h);
    }
  }
};
const SlotSemaphores g_semaphores;

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

}  // namespace

#if defined(_MSC_VER) && !defined(__clang__)
#  define QOR_NOINLINE __declspec(noinline)
#else
#  define QOR_NOINLINE [[gnu::noinline]]
#endif

namespace {

// The loop of readWriteLockLock from a fresh read of the word, waiting on the
// word's slot while the mask holds. Kept out of line so that the uncontended
// acquire does not pay for saving the registers the waiting needs.
QOR_NOINLINE bool lockContended(long volatile& word, long increment, long mask, unsigned long timeoutMs) {
  WaitSlot& slot = slotOf(word);
  for (;;) {
    long v = word;
    if (v & mask) {
      // Registering before the second test is what keeps wake-ups from
      // being lost: a release after this point sees the count.
      InterlockedIncrement(&slot.waiters);
      v = word;
      while (v & mask) {
        const DWORD result = WaitForSingleObject(slot.semaphore.get(), timeoutMs);
        if (result != WAIT_OBJECT_0) {
          const DWORD error = GetLastError();
          InterlockedDecrement(&slot.waiters);
          if (result == WAIT_TIMEOUT) return false;
          throw WinError(error);
        }
        v = word;
      }
      InterlockedDecrement(&slot.waiters);
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
  for (;;) {
    const long v = word;
    if (InterlockedCompareExchange(&word, wrappingAdd(v, -increment), v) == v) break;
  }
  // Wake everyone on the slot: waiters of other words that share it re-test
  // and go back to sleep.
  const long waiters = slot.waiters;
  if (waiters <= 0) return;
  ReleaseSemaphore(slot.semaphore.get(), waiters, nullptr);
}

// Exported through the extern declaration in the header.
template class ReadWriteLock<268435456, -1>;
