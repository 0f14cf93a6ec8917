// viewer --render: a drawing to a .bmp file without a window.
#include "render.h"

#include <qorcor14/errors.h>
#include <qorcor14/text.h>

#include <windows.h>

#include <exception>
#include <optional>

namespace viewer {

namespace {

// A failure of the command line itself.
struct UsageError {
  std::wstring text;
};

// One line on the standard error. A WIN32-subsystem program started from a
// console on Windows has no standard error of its own unless redirected, so
// it then borrows its parent's console; under Wine, and when redirected, the
// handle is there and takes UTF-8.
void printError(const std::wstring& text) {
  const std::wstring line = L"viewer: " + text + L"\n";
  HANDLE h = GetStdHandle(STD_ERROR_HANDLE);
  bool borrowed = false;
  if ((h == nullptr || h == INVALID_HANDLE_VALUE) && AttachConsole(ATTACH_PARENT_PROCESS)) {
    h = CreateFileW(L"CONOUT$", GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    borrowed = h != INVALID_HANDLE_VALUE;
  }
  if (h == nullptr || h == INVALID_HANDLE_VALUE) return;
  DWORD mode = 0, written = 0;
  if (GetConsoleMode(h, &mode)) {
    WriteConsoleW(h, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
  } else {
    const std::string bytes = utf8(line);
    WriteFile(h, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  }
  if (borrowed) CloseHandle(h);
}

long side(const std::wstring& text) {
  long v = 0;
  if (!parsePixels(text, 1, v))
    throw UsageError{L"--size takes two whole numbers from 1 to 16384, not \"" + text + L"\""};
  return v;
}

struct Request {
  std::wstring drawing, output, profile;
  long width = 0, height = 0;
  std::vector<ViewStep> steps;
};

Request parse(const std::vector<std::wstring>& args) {
  const wchar_t* usage = L"usage: viewer --render FILE.csv OUT.bmp --size W H [--view STEPS] [--profile FILE.icc]";
  if (args.size() < 3 || args[1].rfind(L"--", 0) == 0 || args[2].rfind(L"--", 0) == 0) throw UsageError{usage};
  Request r;
  r.drawing = args[1];
  r.output = args[2];
  for (std::size_t i = 3; i < args.size(); ++i) {
    const std::wstring& option = args[i];
    const std::size_t values = option == L"--size" ? 2 : option == L"--view" || option == L"--profile" ? 1 : 0;
    if (values == 0) throw UsageError{L"unknown option \"" + option + L"\"; " + usage};
    if (args.size() - i - 1 < values)
      throw UsageError{option + L" needs " + (values == 2 ? L"two values" : L"a value")};
    if (option == L"--size") {
      r.width = side(args[i + 1]);
      r.height = side(args[i + 2]);
    } else if (option == L"--view") {
      if (!parseViewSteps(args[i + 1], r.steps))
        throw UsageError{L"--view \"" + args[i + 1] +
                         L"\" is not steps like \"zoom,N,X,Y;pan,DX,DY;rotate,Q,X,Y;mirror,X\""};
    } else {
      r.profile = args[i + 1];
    }
    i += values;
  }
  if (r.width == 0) throw UsageError{L"--size W H is required"};
  return r;
}

void render(const Request& r) {
  const Drawing drawing = readDrawing(r.drawing);
  QOR::Handle<QOR::ColourTransform> toDisplay;
  if (!r.profile.empty()) toDisplay = transformToProfile(r.profile);
  const std::vector<std::uint32_t> pixels = shapePixels(drawing, toDisplay.get());
  View view = View::fit(drawing.extent, static_cast<int>(r.width), static_cast<int>(r.height));
  apply(view, r.steps);
  const auto bitmap = whiteBitmap(static_cast<int>(r.width), static_cast<int>(r.height));
  RenderJob(drawing, view, pixels, *bitmap).runToEnd();
  saveBitmapFile(*bitmap, r.output);
}

}  // namespace

int renderHeadless(const std::vector<std::wstring>& args) {
  try {
    render(parse(args));
    return 0;
  } catch (const UsageError& e) {
    printError(e.text);
  } catch (const DrawingError& e) {
    printError(e.text());
  } catch (const QOR::QorError& e) {
    printError(e.wWhat());
  } catch (const std::exception& e) {
    printError(getWCS(e.what()));
  }
  return 1;
}

}  // namespace viewer
