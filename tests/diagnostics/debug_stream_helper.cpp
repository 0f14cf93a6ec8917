// One debug-stream case per fresh process (the stream's state is process-wide):
//   write: isActive, then two lines;  threads N LINES: N threads write LINES tagged lines each
//   edges: surrogate pairs at the stream buffer's end, one split by a flush,
//          lone surrogates, and a character outside the ANSI code page
#include <qorcor14/diagnostics/debug_stream.h>

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

int write() {
  const bool active = DebugStream::isActive();
  std::wostream& s = DebugStream::stream();
  s << L"line one\n" << 1.0 / 3 << L"\n";
  std::printf("active %d good %d\n", active ? 1 : 0, s.good() ? 1 : 0);
  return 0;
}

int threads(int count, int lines) {
  std::mutex line;
  std::vector<std::thread> workers;
  for (int t = 0; t < count; ++t) {
    workers.emplace_back([&line, t, lines] {
      for (int i = 0; i < lines; ++i) {
        std::lock_guard<std::mutex> whole(line);
        DebugStream::stream() << DebugStream::GCTID() << L"thread " << t << L" line " << i << L" "
                              << std::wstring(static_cast<std::size_t>(i % 97), L'x') << L"\n";
      }
    });
  }
  for (std::thread& w : workers) w.join();
  DebugStream::flush();
  std::printf("active %d\n", DebugStream::isActive() ? 1 : 0);
  return 0;
}

// Every piece is flushed, so the next starts at the buffer's first unit.
int edges() {
  std::wostream& s = DebugStream::stream();
  for (std::size_t before = 509; before <= 513; ++before)
    s << std::wstring(before, L'a') << L"\U0001F600" << L"b\n" << std::flush;
  s << L'\xD83D' << std::flush << L'\xDE00' << L"c\n" << std::flush;
  s << L"x" << L'\xDC00' << L"y" << L'\xD800' << L"\n" << L"\u0F40" << std::wstring(600, L'z') << L"\n";
  DebugStream::flush();
  std::printf("active %d good %d\n", DebugStream::isActive() ? 1 : 0, s.good() ? 1 : 0);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 2 && std::strcmp(argv[1], "write") == 0) return write();
  if (argc >= 2 && std::strcmp(argv[1], "edges") == 0) return edges();
  if (argc >= 4 && std::strcmp(argv[1], "threads") == 0) return threads(std::atoi(argv[2]), std::atoi(argv[3]));
  std::fprintf(stderr, "debug_stream_helper: unknown case\n");
  return 2;
}
