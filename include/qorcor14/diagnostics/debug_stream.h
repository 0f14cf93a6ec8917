// qorcor14/diagnostics/debug_stream.h - one process-wide wide stream for
// diagnostic text, switched on by environment variables, and helpers that
// format values for it.
//
// The stream opens on first use and writes to a file chosen by
//   QORDEBUGPRINTTEMPLATE  a file name with a "#": the first "#" is replaced
//                          by 0, 1, 2, ... and the first name that does not
//                          exist yet is created, in UTF-16LE with a
//                          byte-order mark, so that every run writes a new
//                          file and none overwrites an older one;
//   QORDEBUGPRINTFILE      otherwise (also when the template has no "#"): a
//                          file that is appended to; a new or empty one is
//                          started in UTF-8 with a byte-order mark, an
//                          existing one is continued in its own encoding.
// Each file starts its run with the line
//   "Moravetrix debug file created at " + _wctime64 of the opening time.
// With neither variable set everything written is discarded and isActive()
// is false, so callers can skip building the text at all.
//
// Example:
//   if (DebugStream::isActive())
//     DebugStream::stream() << DebugStream::GCTID() << L"loaded " << quark << L" in "
//                           << seconds << L" s\n";
//
// Note: the stream itself is not locked. Any thread may write, but callers
// that need whole lines serialise them themselves; GCTID tags a line with the
// writing thread. Output reaches the file on flush() (std::flush or
// DebugStream::flush()) and when the library unloads.
// Note: diagnostics never throw into the caller. A character the file's
// encoding cannot hold, and a surrogate that is not half of a pair, is dropped
// alone; a failing disk drops what it fails to take; the stream stays usable.
// A leading surrogate waits for its trailing half, even across a flush.
#pragma once

#include <qorcor14/colour/colour.h>
#include <qorcor14/config.h>
#include <qorcor14/object/quark.h>

#include <ostream>
#include <string>
#include <typeinfo>

namespace DebugStream {

// How much the operators write. Verbose, the initial level, and above make the
// Quark operator add the quark's text.
enum DebuggingLevel : int { Quiet = 0, Normal = 1, Verbose = 2, Chatty = 3 };

// The stream; the first call opens its file (as above). Never null, always
// usable: with no file it discards what it is given. Its floating-point
// precision starts at 15.
QORCOR14_API std::basic_ostream<wchar_t>& stream();

// Whether output goes anywhere. The answer is computed once (by testActive)
// and then read without locking.
QORCOR14_API bool isActive();

// Opens the stream if needed, caches and returns whether it writes to a file.
// The calling thread runs this with a per-thread locale and gets its locale
// mode and LC_CTYPE back afterwards.
QORCOR14_API bool testActive();

// Passes everything written so far to the file.
QORCOR14_API void flush();

// The lock word guarding the stream's settings: isActive takes it shared,
// flush exclusive.
QORCOR14_API long volatile& lock();

// The current level (initially Verbose).
QORCOR14_API DebuggingLevel debuggingLevel();

// A scoped manipulator for the level: inserting it into a stream applies the
// requested level; the destructor restores the level that was current when it
// was made.
//
// Example:
//   DebugStream::stream() << DebugStream::SetVerbose(DebugStream::Normal) << q << L"\n";
//   // the level is Normal for this statement only: "Q:<number>" without the text
//
// Note: the level is process-wide; overlapping manipulators on several
// threads restore in whatever order they end.
class QORCOR14_API SetVerbose {
public:
  explicit SetVerbose(DebuggingLevel level);
  ~SetVerbose();
  SetVerbose(const SetVerbose&) = delete;
  SetVerbose& operator=(const SetVerbose&) = delete;

private:
  friend QORCOR14_API std::wostream& operator<<(std::wostream& os, const SetVerbose& v);
  void doVerbose() const;

  DebuggingLevel m_previous;
  DebuggingLevel m_requested;
};

// Applies v's level; writes nothing.
QORCOR14_API std::wostream& operator<<(std::wostream& os, const SetVerbose& v);

// The value with "%d": decimal(-12) is L"-12".
[[nodiscard]] QORCOR14_API std::wstring decimal(int value);
// The value with "%x", lower-case and without prefix: hexadecimal(255) is L"ff".
[[nodiscard]] QORCOR14_API std::wstring hexadecimal(unsigned int value);

// A tag for the calling thread: inserting it writes "{", the thread's
// identifier in decimal, and "} ".
//
// Example:
//   DebugStream::stream() << DebugStream::GCTID() << L"started\n";   // "{1234} started"
class GCTID {
public:
  GCTID() = default;
  GCTID(const GCTID&) = default;
  GCTID(GCTID&&) = default;
  GCTID& operator=(const GCTID&) = default;
  GCTID& operator=(GCTID&&) = default;
};

QORCOR14_API std::wostream& operator<<(std::wostream& os, const GCTID& tag);

// The readable name of a type with its leading "const ", "volatile ",
// "class " and "struct " removed (each once, in that order), then its
// outermost namespace qualifier: "class QOR::Handle" gives "Handle",
// "struct A::B::C" gives "B::C", "Handle<QOR::X>" stays as it is (the first
// character that is not a letter, digit or '_' is '<', not "::").
//
// Note: `readableName` is what MSVC's type_info::name() returns; on GCC and
// clang the typed... functions demangle the type's name first.
[[nodiscard]] QORCOR14_API std::wstring cleanTypeName(const char* readableName);

// Pointer descriptions: the type's cleaned name, then the pointer as "%p"
// prints it (16 upper-case hex digits on Windows x64).
//   typedPtrA        name + pointer             "Handle000000000012FF40"
//   typedIdPtrA      name "#" id " " pointer    "Handle#3 000000000012FF40"
//   typedPtrRefA     name " *" pointer          "Handle *000000000012FF40"
//   typedIdPtrRefA   name "#" id " *" pointer   "Handle#3 *000000000012FF40"
//
// Example:
//   DebugStream::stream() << DebugStream::typedPtrA(typeid(*this), this);
[[nodiscard]] QORCOR14_API std::wstring typedPtrA(const std::type_info& type, const void* p);
[[nodiscard]] QORCOR14_API std::wstring typedIdPtrA(const std::type_info& type, const void* p, int id);
[[nodiscard]] QORCOR14_API std::wstring typedPtrRefA(const std::type_info& type, const void* p);
[[nodiscard]] QORCOR14_API std::wstring typedIdPtrRefA(const std::type_info& type, const void* p, int id);

// Write the corresponding typed... text to os.
QORCOR14_API void debugPtrA(std::wostream& os, const std::type_info& type, const void* p);
QORCOR14_API void debugIdPtrA(std::wostream& os, const std::type_info& type, const void* p, int id);
QORCOR14_API void debugPtrRefA(std::wostream& os, const std::type_info& type, const void* p);
QORCOR14_API void debugIdPtrRefA(std::wostream& os, const std::type_info& type, const void* p, int id);

}  // namespace DebugStream

// "Q:" and the quark's number (its text pointer as an unsigned integer in the
// stream's own formatting; 0 for nullQuark); at level Verbose and above also a
// blank and the quark's text in double quotes (nothing between the quotes for
// nullQuark): Q:2093824 "layer".
QORCOR14_API std::wostream& operator<<(std::wostream& os, const Quark& q);

// Colours are written by their own operator of qorcor14/colour/colour.h:
// Colour::rgba(r,g,b,a).
