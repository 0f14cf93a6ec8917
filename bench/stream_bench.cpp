// TextReader::readLine over whole files beside the C runtime's own decoding
// line reader: fgetws on a stream opened with _wfopen(..., L"rt, ccs=...").
//
// Both sides open the file, read every line and close it; both files carry a
// byte-order mark, which each side skips. Our side hands out each line as a
// std::wstring; fgetws fills a fixed buffer (and keeps the LF), so the peer
// does strictly less work per line.
#include "harness.h"

#include <qorcor14/stream/text_file.h>
#include <qorcor14/text/strings.h>

#include <windows.h>

#include <cstdio>
#include <memory>
#include <random>
#include <string>

namespace bench {
namespace {

// About 8 MB of UTF-8 per file.
constexpr std::size_t kFileUnits = std::size_t(8) << 20;

// A temporary file, written on first use (so that filtered-out rows cost no
// disk space) and deleted with the object.
struct TempFile {
  std::wstring name;
  std::wstring text;
  QOR::TextEncoding enc;
  std::size_t bytes = 0;  // the file's size: the mark and the encoded text
  bool written = false;

  const std::wstring& path() {
    if (!written) {
      std::unique_ptr<QOR::TextWriter> out(QOR::TextWriter::create(name, QOR::Create, enc));
      out->write(text);
      out->close();
      written = true;
    }
    return name;
  }
  ~TempFile() {
    if (written) DeleteFileW(name.c_str());
  }
};

std::wstring tempName(const wchar_t* leaf) {
  wchar_t dir[MAX_PATH + 1];
  GetTempPathW(MAX_PATH + 1, dir);
  return std::wstring(dir) + L"qorbench-" + std::to_wstring(GetCurrentProcessId()) + L"-" + leaf;
}

// CSV-like lines: mostly ASCII fields, with `nonAscii` in 16 of the fields
// being words with accented letters or CJK characters.
std::wstring csvText(unsigned nonAscii, unsigned seed) {
  static const wchar_t* ascii[] = {L"Smith",  L"12.50", L"2024-06-11", L"\"Main Street, 12\"",
                                   L"ok",     L"4711",  L"arc",        L"transform",
                                   L"-0.001", L"north"};
  static const wchar_t* other[] = {L"M\u00fcller", L"caf\u00e9",          L"\u6771\u4eac\u90fd", L"\u0416\u0443\u043a",
                                   L"Stra\u00dfe", L"\u65e5\u672c\u8a9e", L"na\u00efve",         L"\u03b1\u03b2\u03b3"};
  std::mt19937 rng(seed);
  std::wstring text;
  while (text.size() < kFileUnits) {
    const unsigned fields = 4 + rng() % 12;
    for (unsigned i = 0; i < fields; ++i) {
      if (i) text += L',';
      text += rng() % 16 < nonAscii ? other[rng() % 8] : ascii[rng() % 10];
    }
    text += L"\r\n";
  }
  return text;
}

// Prose: lines of one to four sentences, each of Latin words with accented
// letters followed by a run of CJK characters.
std::wstring latinCjkText(unsigned seed) {
  static const wchar_t* latin[] = {L"caf\u00e9", L"\u00fcber",   L"na\u00efve", L"Stra\u00dfe", L"d\u00e9j\u00e0",
                                   L"vu",        L"fa\u00e7ade", L"and",        L"the",         L"r\u00e9sum\u00e9"};
  std::mt19937 rng(seed);
  std::wstring text;
  while (text.size() < kFileUnits) {
    const unsigned sentences = 1 + rng() % 4;
    for (unsigned s = 0; s < sentences; ++s) {
      const unsigned words = 3 + rng() % 8;
      for (unsigned i = 0; i < words; ++i) {
        text += latin[rng() % 10];
        text += L' ';
      }
      const unsigned han = 5 + rng() % 20;
      for (unsigned i = 0; i < han; ++i) text += static_cast<wchar_t>(0x4E00 + rng() % 0x5000);
      text += L"\u3002";
    }
    text += L"\r\n";
  }
  return text;
}

std::shared_ptr<TempFile> tempFile(const wchar_t* leaf, const std::wstring& text, QOR::TextEncoding enc) {
  auto file = std::make_shared<TempFile>();
  file->name = tempName(leaf);
  file->text = text;
  file->enc = enc;
  file->bytes = enc == QOR::UTF8 ? 3 + utf8(text).size() : 2 + 2 * text.size();
  return file;
}

void addReadLine(Suite& suite, const char* name, std::shared_ptr<TempFile> file, const wchar_t* mode,
                 const char* peerName) {
  suite.add({name, "file",
             [file](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 std::unique_ptr<QOR::TextReader> in(QOR::TextReader::create(file->path()));
                 std::wstring line;
                 std::size_t units = 0;
                 while (in->readLine(line)) units += line.size();
                 doNotOptimize(units);
               }
               return ops;
             },
             peerName,
             [file, mode](std::size_t ops) {
               for (std::size_t i = 0; i < ops; ++i) {
                 std::FILE* f = _wfopen(file->path().c_str(), mode);
                 if (!f) return std::size_t(0);
                 wchar_t buf[4096];
                 std::size_t units = 0;
                 while (std::fgetws(buf, 4096, f)) units += wcslen(buf);
                 std::fclose(f);
                 doNotOptimize(units);
               }
               return ops;
             },
             static_cast<double>(file->bytes)});
}

}  // namespace

void addStreamCases(Suite& suite) {
  const std::wstring mostlyAscii = csvText(1, 11), mixed = csvText(8, 12);
  addReadLine(suite, "readLine UTF-8 CSV, mostly ASCII", tempFile(L"ascii-utf8.csv", mostlyAscii, QOR::UTF8),
              L"rt, ccs=UTF-8", "fgetws ccs=UTF-8");
  addReadLine(suite, "readLine UTF-8 CSV, half non-ASCII", tempFile(L"mixed-utf8.csv", mixed, QOR::UTF8),
              L"rt, ccs=UTF-8", "fgetws ccs=UTF-8");
  addReadLine(suite, "readLine UTF-8 Latin/CJK prose", tempFile(L"prose-utf8.txt", latinCjkText(13), QOR::UTF8),
              L"rt, ccs=UTF-8", "fgetws ccs=UTF-8");
  addReadLine(suite, "readLine UTF-16LE CSV, mostly ASCII", tempFile(L"ascii-utf16.csv", mostlyAscii, QOR::UTF16le),
              L"rt, ccs=UTF-16LE", "fgetws ccs=UTF-16LE");
  addReadLine(suite, "readLine UTF-16LE CSV, half non-ASCII", tempFile(L"mixed-utf16.csv", mixed, QOR::UTF16le),
              L"rt, ccs=UTF-16LE", "fgetws ccs=UTF-16LE");
}

}  // namespace bench
