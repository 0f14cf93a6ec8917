// The viewer's windows. Each shows one drawing under its own view; a draw
// task per window renders the view into a bitmap on the draw thread, and the
// window paints the last finished bitmap. A new view replaces the task's
// request and queues the task again, which interrupts a drawing in progress
// within one batch of segments.
#include "window.h"

#include "picture_task.h"
#include "render.h"
#include "settings.h"
#include "trace.h"

#include <qorcor14/errors.h>
#include <qorcor14/platform.h>
#include <qorcor14/threading.h>

#include <commdlg.h>
#include <shellapi.h>
#include <windowsx.h>

#include <algorithm>
#include <cmath>
#include <cwchar>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace viewer {
namespace {

const wchar_t kClassName[] = L"qorcor14.viewer";
const wchar_t kAppName[] = L"qorcor14 viewer";

enum Command : UINT { cmdOpen = 1, cmdNewWindow, cmdClose, cmdFit, cmdRotateLeft, cmdRotateRight, cmdMirror };

// The draw thread of every viewer window.
class Painter : public QOR::Threading::DrawThread {
public:
  ~Painter() override { finish(QOR::Threading::BoringWaiter()); }
  void threadStarting() override { trace(L"draw thread started"); }
  void threadEnding() override { trace(L"draw thread ending"); }
};

// What the windows share: the instance, the draw thread, the colours of the
// display, and where new windows go.
struct App {
  HINSTANCE instance = nullptr;
  int show = SW_SHOWNORMAL;
  std::optional<SIZE> clientSize;  // --size
  std::optional<POINT> position;   // --at
  QOR::Handle<QOR::ColourTransform> toDisplay;
  std::set<HWND> windows;
  Painter painter;  // last: finished before anything it may still read
};
App* g_app = nullptr;

// The display's colour profile as a transform from sRGB, or none when the
// system names no profile or it cannot be read.
QOR::Handle<QOR::ColourTransform> displayTransform() {
  HDC screen = GetDC(nullptr);
  wchar_t path[MAX_PATH + 1] = {};
  DWORD length = MAX_PATH + 1;
  const BOOL named = GetICMProfileW(screen, &length, path);
  ReleaseDC(nullptr, screen);
  if (!named) {
    trace(L"the display names no colour profile: colours are drawn as sRGB");
    return {};
  }
  try {
    QOR::Handle<QOR::ColourTransform> toDisplay = transformToProfile(path);
    trace(std::wstring(L"display profile ") + path);
    return toDisplay;
  } catch (const QOR::QorError& e) {
    trace(std::wstring(L"display profile ") + path + L" not used: " + e.wWhat());
    return {};
  }
}

// One viewer window.
class ViewerWindow {
public:
  // A new window showing `drawing` under `view` (fitted when none), or null.
  static ViewerWindow* create(const std::shared_ptr<const Drawing>& drawing, const std::optional<View>& view);
  // Shows the drawing in `file`, or tells why it cannot.
  void open(const std::wstring& file);
  static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

private:
  explicit ViewerWindow(HWND window) : m_window(window), m_task(window) {}

  LRESULT handle(UINT message, WPARAM wParam, LPARAM lParam);

  void show(std::shared_ptr<const Drawing> drawing, const std::optional<View>& view);
  void command(UINT id);
  void paint();
  // Asks the draw thread for the picture of the current view and size.
  void requestPicture();
  void updateTitle();
  [[nodiscard]] SIZE clientSize() const;
  [[nodiscard]] Point<2> clientCentre() const;

  HWND m_window;
  std::shared_ptr<const Drawing> m_drawing = std::make_shared<Drawing>();
  std::shared_ptr<const std::vector<std::uint32_t>> m_pixels = std::make_shared<std::vector<std::uint32_t>>();
  View m_view;
  std::unique_ptr<DIBitmap> m_picture;  // the last finished picture
  PictureTask m_task;
  std::vector<std::wstring> m_toOpen;  // files sent by other programs
  std::optional<POINT> m_dragFrom;
  std::optional<Point<2>> m_cursor;  // in drawing coordinates
};

HMENU makeMenu() {
  HMENU file = CreatePopupMenu();
  AppendMenuW(file, MF_STRING, cmdOpen, L"&Open...\tCtrl+O");
  AppendMenuW(file, MF_STRING, cmdNewWindow, L"&New window\tCtrl+N");
  AppendMenuW(file, MF_SEPARATOR, 0, nullptr);
  AppendMenuW(file, MF_STRING, cmdClose, L"&Close\tCtrl+W");
  HMENU view = CreatePopupMenu();
  AppendMenuW(view, MF_STRING, cmdFit, L"&Fit\tHome");
  AppendMenuW(view, MF_STRING, cmdRotateLeft, L"Rotate &left\tR");
  AppendMenuW(view, MF_STRING, cmdRotateRight, L"Rotate &right\tShift+R");
  AppendMenuW(view, MF_STRING, cmdMirror, L"&Mirror\tM");
  HMENU bar = CreateMenu();
  AppendMenuW(bar, MF_POPUP, reinterpret_cast<UINT_PTR>(file), L"&File");
  AppendMenuW(bar, MF_POPUP, reinterpret_cast<UINT_PTR>(view), L"&View");
  return bar;
}

ViewerWindow* ViewerWindow::create(const std::shared_ptr<const Drawing>& drawing, const std::optional<View>& view) {
  const DWORD style = WS_OVERLAPPEDWINDOW;
  const DWORD exStyle = WS_EX_ACCEPTFILES;
  HMENU menu = makeMenu();
  int x = CW_USEDEFAULT, y = CW_USEDEFAULT, width = 800, height = 600;
  const std::optional<WINDOWPLACEMENT> placement =
      g_app->clientSize || g_app->position ? std::nullopt : loadPlacement();
  if (g_app->clientSize) {
    RECT r{0, 0, g_app->clientSize->cx, g_app->clientSize->cy};
    AdjustWindowRectEx(&r, style, TRUE, exStyle);
    width = r.right - r.left;
    height = r.bottom - r.top;
  }
  if (g_app->position) {
    x = g_app->position->x;
    y = g_app->position->y;
  }
  HWND window = CreateWindowExW(exStyle, kClassName, kAppName, style, x, y, width, height, nullptr, menu,
                                g_app->instance, nullptr);
  if (!window) {
    DestroyMenu(menu);
    return nullptr;
  }
  auto* self = new ViewerWindow(window);
  SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
  g_app->windows.insert(window);
  // A second window with a placement of its own would cover the first one.
  if (placement && g_app->windows.size() == 1) {
    WINDOWPLACEMENT p = *placement;
    if (p.showCmd != SW_SHOWMAXIMIZED) p.showCmd = g_app->show == SW_SHOWMAXIMIZED ? SW_SHOWMAXIMIZED : SW_SHOWNORMAL;
    SetWindowPlacement(window, &p);
  } else {
    ShowWindow(window, g_app->windows.size() == 1 ? g_app->show : SW_SHOWNORMAL);
  }
  self->show(drawing, view);
  UpdateWindow(window);
  return self;
}

LRESULT CALLBACK ViewerWindow::procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* self = reinterpret_cast<ViewerWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (!self) return DefWindowProcW(window, message, wParam, lParam);
  if (message != WM_NCDESTROY) return self->handle(message, wParam, lParam);
  SetWindowLongPtrW(window, GWLP_USERDATA, 0);
  delete self;
  g_app->windows.erase(window);
  if (g_app->windows.empty()) PostQuitMessage(0);
  return DefWindowProcW(window, message, wParam, lParam);
}

LRESULT ViewerWindow::handle(UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
  case WM_PAINT: paint(); return 0;
  case WM_ERASEBKGND: return 1;  // paint() covers every pixel
  case kPictureReady:
    if (std::unique_ptr<DIBitmap> picture = m_task.takeFinished()) {
      m_picture = std::move(picture);
      InvalidateRect(m_window, nullptr, FALSE);
    }
    return 0;
  case WM_SIZE:
    if (wParam != SIZE_MINIMIZED) requestPicture();
    return 0;
  case WM_MOUSEWHEEL: {
    POINT at{GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam)};
    ScreenToClient(m_window, &at);
    m_view.zoom(GET_WHEEL_DELTA_WPARAM(wParam) / double(WHEEL_DELTA), Point<2>(at.x, at.y));
    requestPicture();
    return 0;
  }
  case WM_LBUTTONDOWN:
    SetCapture(m_window);
    m_dragFrom = POINT{GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam)};
    return 0;
  case WM_LBUTTONUP:
  case WM_CAPTURECHANGED:
    m_dragFrom.reset();
    if (message == WM_LBUTTONUP) ReleaseCapture();
    return 0;
  case WM_MOUSEMOVE: {
    const POINT at{GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam)};
    if (m_dragFrom && (at.x != m_dragFrom->x || at.y != m_dragFrom->y)) {
      m_view.pan(Vector<2>(at.x - m_dragFrom->x, at.y - m_dragFrom->y));
      m_dragFrom = at;
      requestPicture();
    }
    // The pixel's centre, as the renderer samples it.
    m_cursor = m_view.toDrawing(Point<2>(at.x + 0.5, at.y + 0.5));
    updateTitle();
    return 0;
  }
  case WM_KEYDOWN: {
    const bool control = GetKeyState(VK_CONTROL) < 0, shift = GetKeyState(VK_SHIFT) < 0;
    if (wParam == VK_HOME) command(cmdFit);
    else if (wParam == 'R' && !control) command(shift ? cmdRotateRight : cmdRotateLeft);
    else if (wParam == 'M' && !control) command(cmdMirror);
    else if (wParam == 'N' && control) command(cmdNewWindow);
    else if (wParam == 'O' && control) command(cmdOpen);
    else if (wParam == 'W' && control) command(cmdClose);
    return 0;
  }
  case WM_COMMAND: command(LOWORD(wParam)); return 0;
  case WM_DROPFILES: {
    auto drop = reinterpret_cast<HDROP>(wParam);
    const std::vector<std::wstring> files = getDropFiles(drop);
    DragFinish(drop);
    if (!files.empty()) open(files.front());
    return 0;
  }
  case WM_COPYDATA: {
    // Another program asks this window to open a file. The sender waits for
    // the answer, so the file is opened once it has it.
    const auto* data = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
    if (data->dwData != kOpenFileData || data->cbData == 0 || data->cbData % sizeof(wchar_t) != 0 ||
        data->cbData > 32768 * sizeof(wchar_t))
      return FALSE;
    m_toOpen.emplace_back(static_cast<const wchar_t*>(data->lpData), data->cbData / sizeof(wchar_t));
    PostMessageW(m_window, kOpenSent, 0, 0);
    return TRUE;
  }
  case kOpenSent: {
    std::vector<std::wstring> files;
    files.swap(m_toOpen);
    for (const std::wstring& file : files) open(file);
    return 0;
  }
  case WM_ACTIVATE:
    if (LOWORD(wParam) != WA_INACTIVE) g_app->painter.updateActive(m_window);
    return 0;
  case WM_DESTROY:
    // The task must have left the draw thread before it goes with this object.
    g_app->painter.cancel(m_window, QOR::Threading::BoringWaiter());
    if (g_app->windows.size() == 1) savePlacement(m_window);
    return 0;
  default: return DefWindowProcW(m_window, message, wParam, lParam);
  }
}

void ViewerWindow::command(UINT id) {
  switch (id) {
  case cmdOpen: {
    wchar_t file[MAX_PATH + 1] = {};
    OPENFILENAMEW dialog{};
    dialog.lStructSize = sizeof dialog;
    dialog.hwndOwner = m_window;
    dialog.lpstrFilter = L"Drawings (*.csv)\0*.csv\0All files\0*.*\0";
    dialog.lpstrFile = file;
    dialog.nMaxFile = MAX_PATH + 1;
    dialog.Flags = OFN_FILEMUSTEXIST | OFN_HIDEREADONLY;
    if (GetOpenFileNameW(&dialog)) open(file);
    break;
  }
  case cmdNewWindow: ViewerWindow::create(m_drawing, m_view); break;
  case cmdClose: DestroyWindow(m_window); break;
  case cmdFit: {
    const SIZE size = clientSize();
    m_view = View::fit(m_drawing->extent, size.cx, size.cy);
    requestPicture();
    break;
  }
  case cmdRotateLeft:
  case cmdRotateRight:
    m_view.rotate(id == cmdRotateLeft ? 1 : -1, clientCentre());
    requestPicture();
    break;
  case cmdMirror:
    m_view.mirror(clientCentre());
    requestPicture();
    break;
  default: break;
  }
}

// A file that cannot be read leaves the drawing shown as it is.
void ViewerWindow::open(const std::wstring& file) {
  std::shared_ptr<const Drawing> drawing;
  try {
    drawing = std::make_shared<const Drawing>(readDrawing(file));
  } catch (const DrawingError& e) {
    trace(L"cannot show " + file + L": " + e.text());
    MessageBoxW(m_window, e.text().c_str(), kAppName, MB_OK | MB_ICONERROR);
    return;
  }
  trace(L"opened " + file + L": " + std::to_wstring(drawing->shapes.size()) + L" shapes, " +
        std::to_wstring(drawing->segmentCount) + L" segments");
  saveLastFile(file);
  show(std::move(drawing), std::nullopt);
}

void ViewerWindow::show(std::shared_ptr<const Drawing> drawing, const std::optional<View>& view) {
  m_drawing = std::move(drawing);
  m_pixels = std::make_shared<const std::vector<std::uint32_t>>(shapePixels(*m_drawing, g_app->toDisplay.get()));
  const SIZE size = clientSize();
  m_view = view ? *view : View::fit(m_drawing->extent, size.cx, size.cy);
  m_cursor.reset();
  updateTitle();
  requestPicture();
}

void ViewerWindow::requestPicture() {
  const SIZE size = clientSize();
  if (size.cx <= 0 || size.cy <= 0) return;
  m_task.request(PictureRequest{m_drawing, m_pixels, m_view, static_cast<int>(size.cx), static_cast<int>(size.cy)});
  g_app->painter.insert(m_task);
}

void ViewerWindow::paint() {
  PAINTSTRUCT ps;
  HDC dc = BeginPaint(m_window, &ps);
  const SIZE size = clientSize();
  int shownWidth = 0, shownHeight = 0;
  if (m_picture) {
    const BITMAPINFOHEADER& header = m_picture->header()->bmiHeader;
    shownWidth = std::min<int>(header.biWidth, size.cx);
    shownHeight = std::min<int>(-header.biHeight, size.cy);
    // Top-down rows: the first scan line given is the top one.
    SetDIBitsToDevice(dc, 0, 0, shownWidth, shownHeight, 0, 0, 0, -header.biHeight, m_picture->bits(),
                      m_picture->header(), DIB_RGB_COLORS);
  }
  // Whatever the picture does not cover (the window grew) is background.
  auto white = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
  const RECT right{shownWidth, 0, size.cx, size.cy}, below{0, shownHeight, shownWidth, size.cy};
  FillRect(dc, &right, white);
  FillRect(dc, &below, white);
  EndPaint(m_window, &ps);
}

void ViewerWindow::updateTitle() {
  std::wstring title = m_drawing->file.empty() ? L"(no drawing)" : m_drawing->file;
  if (m_cursor) {
    wchar_t at[80];
    std::swprintf(at, 80, L"  x=%.6g y=%.6g", (*m_cursor)[0], (*m_cursor)[1]);
    title += at;
  }
  title += L" - ";
  title += kAppName;
  SetWindowTextW(m_window, title.c_str());
}

SIZE ViewerWindow::clientSize() const {
  RECT r{};
  GetClientRect(m_window, &r);
  return SIZE{r.right - r.left, r.bottom - r.top};
}

Point<2> ViewerWindow::clientCentre() const {
  const SIZE size = clientSize();
  return Point<2>(size.cx / 2.0, size.cy / 2.0);
}

bool registerClass(HINSTANCE instance) {
  WNDCLASSEXW wc{};
  wc.cbSize = sizeof wc;
  wc.lpfnWndProc = [](HWND window, UINT message, WPARAM wParam, LPARAM lParam) -> LRESULT {
    return ViewerWindow::procedure(window, message, wParam, lParam);
  };
  wc.hInstance = instance;
  wc.hCursor = LoadCursorW(nullptr, MAKEINTRESOURCEW(32512));  // IDC_ARROW
  wc.hIcon = LoadIconW(nullptr, MAKEINTRESOURCEW(32512));      // IDI_APPLICATION
  wc.lpszClassName = kClassName;
  return RegisterClassExW(&wc) != 0;
}

// Reads args[i] as parsePixels does; false when there is none.
bool readPixels(const std::vector<std::wstring>& args, std::size_t i, long& out, long lowest) {
  return i < args.size() && parsePixels(args[i], lowest, out);
}

}  // namespace

int runWindows(HINSTANCE instance, int show, const std::vector<std::wstring>& args) {
  App app;
  g_app = &app;
  app.instance = instance;
  app.show = show;
  std::wstring file;
  for (std::size_t i = 0; i < args.size(); ++i) {
    long a = 0, b = 0;
    if (args[i] == L"--size" && readPixels(args, i + 1, a, 1) && readPixels(args, i + 2, b, 1)) {
      app.clientSize = SIZE{a, b};
      i += 2;
    } else if (args[i] == L"--at" && readPixels(args, i + 1, a, -kMaxSide) && readPixels(args, i + 2, b, -kMaxSide)) {
      app.position = POINT{a, b};
      i += 2;
    } else if (file.empty() && args[i].rfind(L"--", 0) != 0) {
      file = args[i];
    } else {
      MessageBoxW(nullptr,
                  (L"Unknown argument " + args[i] +
                   L"\n\nviewer [FILE.csv] [--size W H] [--at X Y]\n"
                   L"viewer --render FILE.csv OUT.bmp --size W H [--view STEPS]")
                      .c_str(),
                  kAppName, MB_OK | MB_ICONERROR);
      return 2;
    }
  }
  if (!registerClass(instance)) return 1;
  app.toDisplay = displayTransform();
  // The file shown last time, unless it has gone since: that is no error of
  // this run.
  if (file.empty()) {
    const std::wstring last = loadLastFile();
    if (!last.empty() && GetFileAttributesW(last.c_str()) != INVALID_FILE_ATTRIBUTES) file = last;
  }

  ViewerWindow* first = ViewerWindow::create(std::make_shared<Drawing>(), std::nullopt);
  if (!first) return 1;
  if (!file.empty()) first->open(file);

  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  app.painter.finish(QOR::Threading::BoringWaiter());
  g_app = nullptr;
  return 0;
}

}  // namespace viewer
