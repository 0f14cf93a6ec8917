// Registry keys: opening, typed reads, writes and deletion, never throwing.
#include <qorcor14/platform/registry.h>

#include "common/unique_resource.h"

#include <shlwapi.h>

namespace {

// What opening adds to the requested access: KEY_READ, and for creating
// KEY_READ | KEY_WRITE.
constexpr unsigned long kOpenAccess = 0x20019;
constexpr unsigned long kCreateAccess = 0x2001F;

// The first query reads into this many characters on the stack, announcing
// one character less than there is room for.
constexpr DWORD kFirstChars = 260;
constexpr DWORD kFirstBytes = 518;

std::wstring rootName(HKEY root) {
  if (root == HKEY_CLASSES_ROOT) return L"HKEY_CLASSES_ROOT";
  if (root == HKEY_CURRENT_USER) return L"HKEY_CURRENT_USER";
  if (root == HKEY_LOCAL_MACHINE) return L"HKEY_LOCAL_MACHINE";
  if (root == HKEY_USERS) return L"HKEY_USERS";
  if (root == HKEY_CURRENT_CONFIG) return L"HKEY_CURRENT_CONFIG";
  if (root == HKEY_CURRENT_USER_LOCAL_SETTINGS) return L"HKEY_CURRENT_USER_LOCAL_SETTINGS";
  return L"<?\?\?>";  // "<???>", spelt so that no trigraph is seen
}

// The characters of string data of `bytes` bytes, less one final zero.
DWORD textLength(const wchar_t* data, DWORD bytes) {
  DWORD length = bytes / 2;
  if (bytes >= 2 && data[length - 1] == L'\0') --length;
  return length;
}

// Expands environment references in text; the text unchanged when the
// expansion fails.
std::wstring expand(const std::wstring& text) {
  wchar_t first[kFirstChars];
  DWORD needed = ExpandEnvironmentStringsW(text.c_str(), first, kFirstChars);
  if (needed == 0) return text;
  if (needed <= kFirstChars) return std::wstring(first, needed - 1);
  std::vector<wchar_t> more(needed);
  DWORD again = ExpandEnvironmentStringsW(text.c_str(), more.data(), needed);
  // The environment may have grown in between: then the buffer holds nothing usable.
  if (again == 0 || again > needed) return text;
  return std::wstring(more.data(), again - 1);
}

}  // namespace

RegKey::RegKey(HKEY root, const std::wstring& subKey, bool create, unsigned long access) {
  initialize(root, rootName(root), subKey, create, access);
}

RegKey::RegKey(const RegKey& parent, const std::wstring& subKey, bool create, unsigned long access) {
  initialize(parent.m_key.get(), parent.m_name, subKey, create, access);
}

void RegKey::initialize(HKEY root, const std::wstring& rootName, const std::wstring& subKey, bool create,
                        unsigned long access) {
  LONG result;
  HKEY key = nullptr;
  if (create) {
    DWORD disposition = 0;
    result = RegCreateKeyExW(root, subKey.c_str(), 0, nullptr, 0, access | kCreateAccess, nullptr, &key, &disposition);
  } else {
    result = RegOpenKeyExW(root, subKey.c_str(), 0, access | kOpenAccess, &key);
  }
  if (result == ERROR_SUCCESS) m_key.reset(key);
  m_error = result;
  m_valid = result == ERROR_SUCCESS;
  m_name = rootName + L"\\" + subKey;
}

RegKey::~RegKey() = default;

std::wstring RegKey::errorMessage() const {
  std::wstring message = m_name;
  if (m_error == ERROR_SUCCESS) return message;
  QOR::internal::UniqueLocalMemory<wchar_t*> text;
  const DWORD n =
      FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, static_cast<DWORD>(m_error),
                     MAKELANGID(LANG_NEUTRAL, SUBLANG_SYS_DEFAULT), reinterpret_cast<wchar_t*>(text.put()), 0, nullptr);
  if (n != 0 && text) message.append(L"\r\n").append(text.get(), n);
  return message;
}

LONG RegKey::queryText(const std::wstring& valueName, std::vector<wchar_t>& buffer, DWORD& type, DWORD& bytes) const {
  buffer.resize(kFirstChars);
  bytes = kFirstBytes;
  LONG result =
      RegQueryValueExW(m_key.get(), valueName.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()), &bytes);
  if (result == ERROR_MORE_DATA) {
    // Two spare bytes, rounded up to whole characters: room for a terminator
    // the value may lack.
    const DWORD size = bytes + 2;
    buffer.assign((static_cast<std::size_t>(size) + 1) / 2, L'\0');
    bytes = size;
    result = RegQueryValueExW(m_key.get(), valueName.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()),
                              &bytes);
  }
  return result;
}

bool RegKey::getString(const std::wstring& valueName, std::wstring& out) const {
  out.clear();
  if (!m_valid) return false;
  std::vector<wchar_t> buffer;
  DWORD type = REG_NONE, bytes = 0;
  m_error = queryText(valueName, buffer, type, bytes);
  if (m_error != ERROR_SUCCESS) return false;
  const std::wstring text(buffer.data(), textLength(buffer.data(), bytes));
  if (type == REG_SZ) {
    out = text;
    return true;
  }
  if (type == REG_EXPAND_SZ) {
    out = expand(text);
    return true;
  }
  return false;
}

bool RegKey::getMultiString(const std::wstring& valueName, std::vector<std::wstring>& out) const {
  out.clear();
  if (!m_valid) return false;
  std::vector<wchar_t> buffer;
  DWORD type = REG_NONE, bytes = 0;
  m_error = queryText(valueName, buffer, type, bytes);
  if (m_error != ERROR_SUCCESS || type != REG_MULTI_SZ) return false;
  const wchar_t* at = buffer.data();
  const wchar_t* end = at + bytes / 2;
  while (at < end && *at != L'\0') {
    const wchar_t* stop = at;
    while (stop < end && *stop != L'\0') ++stop;
    out.emplace_back(at, stop);
    at = stop + 1;
  }
  return true;
}

bool RegKey::getDword(const std::wstring& valueName, unsigned long& out) const {
  if (!m_valid) return false;
  DWORD value = 0, type = REG_NONE, bytes = sizeof value;
  m_error = RegQueryValueExW(m_key.get(), valueName.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(&value), &bytes);
  if (m_error != ERROR_SUCCESS || type != REG_DWORD) return false;
  out = value;
  return true;
}

unsigned long RegKey::getBinary(const std::wstring& valueName, void* buffer, unsigned long size) const {
  if (!m_valid) return 0;
  DWORD bytes = size;
  m_error = RegQueryValueExW(m_key.get(), valueName.c_str(), nullptr, nullptr, static_cast<BYTE*>(buffer), &bytes);
  if (m_error != ERROR_SUCCESS || buffer == nullptr) return 0;
  return bytes;
}

RegReadKey::RegReadKey(HKEY root, const std::wstring& subKey, unsigned long access)
    : RegKey(root, subKey, false, access) {}

RegReadKey::RegReadKey(const RegKey& parent, const std::wstring& subKey, unsigned long access)
    : RegKey(parent, subKey, false, access) {}

RegWriteKey::RegWriteKey(HKEY root, const std::wstring& subKey, unsigned long access)
    : RegKey(root, subKey, true, access) {}

RegWriteKey::RegWriteKey(const RegWriteKey& parent, const std::wstring& subKey, unsigned long access)
    : RegKey(parent, subKey, true, access) {}

bool RegWriteKey::setString(const std::wstring& valueName, const std::wstring& value) const {
  if (!valid()) return false;
  // The byte count is a DWORD; a longer text is not sent truncated.
  if (value.size() > (MAXDWORD - 2) / 2) {
    setError(ERROR_INVALID_PARAMETER);
    return false;
  }
  const LONG result = RegSetValueExW(key(), valueName.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                                     static_cast<DWORD>(value.size() * 2 + 2));
  setError(result);
  return result == ERROR_SUCCESS;
}

bool RegWriteKey::deleteValue(const std::wstring& valueName) const {
  if (!valid()) return false;
  const LONG result = RegDeleteValueW(key(), valueName.c_str());
  setError(result);
  return result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND;
}

bool RegWriteKey::deleteSubKey(const std::wstring& subKey) const {
  if (!valid()) return false;
  const LONG result = static_cast<LONG>(SHDeleteKeyW(key(), subKey.c_str()));
  setError(result);
  return result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND;
}
