// The viewer program as a user meets it, in real windows of the test's
// display: files sent to it, the message box a bad file gets, and a large
// drawing zoomed while it is being drawn.
#include <qorcor14/internal/unique_resource.h>
#include <qorcor14/platform.h>
#include <qorcor14/text/strings.h>

#include "examples/viewer/window.h"
#include "support/files.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

namespace {

using QOR::internal::UniqueHandle;

std::wstring viewerProgram() {
  wchar_t self[MAX_PATH + 1] = {};
  GetModuleFileNameW(nullptr, self, MAX_PATH + 1);
  std::wstring path(self);
  return path.substr(0, path.find_last_of(L'\\') + 1) + L"viewer.exe";
}

// Polls `found` every 20 ms until it gives true or `ms` have passed.
template <class F>
bool within(DWORD ms, F found) {
  const ULONGLONG end = GetTickCount64() + ms;
  for (;;) {
    if (found()) return true;
    if (GetTickCount64() > end) return false;
    Sleep(20);
  }
}

// The top-level windows of `process` of the class `className`.
std::vector<HWND> windowsOf(DWORD process, const wchar_t* className) {
  struct Search {
    DWORD process;
    const wchar_t* className;
    std::vector<HWND> found;
  } search{process, className, {}};
  EnumWindows(
      [](HWND window, LPARAM p) -> BOOL {
        auto& s = *reinterpret_cast<Search*>(p);
        DWORD owner = 0;
        GetWindowThreadProcessId(window, &owner);
        wchar_t name[64] = {};
        GetClassNameW(window, name, 64);
        if (owner == s.process && std::wstring(name) == s.className) s.found.push_back(window);
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&search));
  return search.found;
}

std::wstring textOf(HWND window) {
  wchar_t text[1024] = {};
  GetWindowTextW(window, text, 1024);
  return text;
}

// viewer.exe running with `args`, tracing to `trace`; closed at the end.
class Viewer {
public:
  Viewer(const std::wstring& args, const std::wstring& trace) {
    SetEnvironmentVariableW(L"QORDEBUGPRINTFILE", trace.c_str());
    std::wstring command = L"\"" + viewerProgram() + L"\" " + args;
    STARTUPINFOW si{};
    si.cb = sizeof si;
    PROCESS_INFORMATION pi{};
    const BOOL started =
        CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi);
    SetEnvironmentVariableW(L"QORDEBUGPRINTFILE", nullptr);
    if (!started) {
      ADD_FAILURE() << "cannot start viewer.exe: error " << GetLastError();
      return;
    }
    m_process.reset(pi.hProcess);
    CloseHandle(pi.hThread);
    m_id = pi.dwProcessId;
    EXPECT_TRUE(within(20000, [&] {
      const std::vector<HWND> found = windowsOf(m_id, L"qorcor14.viewer");
      if (!found.empty()) m_window = found.front();
      return m_window != nullptr;
    })) << "no viewer window within 20 s";
  }
  ~Viewer() {
    if (!m_process) return;
    if (m_window) PostMessageW(m_window, WM_CLOSE, 0, 0);
    if (WaitForSingleObject(m_process.get(), 20000) != WAIT_OBJECT_0) {
      ADD_FAILURE() << "the viewer did not end within 20 s of closing its window";
      TerminateProcess(m_process.get(), 1);
    }
  }
  Viewer(const Viewer&) = delete;
  Viewer& operator=(const Viewer&) = delete;

  [[nodiscard]] HWND window() const { return m_window; }
  [[nodiscard]] DWORD id() const { return m_id; }

  // Sends the viewer a file to open, as another program would.
  void open(const std::wstring& file) const {
    COPYDATASTRUCT data{viewer::kOpenFileData, static_cast<DWORD>(file.size() * sizeof(wchar_t)),
                        const_cast<wchar_t*>(file.data())};
    DWORD_PTR answer = 0;
    ASSERT_NE(
        SendMessageTimeoutW(m_window, WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&data), SMTO_NORMAL, 5000, &answer), 0);
    ASSERT_EQ(answer, TRUE);
  }

  [[nodiscard]] bool showsFile(const std::wstring& file, DWORD ms) const {
    return within(ms, [&] { return textOf(m_window).rfind(file, 0) == 0; });
  }

private:
  UniqueHandle m_process;
  DWORD m_id = 0;
  HWND m_window = nullptr;
};

// The text of the message box the viewer shows, once it shows one; the box
// is closed. Empty when none appears within `ms`.
std::wstring takeMessageBox(const Viewer& viewer, DWORD ms) {
  HWND box = nullptr;
  if (!within(ms, [&] {
        const std::vector<HWND> boxes = windowsOf(viewer.id(), L"#32770");
        if (!boxes.empty()) box = boxes.front();
        return box != nullptr;
      }))
    return {};
  std::wstring text;
  within(5000, [&] {
    text = textOf(GetDlgItem(box, 0xFFFF));  // the message box's text
    return !text.empty();
  });
  PostMessageW(box, WM_COMMAND, IDOK, 0);
  EXPECT_TRUE(within(5000, [&] { return !IsWindow(box); }));
  return text;
}

const char kGood[] =
    "Shape,X,Y,Bulge,Colour\r\n"
    "square,0,0,0,#0000FF\r\n"
    "square,10,0,1,\r\n"
    "square,10,10,0,\r\n"
    "square,0,10,0,\r\n"
    "square,0,0,0,\r\n";

// One message box each, naming the file and the line, and the drawing shown
// before stays; the last good file is the one remembered.
TEST(ViewerApp, BadFilesGetOneMessageBoxAndKeepTheDrawing) {
  // clang-format off
  const struct {
    const char* what;
    std::string bytes;
    const wchar_t* line;  // in the message, or null when the reader's own text names no line
  } rows[] = {
      {"missing column", "Shape,X\r\nsquare,1\r\n", L"line 1"},
      {"not a number", "Shape,X,Y\r\nsquare,1,2\r\nsquare,x,3\r\n", L"line 3"},
      {"quoted field cut off", "Shape,X,Y,Colour\r\nsquare,1,2,#000000\r\nsquare,3,4,\"#FF0000\r\n", L"line 3"},
      {"not text", std::string("\xEF\xBB\xBF" "Shape,X,Y\r\n\xFF\xFE\x80\x81", 17), nullptr},
  };
  // clang-format on
  qortest::ScratchFolder dir;
  const std::wstring good = dir.file(L"good.csv"), trace = dir.file(L"trace.txt");
  qortest::writeBytes(good, kGood);
  {
    Viewer viewer(L"\"" + good + L"\" --size 320 240", trace);
    ASSERT_TRUE(viewer.window());
    ASSERT_TRUE(viewer.showsFile(good, 10000)) << utf8(textOf(viewer.window()));
    for (const auto& row : rows) {
      SCOPED_TRACE(row.what);
      const std::wstring bad = dir.file(L"bad.csv");
      qortest::writeBytes(bad, row.bytes);
      viewer.open(bad);
      const std::wstring text = takeMessageBox(viewer, 10000);
      EXPECT_NE(text.find(bad), std::wstring::npos) << utf8(text);
      if (row.line) {
        EXPECT_NE(text.find(row.line), std::wstring::npos) << utf8(text);
      }
      EXPECT_EQ(takeMessageBox(viewer, 300), L"") << "a second message box";
      EXPECT_TRUE(viewer.showsFile(good, 0)) << utf8(textOf(viewer.window()));
    }
  }
  RegReadKey key(HKEY_CURRENT_USER, L"Software\\qorcor14\\viewer", 0);
  std::wstring last, placement;
  EXPECT_TRUE(key.getString(L"LastFile", last));
  EXPECT_EQ(last, good);
  EXPECT_TRUE(key.getString(L"Placement", placement));
}

// A drawing of 100,000 segments, zoomed again and again while it is being
// drawn: every zoom supersedes the drawing in progress, the window answers
// within 100 ms throughout, and the last view is drawn to the end.
TEST(ViewerApp, StaysResponsiveWhileALargeDrawingIsZoomed) {
  qortest::ScratchFolder dir;
  const std::wstring large = dir.file(L"large.csv"), trace = dir.file(L"trace.txt");
  std::string text = "Shape,X,Y,Bulge,Colour\r\n";
  for (int shape = 0; shape < 1000; ++shape)
    for (int vertex = 0; vertex <= 100; ++vertex)
      text += "s" + std::to_string(shape) + "," + std::to_string(vertex) + "," + std::to_string(shape) + "," +
              (vertex % 2 ? "0.5" : "-0.25") + ",#336699\r\n";
  qortest::writeBytes(large, text);

  Viewer viewer(L"--size 640 480", trace);
  ASSERT_TRUE(viewer.window());
  viewer.open(large);
  ASSERT_TRUE(viewer.showsFile(large, 30000));
  RECT client{};
  GetClientRect(viewer.window(), &client);
  POINT centre{client.right / 2, client.bottom / 2};
  ClientToScreen(viewer.window(), &centre);

  DWORD slowest = 0;
  const auto wheel = [&](int notches) {
    const WPARAM delta = static_cast<WPARAM>(static_cast<WORD>(notches * WHEEL_DELTA)) << 16;
    PostMessageW(viewer.window(), WM_MOUSEWHEEL, delta, MAKELPARAM(centre.x, centre.y));
  };
  for (int zoom = 0; zoom < 40; ++zoom) {
    // Three at once, the later ones while the first is being drawn; one notch
    // in, then one out, so that the drawing stays on the window.
    const int sign = zoom % 2 ? -1 : 1;
    wheel(sign);
    wheel(-sign);
    wheel(sign);
    for (int probe = 0; probe < 3; ++probe) {
      const ULONGLONG start = GetTickCount64();
      DWORD_PTR answer = 0;
      ASSERT_NE(SendMessageTimeoutW(viewer.window(), WM_NULL, 0, 0, SMTO_NORMAL, 100, &answer), 0)
          << "no answer within 100 ms after zoom " << zoom;
      slowest = std::max<DWORD>(slowest, static_cast<DWORD>(GetTickCount64() - start));
      Sleep(10);
    }
  }
  RecordProperty("slowest_answer_ms", static_cast<int>(slowest));

  // The trace tells what the draw thread did.
  std::string lines;
  EXPECT_TRUE(within(30000, [&] {
    lines = qortest::readBytes(trace);
    return lines.find("picture 640x480, 100000 segments") != std::string::npos;
  })) << lines;
  EXPECT_NE(lines.find("picture interrupted after"), std::string::npos) << "no zoom superseded a drawing";
}

}  // namespace
