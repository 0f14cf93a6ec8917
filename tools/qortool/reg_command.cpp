// qortool reg: read, write and delete values of the current user's registry
// hive through RegKey, printing each value with its type.
#include "command.h"

#include <qorcor14/diagnostics/debug_stream.h>
#include <qorcor14/platform/registry.h>
#include <qorcor14/text/strings.h>

#include <windows.h>

#include <typeinfo>

namespace qortool {
namespace {

const char kUsage[] = "usage: qortool reg get|set|delete|list HKCU\\KEY [VALUE [DATA]]";

// The sub-key path of a key written HKCU\... or HKEY_CURRENT_USER\...
std::wstring subKeyOf(const std::wstring& key) {
  for (const wchar_t* root : {L"HKCU", L"HKEY_CURRENT_USER"}) {
    const std::size_t n = wcslen(root);
    if (key.size() >= n && _wcsnicmp(key.c_str(), root, n) == 0 && (key.size() == n || key[n] == L'\\'))
      return key.size() == n ? std::wstring() : key.substr(n + 1);
  }
  throw UsageError("only keys of the current user's hive, written HKCU\\..., not '" + utf8(key) + "'");
}

// errorMessage() on one line: its "\r\n" becomes ": ", its final break goes.
std::string failure(const RegKey& key) {
  std::wstring text = key.errorMessage();
  while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r' || text.back() == L' ')) text.pop_back();
  for (std::size_t at; (at = text.find(L"\r\n")) != std::wstring::npos;) text.replace(at, 2, L": ");
  return utf8(text);
}

void trace(const RegKey& key, const wchar_t* what) {
  if (DebugStream::isActive())
    DebugStream::stream() << DebugStream::GCTID() << what << L" " << DebugStream::typedPtrA(typeid(key), &key)
                          << L" valid " << key.valid() << L": " << key.errorMessage() << L"\n";
}

const wchar_t* typeName(DWORD type) {
  switch (type) {
  case REG_SZ: return L"REG_SZ";
  case REG_EXPAND_SZ: return L"REG_EXPAND_SZ";
  case REG_MULTI_SZ: return L"REG_MULTI_SZ";
  case REG_DWORD: return L"REG_DWORD";
  case REG_BINARY: return L"REG_BINARY";
  case REG_QWORD: return L"REG_QWORD";
  case REG_NONE: return L"REG_NONE";
  default: return L"REG_OTHER";
  }
}

// "name  TYPE  data", the data read back through the RegKey getter of its
// type (REG_EXPAND_SZ values come out expanded). False when reading fails.
bool describe(const RegKey& key, const std::wstring& name, std::wstring& line) {
  DWORD type = REG_NONE, bytes = 0;
  if (RegQueryValueExW(key.key(), name.c_str(), nullptr, &type, nullptr, &bytes) != ERROR_SUCCESS) {
    std::wstring ignored;
    key.getString(name, ignored);  // records the code for errorMessage()
    return false;
  }
  line = (name.empty() ? L"(default)" : name) + L"  " + typeName(type) + L"  ";
  if (type == REG_SZ || type == REG_EXPAND_SZ) {
    std::wstring text;
    if (!key.getString(name, text)) return false;
    line += text;
  } else if (type == REG_MULTI_SZ) {
    std::vector<std::wstring> texts;
    if (!key.getMultiString(name, texts)) return false;
    for (std::size_t i = 0; i < texts.size(); ++i) line += (i ? L"\\0" : L"") + texts[i];
  } else if (type == REG_DWORD) {
    unsigned long value = 0;
    if (!key.getDword(name, value)) return false;
    line += stringPrintf(L"0x%08lx (%lu)", value, value);
  } else {
    std::vector<unsigned char> data(bytes ? bytes : 1);
    const unsigned long n = key.getBinary(name, data.data(), bytes);
    if (n == 0 && bytes != 0) return false;
    for (unsigned long i = 0; i < n; ++i) line += stringPrintf(i ? L" %02X" : L"%02X", data[i]);
  }
  return true;
}

int get(const std::wstring& sub, const std::wstring& name) {
  RegReadKey key(HKEY_CURRENT_USER, sub, 0);
  trace(key, L"reg get opened");
  std::wstring line;
  if (!key.valid() || !describe(key, name, line)) throw std::runtime_error(failure(key));
  print(line + L"\n");
  return 0;
}

int list(const std::wstring& sub) {
  RegReadKey key(HKEY_CURRENT_USER, sub, 0);
  trace(key, L"reg list opened");
  if (!key.valid()) throw std::runtime_error(failure(key));
  std::wstring out;
  wchar_t name[16384];
  for (DWORD i = 0;; ++i) {
    DWORD length = 16384;
    if (RegEnumKeyExW(key.key(), i, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    out += std::wstring(name, length) + L"\\\n";
  }
  for (DWORD i = 0;; ++i) {
    DWORD length = 16384;
    if (RegEnumValueW(key.key(), i, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    std::wstring line;
    if (!describe(key, std::wstring(name, length), line)) line = std::wstring(name, length) + L"  (unreadable)";
    out += line + L"\n";
  }
  print(out);
  return 0;
}

int set(const std::wstring& sub, const std::wstring& name, const std::wstring& data) {
  RegWriteKey key(HKEY_CURRENT_USER, sub, 0);
  trace(key, L"reg set opened");
  if (!key.setString(name, data)) throw std::runtime_error(failure(key));
  std::wstring line;
  if (describe(key, name, line)) print(line + L"\n");
  return 0;
}

// RegWriteKey creates what it opens, so the key is first opened for reading:
// deleting from a key that does not exist fails instead of creating it.
int removeEntry(const std::wstring& sub, const std::wstring* name) {
  std::wstring target = sub, child;
  if (!name) {
    const std::size_t slash = sub.find_last_of(L'\\');
    if (slash == std::wstring::npos || slash == 0)
      throw UsageError("refusing to delete the whole hive or one of its top-level keys");
    target = sub.substr(0, slash);
    child = sub.substr(slash + 1);
  }
  {
    RegReadKey existing(HKEY_CURRENT_USER, target, 0);
    if (!existing.valid()) throw std::runtime_error(failure(existing));
  }
  RegWriteKey key(HKEY_CURRENT_USER, target, 0);
  trace(key, L"reg delete opened");
  if (!(name ? key.deleteValue(*name) : key.deleteSubKey(child))) throw std::runtime_error(failure(key));
  print(key.errorMessage().find(L"\r\n") == std::wstring::npos ? L"deleted\n" : L"nothing to delete\n");
  return 0;
}

}  // namespace

int runReg(const Args& args) {
  if (args.size() < 2) throw UsageError(kUsage);
  const std::vector<std::wstring> wide = wideArguments(args);
  const std::string& verb = args[0];
  const std::wstring sub = subKeyOf(wide[1]);
  if (verb == "get" && wide.size() == 3) return get(sub, wide[2]);
  if (verb == "list" && wide.size() == 2) return list(sub);
  if (verb == "set" && wide.size() == 4) return set(sub, wide[2], wide[3]);
  if (verb == "delete" && wide.size() <= 3) return removeEntry(sub, wide.size() == 3 ? &wide[2] : nullptr);
  throw UsageError(kUsage);
}

}  // namespace qortool
