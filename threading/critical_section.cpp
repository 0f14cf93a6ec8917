// QorCriticalSection and its scoped guard QorSimpleLock.
#include <qorcor14/threading/lock.h>

#include <windows.h>

#include <cstring>

namespace {

static_assert(sizeof(CRITICAL_SECTION) <= 40 && alignof(CRITICAL_SECTION) <= alignof(void*),
              "QorCriticalSection's storage must hold a CRITICAL_SECTION");

CRITICAL_SECTION* section(unsigned char* storage) { return reinterpret_cast<CRITICAL_SECTION*>(storage); }

}  // namespace

QorCriticalSection::QorCriticalSection(wchar_t const* where) : m_where(where) {
  std::memset(m_section, 0, sizeof m_section);
  InitializeCriticalSection(section(m_section));
}

QorCriticalSection::~QorCriticalSection() { DeleteCriticalSection(section(m_section)); }

void QorCriticalSection::Lock(wchar_t const*) { EnterCriticalSection(section(m_section)); }

void QorCriticalSection::Unlock() { LeaveCriticalSection(section(m_section)); }

QorSimpleLock::QorSimpleLock(QorCriticalSection& section, wchar_t const* where) : m_section(&section), m_locked(false) {
  m_section->Lock(where);
  m_locked = true;
}

QorSimpleLock::~QorSimpleLock() {
  if (!m_locked) return;
  m_locked = false;
  m_section->Unlock();
}

void QorSimpleLock::Lock(wchar_t const* where) {
  m_section->Lock(where);
  m_locked = true;
}

void QorSimpleLock::Unlock() {
  m_locked = false;
  m_section->Unlock();
}
