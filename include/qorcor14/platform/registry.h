// qorcor14/platform/registry.h - typed access to registry keys that never
// throws.
//
// RegKey holds one open key, a readable full path of it for messages, and the
// result code of the last registry call made through it. Every operation
// reports success as a bool (or a byte count) and keeps the system's code for
// errorMessage(); a key that failed to open is still a usable object whose
// operations all return false. RegReadKey opens an existing key for reading,
// RegWriteKey opens or creates one for reading and writing and adds the
// operations that change the registry.
//
// Example:
//   RegReadKey key(HKEY_CURRENT_USER, L"Control Panel\\International", 0);
//   std::wstring locale;
//   if (key.getString(L"LocaleName", locale)) use(locale);
//   else log(key.errorMessage());   // "HKEY_CURRENT_USER\Control Panel\International\r\n<system text>"
//
// Note: a key object is for one thread at a time: the getters are const but
// record their result code.
#pragma once

#include <qorcor14/config.h>
#include <qorcor14/internal/unique_resource.h>

#include <windows.h>

#include <string>
#include <vector>

namespace QOR::internal {
// Registry keys the library opens or creates, closed with RegCloseKey.
struct RegKeyTraits : NullIsEmpty<HKEY> {
  static void close(type value) noexcept { RegCloseKey(value); }
};
}  // namespace QOR::internal

// An open registry key, its full path and the result of the last call.
class QORCOR14_API RegKey {
public:
  // Closes the key, if it is open.
  virtual ~RegKey();

  RegKey(const RegKey&) = delete;
  RegKey& operator=(const RegKey&) = delete;

  // Whether the key is open.
  [[nodiscard]] bool valid() const noexcept { return m_valid; }
  // The open key, or null.
  [[nodiscard]] HKEY key() const noexcept { return m_key.get(); }

  // The key's full path ("HKEY_CURRENT_USER\Software\x"); when the last call
  // failed and the system has a text for its code, followed by "\r\n" and
  // that text (with the system's own trailing line break).
  //
  // Note: a key opened under a handle that is not a predefined root is named
  // "<???>" followed by a backslash and the path.
  [[nodiscard]] std::wstring errorMessage() const;

  // Reads a REG_SZ or REG_EXPAND_SZ value into out. The text is the stored
  // characters less one terminating zero, if the data ends with one (a value
  // stored without its terminator is read whole). REG_EXPAND_SZ values come
  // out with their environment references expanded, or unexpanded when the
  // expansion fails. Any other type, a missing value or a failure: out is
  // emptied and the result is false (for a wrong type the recorded code
  // stays 0).
  bool getString(const std::wstring& valueName, std::wstring& out) const;

  // Reads a REG_MULTI_SZ value: out receives each non-empty zero-terminated
  // string in order, stopping at the first empty one. False (out emptied)
  // for any other type or a failure.
  //
  // Note: data that lacks its final terminator (or its final double
  // terminator) is not rejected: the end of the data ends the last string,
  // which is kept whole. An odd trailing byte is ignored.
  bool getMultiString(const std::wstring& valueName, std::vector<std::wstring>& out) const;

  // Reads a REG_DWORD value: true only if the query succeeds and the value's
  // type is REG_DWORD; out is left alone otherwise.
  bool getDword(const std::wstring& valueName, unsigned long& out) const;

  // Queries the value, whatever its type, into the caller's buffer of `size`
  // bytes. Returns the number of bytes stored, 0 on any failure (a value
  // larger than the buffer records ERROR_MORE_DATA) and for a null buffer.
  unsigned long getBinary(const std::wstring& valueName, void* buffer, unsigned long size) const;

protected:
  // Opens (create false) or opens or creates (create true) `subKey` under a
  // predefined root. Opening always adds KEY_READ to `access`, creating
  // KEY_READ | KEY_WRITE.
  RegKey(HKEY root, const std::wstring& subKey, bool create, unsigned long access);
  // The same under an open key; the names nest ("<parent's name>\<subKey>").
  RegKey(const RegKey& parent, const std::wstring& subKey, bool create, unsigned long access);

  // The result code of the last call is kept even by the const operations.
  void setError(LONG error) const noexcept { m_error = error; }

private:
  void initialize(HKEY root, const std::wstring& rootName, const std::wstring& subKey, bool create,
                  unsigned long access);
  // Queries a string-like value into buffer (retrying once with the size the
  // system asks for); returns the result code and sets type and bytes.
  LONG queryText(const std::wstring& valueName, std::vector<wchar_t>& buffer, DWORD& type, DWORD& bytes) const;

  bool m_valid = false;
  mutable LONG m_error = 0;
  QOR::internal::UniqueResource<QOR::internal::RegKeyTraits> m_key;
  std::wstring m_name;
};

// A key opened for reading; it must exist.
//
// Example:
//   RegReadKey nt(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows NT\\CurrentVersion", 0);
//   std::wstring product;
//   nt.getString(L"ProductName", product);
class QORCOR14_API RegReadKey : public RegKey {
public:
  // `access` is widened by KEY_READ.
  RegReadKey(HKEY root, const std::wstring& subKey, unsigned long access);
  RegReadKey(const RegKey& parent, const std::wstring& subKey, unsigned long access);
};

// A key opened for reading and writing, created (with its missing parents)
// when it does not exist.
//
// Example:
//   RegWriteKey settings(HKEY_CURRENT_USER, L"Software\\Moravetrix\\Viewer", 0);
//   settings.setString(L"LastFile", L"C:\\drawings\\plan.dwg");
//   settings.deleteValue(L"Obsolete");   // true even if it was never there
class QORCOR14_API RegWriteKey : public RegKey {
public:
  // `access` is widened by KEY_READ | KEY_WRITE.
  RegWriteKey(HKEY root, const std::wstring& subKey, unsigned long access);
  RegWriteKey(const RegWriteKey& parent, const std::wstring& subKey, unsigned long access);

  // Stores value as REG_SZ, with its terminating zero.
  bool setString(const std::wstring& valueName, const std::wstring& value) const;
  // Deletes the value; deleting an absent value succeeds too (the recorded
  // code is then ERROR_FILE_NOT_FOUND).
  bool deleteValue(const std::wstring& valueName) const;
  // Deletes subKey with everything below it (SHDeleteKeyW); an absent key
  // counts as deleted, as for deleteValue.
  bool deleteSubKey(const std::wstring& subKey) const;
};
