// CSV text from hostile input, fed to the parsers in chunks with every way of
// handling the caller's vector, and read whole by CSVRecordReader; both
// checked against a reference parser below, a plain character-by-character
// transcription of the field and line-end rules over the whole text.
//
// Input: three control bytes, then the text, one unit per byte: bytes below
// 0x80 as they are, 0x80..0x8F as the units in kSpecial (line ends, white
// space, surrogates), 0x90..0xFF as U+0090..U+00FF, or (bit 6 of byte 0) as
// U+0100..U+016F, whose low bytes include the comma, the quote, LF and CR.
//   byte 0, bit 0     headed: the first (byte 2) units of the text are the
//                     column line, the rest the data
//           bits 1-2  the vector of each call: the same one, a new one (empty
//                     or with stale strings), the same one cleared, or each
//                     of these at random
//           bits 3-4  chunks: random lengths, one line each, the whole text,
//                     one unit each (all then cut after every CR without an
//                     LF after it in the chunk, as the parser requires)
//           bit 5     after a record: an empty string, or the same chunk
//                     again (an empty string when it ends with a CR)
//           bit 6     0x90..0xFF: U+0090..U+00FF or U+0100..U+016F
//   byte 1            seeds the random choices
// The seeds are the files of fuzz/seeds/csv (see make_seeds.sh there).
#include "fuzz_target.h"
#include "tests/support/csv_reference.h"

#include <qorcor14/stream/csv.h>
#include <qorcor14/text/codepoint.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

using qortest::Fields;
using qortest::Records;
using qortest::ReferenceParser;

// The units of bytes 0x80..0x8F; 0x85 stays U+0085, as in ISO-8859-1.
constexpr wchar_t kSpecial[16] = {0x2028, 0x2029, 0x3000, 0xFEFF, 0xD83D, 0x0085, 0xDE00, 0xDC00,
                                  0xD800, 0x00A0, 0x4E2D, 0x000B, 0x1680, 0x200B, 0xFFFF, 0x000C};

// A field whose content the reference does not know.
const std::wstring kUnknown = L"\xFFFF unknown";

// `got` with the fields that `expected` does not know made the same.
Records masked(Records got, const Records& expected) {
  for (std::size_t r = 0; r < got.size() && r < expected.size(); ++r)
    for (std::size_t j = 0; j < got[r].size() && j < expected[r].size(); ++j)
      if (expected[r][j] == kUnknown) got[r][j] = kUnknown;
  return got;
}

std::wstring joined(const std::vector<std::wstring>& chunks) {
  std::wstring all;
  for (const std::wstring& chunk : chunks) all += chunk;
  return all;
}

// The raw records a parser delivers when fed `chunks` in turn, and what
// closes the record it leaves open. One quirk of the headed parser: a header
// line (its first raw record) that ends at a CR ending its chunk leaves the
// raw parser waiting for the next chunk, and the headed parser hands it the
// same one again, so that chunk is read a second time, from a record's start.
struct RawRecords {
  Records records;
  std::wstring closer;
};

RawRecords rawRecords(const std::vector<std::wstring>& chunks, bool headed) {
  const std::wstring all = joined(chunks);
  ReferenceParser p;
  p.parse(all);
  if (headed && !p.records.empty() && all[p.lineEnds.front()] == L'\r') {
    std::size_t chunkStart = 0;
    for (const std::wstring& chunk : chunks) {
      if (chunkStart + chunk.size() == p.lineEnds.front() + 1) {
        std::wstring again = all.substr(chunkStart);
        if (again[0] == L'\n') again.erase(0, 1);
        ReferenceParser q;
        q.parse(again);
        q.records.insert(q.records.begin(), p.records.front());
        return {q.records, q.closer()};
      }
      chunkStart += chunk.size();
    }
  }
  return {p.records, p.closer()};
}

// The records of a headed parser asking for `names`: the first raw record is
// the header line. A column asked for twice is moved out to the first
// request, so the others get strings the caller's vector held before: their
// fields are kUnknown here.
Records headedRecords(const Fields& names, const Records& raw, std::vector<bool>& missing) {
  missing.assign(names.size(), true);
  if (raw.empty()) return {};
  const Fields& header = raw.front();
  std::vector<std::size_t> columns(names.size(), SIZE_MAX);
  for (std::size_t j = 0; j < names.size(); ++j)
    for (std::size_t k = 0; k < header.size() && columns[j] == SIZE_MAX; ++k)
      if (header[k] == names[j]) columns[j] = k;
  for (std::size_t j = 0; j < names.size(); ++j) missing[j] = columns[j] == SIZE_MAX;
  Records out;
  for (auto record = raw.begin() + 1; record != raw.end(); ++record) {
    Fields fields;
    for (std::size_t j = 0; j < columns.size(); ++j) {
      const std::size_t k = columns[j];
      const auto earlier = columns.begin() + static_cast<std::ptrdiff_t>(j);
      const bool askedBefore = std::find(columns.begin(), earlier, k) != earlier;
      fields.push_back(k >= record->size() ? std::wstring() : askedBefore ? kUnknown : (*record)[k]);
    }
    out.push_back(fields);
  }
  return out;
}

// The names a headed parser takes from its column line.
Fields columnNames(const std::wstring& columns) {
  ReferenceParser p;
  p.parse(columns + L'\n');
  return p.records.empty() ? p.openFields() : p.records.front();
}

struct Random {
  std::uint64_t state;
  unsigned next(unsigned bound) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    return static_cast<unsigned>((state >> 33) % bound);
  }
};

// `text` in chunks, each cut after every CR that has no LF after it in it.
std::vector<std::wstring> chunksOf(const std::wstring& text, unsigned how, Random& random) {
  std::vector<std::wstring> pieces;
  for (std::size_t at = 0; at < text.size();) {
    std::size_t length = text.size() - at;
    if (how == 0) {
      length = std::min<std::size_t>(length, 1 + random.next(random.next(4) == 0 ? 200 : 12));
    } else if (how == 1) {
      std::size_t end = at;
      while (end < text.size()) {
        const wchar_t c = text[end++];
        if (c == 0x0A || c == 0x0C || c == 0x85 || c == 0x2028 || c == 0x2029) break;
        if (c == 0x0D) {
          if (end < text.size() && text[end] == 0x0A) ++end;
          break;
        }
      }
      length = end - at;
    } else if (how == 3) {
      length = 1;
    }
    pieces.push_back(text.substr(at, length));
    at += length;
  }
  std::vector<std::wstring> chunks;
  for (const std::wstring& piece : pieces) {
    std::size_t from = 0;
    for (std::size_t i = 0; i < piece.size(); ++i) {
      if (piece[i] == L'\r' && (i + 1 == piece.size() || piece[i + 1] != L'\n')) {
        chunks.push_back(piece.substr(from, i + 1 - from));
        from = i + 1;
      }
    }
    if (from < piece.size()) chunks.push_back(piece.substr(from));
  }
  return chunks;
}

std::size_t lineEnds(const std::wstring& text) {
  std::size_t n = 0;
  for (const wchar_t c : text) n += c == 0x0A || c == 0x0C || c == 0x0D || c == 0x85 || c == 0x2028 || c == 0x2029;
  return n;
}

QOR::CSVParser* makeParser(bool headed, const std::wstring& columns) {
  return headed ? QOR::CSVParser::create(columns) : QOR::CSVParser::create();
}

}  // namespace

std::vector<qorfuzz::Seed> fuzzSeeds() {
  std::vector<qorfuzz::Seed> seeds;
  std::uint8_t flags = 0;
  for (qorfuzz::Seed& file : qorfuzz::seedsFromFolder(qorfuzz::sourcePath(L"fuzz/seeds/csv"), L".csv")) {
    std::size_t header = 0;
    while (header < file.bytes.size() && header < 255 && file.bytes[header] != '\n') ++header;
    // Raw and headed (the file's own header line as the columns), with the
    // vector, chunk and protocol choices taken in turn.
    for (const bool headed : {false, true}) {
      qorfuzz::Seed seed{file.name + (headed ? " headed" : " raw"), {}};
      const std::uint8_t high = flags & 2 ? 0x40 : 0;  // half the seeds with the units above U+00FF
      seed.bytes = {static_cast<std::uint8_t>(flags | high | (headed ? 1 : 0)), flags,
                    static_cast<std::uint8_t>(header)};
      seed.bytes.insert(seed.bytes.end(), file.bytes.begin(), file.bytes.end());
      seeds.push_back(std::move(seed));
      flags = static_cast<std::uint8_t>((flags + 2) & 0x3E);
    }
  }
  return seeds;
}

void fuzzOne(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return;
  const bool headed = data[0] & 1;
  const unsigned vectors = data[0] >> 1 & 3;
  const unsigned chunking = data[0] >> 3 & 3;
  const bool repeatChunk = data[0] >> 5 & 1;
  Random random{data[1] + 1u};

  const unsigned highBase = data[0] & 0x40 ? 0x100 : 0x90;
  std::wstring all;
  for (std::size_t i = 3; i < size; ++i) {
    const unsigned b = data[i];
    all += static_cast<wchar_t>(b < 0x80 ? b : b < 0x90 ? kSpecial[b - 0x80] : highBase + (b - 0x90));
  }
  const std::size_t columnLength = headed ? std::min<std::size_t>(data[2], all.size()) : 0;
  const std::wstring columns = all.substr(0, columnLength);
  const std::wstring text = all.substr(columnLength);

  // Every record once, the last one closed by a final line end.
  const Fields names = columnNames(columns);
  std::vector<bool> missing;
  auto expect = [&](const std::vector<std::wstring>& chunks) {
    const Records raw = rawRecords(chunks, headed).records;
    return headed ? headedRecords(names, raw, missing) : raw;
  };
  std::vector<std::wstring> chunks = chunksOf(text, chunking, random);
  chunks.push_back(L"\n");
  const Records expected = expect(chunks);

  const std::size_t limit = 2 * lineEnds(text) + 2;
  const std::unique_ptr<QOR::CSVParser> parser(makeParser(headed, columns));
  static const std::wstring nothing;
  Fields same;
  Records got;
  for (const std::wstring& chunk : chunks) {
    const std::wstring* argument = &chunk;
    for (;;) {
      const unsigned use = vectors == 3 ? random.next(3) : vectors;
      Fields fresh;
      if (use == 1 && random.next(2)) fresh = {L"stale", L"strings"};
      Fields& fields = use == 1 ? fresh : same;
      if (use == 2) fields.clear();
      if (!parser->parse(fields, *argument)) {
        qorfuzz::fuzzCheck(fields.empty(), "a false return left fields in the vector");
        break;
      }
      got.push_back(fields);
      qorfuzz::fuzzCheck(got.size() <= limit, "more records than line ends");
      argument = repeatChunk && chunk.back() != L'\r' ? &chunk : &nothing;
    }
  }
  qorfuzz::fuzzCheck(masked(got, expected) == expected, "chunked records differ from the reference");
  std::vector<bool> reported{true};
  parser->missingColumns(reported);
  qorfuzz::fuzzCheck(reported == missing, "missing columns differ from the reference");

  // The record reader cuts the text only after CRs without an LF, and closes
  // the last record itself.
  std::vector<std::wstring> readerChunks = chunksOf(text, 2, random);
  const std::wstring closer = rawRecords(readerChunks, headed).closer;
  if (!closer.empty()) readerChunks.push_back(closer);
  const std::unique_ptr<QOR::CSVParser> second(makeParser(headed, columns));
  QOR::CSVRecordReader reader(*second, text);
  Records read;
  Fields fields;
  while (read.size() <= limit && reader.next(fields)) read.push_back(fields);
  const Records readerExpected = expect(readerChunks);
  qorfuzz::fuzzCheck(masked(read, readerExpected) == readerExpected, "CSVRecordReader differs from the reference");
  qorfuzz::fuzzCheck(!reader.next(fields), "CSVRecordReader gave a record after its end");
}
