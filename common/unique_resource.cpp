// The last error kept across a close, out of line for the public owner.
#include <qorcor14/internal/unique_resource.h>

#include <windows.h>

namespace QOR::internal {

KeptLastError::KeptLastError() noexcept : m_saved(GetLastError()) {}

KeptLastError::~KeptLastError() { SetLastError(m_saved); }

}  // namespace QOR::internal
