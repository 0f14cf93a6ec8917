#include <qorcor14/diagnostics/debug_stream.h>

#include "support/child_process.h"
#include "support/files.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

// Outside the anonymous namespace, whose name would lead theirs.
struct Plain {};
namespace Outer::Inner {
struct Nested {};
}  // namespace Outer::Inner

namespace {

using Env = std::vector<std::pair<std::wstring, std::wstring>>;

using HelperRun = qortest::ChildRun;

const auto& readFile = qortest::readBytes;
const auto& writeFile = qortest::writeBytes;

// Runs debug_stream_helper (beside this program) with `args`, in this
// process's environment without the debug variables plus `env`, and waits at
// most two minutes.
HelperRun helper(const std::wstring& args, const Env& env) {
  wchar_t self[MAX_PATH];
  GetModuleFileNameW(nullptr, self, MAX_PATH);
  std::wstring program(self);
  program.erase(program.find_last_of(L"\\/") + 1).append(L"debug_stream_helper.exe");

  std::wstring block;
  wchar_t* all = GetEnvironmentStringsW();
  for (const wchar_t* e = all; *e; e += wcslen(e) + 1)
    if (_wcsnicmp(e, L"QORDEBUGPRINT", 13) != 0) block.append(e).push_back(L'\0');
  FreeEnvironmentStringsW(all);
  for (const auto& [name, value] : env) block.append(name + L"=" + value).push_back(L'\0');
  block.push_back(L'\0');

  HelperRun run = qortest::runChild(L"\"" + program + L"\" " + args, 120000, program.c_str(), &block);
  // Without the CRs that the helper's text-mode output adds.
  std::erase(run.output, '\r');
  return run;
}

std::string utf16le(const std::string& ascii) {
  std::string out;
  for (char c : ascii) out.append({c, '\0'});
  return out;
}

// UTF-16LE bytes of ASCII text back to the text (each second byte must be 0).
std::string fromUtf16le(const std::string& bytes) {
  std::string out;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) out.push_back(bytes[i + 1] ? '?' : bytes[i]);
  return out;
}

const std::string kBOM16 = "\xFF\xFE", kBOM8 = "\xEF\xBB\xBF";
// The banner line: _wctime64's "Mon Nov 23 04:40:00 2026\n" after "created at ".
const std::string kBanner =
    "Moravetrix debug file created at [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] "
    "[0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}\r\n";
// What the helper's write case adds after it.
const std::string kLines = "line one\r\n0.333333333333333\r\n";

bool matches(const std::string& text, const std::string& pattern) {
  return std::regex_match(text, std::regex(pattern));
}

class DebugStreamProcess : public ::testing::Test {
protected:
  void SetUp() override {
    wchar_t temp[MAX_PATH + 1];
    GetTempPathW(MAX_PATH + 1, temp);
    static int serial = 0;
    m_dir = std::wstring(temp) + L"qor-debug-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
            std::to_wstring(++serial) + L"\\";
    ASSERT_TRUE(CreateDirectoryW(m_dir.c_str(), nullptr));
  }
  void TearDown() override {
    for (const std::wstring& name : files()) DeleteFileW((m_dir + name).c_str());
    RemoveDirectoryW(m_dir.c_str());
  }
  std::set<std::wstring> files() const {
    std::set<std::wstring> names;
    WIN32_FIND_DATAW found;
    HANDLE h = FindFirstFileW((m_dir + L"*").c_str(), &found);
    if (h == INVALID_HANDLE_VALUE) return names;
    do
      if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) names.insert(found.cFileName);
    while (FindNextFileW(h, &found));
    FindClose(h);
    return names;
  }
  void expectWrite(const Env& env, const char* stdoutText = "active 1 good 1\n") {
    const HelperRun run = helper(L"write", env);
    EXPECT_EQ(run.code, 0u);
    EXPECT_EQ(run.output, stdoutText);
  }
  // A file's text after its byte order mark, which must be `bom`.
  std::string text(const wchar_t* name, const std::string& bom) {
    const std::string bytes = readFile(m_dir + name);
    EXPECT_EQ(bytes.substr(0, bom.size()), bom) << name;
    const std::string rest = bytes.substr(bom.size());
    if (bom != kBOM16) return rest;
    EXPECT_EQ(utf16le(fromUtf16le(rest)), rest) << "ASCII text in UTF-16LE";
    return fromUtf16le(rest);
  }

  std::wstring m_dir;
};

TEST_F(DebugStreamProcess, WithoutAUsableNameWritesNothing) {
  expectWrite({}, "active 0 good 1\n");
  expectWrite({{L"QORDEBUGPRINTTEMPLATE", m_dir + L"plain.txt"}}, "active 0 good 1\n");  // no "#"
  expectWrite({{L"QORDEBUGPRINTFILE", m_dir + L"missing\\debug.txt"}}, "active 0 good 1\n");
  EXPECT_TRUE(files().empty());
}

TEST_F(DebugStreamProcess, TemplateTakesTheFirstFreeNumberInUtf16) {
  writeFile(m_dir + L"log0.txt", "old zero");
  writeFile(m_dir + L"log1.txt", "old one");
  const Env env = {{L"QORDEBUGPRINTTEMPLATE", m_dir + L"log#.txt"}, {L"QORDEBUGPRINTFILE", m_dir + L"file.txt"}};
  expectWrite(env);
  expectWrite(env);
  EXPECT_EQ(readFile(m_dir + L"log1.txt"), "old one");
  for (const wchar_t* name : {L"log2.txt", L"log3.txt"}) EXPECT_TRUE(matches(text(name, kBOM16), kBanner + kLines));
  // Only the first "#" is replaced; without one the file variable decides.
  expectWrite({{L"QORDEBUGPRINTTEMPLATE", m_dir + L"a#b#.txt"}});
  expectWrite({{L"QORDEBUGPRINTTEMPLATE", m_dir + L"plain.txt"}, {L"QORDEBUGPRINTFILE", m_dir + L"f.txt"}});
  EXPECT_EQ(files(),
            (std::set<std::wstring>{L"log0.txt", L"log1.txt", L"log2.txt", L"log3.txt", L"a0b#.txt", L"f.txt"}));
}

TEST_F(DebugStreamProcess, FileVariableStartsUtf8AndAppends) {
  const Env env = {{L"QORDEBUGPRINTFILE", m_dir + L"debug.txt"}};
  expectWrite(env);
  expectWrite(env);
  EXPECT_TRUE(matches(text(L"debug.txt", kBOM8), kBanner + kLines + kBanner + kLines));
  // An empty file is started anew; a UTF-16LE one continued without a second mark.
  writeFile(m_dir + L"empty.txt", "");
  expectWrite({{L"QORDEBUGPRINTFILE", m_dir + L"empty.txt"}});
  EXPECT_TRUE(matches(text(L"empty.txt", kBOM8), kBanner + kLines));
  writeFile(m_dir + L"wide.txt", kBOM16 + utf16le("old\r\n"));
  expectWrite({{L"QORDEBUGPRINTFILE", m_dir + L"wide.txt"}});
  EXPECT_TRUE(matches(text(L"wide.txt", kBOM16), "old\r\n" + kBanner + kLines));
}

TEST_F(DebugStreamProcess, SerialisedLinesFromManyThreadsArriveWhole) {
  const HelperRun run = helper(L"threads 8 300", {{L"QORDEBUGPRINTTEMPLATE", m_dir + L"t#.log"}});
  EXPECT_EQ(run.code, 0u);
  EXPECT_EQ(run.output, "active 1\n");
  std::istringstream lines(text(L"t0.log", kBOM16));
  std::string line;
  ASSERT_TRUE(std::getline(lines, line));
  EXPECT_TRUE(matches(line + "\n", kBanner));
  std::map<int, int> nextLine;  // per thread: lines keep their order
  std::map<int, std::string> threadId;
  const std::regex shape(R"(\{([0-9]+)\} thread ([0-9]+) line ([0-9]+) (x*)\r)");
  int count = 0;
  for (; std::getline(lines, line); ++count) {
    std::smatch m;
    ASSERT_TRUE(std::regex_match(line, m, shape)) << "line " << count << ": " << line;
    const int t = std::stoi(m[2]), i = std::stoi(m[3]);
    EXPECT_EQ(i, nextLine[t]++) << line;
    EXPECT_EQ(m[4].length(), i % 97) << line;
    EXPECT_EQ(threadId.emplace(t, m[1]).first->second, m[1]) << "one tag per thread";
  }
  EXPECT_EQ(count, 8 * 300);
  EXPECT_EQ(threadId.size(), 8u);
}

// Pairs at the buffer's end and across a flush arrive whole; lone surrogates,
// and characters the file's encoding lacks, are dropped alone.
TEST_F(DebugStreamProcess, EveryCharacterTheFileCanHoldArrives) {
  std::wstring want;
  for (std::size_t before = 509; before <= 513; ++before)
    want += std::wstring(before, L'a') +
            L"\U0001F600"
            L"b\r\n";
  want +=
      L"\U0001F600"
      L"c\r\nxy\r\n\u0F40" +
      std::wstring(600, L'z') + L"\r\n";
  // What follows the first line end (the banner's).
  auto body = [](const std::string& bytes, const std::string& lineEnd) {
    const std::size_t banner = bytes.find(lineEnd);
    return banner == std::string::npos ? std::string() : bytes.substr(banner + lineEnd.size());
  };

  const HelperRun wide = helper(L"edges", {{L"QORDEBUGPRINTTEMPLATE", m_dir + L"e#.log"}});
  EXPECT_EQ(wide.output, "active 1 good 1\n");
  std::string units;
  for (wchar_t c : want) units.append({static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)});
  const std::string log = readFile(m_dir + L"e0.log");
  EXPECT_EQ(log.substr(0, 2), kBOM16);
  EXPECT_EQ(body(log.substr(2), std::string("\r\0\n\0", 4)), units);

  // A file without a mark goes on in the ANSI code page, which no code page
  // extends to U+0F40 or beyond U+FFFF.
  writeFile(m_dir + L"ansi.txt", "Mark-less\r\n");
  const HelperRun ansi = helper(L"edges", {{L"QORDEBUGPRINTFILE", m_dir + L"ansi.txt"}});
  EXPECT_EQ(ansi.output, "active 1 good 1\n");
  std::string ascii;
  for (wchar_t c : want)
    if (c < 0x80) ascii.push_back(static_cast<char>(c));
  const std::string file = readFile(m_dir + L"ansi.txt");
  EXPECT_EQ(file.substr(0, 11), "Mark-less\r\n");
  EXPECT_EQ(body(file.substr(11), "\r\n"), ascii);
}

// The formatting helpers need no file: they write to any wide stream.

TEST(DebugStreamFormat, TypeNamesLoseQualifiersAndOneNamespace) {
  const struct {
    const char* readable;
    const wchar_t* cleaned;
  } cases[] = {
      {"struct A::B::C", L"B::C"},
      {"const volatile class X::Y", L"Y"},
      {"volatile const X::Y", L"const X::Y"},  // each prefix tested once, in order
      {"class struct S", L"S"},
      {"Handle<QOR::X>", L"Handle<QOR::X>"},
      {"N:M", L"N:M"},
      {"", L""},
      {"::Global", L"Global"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.readable);
    EXPECT_EQ(DebugStream::cleanTypeName(c.readable), c.cleaned);
  }
}

TEST(DebugStreamFormat, PointerDescriptions) {
  const void* p = reinterpret_cast<const void*>(static_cast<std::uintptr_t>(0x12FF40));
  const std::wstring hex = L"000000000012FF40";
  EXPECT_EQ(DebugStream::typedPtrA(typeid(Outer::Inner::Nested), p), L"Inner::Nested" + hex);
  EXPECT_EQ(DebugStream::typedIdPtrA(typeid(Plain), p, -3), L"Plain#-3 " + hex);
  EXPECT_EQ(DebugStream::typedPtrRefA(typeid(Plain), p), L"Plain *" + hex);
  std::wostringstream out;
  DebugStream::debugPtrA(out, typeid(Plain), p);
  DebugStream::debugIdPtrA(out, typeid(Plain), p, 1);
  DebugStream::debugPtrRefA(out, typeid(Plain), p);
  DebugStream::debugIdPtrRefA(out, typeid(Plain), p, 2);
  EXPECT_EQ(out.str(), L"Plain" + hex + L"Plain#1 " + hex + L"Plain *" + hex + L"Plain#2 *" + hex);
}

TEST(DebugStreamFormat, NumbersThreadTagsQuarksAndColours) {
  EXPECT_EQ(DebugStream::decimal(-2147483647 - 1), L"-2147483648");
  EXPECT_EQ(DebugStream::hexadecimal(0xDEADBEEFu), L"deadbeef");
  std::wostringstream out;
  out << std::hex << DebugStream::GCTID();
  EXPECT_EQ(out.str(), L"{" + std::to_wstring(GetCurrentThreadId()) + L"} ") << "always decimal";

  const Quark q = Quark::create(L"debug-layer");
  const std::wstring number = std::to_wstring(reinterpret_cast<std::uintptr_t>(q.value()));
  ASSERT_EQ(DebugStream::debuggingLevel(), DebugStream::Verbose);
  std::wostringstream verbose, quiet, null;
  verbose << q;
  EXPECT_EQ(verbose.str(), L"Q:" + number + L" \"debug-layer\"");
  {
    DebugStream::SetVerbose level(DebugStream::Normal);
    EXPECT_EQ(DebugStream::debuggingLevel(), DebugStream::Verbose) << "applied only when inserted";
    quiet << level << q;
    EXPECT_EQ(DebugStream::debuggingLevel(), DebugStream::Normal);
  }
  EXPECT_EQ(DebugStream::debuggingLevel(), DebugStream::Verbose) << "restored at the end of the scope";
  EXPECT_EQ(quiet.str(), L"Q:" + number);
  null << nullQuark;
  EXPECT_EQ(null.str(), L"Q:0 \"\"");

  std::wostringstream colour;
  colour << Colour::rgba(1, 0.5, 0, 0.25);
  EXPECT_EQ(colour.str(), L"Colour::rgba(1,0.5,0,0.25)");
}

}  // namespace
