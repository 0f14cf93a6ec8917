// The process-wide identifier counter.
#include <qorcor14/object/identifier.h>

#include <windows.h>

#include <ostream>

namespace {

// The first identifier handed out is 1.
long volatile g_lastIdentifier = 0;

}  // namespace

// The counter wraps; the arithmetic is done unsigned to keep that defined.
Identifier::Identifier()
    : m_value(static_cast<long>(static_cast<unsigned long>(InterlockedExchangeAdd(&g_lastIdentifier, 1)) + 1u)) {}

std::wostream& operator<<(std::wostream& out, const Identifier& id) {
  return out << wchar_t(0x3C) << id.value() << wchar_t(0x3E);
}
