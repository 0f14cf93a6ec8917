#include <qorcor14/errors.h>
#include <qorcor14/stream/csv.h>
#include <qorcor14/stream/text_file.h>
#include <qorcor14/text/strings.h>

#include "support/files.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <clocale>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using qortest::errorText;
using qortest::ScratchFolder;
using Lines = std::vector<std::wstring>;

std::wstring windowsPath(const char* unixPath, const wchar_t* leaf) {
  std::wstring path = L"Z:";
  for (const char* p = unixPath; *p; ++p) path += *p == '/' ? L'\\' : static_cast<wchar_t>(*p);
  return path + L"\\" + leaf;
}

std::wstring fixture(const wchar_t* leaf) { return windowsPath(QOR_STREAM_FIXTURES, leaf); }

// The lines of a UTF-8 sample text, decoded by the system.
Lines sampleLines(const wchar_t* leaf) {
  const std::string bytes = qortest::readBytes(windowsPath(QOR_STREAM_SAMPLES, leaf));
  const int n =
      MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
  std::wstring text(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), text.data(), n);
  Lines lines;
  std::size_t start = 0;
  for (std::size_t lf; (lf = text.find(L'\n', start)) != std::wstring::npos; start = lf + 1)
    lines.push_back(text.substr(start, lf - start));
  return lines;
}

Lines readAll(QOR::TextReader& reader) {
  Lines lines;
  std::wstring line = L"stale";
  while (reader.readLine(line)) lines.push_back(line);
  EXPECT_TRUE(line.empty()) << "readLine clears the line at the end too";
  EXPECT_FALSE(reader.readLine(line)) << "the end stays the end";
  return lines;
}

// Reads the file by name (enc < 0: the mark decides) or as enc on the raw file.
Lines readFile(const std::wstring& name, int enc) {
  if (enc < 0) return readAll(*std::unique_ptr<QOR::TextReader>(QOR::TextReader::create(name)));
  std::unique_ptr<QOR::RawFileReader> raw(QOR::rawOpen(name));
  return readAll(*std::unique_ptr<QOR::TextReader>(QOR::TextReader::create(*raw, QOR::TextEncoding(enc))));
}

constexpr int kByName = -1;

std::string writeFile(const std::wstring& name, QOR::TextEncoding enc, const Lines& lines) {
  std::unique_ptr<QOR::TextWriter> out(QOR::TextWriter::create(name, QOR::Create, enc));
  for (const std::wstring& line : lines) out->writeLine(line);
  out->close();
  return qortest::readBytes(name);
}

std::wstring undecodable(const std::wstring& name) {
  return L"\"" + name + L"\" contains text that is not valid in the file's encoding.";
}

std::wstring unencodable(const wchar_t* code, const std::wstring& name) {
  return L"The character " + std::wstring(code) + L" cannot be written to \"" + name + L"\" in its encoding.";
}

// Each encoding against iconv's files, with and without a mark: read by name
// (the mark decides) and on the raw file, and written both ways byte for byte.
TEST(TextFixtures, ReadsAndWritesWhatIconvEncodes) {
  const Lines lines = sampleLines(L"unicode_sample.txt");
  ASSERT_EQ(lines.size(), 10u);
  const struct {
    QOR::TextEncoding enc;
    const wchar_t* marked;
    const wchar_t* unmarked;
  } rows[] = {{QOR::UTF8, L"utf8-bom.txt", L"utf8.txt"},
              {QOR::UTF16, L"utf16le-bom.txt", L"utf16le.txt"},
              {QOR::UTF16le, L"utf16le-bom.txt", L"utf16le.txt"},
              {QOR::UTF16be, L"utf16be-bom.txt", L"utf16be.txt"}};
  ScratchFolder dir;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.enc);
    EXPECT_EQ(readFile(fixture(row.marked), kByName), lines);
    EXPECT_EQ(readFile(fixture(row.unmarked), row.enc), lines);
    const std::wstring name = dir.file(L"out.txt");
    EXPECT_EQ(writeFile(name, row.enc, lines), qortest::readBytes(fixture(row.marked)));
    std::unique_ptr<QOR::RawFileWriter> raw(QOR::rawCreate(name));
    std::unique_ptr<QOR::TextWriter> out(QOR::TextWriter::create(*raw, row.enc, false));
    for (const std::wstring& line : lines) out->writeLine(line);
    out->close();
    raw->close();
    EXPECT_EQ(qortest::readBytes(name), qortest::readBytes(fixture(row.unmarked)));
  }
}

// Files without a mark are read in the runtime's locale; these cases run under
// code pages 1252 and 1251 (see CMakeLists.txt).
const wchar_t* ansiFixture() { return GetACP() == 1252 ? L"cp1252.txt" : GetACP() == 1251 ? L"cp1251.txt" : nullptr; }

TEST(TextAnsi, ReadsAndWritesTheCodePageAsIconvDoes) {
  const wchar_t* file = ansiFixture();
  if (!file) GTEST_SKIP() << "no fixture for code page " << GetACP();
  AutoLocale locale(LC_ALL);
  const Lines want = sampleLines(L"ansi_sample.txt");
  EXPECT_EQ(readFile(fixture(file), kByName), want);
  ScratchFolder dir;
  EXPECT_EQ(writeFile(dir.file(L"ansi.txt"), QOR::Multibyte, want), qortest::readBytes(fixture(file)))
      << "no mark, CR LF line ends";
}

TEST(TextAnsi, CharactersTheCodePageLacksFailWithoutBestFit) {
  // Each has a best-fit or default substitute in the code page, never written.
  const wchar_t* lacking = GetACP() == 1252 ? L"\u0100\u0416\u20B9" : L"\u00E9\u0100\u00C6";
  if (!ansiFixture()) GTEST_SKIP() << "no expectations for code page " << GetACP();
  ScratchFolder dir;
  const std::wstring name = dir.file(L"ansi.txt");
  for (const wchar_t* c = lacking; *c; ++c) {
    SCOPED_TRACE(static_cast<unsigned>(*c));
    std::unique_ptr<QOR::TextWriter> out(QOR::TextWriter::create(name, QOR::Create, QOR::Multibyte));
    out->write(L"ok");
    const std::wstring code = stringPrintf(L"U+%04X", static_cast<unsigned>(*c));
    EXPECT_EQ(errorText([&] { out->write(std::wstring(1, *c)); }), unencodable(code.c_str(), name));
    out->close();
    EXPECT_EQ(qortest::readBytes(name), "ok") << "the bytes before it are kept";
  }
}

// Marks, breaks and decoding beyond iconv's CR LF files.
TEST(TextReader, MarksBreaksAndDecoding) {
  // The runtime starts in the "C" locale: a byte without a mark is the
  // character of its value.
  ASSERT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
  const struct {
    const char* what;
    std::string bytes;
    int enc;
    Lines want;
  } rows[] = {
      {"empty file", "", kByName, {}},
      {"only a UTF-8 mark", "\xEF\xBB\xBF", kByName, {}},
      {"CR CR LF", "a\r\r\nb", kByName, {L"a", L"", L"b"}},
      {"ends in CR", "a\r", kByName, {L"a"}},
      {"LF CR is two breaks", "a\n\rb", kByName, {L"a", L"", L"b"}},
      {"every break",
       "\xEF\xBB\xBF"
       "1\n2\f3\xC2\x85"
       "4\xE2\x80\xA8"
       "5\xE2\x80\xA9"
       "6\v7",
       kByName,
       {L"1", L"2", L"3", L"4", L"5", L"6\v7"}},
      {"NUL in UTF-8", std::string("a\0b", 3), QOR::UTF8, {std::wstring(L"a\0b", 3)}},
      {"mark on a raw stream is text", "\xEF\xBB\xBFx", QOR::UTF8, {L"\uFEFFx"}},
      {"FF FE 00 00 is UTF-16LE", std::string("\xFF\xFE\0\0A\0", 6), kByName, {std::wstring(L"\0A", 2)}},
      {"no mark in the C locale",
       std::string("\x80\xE9\xFF\x01 \x00z\n", 8),
       kByName,
       {std::wstring(L"\u0080\u00E9\u00FF\u0001 \0z", 7)}},
  };
  ScratchFolder dir;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const std::wstring name = dir.file(L"in.txt");
    qortest::writeBytes(name, row.bytes);
    EXPECT_EQ(readFile(name, row.enc), row.want);
  }
}

TEST(TextReader, UndecodableBytesFailAndStayUnread) {
  const struct {
    const char* what;
    std::string bytes;
    Lines before;          // the lines read before the failure
    std::wstring partial;  // what the failing call leaves in the line
  } rows[] = {
      {"UTF-16LE lone trailing surrogate",
       std::string("\xFF\xFE"
                   "a\0\n\0b\0\x00\xDC"
                   "c\0",
                   12),
       {L"a"},
       L"b"},
      {"UTF-16LE leading surrogate at the end",
       std::string("\xFF\xFE"
                   "a\0\x00\xD8",
                   6),
       {},
       L"a"},
      {"UTF-8 F8 by name", "\xEF\xBB\xBFok\n\xF8", {L"ok"}, L""},
  };
  ScratchFolder dir;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const std::wstring name = dir.file(L"bad.txt");
    qortest::writeBytes(name, row.bytes);
    std::unique_ptr<QOR::TextReader> in(QOR::TextReader::create(name));
    std::wstring line;
    for (const std::wstring& want : row.before) {
      ASSERT_TRUE(in->readLine(line));
      EXPECT_EQ(line, want);
    }
    EXPECT_EQ(errorText([&] { in->readLine(line); }), undecodable(name));
    EXPECT_EQ(line, row.partial);
    EXPECT_EQ(errorText([&] { in->readLine(line); }), undecodable(name)) << "the bad bytes stay next";
    in->close();
  }
}

// What a UTF-8 reader makes of `bytes`, code point by code point over the
// whole input: the lines, and whether (and with what partial line) it fails.
struct Utf8Reading {
  Lines lines;
  bool failed = false;
  std::wstring partial;
  bool operator==(const Utf8Reading&) const = default;
};

// One code point by the reader's lenient rule (0x80..0xDF lead two bytes, a
// following byte above 0xC0 is refused, overlong forms pass) and its checks;
// the number of bytes, or 0 where the reader fails.
std::size_t referenceUtf8(const std::string& bytes, std::size_t i, unsigned& cp) {
  const unsigned lead = static_cast<unsigned char>(bytes[i]);
  const std::size_t n = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF8 ? 4 : 0;
  if (n == 0 || bytes.size() - i < n) return 0;
  cp = n == 1 ? lead : lead & (n == 2 ? 0x1Fu : n == 3 ? 0x0Fu : 0x07u);
  for (std::size_t k = 1; k < n; ++k) {
    const unsigned c = static_cast<unsigned char>(bytes[i + k]);
    if (c > 0xC0) return 0;
    cp = cp << 6 | (c & 0x3F);
  }
  return cp > 0x10FFFF || (cp & 0xF800) == 0xD800 ? 0 : n;
}

Utf8Reading referenceReading(const std::string& bytes) {
  Utf8Reading r;
  std::wstring line;
  bool any = false;
  for (std::size_t i = 0;;) {
    if (i == bytes.size()) {
      if (any) r.lines.push_back(line);
      return r;
    }
    unsigned cp = 0, after = 0;
    const std::size_t n = referenceUtf8(bytes, i, cp);
    if (n == 0) return r.failed = true, r.partial = line, r;
    i += n;
    any = true;
    if (cp == 0x0D && i < bytes.size()) {
      if (const std::size_t lf = referenceUtf8(bytes, i, after); lf != 0 && after == 0x0A) i += lf;
    }
    if (cp == 0x0A || cp == 0x0C || cp == 0x0D || cp == 0x85 || cp == 0x2028 || cp == 0x2029) {
      r.lines.push_back(line);
      line.clear();
      any = false;
    } else if (cp > 0xFFFF) {
      line += {static_cast<wchar_t>(0xD800 | (cp - 0x10000) >> 10), static_cast<wchar_t>(0xDC00 | (cp & 0x3FF))};
    } else {
      line += static_cast<wchar_t>(cp);
    }
  }
}

// Random UTF-8 of runs and breaks: pieces of every sequence length, forms the
// reader takes leniently or refuses, every break (overlong ones too), long
// runs that cross the 1024-byte buffer, now and then a random byte, and
// (`splitCrLf`) a CR LF split by the first refill.
std::string randomUtf8(std::mt19937& rng, bool defects, bool splitCrLf) {
  static const std::string pieces[] = {"plain words ",
                                       "caf\xC3\xA9",
                                       "\xD0\x96\xD1\x83\xD0\xBA",
                                       "\xE6\x9D\xB1\xE4\xBA\xAC",
                                       "\xF0\x9F\x98\x80",
                                       "\xF4\x8F\xBF\xBF",
                                       "\xE2\x80\x9C",
                                       "\xC2\xA0",
                                       "\xEF\xBF\xBF",
                                       "\x0B\t",
                                       std::string("\0", 1),
                                       "\xC1\x81",
                                       "\xC3"
                                       "A",
                                       "\x80\xBF",
                                       "\xE0\x81\x81",
                                       "\xF0\x80\x80\xB1",
                                       "\xE2\x80\xA7"};
  static const char* const breaks[] = {"\n",           "\r",           "\r\n",     "\f",           "\xC2\x85",
                                       "\xE2\x80\xA8", "\xE2\x80\xA9", "\xC0\x8A", "\xE0\x82\x85", "\xF0\x80\x80\x8D"};
  static const char* const refused[] = {"\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF8", "\xC3\xC3", "\xE4\xB8"};
  std::string s;
  if (splitCrLf) s.assign(1023, 'a');
  const std::size_t n = rng() % 5000;
  while (s.size() < n) {
    const unsigned kind = rng() % 20;
    if (kind < 3) {
      s += breaks[rng() % std::size(breaks)];
    } else if (kind < 5) {
      // A long run of one piece, for the vector kernels and the buffer's end.
      const std::string& piece = pieces[rng() % 7];
      for (unsigned k = rng() % 120; k; --k) s += piece;
    } else if (defects && kind == 5 && rng() % 8 == 0) {
      const char byte = static_cast<char>(rng());
      s += rng() % 2 ? std::string(refused[rng() % std::size(refused)])
                     : std::string(1, byte == ',' || byte == '"' ? 'x' : byte);
    } else {
      s += pieces[rng() % std::size(pieces)];
    }
    if (splitCrLf && s.size() == 1023) s += "\r\n";
  }
  if (defects && rng() % 4 == 0) s += "\xF0\x9F\x98";  // cut off by the end
  return s;
}

// UTF-8 read line by line, and through the line chunks a CSV record reader
// takes (readLines), against the reference reading of the same bytes: the
// same lines, and a failure with entry 248 at the same line.
TEST(TextReader, RandomUtf8LinesAndErrorsAgreeWithTheReference) {
  ScratchFolder dir;
  const std::wstring name = dir.file(L"u.txt");
  std::mt19937 rng(20240612);
  for (int round = 0; round < 400; ++round) {
    const std::string bytes = randomUtf8(rng, round % 3 == 0, round % 5 == 0);
    SCOPED_TRACE(testing::Message() << "round " << round << ", " << bytes.size() << " bytes");
    const Utf8Reading want = referenceReading(bytes);
    qortest::writeBytes(name, bytes);

    std::unique_ptr<QOR::RawFileReader> raw(QOR::rawOpen(name));
    std::unique_ptr<QOR::TextReader> reader(QOR::TextReader::create(*raw, QOR::UTF8));
    Utf8Reading got;
    std::wstring line;
    try {
      while (reader->readLine(line)) got.lines.push_back(line);
    } catch (const QOR::QorError& e) {
      ASSERT_EQ(e.wWhat(), undecodable(name));
      got.failed = true;
      got.partial = line;
      EXPECT_EQ(errorText([&] { reader->readLine(line); }), undecodable(name)) << "the bad bytes stay next";
    }
    ASSERT_EQ(got, want);

    // A raw CSV parser gives each line (no commas or quotes here) as one
    // field, trimmed, or no field for a blank line.
    raw.reset(QOR::rawOpen(name));
    reader.reset(QOR::TextReader::create(*raw, QOR::UTF8));
    std::unique_ptr<QOR::CSVParser> parser(QOR::CSVParser::create());
    QOR::CSVRecordReader records(*parser, *reader);
    std::vector<std::vector<std::wstring>> gotRecords, wantRecords;
    for (const std::wstring& l : want.lines) {
      const std::wstring field = trimwhitespace(l);
      wantRecords.push_back(field.empty() ? std::vector<std::wstring>{} : std::vector<std::wstring>{field});
    }
    std::vector<std::wstring> fields;
    bool failed = false;
    try {
      while (records.next(fields)) gotRecords.push_back(fields);
    } catch (const QOR::QorError& e) {
      ASSERT_EQ(e.wWhat(), undecodable(name));
      failed = true;
    }
    ASSERT_EQ(gotRecords, wantRecords);
    ASSERT_EQ(failed, want.failed);
  }
}

// Under a double-byte code page, a character across the end of the reader's
// 1024-byte buffer stays whole, and a lead byte at the end of the file is
// incomplete (Wine's mbtowc decodes such a byte alone).
TEST(TextReader, DoubleByteCharacterAcrossTheBuffer) {
  struct CodePage932 {
    CodePage932() { ok = std::setlocale(LC_ALL, ".932") != nullptr; }
    ~CodePage932() { std::setlocale(LC_ALL, "C"); }
    bool ok;
  } locale;
  ASSERT_TRUE(locale.ok);
  ScratchFolder dir;
  const std::wstring name = dir.file(L"sjis.txt");
  qortest::writeBytes(name, std::string(1023, 'a') + "\x83\x4C\r\n\x83");
  std::unique_ptr<QOR::TextReader> in(QOR::TextReader::create(name));
  std::wstring line;
  ASSERT_TRUE(in->readLine(line));
  EXPECT_EQ(line, std::wstring(1023, L'a') + L"\u30AD");
  EXPECT_EQ(errorText([&] { in->readLine(line); }), undecodable(name));
  in->close();
}

TEST(TextReader, MissingFileNamesIt) {
  ScratchFolder dir;
  const std::wstring missing = dir.file(L"missing.txt");
  EXPECT_EQ(errorText([&] { delete QOR::TextReader::create(missing); }),
            L"Cannot open \"" + missing + L"\" for reading: No such file or directory");
}

TEST(TextWriter, StraySurrogatesFailWithEntry254) {
  const struct {
    std::wstring text;
    const wchar_t* code;
  } rows[] = {
      {L"ok" + std::wstring(1, wchar_t(0xD800)), L"U+D800"},
      {L"ok" + std::wstring(1, wchar_t(0xDC00)) + L"x", L"U+DC00"},
      {L"ok" + std::wstring{wchar_t(0xD83D), L'x'}, L"U+D83D"},
  };
  ScratchFolder dir;
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.code, row.code + 6));
    const std::wstring name = dir.file(L"s.txt");
    std::unique_ptr<QOR::TextWriter> out(QOR::TextWriter::create(name, QOR::Create, QOR::UTF16le));
    EXPECT_EQ(errorText([&] { out->write(row.text); }), unencodable(row.code, name));
    out->close();
    EXPECT_EQ(qortest::readBytes(name), std::string("\xFF\xFEo\0k\0", 6)) << "the text before it is kept";
  }
}

TEST(TextWriter, MarksAndAppendRules) {
  ScratchFolder dir;
  const std::wstring name = dir.file(L"a.txt");
  auto append = [&](QOR::TextEncoding enc, const wchar_t* text) {
    std::unique_ptr<QOR::TextWriter> out(QOR::TextWriter::create(name, QOR::Append, enc));
    out->writeLine(text);
    out->close();
  };
  const struct {
    const char* what;
    const char* before;  // null: no file
    std::size_t beforeSize;
    QOR::TextEncoding enc;
    std::string want;
  } rows[] = {
      {"missing file: requested encoding with a mark", nullptr, 0, QOR::UTF16be, std::string("\xFE\xFF\0b\0\r\0\n", 8)},
      {"empty file: requested encoding with a mark", "", 0, QOR::UTF8,
       "\xEF\xBB\xBF"
       "b\r\n"},
      {"UTF-16BE file continued as such", "\xFE\xFF\0a", 4, QOR::UTF8, std::string("\xFE\xFF\0a\0b\0\r\0\n", 10)},
      {"no mark: Multibyte", "a", 1, QOR::UTF16le, "ab\r\n"},
      {"FF FE file as UTF-16LE", "\xFF\xFE", 2, QOR::Multibyte,
       std::string("\xFF\xFE"
                   "b\0\r\0\n\0",
                   8)},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    std::filesystem::remove(std::filesystem::path(name));
    if (row.before) qortest::writeBytes(name, std::string(row.before, row.beforeSize));
    append(row.enc, L"b");
    EXPECT_EQ(qortest::readBytes(name), row.want);
  }
}

TEST(TextWriter, BuffersUntilFlush) {
  ScratchFolder dir;
  const std::wstring name = dir.file(L"b.txt");
  std::unique_ptr<QOR::TextWriter> out(QOR::TextWriter::create(name, QOR::Create, QOR::UTF8));
  out->write(L"abc");
  EXPECT_EQ(qortest::readBytes(name), "") << "mark and text wait in the buffer";
  out->flush();
  EXPECT_EQ(qortest::readBytes(name),
            "\xEF\xBB\xBF"
            "abc");
  out->close();
  out->write(L"late");
  EXPECT_EQ(errorText([&] { out->flush(); }), L"Cannot write to \"" + name + L"\": Bad file descriptor");

  qortest::writeBytes(name, "keep");
  EXPECT_EQ(QOR::TextWriter::create(name, QOR::Create, QOR::TextEncoding(9)), nullptr);
  EXPECT_EQ(qortest::readBytes(name), "keep") << "an unknown encoding leaves the file alone";
}

// Random text with every kind of break, crossing many buffer boundaries, for
// several seeds. Every text starts with a CR piece and an LF piece, which the
// writer makes one CR LF, and ends with a CR, which it ends with CR LF.
TEST(TextRoundTrip, RandomTextInEveryUnicodeEncoding) {
  const wchar_t* breaks[] = {L"\n", L"\r", L"\r\n", L"\u0085", L"\u2028", L"\u2029", L"\f"};
  const wchar_t odd[] = {L'\0', L'\uFEFF', L'\v'};
  ScratchFolder dir;
  for (unsigned seed = 1; seed <= 12; ++seed) {
    std::mt19937 rng(seed);
    std::wstring text;
    std::wstring written;  // what the writer makes of it: FF stays, other breaks become CR LF
    Lines want(1);
    auto addBreak = [&](const wchar_t* brk) {
      const bool afterCR = !text.empty() && text.back() == L'\r';
      text += brk;
      if (afterCR && *brk == L'\n') return;  // one break with the CR before it
      written += *brk == L'\f' ? L"\f" : L"\r\n";
      want.emplace_back();
    };
    addBreak(L"\r");
    addBreak(L"\n");
    while (text.size() < 6000) {
      const unsigned kind = rng() % 16;
      std::wstring piece;
      if (kind < 6) {
        piece.assign(1 + rng() % 120, L'a' + static_cast<wchar_t>(rng() % 26));
      } else if (kind < 8) {
        piece = wchar_t(0xA0 + rng() % 0x700);
      } else if (kind < 10) {
        piece = wchar_t(0x4E00 + rng() % 0x5000);
      } else if (kind < 11) {
        const unsigned v = rng() % 0x100000;
        piece = {wchar_t(0xD800 | (v >> 10)), wchar_t(0xDC00 | (v & 0x3FF))};
      } else if (kind < 12) {
        piece = odd[rng() % 3];
      } else {
        addBreak(breaks[rng() % 7]);
        continue;
      }
      text += piece;
      written += piece;
      want.back() += piece;
    }
    addBreak(L"\r");
    want.pop_back();  // the final break ends the last line
    for (QOR::TextEncoding enc : {QOR::UTF8, QOR::UTF16le, QOR::UTF16be}) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << " encoding " << enc);
      const std::wstring name = dir.file(L"r.txt");
      std::unique_ptr<QOR::TextWriter> out(QOR::TextWriter::create(name, QOR::Create, enc));
      out->write(text);
      out->close();
      EXPECT_EQ(readFile(name, kByName), want);
      if (enc == QOR::UTF8) {
        EXPECT_EQ(qortest::readBytes(name).substr(3), utf8(written)) << "as the text core encodes it";
      }
    }
  }
}

}  // namespace
