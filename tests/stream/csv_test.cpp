#include "support/csv_reference.h"
#include "support/files.h"

#include <qorcor14/errors.h>
#include <qorcor14/stream/csv.h>
#include <qorcor14/stream/text_file.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using qortest::Fields;
using qortest::Records;

std::unique_ptr<QOR::CSVParser> rawParser() { return std::unique_ptr<QOR::CSVParser>(QOR::CSVParser::create()); }

// The contract's protocol: repeat each chunk until parse returns false.
Records feedRepeating(QOR::CSVParser& p, const std::vector<std::wstring>& chunks, std::size_t limit = 1000) {
  Records out;
  Fields f;
  for (const std::wstring& chunk : chunks)
    while (out.size() < limit && p.parse(f, chunk)) out.push_back(f);
  return out;
}

// What the caller does with its vector between calls. An open record is kept
// by the parser, so all three give the same records.
enum class Vectors { same, fresh, cleared };

// The safe protocol: an empty string after each true return.
Records feedSafely(QOR::CSVParser& p, const std::vector<std::wstring>& chunks, Vectors use = Vectors::same) {
  static const std::wstring none;
  Records out;
  Fields kept;
  auto parse = [&](const std::wstring& text) {
    Fields fresh{L"stale"};
    Fields& f = use == Vectors::fresh ? fresh : kept;
    if (use == Vectors::cleared) f.clear();
    const bool got = p.parse(f, text);
    if (got) out.push_back(f);
    else EXPECT_TRUE(f.empty()) << "a false return empties the vector";
    return got;
  };
  for (const std::wstring& chunk : chunks)
    for (bool got = parse(chunk); got && out.size() < 1000; got = parse(none)) {}
  return out;
}

Records readAll(QOR::CSVRecordReader& reader) {
  Records out;
  Fields f;
  while (out.size() < 1000 && reader.next(f)) out.push_back(f);
  return out;
}

Records recordsOf(const std::wstring& text, const wchar_t* columns = nullptr) {
  std::unique_ptr<QOR::CSVParser> p(columns ? QOR::CSVParser::create(columns) : QOR::CSVParser::create());
  QOR::CSVRecordReader reader(*p, text);
  return readAll(reader);
}

TEST(CSVParser, FieldRules) {
  const struct {
    const wchar_t* chunk;
    Records records;
  } cases[] = {
      {L"a, b ,c\n", {{L"a", L"b", L"c"}}},
      {L"\"say \"\"hi\"\"\"\n", {{L"say \"hi\""}}},
      {L"\n", {{}}},
      {L"\"ab\"cd\",e\n", {{L"ab\"cd", L"e"}}},
      {L"\"ab\"cd\n", {}},  // the line feed is data of the reopened quoted field
      {L"a\"b\" c \t,\" q \"\n", {{L"a\"b\" c", L" q "}}},
      {L" \"\" , \v\n", {{L"", L""}}},
      {L"a\x2028"
       L"b\x2029"
       L"c\f"
       L"d\x85"
       L"e\v\n",
       {{L"a"}, {L"b"}, {L"c"}, {L"d"}, {L"e"}}},
      {L"\x3000\xFEFF"
       L"a\x00A0 b\x2002,\U0001F600 \n",
       {{L"a\x00A0 b", L"\U0001F600"}}},
      {L"\xD800,\xDC00"
       L"x\n",
       {{L"\xD800",
         L"\xDC00"
         L"x"}}},
      {L"a\r\nb\n\nc\n", {{L"a"}, {L"b"}, {}, {L"c"}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.chunk)));
    auto p = rawParser();
    EXPECT_EQ(feedRepeating(*p, {c.chunk}), c.records);
  }
}

// Splits in general are covered by ChunkInvarianceOnRandomTexts.
TEST(CSVParser, RecordsSpanChunks) {
  auto p = rawParser();
  Fields f;
  EXPECT_FALSE(p->parse(f, L"a,b")) << "the last record waits for a line end";
  // After a record ending at the chunk's last CR, the very next call takes the
  // next chunk and skips the LF starting it.
  ASSERT_TRUE(p->parse(f, L",c\r"));
  EXPECT_EQ(f, (Fields{L"a", L"b", L"c"}));
  ASSERT_TRUE(p->parse(f, L"\nd\n"));
  EXPECT_EQ(f, Fields{L"d"});
  EXPECT_FALSE(p->parse(f, L"ignored"));

  // A new vector per line while a quoted field spans lines: the open record
  // stays in the parser.
  auto q = rawParser();
  Fields first{L"stale"}, second;
  EXPECT_FALSE(q->parse(first, L"x,\"two\n"));
  EXPECT_TRUE(first.empty());
  ASSERT_TRUE(q->parse(second, L"lines\",y\n"));
  EXPECT_EQ(second, (Fields{L"x", L"two\nlines", L"y"}));
}

// The trap the contract warns about: after a record ending at a lone CR inside
// a chunk the parser takes its argument afresh, so repeating it repeats the record.
TEST(CSVParser, RepeatingAChunkAfterALoneCarriageReturnRepeatsTheRecord) {
  auto p = rawParser();
  const Records got = feedRepeating(*p, {L"a\rb\n"}, 3);
  EXPECT_EQ(got, Records(3, Fields{L"a"}));
  // An empty string after the true return is what the parser waits for.
  auto q = rawParser();
  Fields f;
  ASSERT_TRUE(q->parse(f, L"a\r"));
  EXPECT_FALSE(q->parse(f, L""));
  EXPECT_TRUE(q->parse(f, L"\nb\n"));
  EXPECT_EQ(f, Fields{L"b"});
}

TEST(CSVParser, HeadedParserPicksColumnsByName) {
  std::unique_ptr<QOR::CSVParser> p(QOR::CSVParser::create(L"Name,Id"));
  std::vector<bool> missing{true};
  EXPECT_EQ(feedRepeating(*p, {L"Id,Other,Name\n", L"1,x,Bob\n", L"2\n"}), (Records{{L"Bob", L"1"}, {L"", L"2"}}));
  p->missingColumns(missing);
  EXPECT_EQ(missing, (std::vector<bool>{false, false}));

  // Quoting and trimming apply to the requested names; matching is exact.
  std::unique_ptr<QOR::CSVParser> q(QOR::CSVParser::create(L" \"a,b\" , name,Zip"));
  q->missingColumns(missing);
  EXPECT_EQ(missing, (std::vector<bool>{true, true, true}));
  EXPECT_EQ(feedRepeating(*q, {L"Name,name,\"a,b\"\r\n1,2,3\r\n"}), (Records{{L"3", L"2", L""}}));
  q->missingColumns(missing);
  EXPECT_EQ(missing, (std::vector<bool>{false, false, true}));

  // A quote left open in the column line takes the rest, line feed included.
  std::unique_ptr<QOR::CSVParser> open(QOR::CSVParser::create(L"a,\"b"));
  EXPECT_EQ(feedRepeating(*open, {L"x,a,\"b\n\"\n1,2,3\n"}), (Records{{L"2", L"3"}}));

  // No names: the header line is skipped, every record is empty.
  std::unique_ptr<QOR::CSVParser> none(QOR::CSVParser::create(L""));
  EXPECT_EQ(feedRepeating(*none, {L"h\n1,2\n"}), (Records{{}}));
  none->missingColumns(missing);
  EXPECT_TRUE(missing.empty());
}

TEST(CSVRecordReader, WholeTexts) {
  const struct {
    const wchar_t* text;
    Records records;
  } cases[] = {
      {L"", {}},
      {L"a,b", {{L"a", L"b"}}},
      {L"a\r\rb\r", {{L"a"}, {}, {L"b"}}},
      {L"a,\"b\r\nc\"\rd", {{L"a", L"b\r\nc"}, {L"d"}}},
      {L"\"open \r field, ", {{L"open \r field, "}}},
      {L"\"closed\"  ", {{L"closed"}}},
      {L"\xD83D", {{L"\xD83D"}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.text)));
    EXPECT_EQ(recordsOf(c.text), c.records);
  }
  // Headed: the header line ends at a CR LF, the last record at the end.
  EXPECT_EQ(recordsOf(L"B,A\r\n1,2\r\n3,4", L"A,B"), (Records{{L"2", L"1"}, {L"4", L"3"}}));
  EXPECT_EQ(recordsOf(L"B,A", L"A"), Records{});
  // The documented quirk: a header line ended by a lone CR comes back.
  EXPECT_EQ(recordsOf(L"B,A\r1,2\r", L"A"), (Records{{L"A"}, {L"2"}}));
}

std::unique_ptr<QOR::TextReader> utf16File(qortest::ScratchFolder& dir, const std::wstring& text, std::string tail) {
  std::string bytes = "\xFF\xFE";
  for (wchar_t c : text) bytes += {static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)};
  const std::wstring name = dir.file(L"t.csv");
  qortest::writeBytes(name, bytes + tail);
  return std::unique_ptr<QOR::TextReader>(QOR::TextReader::create(name));
}

TEST(CSVRecordReader, OverATextReader) {
  qortest::ScratchFolder dir;
  // Every break becomes one LF in the record; the rest is as in the text.
  auto in = utf16File(dir,
                      L"Name,Note\r\n\"Ann\",\"two\r\nlines\"\r\n\"Bo\"\"b\",\x4E2D\U0001F600\rEve,\"a\x2028"
                      L"b\"",
                      "");
  auto p = rawParser();
  QOR::CSVRecordReader fromFile(*p, *in);
  EXPECT_EQ(readAll(fromFile),
            recordsOf(L"Name,Note\n\"Ann\",\"two\nlines\"\n\"Bo\"\"b\",\x4E2D\U0001F600\nEve,\"a\nb\""));
  in->close();

  // Records before undecodable bytes come out first; then the reader's error.
  auto bad = utf16File(dir, L"a,b\nc\n", std::string("\x00\xD8x\x00", 4));
  auto q = rawParser();
  QOR::CSVRecordReader records(*q, *bad);
  Fields f;
  ASSERT_TRUE(records.next(f));
  EXPECT_EQ(f, (Fields{L"a", L"b"}));
  ASSERT_TRUE(records.next(f));
  EXPECT_EQ(f, Fields{L"c"});
  EXPECT_THROW(records.next(f), QOR::QorError);
}

// Cuts each chunk after every CR that has no LF after it in that chunk.
std::vector<std::wstring> cutAfterLoneCRs(const std::vector<std::wstring>& chunks) {
  std::vector<std::wstring> out;
  for (const std::wstring& c : chunks) {
    std::size_t from = 0;
    for (std::size_t i = 0; i < c.size(); ++i) {
      if (c[i] == L'\r' && (i + 1 == c.size() || c[i + 1] != L'\n')) {
        out.push_back(c.substr(from, i + 1 - from));
        from = i + 1;
      }
    }
    if (from < c.size() || c.empty()) out.push_back(c.substr(from));
  }
  return out;
}

// What a headed parser asking for `names` gives for the raw `records` (the
// first one being the header line): each name's first column, or empty.
Records headedRecords(const Records& records, const Fields& names) {
  Records out;
  for (std::size_t r = 1; r < records.size(); ++r) {
    Fields fields;
    for (const std::wstring& name : names) {
      const Fields& header = records.front();
      const std::size_t k = static_cast<std::size_t>(std::find(header.begin(), header.end(), name) - header.begin());
      fields.push_back(k < header.size() && k < records[r].size() ? records[r][k] : std::wstring());
    }
    out.push_back(fields);
  }
  return out;
}

// Random CSV-like texts against the plain reference, read whole and in
// pieces: fields split at every place, records longer than the 64-unit scan
// blocks, quoted fields with doubled quotes, line ends, white space and text
// after them, white space of every kind, line ends other than LF and CR,
// surrogates, and units above U+00FF whose low byte is a comma, a quote, LF
// or CR.
TEST(CSVParser, MatchesThePlainReferenceWholeAndInPieces) {
  const std::wstring longRun(70, L'x');
  const std::wstring pieces[] = {L"a",
                                 L"bcdefghijklmnopq",
                                 longRun,
                                 L"\"" + longRun + L",\r\n\"\"" + longRun + L"\"",
                                 L"\"q\" \t",
                                 L"\"r\"s",
                                 L" ",
                                 L"\t",
                                 L"\x0B",
                                 L",",
                                 L",",
                                 L",",
                                 L"\"",
                                 L"\"\"",
                                 L"\r",
                                 L"\n",
                                 L"\r\n",
                                 L"\r\n",
                                 L"\x0C",
                                 L"\x85",
                                 L"\x2028",
                                 L"\x2029",
                                 L"\xA0",
                                 L"\x1680",
                                 L"\x180E",
                                 L"\x2000",
                                 L"\x200A",
                                 L"\x202F",
                                 L"\x205F",
                                 L"\x3000",
                                 L"\xFEFF",
                                 L"\xE9",
                                 L"\x4E2D\x6587",
                                 L"\U0001F600",
                                 L"\xD800",
                                 L"\xDC00",
                                 L"\x012C",
                                 L"\x0122",
                                 L"\x010D",
                                 L"\x010A",
                                 L"\x200B",
                                 L"\x167F\x3001\xFFFF"};
  std::mt19937 rng(20240611);
  for (int round = 0; round < 500; ++round) {
    std::wstring text;
    const int n = static_cast<int>(rng() % 40);
    for (int k = 0; k < n; ++k) text += pieces[rng() % std::size(pieces)];
    text += L'\n';  // every feed ends with a line end, so they all close the same way
    SCOPED_TRACE(testing::PrintToString(text));
    qortest::ReferenceParser reference;
    reference.parse(text);
    const Records& expected = reference.records;

    auto whole = rawParser();
    EXPECT_EQ(feedSafely(*whole, cutAfterLoneCRs({text})), expected);
    // The record reader also closes a quoted field the text leaves open.
    qortest::ReferenceParser closed;
    closed.parse(text + reference.closer());
    EXPECT_EQ(recordsOf(text), closed.records);

    // Line by line (CR LF together), a new vector for every line, a quoted
    // field spanning lines or not.
    std::vector<std::wstring> lines;
    std::size_t from = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      const wchar_t c = text[i];
      if (c == L'\r' && i + 1 < text.size() && text[i + 1] == L'\n') continue;
      if (c == 0x0A || c == 0x0C || c == 0x0D || c == 0x85 || c == 0x2028 || c == 0x2029) {
        lines.push_back(text.substr(from, i + 1 - from));
        from = i + 1;
      }
    }
    auto byLine = rawParser();
    EXPECT_EQ(feedSafely(*byLine, cutAfterLoneCRs(lines), Vectors::fresh), expected);

    // Without CRs the contract's own protocol gives the same records.
    if (text.find(L'\r') == std::wstring::npos) {
      auto repeating = rawParser();
      EXPECT_EQ(feedRepeating(*repeating, lines), expected);
    }
    // Split in two at every place (a CR LF too), the vector cleared before
    // every call; and a few random three-way splits.
    for (std::size_t a = 1; a < text.size(); ++a) {
      auto split = rawParser();
      EXPECT_EQ(feedSafely(*split, cutAfterLoneCRs({text.substr(0, a), text.substr(a)}), Vectors::cleared), expected)
          << "split at " << a;
      if (testing::Test::HasFailure()) break;
    }
    for (int k = 0; k < 4; ++k) {
      std::size_t a = rng() % text.size(), b = rng() % text.size();
      if (a > b) std::swap(a, b);
      auto split = rawParser();
      EXPECT_EQ(feedSafely(*split, cutAfterLoneCRs({text.substr(0, a), text.substr(a, b - a), text.substr(b)})),
                expected)
          << "split at " << a << " and " << b;
    }

    // Headed: some columns of the first record in a random order, and one it
    // lacks; fresh vectors with a stale string. (A header line ending at a
    // lone CR is the documented quirk, tested on its own.)
    if (!expected.empty() && text[reference.lineEnds.front()] != L'\r') {
      Fields names;
      for (const std::wstring& name : expected.front())
        if (rng() % 3 != 0 && std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
      std::shuffle(names.begin(), names.end(), rng);
      names.insert(names.begin() + static_cast<std::ptrdiff_t>(rng() % (names.size() + 1)), L"\x4E2D missing");
      std::wstring columns;
      for (const std::wstring& name : names) {
        columns += columns.empty() ? L"\"" : L",\"";
        for (const wchar_t c : name) columns += c == L'"' ? std::wstring(L"\"\"") : std::wstring(1, c);
        columns += L'"';
      }
      std::unique_ptr<QOR::CSVParser> headed(QOR::CSVParser::create(columns));
      const std::size_t a = rng() % text.size();
      EXPECT_EQ(feedSafely(*headed, cutAfterLoneCRs({text.substr(0, a), text.substr(a)}), Vectors::fresh),
                headedRecords(expected, names))
          << "columns " << testing::PrintToString(columns) << ", split at " << a;
    }
    if (testing::Test::HasFailure()) break;
  }
}

// The record reader closes exactly what a final line end would close.
TEST(CSVRecordReader, ClosesTheLastRecordLikeAFinalLineEnd) {
  static const wchar_t* const pieces[] = {L"a", L" ", L",", L"\"", L"\"\"", L"\r", L"\n", L"\r\n", L"\x2028"};
  std::mt19937 rng(7);
  for (int round = 0; round < 1000; ++round) {
    std::wstring text;
    const int n = static_cast<int>(rng() % 16);
    for (int k = 0; k < n; ++k) text += pieces[rng() % std::size(pieces)];
    SCOPED_TRACE(testing::PrintToString(text));
    // Reference: the text as it stands, then a line end only if a record is
    // open; an open quoted field is closed by a quote first.
    auto p = rawParser();
    Records expected = feedSafely(*p, cutAfterLoneCRs({text}));
    auto withEnd = rawParser();
    Records closed = feedSafely(*withEnd, cutAfterLoneCRs({text, L"\n"}));
    auto withQuote = rawParser();
    Records quoteClosed = feedSafely(*withQuote, cutAfterLoneCRs({text, L"\"\n"}));
    const Records got = recordsOf(text);
    ASSERT_GE(got.size(), expected.size());
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), got.begin()));
    if (got.size() == expected.size() + 1) {
      // The extra record is what one of the two closings makes, never a blank
      // record that the input did not hold.
      EXPECT_TRUE(got == closed || got == quoteClosed);
      EXPECT_FALSE(got.back().empty());
    } else {
      EXPECT_EQ(got.size(), expected.size());
    }
    if (testing::Test::HasFailure()) break;
  }
}

}  // namespace
