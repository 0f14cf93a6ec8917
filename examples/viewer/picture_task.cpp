#include "picture_task.h"

#include "trace.h"

#include <exception>
#include <string>

namespace viewer {

void PictureTask::request(PictureRequest request) {
  const std::lock_guard<std::mutex> hold(m_lock);
  m_request = std::move(request);
  ++m_requestNumber;
  m_finished.reset();  // a picture of an older request is not shown any more
}

std::unique_ptr<DIBitmap> PictureTask::takeFinished() {
  const std::lock_guard<std::mutex> hold(m_lock);
  return std::move(m_finished);
}

bool PictureTask::draw() {
  // Cleared before the request is read: a request made after this point
  // sets the flag again (request, then insert, which interrupts).
  m_stop = false;
  {
    const std::lock_guard<std::mutex> hold(m_lock);
    if (m_requestNumber != m_drawingNumber) {
      m_job.reset();
      m_drawing = m_request;
      m_drawingNumber = m_requestNumber;
    }
  }
  try {
    if (!m_job) {
      if (!m_drawing.drawing || m_drawing.width <= 0 || m_drawing.height <= 0) return true;
      m_picture = whiteBitmap(m_drawing.width, m_drawing.height);
      m_job.emplace(*m_drawing.drawing, m_drawing.view, *m_drawing.pixels, *m_picture);
      m_started = GetTickCount64();
    }
    if (!m_job->run(m_stop)) {
      trace(L"picture interrupted after " + std::to_wstring(m_job->segmentsDrawn()) + L" segments");
      return false;
    }
  } catch (const std::exception& e) {
    // Too large a picture, say: the window keeps what it shows.
    trace(L"picture not drawn: " + std::wstring(e.what(), e.what() + std::char_traits<char>::length(e.what())));
    m_job.reset();
    return true;
  }
  const std::size_t segments = m_job->segmentsDrawn();
  m_job.reset();
  {
    const std::lock_guard<std::mutex> hold(m_lock);
    if (m_drawingNumber != m_requestNumber) return true;  // superseded as it finished
    m_finished = std::move(m_picture);
  }
  trace(L"picture " + std::to_wstring(m_drawing.width) + L"x" + std::to_wstring(m_drawing.height) + L", " +
        std::to_wstring(segments) + L" segments, " + std::to_wstring(GetTickCount64() - m_started) + L" ms");
  PostMessageW(m_window, kPictureReady, 0, 0);
  return true;
}

}  // namespace viewer
