// qorcor14/platform/filenames.h - Windows file names: their kind, their
// directory part, joining, absolutising, abbreviating for display, the long
// form of a short (8.3) name, and the characters a name may hold.
//
// Names are wide strings. Both '\' and '/' separate components, except in an
// extended-length name ("\\?\..."), where the system takes '/' literally and
// so do these functions. None of them touches the disk except
// absoluteFilename (which reads the current directory) and getLongFilename.
//
// The root of a name is the part that no directory part goes above:
//   "C:\"  "C:"  "\"  "\\server\share"  "\\?\C:\"  "\\?\UNC\server\share"
//   "\\.\device"  "\\?\Volume{...}"  "http://host"
#pragma once

#include <qorcor14/config.h>

#include <cstddef>
#include <string>

// What kind of name a string is, from its form alone.
enum class FileType {
  Empty,          // ""
  Relative,       // "a\b.txt", "..\b", "b.txt"
  Rooted,         // "\a\b.txt": absolute on the current drive
  DriveRelative,  // "C:b.txt": relative to the current directory of drive C
  DriveAbsolute,  // "C:\a\b.txt", "C:/a"
  UNC,            // "\\server\share\a", "//server/share"
  Device,         // "\\.\COM1", "\\.\pipe\name"
  Extended,       // "\\?\C:\a", "\\?\UNC\server\share\a"
  URL,            // "http://host/a", "file:///C:/a" (see isURL)
};

// Classifies `name` by its form; nothing is looked up.
//
// Example:
//   analyzeFileType(L"C:\\a\\b.txt");        // FileType::DriveAbsolute
//   analyzeFileType(L"C:b.txt");             // FileType::DriveRelative
//   analyzeFileType(L"\\\\srv\\share\\x");   // FileType::UNC
//   analyzeFileType(L"\\\\?\\C:\\x");        // FileType::Extended
//   analyzeFileType(L"https://example.com"); // FileType::URL
//
// Note: a URL needs a scheme of two characters or more, so "C:x" is a name
// on drive C. "\\" alone, or "\\server" without a share, is still UNC.
[[nodiscard]] QORCOR14_API FileType analyzeFileType(const std::wstring& name);

// The directory part of `name`: everything before its last separator, or its
// root when no separator follows the root. Separators that end the directory
// part are dropped, except the one that belongs to a root ("C:\"). A name
// that ends with a separator is a directory itself: its directory part is the
// name without that separator. A relative name without a separator has none.
//
// Example:
//   getDirectory(L"C:\\a\\b.txt");             // "C:\a"
//   getDirectory(L"C:\\b.txt");                // "C:\"
//   getDirectory(L"C:b.txt");                  // "C:"
//   getDirectory(L"\\\\srv\\share\\b.txt");    // "\\srv\share"
//   getDirectory(L"\\\\?\\C:\\a\\b.txt");      // "\\?\C:\a"
//   getDirectory(L"a\\b\\");                   // "a\b"
//   getDirectory(L"b.txt");                    // ""
//
// Note: a root is its own directory part: getDirectory(L"C:\\") is "C:\".
// Nothing is resolved: getDirectory(L"a\\..") is "a". A URL is split at its
// last '/' like any other name, above its scheme and host:
// getDirectory(L"http://host/a/b") is "http://host/a", getDirectory(L"http://host") "http://host".
[[nodiscard]] QORCOR14_API std::wstring getDirectory(const std::wstring& name);

// `name` appended to directory `dir` with exactly one separator between them
// (a '\' unless dir already ends with '\' or '/'). When name is not relative
// (a root, a drive, UNC, device, extended or URL name), name wins: it is
// returned unchanged, except that a name rooted on the current drive ("\x")
// takes the drive or share of dir.
//
// Example:
//   joinDirectory(L"C:\\a", L"b.txt");       // "C:\a\b.txt"
//   joinDirectory(L"C:\\a\\\\", L"b.txt");   // "C:\a\b.txt"
//   joinDirectory(L"C:\\a", L"..\\b.txt");   // "C:\a\..\b.txt" (not resolved)
//   joinDirectory(L"C:\\a", L"D:\\b.txt");   // "D:\b.txt"
//   joinDirectory(L"C:\\a", L"\\b.txt");     // "C:\b.txt"
//   joinDirectory(L"C:", L"b.txt");          // "C:b.txt" (a separator would change the meaning)
//
// Note: an empty dir gives name; an empty name gives dir. Unlike PathCombineW
// nothing is resolved and there is no length limit: use absoluteFilename for
// that. Leading separators of a relative name are never doubled.
[[nodiscard]] QORCOR14_API std::wstring joinDirectory(const std::wstring& dir, const std::wstring& name);

// The absolute form of `name` as GetFullPathNameW gives it, relative to the
// process's current directory: "." and ".." are resolved ("..") never goes
// above the root), '/' becomes '\', and an extended-length name is returned
// as the system gives it (unchanged). A URL and an empty name are returned as
// they are. Throws WinError ("GetFullPathNameW") with the system's error when
// it refuses the name (ERROR_INVALID_NAME when it gives none); a name with a
// NUL inside is refused as ERROR_INVALID_NAME and one of 32767 units or more
// as ERROR_FILENAME_EXCED_RANGE without asking the system.
//
// Example:
//   absoluteFilename(L"C:\\a\\..\\..\\b.txt");  // "C:\b.txt"
//   absoluteFilename(L"b.txt");                 // "<current directory>\b.txt"
//
// Note: names longer than MAX_PATH are handled; the length limit is the
// system's (32767 characters).
[[nodiscard]] QORCOR14_API std::wstring absoluteFilename(const std::wstring& name);

// As absoluteFilename(name), but a relative name, a name rooted on the
// current drive, and a drive-relative name on base's drive are taken relative
// to directory `base` (itself made absolute first) instead of the current
// directory.
//
// Example:
//   absoluteFilename(L"..\\b.txt", L"C:\\x\\y");   // "C:\x\b.txt"
//   absoluteFilename(L"\\b.txt", L"D:\\x");        // "D:\b.txt"
//   absoluteFilename(L"C:b.txt", L"C:\\x");        // "C:\x\b.txt"
//
// Note: a drive-relative name on another drive uses that drive's current
// directory, as the system does.
[[nodiscard]] QORCOR14_API std::wstring absoluteFilename(const std::wstring& name, const std::wstring& base);

// `name` shortened for display to at most `maxChars` UTF-16 units: the file
// name (the last component) is kept whole with the separator before it, and
// as much of the start as fits, cut after a separator, with "..." between
// (the start is the whole root or more, or nothing).
// When not even "...\file name" fits, the file name is cut and ends in "...";
// when maxChars is below 4 the result is the first maxChars units of the file
// name. A surrogate pair is never split (the result is then one unit shorter).
//
// Example:
//   abbreviateFilename(L"C:\\very\\long\\path\\file.txt", 20);  // "C:\very\...\file.txt"
//   abbreviateFilename(L"C:\\very\\long\\path\\file.txt", 14);  // "...\file.txt"
//   abbreviateFilename(L"C:\\a\\verylongfilename.txt", 10);     // "verylon..."
//   abbreviateFilename(L"C:\\a\\b.txt", 40);                    // "C:\a\b.txt" (fits)
//
// Note: a trailing separator belongs to the last component, which is kept
// with it. Nothing is resolved or looked up.
[[nodiscard]] QORCOR14_API std::wstring abbreviateFilename(const std::wstring& name, std::size_t maxChars);

// The long form of `name` as GetLongPathNameW gives it (each short 8.3
// component replaced by its long name), or `name` unchanged when the file
// does not exist or the system cannot say. Names the system cannot take are
// never handed to it and come back unchanged: a NUL inside, MAX_PATH units or
// more (1024 with the "\\?\" prefix), or a component longer than 255 units,
// which no file on disk has.
//
// Example:
//   getLongFilename(L"C:\\PROGRA~1\\x.txt");   // "C:\Program Files\x.txt", if it exists
//   getLongFilename(L"C:\\no\\such.txt");      // "C:\no\such.txt"
//
// Note: the case of components that are already long is the system's
// answer (the name as stored on disk, on Windows).
// Note: the system's answer must fit 1023 units (Wine's GetLongPathNameW
// overruns a fixed buffer beyond that), and each component holding a '~' may
// stand for a long name of 255 units. When such components could make the
// answer longer, the system is asked in steps, each resolving the part done
// so far and the next short names; the answer is the same.
[[nodiscard]] QORCOR14_API std::wstring getLongFilename(const std::wstring& name);

// Whether `c` may appear in a component of a file name: everything but the
// control characters U+0000..U+001F and  < > : " / \ | ? *.
//
// Example:
//   isFileChar(L'a');    // true
//   isFileChar(L'\u00e9'); // true
//   isFileChar(L'?');    // false
//   isFileChar(L'\\');   // false (it separates components)
//
// Note: the rules on whole names (no trailing dot or blank, reserved names
// such as "CON") are not checked here.
[[nodiscard]] QORCOR14_API bool isFileChar(wchar_t c);
