// qortool csv: reads a CSV file in any of the library's five encodings through
// a TextReader and a CSVParser, and prints its records as a table, TSV, JSON
// or CSV, or writes them re-encoded through a TextWriter.
#include "command.h"
#include "csv_render.h"

#include <qorcor14/errors.h>
#include <qorcor14/stream/csv.h>
#include <qorcor14/stream/raw.h>
#include <qorcor14/stream/text_file.h>
#include <qorcor14/text/strings.h>

#include <windows.h>
#include <io.h>

#include <chrono>
#include <clocale>
#include <cstdio>
#include <memory>
#include <optional>

namespace qortool {
namespace {

const char kUsage[] =
    "usage: qortool csv [FILE] [--columns \"A,B,...\"] [--format table|tsv|json|csv]\n"
    "                   [--to OUT [--encoding utf8|utf16le|utf16be|ansi]]\n"
    "\n"
    "Reads FILE as comma-separated values and prints its records. The encoding\n"
    "comes from the file's byte-order mark (UTF-8, UTF-16LE, UTF-16BE); a file\n"
    "without one is read in the ANSI code page of the user's locale.\n"
    "With no FILE, a built-in sample: quoting, a multi-line field, non-ASCII\n"
    "text, and (with its default --columns) a column the file does not have.\n"
    "\n"
    "  --columns \"A,B\"  only these columns, in this order, found by name in the\n"
    "                   file's header line (itself a CSV line: quote names\n"
    "                   holding commas); missing ones are reported on stderr\n"
    "  --format F       table (default: aligned, wide characters count double),\n"
    "                   tsv (\\t \\n \\r \\\\ escaped), json, or csv\n"
    "  --to OUT         write the records to OUT instead (as csv unless --format\n"
    "                   says otherwise), through a temporary file that replaces\n"
    "                   OUT only when everything was written; lines end in CR LF\n"
    "  --encoding E     OUT's encoding: utf8 (the default) or utf16le/utf16be,\n"
    "                   each with a byte-order mark, or ansi (the ANSI code page,\n"
    "                   no mark; a character it lacks is an error)\n"
    "\n"
    "Exit status: 0 done, 1 the file could not be read, decoded or written,\n"
    "2 bad arguments.\n";

const wchar_t kSample[] =
    L"Name,City,Notes,Score\r\n"
    L"Ada Lovelace,London,\"Wrote the first program, \"\"Note G\"\"\",98\r\n"
    L"\x5C71\x7530 \x592A\x90CE,\x6771\x4EAC,\"Two lines:\r\nfirst, then second\",87\r\n"
    L"  Zo\x00EB \x00C5ngstr\x00F6m  ,Malm\x00F6,   trimmed   ,\r\n"
    L"\"M\x00FCller, J\x00FCrgen\",Z\x00FCrich,\"Emoji \U0001F600 and \x4E2D\x6587\",75\r\n"
    L"Bob,Paris\r\n";
const wchar_t kSampleColumns[] = L"Name,City,Notes,Score,Email";

struct Options {
  std::optional<std::wstring> file;
  std::optional<std::wstring> columns;
  std::optional<std::string> format;
  std::optional<std::wstring> to;
  std::optional<std::string> encoding;
};

std::string narrowOption(const std::wstring& w) {
  std::string s;
  for (const wchar_t c : w) s += c < 0x80 ? static_cast<char>(c) : '?';
  return s;
}

Options parseOptions(const Args& args) {
  const std::vector<std::wstring> wide = wideArguments(args);
  Options o;
  for (std::size_t i = 0; i < wide.size(); ++i) {
    const std::wstring& a = wide[i];
    auto value = [&](const char* option) -> std::wstring {
      if (i + 1 >= wide.size()) throw UsageError(std::string(option) + " needs a value");
      return wide[++i];
    };
    if (a == L"--columns") {
      o.columns = value("--columns");
    } else if (a == L"--format") {
      o.format = narrowOption(value("--format"));
      if (*o.format != "table" && *o.format != "tsv" && *o.format != "json" && *o.format != "csv")
        throw UsageError("--format must be table, tsv, json or csv, not '" + *o.format + "'");
    } else if (a == L"--to") {
      o.to = value("--to");
    } else if (a == L"--encoding") {
      o.encoding = narrowOption(value("--encoding"));
      if (*o.encoding != "utf8" && *o.encoding != "utf16le" && *o.encoding != "utf16be" && *o.encoding != "ansi")
        throw UsageError("--encoding must be utf8, utf16le, utf16be or ansi, not '" + *o.encoding + "'");
    } else if (a.size() > 1 && a[0] == L'-') {
      throw UsageError("unknown option '" + narrowOption(a) + "' (try qortool csv --help)");
    } else if (o.file) {
      throw UsageError("takes one FILE, got a second: '" + narrowOption(a) + "'");
    } else {
      o.file = a;
    }
  }
  if (o.encoding && !o.to) throw UsageError("--encoding needs --to OUT");
  return o;
}

void printError(const std::wstring& message) {
  const std::string bytes = utf8(L"qortool csv: " + message + L"\n");
  std::fwrite(bytes.data(), 1, bytes.size(), stderr);
  std::fflush(stderr);
}

// The encoding a file's first bytes announce, and the length of the mark, by
// the rules TextReader::create(name) applies.
QOR::TextEncoding detectEncoding(const unsigned char* b, std::size_t n, std::size_t& markLength) {
  markLength = 0;
  if (n >= 3 && b[0] == 0xEF && b[1] == 0xBB && b[2] == 0xBF) return markLength = 3, QOR::UTF8;
  if (n >= 2 && b[0] == 0xFF && b[1] == 0xFE) return markLength = 2, QOR::UTF16le;
  if (n >= 2 && b[0] == 0xFE && b[1] == 0xFF) return markLength = 2, QOR::UTF16be;
  return QOR::Multibyte;
}

// Passes the file's bytes through and shows how far reading has come, on a
// terminal's stderr, for files big enough to wait for.
class ProgressReader : public QOR::RawReader {
public:
  ProgressReader(QOR::RawFileReader& file, long long size, bool show)
      : m_file(file), m_size(size), m_show(show), m_last(std::chrono::steady_clock::now()) {}
  ~ProgressReader() override {
    if (m_shown) std::fprintf(stderr, "\r%60s\r", "");
  }

  std::wstring name() const override { return m_file.name(); }

  std::size_t read(void* buf, std::size_t n) override {
    const std::size_t got = m_file.read(buf, n);
    m_done += static_cast<long long>(got);
    if (m_show) {
      const auto now = std::chrono::steady_clock::now();
      if (now - m_last >= std::chrono::milliseconds(200)) {
        m_last = now;
        m_shown = true;
        std::fprintf(stderr, "\rreading %3d%%  %.1f of %.1f MB ", static_cast<int>(m_done * 100 / m_size),
                     static_cast<double>(m_done) / 1e6, static_cast<double>(m_size) / 1e6);
        std::fflush(stderr);
      }
    }
    return got;
  }

private:
  QOR::RawFileReader& m_file;
  long long m_size;
  bool m_show;
  bool m_shown = false;
  long long m_done = 0;
  std::chrono::steady_clock::time_point m_last;
};

constexpr long long kProgressFrom = 4'000'000;

QOR::TextEncoding outputEncoding(const std::optional<std::string>& name) {
  if (!name || *name == "utf8") return QOR::UTF8;
  if (*name == "utf16le") return QOR::UTF16le;
  if (*name == "utf16be") return QOR::UTF16be;
  return QOR::Multibyte;
}

// Standard output, in UTF-8, gathered into large writes.
class ConsoleOut {
public:
  ~ConsoleOut() { flush(); }
  void put(const std::wstring& text) {
    m_buffer += text;
    if (m_buffer.size() >= 1 << 16) flush();
  }
  void flush() {
    print(m_buffer);
    m_buffer.clear();
    std::fflush(stdout);
  }

private:
  std::wstring m_buffer;
};

// A file written under a temporary name beside the target, which replaces the
// target only on commit; otherwise the temporary file is removed and the
// target stays as it was.
class ReplacingFile {
public:
  explicit ReplacingFile(std::wstring target) : m_target(std::move(target)) {
    m_temp = m_target + L".qortool-" + std::to_wstring(GetCurrentProcessId()) + L".tmp";
  }
  ~ReplacingFile() {
    if (!m_committed) DeleteFileW(m_temp.c_str());
  }
  ReplacingFile(const ReplacingFile&) = delete;
  ReplacingFile& operator=(const ReplacingFile&) = delete;

  const std::wstring& tempName() const { return m_temp; }

  void commit() {
    if (!MoveFileExW(m_temp.c_str(), m_target.c_str(), MOVEFILE_REPLACE_EXISTING))
      throw QOR::QorError(L"cannot replace " + m_target + L" (Windows error " + std::to_wstring(GetLastError()) +
                          L"); it is unchanged");
    m_committed = true;
  }

private:
  std::wstring m_target;
  std::wstring m_temp;
  bool m_committed = false;
};

// The temporary file under the target's name, so that an encoding error names
// the file the user asked for.
class TargetNamedWriter : public QOR::RawWriter {
public:
  TargetNamedWriter(QOR::RawFileWriter& file, std::wstring name) : m_file(file), m_name(std::move(name)) {}
  std::wstring name() const override { return m_name; }
  void write(const void* buf, std::size_t n) override { m_file.write(buf, n); }
  void flush() override { m_file.flush(); }

private:
  QOR::RawFileWriter& m_file;
  std::wstring m_name;
};

// Reads every record of the input into the renderer; reports missing columns.
void readRecords(QOR::CSVRecordReader& records, QOR::CSVParser& parser, RecordRenderer& renderer,
                 const std::vector<std::wstring>* names) {
  std::vector<std::wstring> fields;
  bool reported = false;
  auto reportMissing = [&] {
    if (reported || names == nullptr) return;
    reported = true;
    std::vector<bool> missing;
    parser.missingColumns(missing);
    for (std::size_t j = 0; j < missing.size() && j < names->size(); ++j)
      if (missing[j]) printError(L"no column \"" + (*names)[j] + L"\" in the header line; it stays empty");
  };
  while (records.next(fields)) {
    reportMissing();
    renderer.record(fields);
  }
  reportMissing();
}

// The requested column names as the library splits them.
std::vector<std::wstring> splitColumns(const std::wstring& columns) {
  std::unique_ptr<QOR::CSVParser> raw(QOR::CSVParser::create());
  QOR::CSVRecordReader reader(*raw, columns);
  std::vector<std::wstring> names;
  reader.next(names);
  return names;
}

int run(const Options& o) {
  const bool sample = !o.file;
  std::optional<std::wstring> columns = o.columns;
  if (sample && !columns) {
    columns = kSampleColumns;
    printError(L"no FILE: reading the built-in sample with --columns \"" + std::wstring(kSampleColumns) + L"\"");
  }
  std::unique_ptr<QOR::CSVParser> parser(columns ? QOR::CSVParser::create(*columns) : QOR::CSVParser::create());
  std::vector<std::wstring> names;
  if (columns) names = splitColumns(*columns);
  const std::vector<std::wstring>* header = columns ? &names : nullptr;

  // Where the records go.
  ConsoleOut console;
  std::unique_ptr<ReplacingFile> target;
  std::unique_ptr<QOR::RawFileWriter> outFile;
  std::unique_ptr<TargetNamedWriter> named;
  std::unique_ptr<QOR::TextWriter> writer;
  TextSink out;
  if (o.to) {
    target = std::make_unique<ReplacingFile>(*o.to);
    outFile.reset(QOR::rawCreate(target->tempName()));
    named = std::make_unique<TargetNamedWriter>(*outFile, *o.to);
    const QOR::TextEncoding encoding = outputEncoding(o.encoding);
    writer.reset(QOR::TextWriter::create(*named, encoding, encoding != QOR::Multibyte));
    out = [&writer](const std::wstring& text) { writer->write(text); };
  } else {
    out = [&console](const std::wstring& text) { console.put(text); };
  }
  std::unique_ptr<RecordRenderer> renderer = makeRenderer(o.format.value_or(o.to ? "csv" : "table"), header, out);

  if (sample) {
    const std::wstring text(kSample);
    QOR::CSVRecordReader records(*parser, text);
    readRecords(records, *parser, *renderer, header);
  } else {
    std::unique_ptr<QOR::RawFileReader> file(QOR::rawOpen(*o.file));
    unsigned char mark[4];
    std::size_t markLength = 0;
    const QOR::TextEncoding encoding = detectEncoding(mark, file->read(mark, sizeof mark), markLength);
    const long long size = file->seek(0, QOR::seekEnd);
    file->seek(static_cast<long long>(markLength), QOR::seekBegin);
    {
      ProgressReader progress(*file, size, size >= kProgressFrom && _isatty(_fileno(stderr)));
      std::unique_ptr<QOR::TextReader> reader(QOR::TextReader::create(progress, encoding));
      QOR::CSVRecordReader records(*parser, *reader);
      readRecords(records, *parser, *renderer, header);
    }
    file->close();
  }
  renderer->finish();

  if (writer) {
    writer->close();
    outFile->close();
    target->commit();
  }
  return 0;
}

}  // namespace

int runCsv(const Args& args) {
  for (const std::string& a : args) {
    if (a == "--help" || a == "-h") {
      std::fputs(kUsage, stdout);
      return 0;
    }
  }
  // Files without a byte-order mark decode with mbtowc in the runtime's
  // current locale: the user's, as in any program of this family.
  AutoLocale locale(LC_CTYPE);
  const Options o = parseOptions(args);
  try {
    return run(o);
  } catch (const QOR::QorError& e) {
    printError(e.wWhat());
    return 1;
  }
}

}  // namespace qortool
