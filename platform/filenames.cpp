// File names: kinds, roots, directory parts, joining, absolutising and
// abbreviation.
#include <qorcor14/errors.h>
#include <qorcor14/platform/filenames.h>
#include <qorcor14/platform/urls.h>

#include <windows.h>

#include <algorithm>
#include <cwctype>
#include <optional>
#include <vector>

namespace {

bool isSlash(wchar_t c) { return c == L'\\' || c == L'/'; }

bool isLetter(wchar_t c) { return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z'); }

bool hasDrive(const std::wstring& s, std::size_t at = 0) {
  return s.size() >= at + 2 && isLetter(s[at]) && s[at + 1] == L':';
}

// In an extended-length name the system takes '/' literally.
bool isExtended(const std::wstring& s) { return s.size() >= 4 && s.compare(0, 4, L"\\\\?\\") == 0; }

// The end of the component that starts at `at`.
std::size_t componentEnd(const std::wstring& s, std::size_t at, bool backslashOnly) {
  while (at < s.size() && !(backslashOnly ? s[at] == L'\\' : isSlash(s[at]))) ++at;
  return at;
}

// The length of the root of s (see the header): the part no directory part
// goes above. A drive or extended drive root includes its separator; a share
// or device root does not.
std::size_t rootLength(const std::wstring& s, FileType type) {
  switch (type) {
  case FileType::Rooted: return 1;
  case FileType::DriveRelative: return 2;
  case FileType::DriveAbsolute: return 3;
  case FileType::UNC: {
    const std::size_t server = componentEnd(s, 2, false);
    return server < s.size() ? componentEnd(s, server + 1, false) : server;
  }
  case FileType::Device: return componentEnd(s, 4, false);
  case FileType::Extended: {
    if (hasDrive(s, 4)) return s.size() > 6 && s[6] == L'\\' ? 7 : 6;
    if (s.size() >= 8 && _wcsnicmp(s.c_str() + 4, L"UNC\\", 4) == 0) {
      const std::size_t server = componentEnd(s, 8, true);
      return server < s.size() ? componentEnd(s, server + 1, true) : server;
    }
    return componentEnd(s, 4, true);
  }
  case FileType::URL: {  // the scheme and the authority: "http://host"
    const std::size_t colon = s.find(L':');
    return s.compare(colon + 1, 2, L"//") == 0 ? componentEnd(s, colon + 3, false) : colon + 1;
  }
  default: return 0;
  }
}

// The longest name GetFullPathNameW takes, with its terminating NUL.
constexpr std::size_t kLongestFullName = 32767;

std::wstring fullPathName(const std::wstring& name) {
  // The system would read a name with a NUL inside as the part before it.
  if (name.find(L'\0') != std::wstring::npos) throw WinError(L"GetFullPathNameW", ERROR_INVALID_NAME);
  if (name.size() >= kLongestFullName) throw WinError(L"GetFullPathNameW", ERROR_FILENAME_EXCED_RANGE);
  std::wstring out(MAX_PATH, L'\0');
  for (;;) {
    // Some refusals (a name of blanks under Wine) set no error of their own:
    // the code must not be one left over from an earlier call.
    SetLastError(ERROR_SUCCESS);
    const DWORD n = GetFullPathNameW(name.c_str(), static_cast<DWORD>(out.size()), out.data(), nullptr);
    if (n == 0) {
      const DWORD error = GetLastError();
      throw WinError(L"GetFullPathNameW", error != ERROR_SUCCESS ? error : static_cast<DWORD>(ERROR_INVALID_NAME));
    }
    if (n < out.size()) {
      out.resize(n);
      return out;
    }
    out.assign(n, L'\0');  // n counts the terminating NUL when the buffer is short
  }
}

// GetLongPathNameW under Wine builds its answer in a buffer of this many
// units (NUL included) without checking that it fits; no call may be able to
// answer more.
constexpr std::size_t kLongPathBuffer = 1024;

// No component of a name on disk is longer.
constexpr std::size_t kLongestComponent = 255;

// Calls f(begin, end) for each component of s, separated by '\' or '/'.
template <class F>
void forEachComponent(const std::wstring& s, F f) {
  for (std::size_t at = 0; at < s.size();) {
    const std::size_t end = componentEnd(s, at, false);
    if (end > at) f(at, end);
    at = end + 1;
  }
}

// Whether the component [begin, end) of s may be a short name.
bool mayBeShort(const std::wstring& s, std::size_t begin, std::size_t end) {
  return std::find(s.begin() + static_cast<std::ptrdiff_t>(begin), s.begin() + static_cast<std::ptrdiff_t>(end),
                   L'~') != s.begin() + static_cast<std::ptrdiff_t>(end);
}

// The longest answer GetLongPathNameW could give for name, up to
// kLongPathBuffer (the sum stops there): a component that may be a short
// name may stand for a long name of 255 units.
std::size_t longestLongForm(const std::wstring& name) {
  std::size_t total = std::min(name.size(), kLongPathBuffer);
  forEachComponent(name, [&](std::size_t begin, std::size_t end) {
    if (end - begin < kLongestComponent && mayBeShort(name, begin, end))
      total = std::min(total + (kLongestComponent - (end - begin)), kLongPathBuffer);
  });
  return total;
}

// Whether GetLongPathNameW can take name: no NUL inside, shorter than the
// system reads (MAX_PATH without the "\\?\" prefix), and no answer that
// could outgrow its buffer.
bool longPathCallTakes(const std::wstring& name) {
  const std::size_t limit = isExtended(name) ? kLongPathBuffer : MAX_PATH;
  return name.find(L'\0') == std::wstring::npos && name.size() < limit && longestLongForm(name) < kLongPathBuffer;
}

// GetLongPathNameW's answer for name, or nothing when it has none.
std::optional<std::wstring> longPathName(const std::wstring& name) {
  std::wstring out(MAX_PATH, L'\0');
  for (;;) {
    const DWORD n = GetLongPathNameW(name.c_str(), out.data(), static_cast<DWORD>(out.size()));
    if (n == 0) return std::nullopt;
    if (n < out.size()) {
      out.resize(n);
      return out;
    }
    out.assign(n, L'\0');
  }
}

}  // namespace

FileType analyzeFileType(const std::wstring& name) {
  if (name.empty()) return FileType::Empty;
  if (hasDrive(name)) return name.size() > 2 && isSlash(name[2]) ? FileType::DriveAbsolute : FileType::DriveRelative;
  if (isSlash(name[0])) {
    if (name.size() < 2 || !isSlash(name[1])) return FileType::Rooted;
    if (isExtended(name)) return FileType::Extended;
    if (name.size() >= 4 && isSlash(name[3]) && name[2] == L'.') return FileType::Device;
    return FileType::UNC;
  }
  if (isURL(name)) return FileType::URL;
  return FileType::Relative;
}

std::wstring getDirectory(const std::wstring& name) {
  const FileType type = analyzeFileType(name);
  const std::size_t root = rootLength(name, type);
  const bool backslashOnly = type == FileType::Extended;
  std::size_t end = name.size();
  while (end > root && !(backslashOnly ? name[end - 1] == L'\\' : isSlash(name[end - 1]))) --end;
  while (end > root && (backslashOnly ? name[end - 1] == L'\\' : isSlash(name[end - 1]))) --end;
  return name.substr(0, end);
}

std::wstring joinDirectory(const std::wstring& dir, const std::wstring& name) {
  if (dir.empty()) return name;
  if (name.empty()) return dir;
  const FileType type = analyzeFileType(name);
  if (type == FileType::Rooted) {
    const FileType dirType = analyzeFileType(dir);
    if (dirType == FileType::Relative || dirType == FileType::Rooted) return name;
    std::size_t root = rootLength(dir, dirType);
    while (root > 0 && isSlash(dir[root - 1])) --root;  // "C:\" gives "C:", the share keeps its name
    return dir.substr(0, root) + name;
  }
  if (type != FileType::Relative) return name;
  const FileType dirType = analyzeFileType(dir);
  const bool backslashOnly = dirType == FileType::Extended;
  const std::size_t root = rootLength(dir, dirType);
  std::size_t end = dir.size();
  while (end > root && (backslashOnly ? dir[end - 1] == L'\\' : isSlash(dir[end - 1]))) --end;
  std::wstring out = dir.substr(0, end);
  // A drive-relative "C:" would change its meaning with a separator; a root
  // that ends with one ("C:\", "\") already has it.
  if (!(dirType == FileType::DriveRelative && end == 2) && !(end > 0 && end == root && isSlash(dir[end - 1])))
    out += end < dir.size() ? dir[end] : dirType == FileType::URL ? L'/' : L'\\';
  std::size_t start = 0;
  while (start < name.size() && isSlash(name[start])) ++start;
  return out + name.substr(start);
}

std::wstring absoluteFilename(const std::wstring& name) {
  if (name.empty() || analyzeFileType(name) == FileType::URL) return name;
  return fullPathName(name);
}

std::wstring absoluteFilename(const std::wstring& name, const std::wstring& base) {
  const FileType type = analyzeFileType(name);
  if (type == FileType::Empty || type == FileType::URL) return name;
  if (base.empty()) return fullPathName(name);
  const std::wstring dir = fullPathName(base);
  switch (type) {
  case FileType::Relative:
  case FileType::Rooted: return fullPathName(joinDirectory(dir, name));
  case FileType::DriveRelative:
    if (hasDrive(dir) && towupper(dir[0]) == towupper(name[0])) return fullPathName(joinDirectory(dir, name.substr(2)));
    return fullPathName(name);
  default: return fullPathName(name);
  }
}

std::wstring abbreviateFilename(const std::wstring& name, std::size_t maxChars) {
  if (name.size() <= maxChars) return name;
  const auto isSep = [extended = isExtended(name)](wchar_t c) { return extended ? c == L'\\' : isSlash(c); };
  // The last component, with a trailing separator if there is one.
  std::size_t last = name.size();
  while (last > 0 && isSep(name[last - 1])) --last;
  while (last > 0 && !isSep(name[last - 1])) --last;
  const std::wstring file = name.substr(last);
  // A cut at n units that would split a surrogate pair takes one unit less.
  const auto head = [](const std::wstring& s, std::size_t n) {
    if (n > 0 && n < s.size() && IS_HIGH_SURROGATE(s[n - 1]) && IS_LOW_SURROGATE(s[n])) --n;
    return s.substr(0, n);
  };
  if (maxChars < 4) return head(file, maxChars);
  const std::size_t tail = last > 0 ? file.size() + 1 : file.size();  // with the separator before it
  if (tail + 3 > maxChars) return head(file, maxChars - 3) + L"...";
  // The longest start that fits, cut after its last separator.
  std::size_t keep = maxChars - 3 - tail;
  while (keep > 0 && !isSep(name[keep - 1])) --keep;
  if (keep < rootLength(name, analyzeFileType(name))) keep = 0;  // half a root would mislead
  return name.substr(0, keep) + L"..." + name.substr(name.size() - tail);
}

std::wstring getLongFilename(const std::wstring& name) {
  bool tooLong = false;  // no such file can exist
  forEachComponent(name, [&](std::size_t begin, std::size_t end) { tooLong |= end - begin > kLongestComponent; });
  if (name.empty() || tooLong) return name;
  // The places where a call may stop: after each component that may be a
  // short name, and the end.
  std::vector<std::size_t> stops;
  forEachComponent(name, [&](std::size_t begin, std::size_t end) {
    if (mayBeShort(name, begin, end)) stops.push_back(end);
  });
  if (stops.empty() || stops.back() != name.size()) stops.push_back(name.size());
  // One call for the whole name when its answer cannot outgrow the system's
  // buffer; otherwise each call resolves what is done so far and as many
  // more short names as fit. The system walks the name from its start in
  // the same way, so the answer is the same.
  std::wstring resolved;
  std::size_t done = 0;
  while (done < name.size()) {
    std::size_t end = done;  // the furthest stop the next call takes
    for (auto stop = stops.rbegin(); stop != stops.rend() && *stop > done; ++stop) {
      if (resolved.size() + (*stop - done) >= kLongPathBuffer) continue;  // too long in any case
      if (longPathCallTakes(resolved + name.substr(done, *stop - done))) {
        end = *stop;
        break;
      }
    }
    if (end == done) return name;
    std::optional<std::wstring> answer = longPathName(resolved + name.substr(done, end - done));
    if (!answer) return name;
    resolved = std::move(*answer);
    done = end;
  }
  return resolved;
}

bool isFileChar(wchar_t c) {
  if (c < 0x20) return false;
  switch (c) {
  case L'<':
  case L'>':
  case L':':
  case L'"':
  case L'/':
  case L'\\':
  case L'|':
  case L'?':
  case L'*': return false;
  default: return true;
  }
}
