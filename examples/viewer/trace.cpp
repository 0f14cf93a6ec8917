#include "trace.h"

#include <qorcor14/diagnostics.h>

#include <mutex>

namespace viewer {

void trace(const std::wstring& line) {
  if (!DebugStream::isActive()) return;
  // The stream takes text from any thread but does not keep lines whole.
  static std::mutex lock;
  const std::lock_guard<std::mutex> hold(lock);
  DebugStream::stream() << DebugStream::GCTID() << L"viewer: " << line << L'\n';
  DebugStream::flush();
}

}  // namespace viewer
