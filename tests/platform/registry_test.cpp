#include <qorcor14/platform/registry.h>

#include "support/child_process.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

const wchar_t kTestsKey[] = L"Software\\qorcor14-tests";

// The system's reg.exe with `args`, given a minute; its exit code and output.
qortest::ChildRun reg(const std::wstring& args) { return qortest::runChild(L"reg.exe " + args, 60000); }

std::wstring systemText(DWORD code) {
  QOR::internal::UniqueLocalMemory<wchar_t*> text;
  const DWORD n =
      FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, code,
                     MAKELANGID(LANG_NEUTRAL, SUBLANG_SYS_DEFAULT), reinterpret_cast<wchar_t*>(text.put()), 0, nullptr);
  return text ? std::wstring(text.get(), n) : std::wstring();
}

// Each test works under its own key below HKCU\Software\qorcor14-tests.
class Registry : public ::testing::Test {
protected:
  void SetUp() override {
    const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    m_sub = std::wstring(kTestsKey) + L"\\" + std::wstring(name.begin(), name.end()) + L"-" +
            std::to_wstring(GetCurrentProcessId());
    m_path = L"HKCU\\" + m_sub;
    m_full = L"HKEY_CURRENT_USER\\" + m_sub;
  }
  void TearDown() override {
    RegDeleteTreeW(HKEY_CURRENT_USER, m_sub.c_str());
    RegDeleteKeyW(HKEY_CURRENT_USER, kTestsKey);  // only when no other run uses it
  }
  void add(const std::wstring& name, const wchar_t* type, const std::wstring& data) {
    const qortest::ChildRun run =
        reg(L"add \"" + m_path + L"\" /v " + name + L" /t " + type + L" /d \"" + data + L"\" /f");
    ASSERT_EQ(run.code, 0u) << run.output;
  }
  // The line reg query prints for one value ("    name    TYPE    data").
  std::string query(const std::wstring& key, const std::wstring& name) {
    std::istringstream lines(reg(L"query \"" + key + L"\" /v " + name).output);
    for (std::string line; std::getline(lines, line);)
      if (line.find("REG_") != std::string::npos) return line.substr(0, line.find_last_not_of('\r') + 1);
    return "no value";
  }
  void setRaw(const std::wstring& name, DWORD type, const void* data, DWORD bytes) {
    RegWriteKey key(HKEY_CURRENT_USER, m_sub, 0);
    ASSERT_EQ(RegSetValueExW(key.key(), name.c_str(), 0, type, static_cast<const BYTE*>(data), bytes), ERROR_SUCCESS);
  }

  std::wstring m_sub, m_path, m_full;  // below HKCU, as reg.exe names it, as error messages do
};

TEST_F(Registry, ValuesWrittenByRegExeReadBackWithTheirTypes) {
  add(L"sz", L"REG_SZ", L"hello world");
  add(L"empty", L"REG_SZ", L"");
  add(L"expand", L"REG_EXPAND_SZ", L"%QOR_REG_TEST%\\bin");
  add(L"multi", L"REG_MULTI_SZ", L"one\\0two\\0three");
  add(L"dword", L"REG_DWORD", L"0xDEADBEEF");
  add(L"binary", L"REG_BINARY", L"0102FF00");
  SetEnvironmentVariableW(L"QOR_REG_TEST", L"C:\\qor");
  RegReadKey key(HKEY_CURRENT_USER, m_sub, 0);
  ASSERT_TRUE(key.valid()) << key.errorMessage().c_str();
  std::wstring s = L"stale";
  EXPECT_TRUE(key.getString(L"sz", s));
  EXPECT_EQ(s, L"hello world");
  EXPECT_TRUE(key.getString(L"empty", s));
  EXPECT_EQ(s, L"");
  EXPECT_TRUE(key.getString(L"expand", s));
  EXPECT_EQ(s, L"C:\\qor\\bin");
  std::vector<std::wstring> multi;
  EXPECT_TRUE(key.getMultiString(L"multi", multi));
  EXPECT_EQ(multi, (std::vector<std::wstring>{L"one", L"two", L"three"}));
  unsigned long d = 0;
  EXPECT_TRUE(key.getDword(L"dword", d));
  EXPECT_EQ(d, 0xDEADBEEFul);
  unsigned char bytes[8] = {};
  EXPECT_EQ(key.getBinary(L"binary", bytes, sizeof bytes), 4u);
  EXPECT_EQ(std::vector<unsigned char>(bytes, bytes + 4), (std::vector<unsigned char>{1, 2, 0xFF, 0}));
  EXPECT_EQ(key.getBinary(L"binary", bytes, 3), 0u) << "too small a buffer";
  EXPECT_EQ(key.getBinary(L"dword", bytes, sizeof bytes), 4u) << "any type";
}

TEST_F(Registry, ValuesWrittenByRegWriteKeyReadBackWithRegQuery) {
  {
    RegWriteKey key(HKEY_CURRENT_USER, m_sub, 0);
    EXPECT_TRUE(key.setString(L"name", L"caf\u00e9 au lait"));
    EXPECT_TRUE(key.setString(L"blank", L""));
    RegWriteKey child(key, L"child\\grandchild", 0);
    EXPECT_TRUE(child.setString(L"deep", L"x"));
    EXPECT_EQ(child.errorMessage(), m_full + L"\\child\\grandchild");
  }
  std::string oem(16, '\0');  // reg.exe prints in the OEM code page
  oem.resize(static_cast<std::size_t>(
      WideCharToMultiByte(CP_OEMCP, 0, L"caf\u00e9 au lait", -1, oem.data(), 16, nullptr, nullptr) - 1));
  EXPECT_EQ(query(m_path, L"name"), "    name    REG_SZ    " + oem);
  EXPECT_EQ(query(m_path, L"blank"), "    blank    REG_SZ    ");
  EXPECT_EQ(query(m_path + L"\\child\\grandchild", L"deep"), "    deep    REG_SZ    x");
}

TEST_F(Registry, TerminatorsAndLongValues) {
  const wchar_t bare[] = {L'a', L'b', L'c'};
  setRaw(L"bare", REG_SZ, bare, sizeof bare);
  setRaw(L"odd", REG_SZ, "a\0b", 3);
  const std::wstring edge(259, L'e'), edgeTerminated(259, L'f'), value(200, L'v');
  setRaw(L"edge", REG_SZ, edge.c_str(), 518);                      // fits the first try only without a terminator
  setRaw(L"edgeTerminated", REG_SZ, edgeTerminated.c_str(), 520);  // needs the retry
  const std::wstring reference = L"%QOR_REG_LONG%-%QOR_REG_LONG%", unknown = L"%QOR_REG_UNSET_VARIABLE%";
  setRaw(L"longExpansion", REG_EXPAND_SZ, reference.c_str(), static_cast<DWORD>(reference.size() * 2 + 2));
  setRaw(L"unknown", REG_EXPAND_SZ, unknown.c_str(), static_cast<DWORD>(unknown.size() * 2 + 2));
  SetEnvironmentVariableW(L"QOR_REG_LONG", value.c_str());
  const wchar_t multiBare[] = {L'p', 0, L'q', L'q'};    // no final terminator
  const wchar_t multiGap[] = {L'p', 0, 0, L'r', 0, 0};  // an empty string ends the list
  setRaw(L"multiBare", REG_MULTI_SZ, multiBare, sizeof multiBare);
  setRaw(L"multiGap", REG_MULTI_SZ, multiGap, sizeof multiGap);

  RegReadKey key(HKEY_CURRENT_USER, m_sub, 0);
  const std::pair<const wchar_t*, std::wstring> cases[] = {{L"bare", L"abc"},
                                                           {L"odd", L"a"},
                                                           {L"edge", edge},
                                                           {L"edgeTerminated", edgeTerminated},
                                                           {L"longExpansion", value + L"-" + value},
                                                           {L"unknown", unknown}};
  for (const auto& [name, expected] : cases) {
    SCOPED_TRACE(std::string(name, name + wcslen(name)));
    std::wstring s;
    EXPECT_TRUE(key.getString(name, s));
    EXPECT_EQ(s, expected);
  }
  std::vector<std::wstring> multi;
  EXPECT_TRUE(key.getMultiString(L"multiBare", multi));
  EXPECT_EQ(multi, (std::vector<std::wstring>{L"p", L"qq"}));
  EXPECT_TRUE(key.getMultiString(L"multiGap", multi));
  EXPECT_EQ(multi, (std::vector<std::wstring>{L"p"}));
}

TEST_F(Registry, WrongTypesAndMissingValues) {
  add(L"sz", L"REG_SZ", L"text");
  add(L"short", L"REG_SZ", L"a");  // four bytes, as many as a DWORD
  add(L"dword", L"REG_DWORD", L"7");
  add(L"multi", L"REG_MULTI_SZ", L"a\\0b");
  RegReadKey key(HKEY_CURRENT_USER, m_sub, 0);
  unsigned long d = 99;
  EXPECT_FALSE(key.getDword(L"short", d));
  EXPECT_EQ(d, 99ul);
  EXPECT_EQ(key.errorMessage(), m_full) << "the query itself succeeded";
  EXPECT_FALSE(key.getDword(L"sz", d));
  EXPECT_EQ(key.errorMessage(), m_full + L"\r\n" + systemText(ERROR_MORE_DATA));
  std::wstring s = L"stale";
  EXPECT_FALSE(key.getString(L"dword", s));
  EXPECT_EQ(s, L"");
  EXPECT_FALSE(key.getString(L"multi", s));
  std::vector<std::wstring> multi{L"stale"};
  EXPECT_FALSE(key.getMultiString(L"sz", multi));
  EXPECT_TRUE(multi.empty());
  EXPECT_FALSE(key.getString(L"absent", s));
  EXPECT_EQ(key.errorMessage(), m_full + L"\r\n" + systemText(ERROR_FILE_NOT_FOUND));
  unsigned char b[4];
  EXPECT_EQ(key.getBinary(L"absent", b, sizeof b), 0u);
}

TEST_F(Registry, MissingKeysAndUnknownRootsFailQuietly) {
  RegReadKey missing(HKEY_CURRENT_USER, m_sub + L"\\nowhere", 0);
  EXPECT_FALSE(missing.valid());
  const std::wstring text = systemText(ERROR_FILE_NOT_FOUND);
  ASSERT_FALSE(text.empty());
  EXPECT_EQ(missing.errorMessage(), m_full + L"\\nowhere\r\n" + text);
  RegReadKey child(missing, L"below", 0);
  EXPECT_FALSE(child.valid());
  const struct {
    HKEY root;
    const wchar_t* name;
  } roots[] = {{HKEY_CLASSES_ROOT, L"HKEY_CLASSES_ROOT"},
               {HKEY_CURRENT_USER_LOCAL_SETTINGS, L"HKEY_CURRENT_USER_LOCAL_SETTINGS"},
               {reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0x80000042)), L"<?\?\?>"}};
  for (const auto& r : roots) {
    const std::wstring message = RegReadKey(r.root, L"qorcor14-no-such-key", 0).errorMessage();
    EXPECT_EQ(message.substr(0, message.find(L"\r\n")), std::wstring(r.name) + L"\\qorcor14-no-such-key");
  }
}

TEST_F(Registry, DeletingValuesAndSubtrees) {
  add(L"v", L"REG_SZ", L"1");
  EXPECT_TRUE(RegWriteKey(HKEY_CURRENT_USER, m_sub + L"\\a\\b\\c", 0).setString(L"leaf", L"x"));
  RegWriteKey key(HKEY_CURRENT_USER, m_sub, 0);
  EXPECT_TRUE(key.deleteValue(L"v"));
  EXPECT_EQ(key.errorMessage(), m_full);
  EXPECT_NE(reg(L"query \"" + m_path + L"\" /v v").code, 0u);
  EXPECT_TRUE(key.deleteValue(L"v")) << "absent counts as deleted";
  EXPECT_NE(key.errorMessage().find(L"\r\n"), std::wstring::npos) << "but the code is kept";
  EXPECT_TRUE(key.deleteSubKey(L"a"));
  EXPECT_NE(reg(L"query \"" + m_path + L"\\a\"").code, 0u);
  EXPECT_EQ(reg(L"query \"" + m_path + L"\"").code, 0u) << "the key itself stays";
}

}  // namespace
