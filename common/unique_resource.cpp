// The owner's out-of-line parts: the last error kept across a close, and
// the close of a kernel handle.
#include <qorcor14/internal/unique_resource.h>

#include <windows.h>

namespace QOR::internal {

KeptLastError::KeptLastError() noexcept : m_saved(GetLastError()) {}

KeptLastError::~KeptLastError() { SetLastError(m_saved); }

void HandleTraits::close(type value) noexcept { CloseHandle(value); }

}  // namespace QOR::internal
