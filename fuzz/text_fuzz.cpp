// Text files from hostile bytes, read by TextReader in every encoding, by
// name (the byte-order mark decides) and forced on the raw file. The lines
// are checked against a reference below that decodes the whole input at once
// by the decoders' and line breaks' rules; the lines read are written again
// by TextWriter, compared byte for byte with an independent encoding, and
// read back.
//
// Input: one mode byte, then the file's bytes.
//   mode % 10       0 by name; 1-3 by name, after a UTF-8, UTF-16LE or
//                   UTF-16BE mark put before the bytes; 4-8 the encodings
//                   0-4 forced on the raw file; 9 Multibyte forced under the
//                   double-byte code page 932
//   mode / 10 % 3   the encoding the lines are written in again: UTF-8,
//                   UTF-16LE, UTF-16BE
// The seeds are the files of fuzz/seeds/text (see make_seeds.sh there).
#include "fuzz_target.h"

#include <qorcor14/errors.h>
#include <qorcor14/stream/raw.h>
#include <qorcor14/stream/text_file.h>

#include <windows.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

using Bytes = std::string;
using Lines = std::vector<std::wstring>;

// The two scratch files, removed at exit.
struct ScratchFiles {
  qorfuzz::ScratchFile in{L"-text-in.txt"}, out{L"-text-out.txt"};
};

const ScratchFiles& scratch() {
  static const ScratchFiles files;
  return files;
}

Bytes readBytes(const std::wstring& name) {
  Bytes bytes;
  if (FILE* f = _wfopen(name.c_str(), L"rb")) {
    char block[4096];
    for (std::size_t n; (n = std::fread(block, 1, sizeof block, f)) != 0;) bytes.append(block, n);
    std::fclose(f);
  }
  return bytes;
}

// The decoders' rules: the length of the code point at p (n bytes there), or
// 0 when the bytes are invalid or incomplete.
std::size_t decode(QOR::TextEncoding enc, const unsigned char* p, std::size_t n, unsigned int& cp) {
  switch (enc) {
  case QOR::Multibyte: {
    // mbtowc, but a lead byte without its second byte is incomplete (Wine's
    // runtime decodes it alone).
    if (std::mblen(reinterpret_cast<const char*>(p), n) < 0) return 0;
    wchar_t wc = 0;
    const int k = std::mbtowc(&wc, reinterpret_cast<const char*>(p), n);
    if (k < 0) return 0;
    cp = static_cast<unsigned short>(wc);
    return k == 0 ? 1 : static_cast<std::size_t>(k);
  }
  case QOR::UTF8: {
    const unsigned int b = p[0];
    std::size_t length = b < 0x80 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : b < 0xF8 ? 4 : 0;
    if (length == 0 || n < length) return 0;
    cp = length == 1 ? b : length == 2 ? (b & 0x1F) : length == 3 ? (b & 0x0F) : (b & 0x07);
    for (std::size_t i = 1; i < length; ++i) {
      if (p[i] > 0xC0) return 0;
      cp = cp << 6 | (p[i] & 0x3Fu);
    }
    return length;
  }
  default: {
    const bool big = enc == QOR::UTF16be;
    auto unit = [&](std::size_t i) { return big ? (p[i] << 8 | p[i + 1]) : (p[i + 1] << 8 | p[i]); };
    if (n < 2) return 0;
    const unsigned int a = static_cast<unsigned int>(unit(0));
    if (a < 0xD800 || a > 0xDFFF) {
      cp = a;
      return 2;
    }
    if (n < 4) return 0;
    const unsigned int b = static_cast<unsigned int>(unit(2));
    if (a > 0xDBFF || b < 0xDC00 || b > 0xDFFF) return 0;
    cp = 0x10000 + ((a - 0xD800) << 10) + (b - 0xDC00);
    return 4;
  }
  }
}

struct Expected {
  Lines lines;
  bool undecodable = false;  // the reader fails after these lines
};

// The lines of the whole input, by the line-break rules.
Expected referenceLines(QOR::TextEncoding enc, const Bytes& text) {
  Expected out;
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const std::size_t n = text.size();
  std::wstring line;
  bool any = false;
  for (std::size_t at = 0;;) {
    if (at == n) {
      if (any) out.lines.push_back(line);
      return out;
    }
    unsigned int cp = 0;
    const std::size_t k = decode(enc, p + at, n - at, cp);
    if (k == 0 || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
      out.undecodable = true;
      return out;
    }
    at += k;
    any = true;
    const bool isBreak = cp == 0x0A || cp == 0x0C || cp == 0x0D || cp == 0x85 || cp == 0x2028 || cp == 0x2029;
    if (isBreak) {
      unsigned int next = 0;
      if (cp == 0x0D && at < n && decode(enc, p + at, n - at, next) != 0 && next == 0x0A)
        at += decode(enc, p + at, n - at, next);
      out.lines.push_back(line);
      line.clear();
      any = false;
    } else if (cp > 0xFFFF) {
      line += static_cast<wchar_t>(0xD800 + ((cp - 0x10000) >> 10));
      line += static_cast<wchar_t>(0xDC00 + ((cp - 0x10000) & 0x3FF));
    } else {
      line += static_cast<wchar_t>(cp);
    }
  }
}

// The encoding a byte-order mark at the start names, and the mark's length.
QOR::TextEncoding detect(const Bytes& b, std::size_t& markLength) {
  markLength = 0;
  if (b.size() >= 3 && b.compare(0, 3, "\xEF\xBB\xBF") == 0) return markLength = 3, QOR::UTF8;
  if (b.size() >= 2 && b.compare(0, 2, "\xFF\xFE") == 0) return markLength = 2, QOR::UTF16le;
  if (b.size() >= 2 && b.compare(0, 2, "\xFE\xFF") == 0) return markLength = 2, QOR::UTF16be;
  return QOR::Multibyte;
}

// Entry 248 of the message catalogue for `name`.
std::wstring undecodable(const std::wstring& name) {
  return L"\"" + name + L"\" contains text that is not valid in the file's encoding.";
}

// Reads every line, and whether the reader failed (with entry 248) after them.
Expected readLines(QOR::TextReader& reader, const std::wstring& name, std::size_t limit) {
  Expected got;
  std::wstring line;
  try {
    while (reader.readLine(line)) {
      got.lines.push_back(line);
      qorfuzz::fuzzCheck(got.lines.size() <= limit, "more lines than bytes");
    }
    qorfuzz::fuzzCheck(line.empty() && !reader.readLine(line), "the end of the input did not stay the end");
  } catch (const QOR::QorError& e) {
    qorfuzz::fuzzCheck(e.wWhat() == undecodable(name), "a reading error other than entry 248");
    got.undecodable = true;
    bool again = false;
    try {
      reader.readLine(line);
    } catch (const QOR::QorError& second) {
      again = second.wWhat() == undecodable(name);
    }
    qorfuzz::fuzzCheck(again, "the reader did not stay before the undecodable bytes");
  }
  return got;
}

// What a TextWriter must make of the lines, encoded here without it.
Bytes encoded(const Lines& lines, QOR::TextEncoding enc) {
  Bytes out = enc == QOR::UTF8 ? "\xEF\xBB\xBF" : enc == QOR::UTF16le ? "\xFF\xFE" : "\xFE\xFF";
  for (std::wstring line : lines) {
    line += L"\r\n";
    if (enc == QOR::UTF8) {
      const int n =
          WideCharToMultiByte(CP_UTF8, 0, line.data(), static_cast<int>(line.size()), nullptr, 0, nullptr, nullptr);
      Bytes bytes(static_cast<std::size_t>(n), '\0');
      WideCharToMultiByte(CP_UTF8, 0, line.data(), static_cast<int>(line.size()), bytes.data(), n, nullptr, nullptr);
      out += bytes;
    } else {
      for (const wchar_t u : line) {
        const char lo = static_cast<char>(u & 0xFF), hi = static_cast<char>(u >> 8);
        out += enc == QOR::UTF16le ? Bytes{lo, hi} : Bytes{hi, lo};
      }
    }
  }
  return out;
}

// Switches the C runtime to code page 932 for its lifetime when asked.
class CodePage932 {
public:
  explicit CodePage932(bool wanted) {
    if (!wanted) return;
    if (const char* current = std::setlocale(LC_ALL, nullptr)) m_previous = current;
    m_active = std::setlocale(LC_ALL, ".932") != nullptr;
  }
  ~CodePage932() {
    if (m_active) std::setlocale(LC_ALL, m_previous.c_str());
  }
  CodePage932(const CodePage932&) = delete;
  CodePage932& operator=(const CodePage932&) = delete;

private:
  std::string m_previous;
  bool m_active = false;
};

}  // namespace

std::vector<qorfuzz::Seed> fuzzSeeds() {
  // Each file by name, and forced in the encoding its name gives.
  std::vector<qorfuzz::Seed> seeds;
  const struct {
    const char* prefix;
    std::uint8_t forced;
  } kinds[] = {{"utf8", 5}, {"utf16le", 7}, {"utf16be", 8}, {"cp1252", 4}, {"cp932", 9}};
  std::uint8_t output = 0;
  for (const qorfuzz::Seed& file : qorfuzz::seedsFromFolder(qorfuzz::sourcePath(L"fuzz/seeds/text"), L".txt")) {
    for (const auto& kind : kinds) {
      if (file.name.rfind(kind.prefix, 0) != 0) continue;
      for (const std::uint8_t mode : {std::uint8_t{0}, kind.forced}) {
        qorfuzz::Seed seed{file.name + (mode == 0 ? " by name" : " forced"), {}};
        seed.bytes.push_back(static_cast<std::uint8_t>(mode + 10 * (output++ % 3)));
        seed.bytes.insert(seed.bytes.end(), file.bytes.begin(), file.bytes.end());
        seeds.push_back(std::move(seed));
      }
    }
  }
  return seeds;
}

void fuzzOne(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return;
  const unsigned mode = data[0] % 10;
  static const QOR::TextEncoding outputs[] = {QOR::UTF8, QOR::UTF16le, QOR::UTF16be};
  const QOR::TextEncoding output = outputs[data[0] / 10 % 3];
  static const char* const marks[] = {"", "\xEF\xBB\xBF", "\xFF\xFE", "\xFE\xFF"};
  const Bytes file = Bytes(mode < 4 ? marks[mode] : "") + Bytes(reinterpret_cast<const char*>(data + 1), size - 1);
  const std::wstring& name = scratch().in.name();
  qorfuzz::writeWholeFile(name, file.data(), file.size());

  const CodePage932 locale(mode == 9);
  const bool byName = mode < 4;
  std::size_t markLength = 0;
  const QOR::TextEncoding enc = byName ? detect(file, markLength) : QOR::TextEncoding(mode == 9 ? 0 : mode - 4);
  const Expected want = referenceLines(enc, file.substr(markLength));

  std::unique_ptr<QOR::RawFileReader> raw;
  std::unique_ptr<QOR::TextReader> reader;
  if (byName) {
    reader.reset(QOR::TextReader::create(name));
  } else {
    raw.reset(QOR::rawOpen(name));
    reader.reset(QOR::TextReader::create(*raw, enc));
  }
  const Expected got = readLines(*reader, name, file.size() + 1);
  reader->close();
  qorfuzz::fuzzCheck(got.lines == want.lines, "the lines differ from the reference");
  qorfuzz::fuzzCheck(got.undecodable == want.undecodable, "the reader failed where the reference did not");
  reader.reset();
  raw.reset();

  // The lines read, written again and read back.
  const std::wstring& copy = scratch().out.name();
  const std::unique_ptr<QOR::TextWriter> writer(QOR::TextWriter::create(copy, QOR::Create, output));
  for (const std::wstring& line : got.lines) writer->writeLine(line);
  writer->close();
  qorfuzz::fuzzCheck(readBytes(copy) == encoded(got.lines, output), "the writer's bytes differ from the system's");
  const std::unique_ptr<QOR::TextReader> again(QOR::TextReader::create(copy));
  const Expected back = readLines(*again, copy, file.size() * 2 + 2);
  again->close();
  qorfuzz::fuzzCheck(!back.undecodable && back.lines == got.lines, "the lines written did not read back the same");
}
