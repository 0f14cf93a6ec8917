// The draw task of one viewer window: renders the window's latest request
// on the draw thread and hands the finished picture to the window.
#pragma once

#include "render.h"

#include <qorcor14/threading.h>

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace viewer {

// Posted to the window when a picture of its latest request is finished.
inline constexpr UINT kPictureReady = WM_APP + 1;
// Posted by a window to itself to open the files other programs sent it.
inline constexpr UINT kOpenSent = WM_APP + 2;

// What to draw: the drawing, its shapes' pixels, the view and the size.
struct PictureRequest {
  std::shared_ptr<const Drawing> drawing;
  std::shared_ptr<const std::vector<std::uint32_t>> pixels;
  View view;
  int width = 0;
  int height = 0;
};

// The window makes a request and queues the task again (DrawThread::insert),
// which interrupts a drawing of an older request at its next batch; the
// drawing of the same request, interrupted for a higher window, goes on
// where it stopped.
//
// Note: one task per window for the window's whole life; the window cancels
// it on the draw thread, with a waiter, before the task goes.
class PictureTask : public QOR::Threading::DrawTask {
public:
  explicit PictureTask(HWND window) : m_window(window) {}

  // On the window's thread.
  void request(PictureRequest request);
  // The picture of the latest request, once finished; null before, and after
  // it was taken.
  [[nodiscard]] std::unique_ptr<DIBitmap> takeFinished();

  void interrupt() override { m_stop = true; }
  HWND window() const override { return m_window; }
  bool draw() override;

private:
  const HWND m_window;
  std::atomic<bool> m_stop{false};

  std::mutex m_lock;  // guards the next three
  PictureRequest m_request;
  unsigned m_requestNumber = 0;
  std::unique_ptr<DIBitmap> m_finished;

  // The draw thread's own.
  PictureRequest m_drawing;
  unsigned m_drawingNumber = 0;
  std::unique_ptr<DIBitmap> m_picture;
  std::optional<RenderJob> m_job;
  unsigned long long m_started = 0;  // GetTickCount64 when the drawing began
};

}  // namespace viewer
