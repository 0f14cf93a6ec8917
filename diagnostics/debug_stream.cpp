// The debug stream's process-wide state: opening its file from the
// environment, the stream buffer that forwards to the text writer, the
// active-state cache and the level.
#include <qorcor14/diagnostics/debug_stream.h>

#include <qorcor14/stream/raw.h>
#include <qorcor14/stream/text_file.h>
#include <qorcor14/text/codepoint.h>
#include <qorcor14/text/strings.h>
#include <qorcor14/threading/lock.h>

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <clocale>
#include <climits>
#include <ctime>
#include <exception>
#include <io.h>
#include <locale.h>
#include <memory>
#include <stdlib.h>
#include <streambuf>
#include <wchar.h>

namespace {

long volatile g_lock = 0;
std::atomic<long> g_level{DebugStream::Verbose};
// 0 not yet known, 1 active, -1 inactive.
std::atomic<long> g_activeState{0};
// Set once the stream has been opened; the target never changes afterwards
// until the library unloads.
bool g_initialised = false;
QOR::TextWriter* g_target = nullptr;
// Whether the target's encoding holds every character (UTF-16): then a
// piece goes out in one write, as nothing in it can be refused.
bool g_targetHoldsEverything = false;
// The file under a writer made from the template (the writer does not own it).
QOR::RawFileWriter* g_rawFile = nullptr;

// Gathers characters and hands them to the target writer in one piece when
// full and on flush; without a target it only discards them.
class TargetBuffer : public std::wstreambuf {
public:
  TargetBuffer() { setp(m_chars, m_chars + kChars); }

protected:
  int_type overflow(int_type c) override {
    drain(false);
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
      *pptr() = traits_type::to_char_type(c);
      pbump(1);
    }
    return traits_type::not_eof(c);
  }

  int sync() override {
    drain(true);
    if (QOR::TextWriter* target = g_target) {
      try {
        target->flush();
      } catch (const std::exception&) {
        // Diagnostics never fail their caller.
      }
    }
    return 0;
  }

private:
  static constexpr std::ptrdiff_t kChars = 512;

  // Writes the gathered characters, as if every character were put one by
  // one: the end-of-file value is never written, and a surrogate that is not
  // half of a pair is dropped alone (the writer would refuse it and the rest
  // of the piece with it). The last unit is held back for the next piece
  // when it may belong to what follows: always a leading surrogate, whose
  // trailing half is still to come, and, unless everything is wanted, a CR
  // (the writer turns a CR ending one write and an LF starting the next into
  // two line breaks).
  void drain(bool all) {
    wchar_t* end = std::remove(pbase(), pptr(), static_cast<wchar_t>(traits_type::eof()));
    const bool hold = end != pbase() && (isLeadingSurrogate(end[-1]) || (!all && end[-1] == L'\r'));
    const wchar_t held = hold ? *--end : L'\0';
    end = withoutLoneSurrogates(pbase(), end);
    if (QOR::TextWriter* target = g_target) writeOut(*target, pbase(), end);
    setp(m_chars, m_chars + kChars);
    if (hold) {
      m_chars[0] = held;
      pbump(1);
    }
  }

  // Hands [first, last) to the target: runs of ASCII whole, as every
  // encoding holds them, and each other character (a pair as one) on its own,
  // so that a character the file cannot hold is dropped alone. A failing disk
  // drops what it fails to take.
  static void writeOut(QOR::TextWriter& target, const wchar_t* first, const wchar_t* last) {
    if (g_targetHoldsEverything && first != last) {
      try {
        target.write(std::wstring(first, last));
      } catch (const std::exception&) {
        // Diagnostics never fail their caller.
      }
      return;
    }
    while (first != last) {
      const wchar_t* next = first;
      while (next != last && static_cast<unsigned>(*next) < 0x80u) ++next;
      if (next == first) next += isLeadingSurrogate(*first) ? 2 : 1;  // pairs are whole here
      try {
        target.write(std::wstring(first, next));
      } catch (const std::exception&) {
        // Diagnostics never fail their caller.
      }
      first = next;
    }
  }

  static bool isLeadingSurrogate(wchar_t u) { return isSurrogateA(static_cast<unsigned short>(u)); }
  static bool isTrailingSurrogate(wchar_t u) { return isSurrogateB(static_cast<unsigned short>(u)); }

  // Moves the units of [first, last) that the writer accepts to the front,
  // pairs whole, and returns their new end.
  static wchar_t* withoutLoneSurrogates(wchar_t* first, wchar_t* last) {
    wchar_t* out = first;
    for (wchar_t* p = first; p != last; ++p) {
      if (isLeadingSurrogate(*p) && p + 1 != last && isTrailingSurrogate(p[1])) {
        *out++ = *p++;
        *out++ = *p;
      } else if (!isLeadingSurrogate(*p) && !isTrailingSurrogate(*p)) {
        *out++ = *p;
      }
    }
    return out;
  }

  wchar_t m_chars[kChars];
};

class DebugOStream : public std::basic_ostream<wchar_t> {
public:
  DebugOStream() : std::basic_ostream<wchar_t>(&m_buffer) {}

private:
  TargetBuffer m_buffer;
};

// The stream outlives every static object: it is made on first use and never
// destroyed, so destructors elsewhere may still write to it.
DebugOStream& theStream() {
  static DebugOStream* stream = new DebugOStream;
  return *stream;
}

// Creates the first numbered file of the template that does not exist yet;
// false when the template has no "#".
bool openNumbered(const std::wstring& pattern) {
  const std::size_t hash = pattern.find(L'#');
  if (hash == std::wstring::npos) return false;
  std::wstring name;
  for (int n = 0;; ++n) {
    name = pattern.substr(0, hash) + stringPrintf(L"%d", n) + pattern.substr(hash + 1);
    if (_waccess(name.c_str(), 0) != 0 || n == INT_MAX) break;
  }
  std::unique_ptr<QOR::RawFileWriter> raw(QOR::rawCreate(name));
  g_target = QOR::TextWriter::create(*raw, QOR::UTF16le, true);
  g_targetHoldsEverything = true;
  g_rawFile = raw.release();
  return true;
}

BOOL CALLBACK openStream(PINIT_ONCE, PVOID, PVOID*) {
  const wchar_t* pattern = _wgetenv(L"QORDEBUGPRINTTEMPLATE");
  const wchar_t* file = _wgetenv(L"QORDEBUGPRINTFILE");
  try {
    if (!(pattern && openNumbered(pattern)) && file)
      g_target = QOR::TextWriter::create(file, QOR::TextOpenMode(1), QOR::TextEncoding(1));
  } catch (const std::exception&) {
    // A file that cannot be made leaves the stream without a target.
  }
  DebugOStream& s = theStream();
  __time64_t now = _time64(nullptr);
  const wchar_t* when = _wctime64(&now);
  s << L"Moravetrix debug file created at " << (when ? when : L"\n");
  s.flush();
  s.precision(15);
  g_initialised = true;
  return TRUE;
}

INIT_ONCE g_opened = INIT_ONCE_STATIC_INIT;

// Flushes and closes the file when the library unloads. No lock: by then no
// other thread of the process runs, and the lock's own statics may be gone.
struct CloseAtUnload {
  ~CloseAtUnload() {
    if (!g_initialised || !g_target) return;
    theStream().flush();
    QOR::TextWriter* target = g_target;
    g_target = nullptr;
    try {
      target->close();
      if (g_rawFile) g_rawFile->close();
    } catch (const std::exception&) {}
    delete target;
    delete g_rawFile;
    g_rawFile = nullptr;
  }
} g_closeAtUnload;

// Runs the caller in a per-thread locale and restores its locale mode and
// LC_CTYPE afterwards.
class ThreadLocale {
public:
  ThreadLocale() : m_mode(_configthreadlocale(0)) {
    if (const char* ctype = std::setlocale(LC_CTYPE, nullptr)) m_ctype = ctype;
    _configthreadlocale(_ENABLE_PER_THREAD_LOCALE);
  }
  ~ThreadLocale() {
    if (!m_ctype.empty()) std::setlocale(LC_CTYPE, m_ctype.c_str());
    _configthreadlocale(m_mode);
  }
  ThreadLocale(const ThreadLocale&) = delete;
  ThreadLocale& operator=(const ThreadLocale&) = delete;

private:
  int m_mode;
  std::string m_ctype;
};

}  // namespace

namespace DebugStream {

std::basic_ostream<wchar_t>& stream() {
  InitOnceExecuteOnce(&g_opened, openStream, nullptr, nullptr);
  return theStream();
}

bool testActive() {
  ThreadLocale locale;
  stream();
  g_activeState = g_target ? 1 : -1;
  return g_activeState > 0;
}

bool isActive() {
  const long state = g_activeState.load(std::memory_order_acquire);
  if (state != 0) return state > 0;
  ReadWriteLockShared shared(g_lock);
  return testActive();
}

void flush() {
  ReadWriteLockExclusive exclusive(g_lock);
  if (g_target) theStream().flush();
}

long volatile& lock() { return g_lock; }

DebuggingLevel debuggingLevel() { return static_cast<DebuggingLevel>(g_level.load(std::memory_order_relaxed)); }

SetVerbose::SetVerbose(DebuggingLevel level) : m_previous(debuggingLevel()), m_requested(level) {}

SetVerbose::~SetVerbose() { g_level = m_previous; }

void SetVerbose::doVerbose() const { g_level = m_requested; }

std::wostream& operator<<(std::wostream& os, const SetVerbose& v) {
  v.doVerbose();
  return os;
}

}  // namespace DebugStream
