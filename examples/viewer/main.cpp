// The viewer: a window per drawing, or with --render a headless picture.
#include "render.h"
#include "window.h"

#include <windows.h>
#include <shellapi.h>

#include <string>
#include <vector>

int WINAPI WinMain(HINSTANCE instance, HINSTANCE, LPSTR, int show) {
  std::vector<std::wstring> args;
  int argc = 0;
  if (wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc)) {
    args.assign(argv + 1, argv + argc);
    LocalFree(argv);
  }
  if (!args.empty() && args[0] == L"--render") return viewer::renderHeadless(args);
  return viewer::runWindows(instance, show, args);
}
