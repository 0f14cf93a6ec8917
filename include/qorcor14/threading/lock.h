// qorcor14/threading/lock.h - the one-word reader/writer lock and the scoped
// critical section.
//
// A lock word is a `long volatile` owned by the object it guards, 0 when free.
// Readers add 1 (bits 0-27 count them) and wait while a writer holds the
// word; writers add 0x10000000 (bits 28-31) and wait while anyone holds it.
// The word carries no waiter count: a blocked thread counts itself in one of
// 32 process-wide wait slots chosen by hashing the word's address, sleeps on
// the word's own address, and re-tests its word after every wake-up. A
// release wakes the sleepers of its word when its slot counts any, so no
// wake-up is lost and none goes to a thread waiting for another word.
//
// Neither lock is re-entrant: a thread that holds a word and asks for it
// again (on either side) waits for ever. A reader never upgrades to writer.
// There is no fairness: readers keep entering while a writer waits.
#pragma once

#include <qorcor14/config.h>

// The values that select each side of a lock word.
inline constexpr long readWriteLockReader = 1;               // shared: add 1 ...
inline constexpr long readWriteLockReaderMask = -268435456;  // ... once no writer bit (0xF0000000) is set
inline constexpr long readWriteLockWriter = 268435456;       // exclusive: add 0x10000000 ...
inline constexpr long readWriteLockWriterMask = -1;          // ... once the whole word is 0
// The timeout that never expires (INFINITE).
inline constexpr unsigned long readWriteLockForever = 0xFFFFFFFF;

// Waits until `word & mask` is 0, then atomically adds `increment`. Returns
// true once added; false when one single wait for the word lasted
// `timeoutMs` milliseconds (the word is then unchanged, and the caller must
// not release it). Throws WinError when waiting fails for any other reason.
//
// Example:
//   long volatile word = 0;
//   if (readWriteLockLock(word, readWriteLockWriter, readWriteLockWriterMask, 100)) {
//     ...                                     // exclusive
//     readWriteLockUnlock(word, readWriteLockWriter);
//   }
//
// Note: the timeout applies to each wait, not to the whole call: a thread
// woken while the word is still taken waits a full timeoutMs again. Pass
// readWriteLockForever to wait without limit, 0 to try once.
QORCOR14_API bool readWriteLockLock(long volatile& word, long increment, long mask, unsigned long timeoutMs);

// Atomically subtracts `increment` from `word`, then wakes every thread
// waiting on any word that shares its wait slot; each re-tests its own word.
//
// Note: releasing what was not acquired is not detected (the word wraps).
QORCOR14_API void readWriteLockUnlock(long volatile& word, long increment);

// Holds a lock word for the life of the scope: acquires with
// readWriteLockLock(word, Increment, Mask, readWriteLockForever), releases
// with Increment if the acquisition succeeded. unlock() and lock() let go of
// the word and take it back within the scope, keeping held() true to what
// the holder holds, so that the destructor never releases a word it let go.
//
// Example:
//   {
//     ReadWriteLockExclusive lock(m_lock);    // writer
//     m_items.insert(item);
//   }
//   {
//     ReadWriteLockShared lock(m_lock);       // reader
//     for (auto* i : m_items) i->paint();
//   }
//
// Note: the library exports ReadWriteLock<268435456, -1>; every other
// instantiation (the reader side) is made by the caller from this header.
template <long Increment, long Mask>
class ReadWriteLock {
public:
  explicit ReadWriteLock(long volatile& word)
      : m_word(&word), m_held(readWriteLockLock(word, Increment, Mask, readWriteLockForever)) {}
  ~ReadWriteLock() {
    if (m_held) readWriteLockUnlock(*m_word, Increment);
  }
  ReadWriteLock(const ReadWriteLock&) = delete;
  ReadWriteLock& operator=(const ReadWriteLock&) = delete;

  // Whether the holder holds the word now.
  [[nodiscard]] bool held() const noexcept { return m_held; }

  // Lets go of the word early, if held; the destructor then releases
  // nothing. For code that must not keep the word while it waits.
  void unlock() {
    if (!m_held) return;
    m_held = false;
    readWriteLockUnlock(*m_word, Increment);
  }
  // Takes the word again after unlock(), if not held. Throws WinError, as
  // the constructor does, when waiting fails; the holder then stays not held.
  void lock() {
    if (!m_held) m_held = readWriteLockLock(*m_word, Increment, Mask, readWriteLockForever);
  }

private:
  long volatile* m_word;
  bool m_held;
};

using ReadWriteLockExclusive = ReadWriteLock<readWriteLockWriter, readWriteLockWriterMask>;
using ReadWriteLockShared = ReadWriteLock<readWriteLockReader, readWriteLockReaderMask>;

QORCOR14_EXTERN_TEMPLATE(QORCOR14_API ReadWriteLock<268435456, -1>)

class QorSimpleLock;

// A named Windows critical section, taken only through QorSimpleLock.
//
// Example:
//   QorCriticalSection section(L"cache");
//   {
//     QorSimpleLock lock(section, L"cache refill");
//     ...
//   }
//
// Note: `where` names the section for diagnostics; it is not copied, so it
// must outlive the section (a string literal). Re-entry by the owning thread
// is allowed, as for any critical section.
class QORCOR14_API QorCriticalSection {
public:
  explicit QorCriticalSection(wchar_t const* where);
  ~QorCriticalSection();
  QorCriticalSection(const QorCriticalSection&) = delete;
  QorCriticalSection& operator=(const QorCriticalSection&) = delete;

  [[nodiscard]] wchar_t const* where() const noexcept { return m_where; }

private:
  friend class QorSimpleLock;
  // `where` is accepted for diagnostics and ignored.
  void Lock(wchar_t const* where);
  void Unlock();

  // Storage for the platform's CRITICAL_SECTION (40 bytes, pointer-aligned,
  // checked where it is used), so that this header needs no <windows.h>.
  alignas(void*) unsigned char m_section[40];
  wchar_t const* m_where;
};

// Enters a QorCriticalSection for the life of the scope; Unlock and Lock
// leave and re-enter it early.
//
// Note: Unlock leaves the section unconditionally; calling it twice in a
// row is the caller's fault. The destructor leaves only if still locked.
class QORCOR14_API QorSimpleLock {
public:
  QorSimpleLock(QorCriticalSection& section, wchar_t const* where);
  ~QorSimpleLock();
  QorSimpleLock(const QorSimpleLock&) = delete;
  QorSimpleLock& operator=(const QorSimpleLock&) = delete;

  void Lock(wchar_t const* where);
  void Unlock();

private:
  QorCriticalSection* m_section;
  bool m_locked;
};
