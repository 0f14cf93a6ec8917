// CSVParser beside fast-cpp-csv-parser (io::CSVReader, single-threaded) on one
// 50 MB UTF-8 CSV file, written into a temp folder on first use.
//
// End to end: our side opens the file by name with TextReader (the mark says
// UTF-8), and reads it through a headed CSVParser with CSVRecordReader; the
// peer opens the same file and reads the same five columns by name into
// std::string. In memory: our side parses the text already decoded to UTF-16,
// the peer the UTF-8 bytes of the file. Both sides produce every field as an
// owned string. MB/s count the file's UTF-8 bytes on both rows.
//
// The file has no line breaks inside quoted fields, which the peer cannot
// read; it has quoted fields with commas and doubled quotes, white space to
// trim, and Latin and CJK text. A second file has such breaks, read by us
// only, and a third, ten times larger, shows that an end-to-end read holds
// none of the file whole (runCsvMemory).
#include "harness.h"

#include <qorcor14/stream/csv.h>
#include <qorcor14/stream/text_file.h>
#include <qorcor14/text/strings.h>

#include <csv.h>

#include <windows.h>
#include <psapi.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>
#include <random>
#include <string>

namespace bench {
namespace {

constexpr std::size_t kFileBytes = std::size_t(50) << 20;

// Appends rows to `bytes` until it holds `size` bytes. With `breaks`, one
// note in eight is a quoted field with a CR LF inside, which the peer cannot
// read.
void appendRows(std::string& bytes, std::size_t size, std::mt19937& rng, unsigned& id, bool breaks) {
  static const char* const first[] = {
      "Ada",          "Bob", "Zo\xC3\xAB", "J\xC3\xBCrgen", "\xE5\xB1\xB1\xE7\x94\xB0", "Li", "Mar\xC3\xAD\x61",
      "\xE7\x8E\x8B", "Olu", "Sven"};
  static const char* const city[] = {"London",        "Paris",
                                     "Malm\xC3\xB6",  "\xE6\x9D\xB1\xE4\xBA\xAC",
                                     "Z\xC3\xBCrich", "S\xC3\xA3o Paulo",
                                     "Lagos",         "\xE5\x8C\x97\xE4\xBA\xAC"};
  static const char* const note[] = {"plain note",
                                     "\"with, a comma\"",
                                     "\"say \"\"hi\"\" twice\"",
                                     "  padded  ",
                                     "\"\xE4\xB8\xAD\xE6\x96\x87, quoted\"",
                                     ""};
  for (; bytes.size() < size; ++id) {
    bytes += std::to_string(id);
    bytes += ',';
    bytes += first[rng() % 10];
    bytes += ' ';
    bytes += first[rng() % 10];
    bytes += ',';
    bytes += city[rng() % 8];
    bytes += ',';
    bytes += breaks && rng() % 8 == 0 ? "\"first line\r\nsecond line\"" : note[rng() % 6];
    bytes += ", ";
    bytes += std::to_string(rng() % 100000) + "." + std::to_string(rng() % 100);
    bytes += "\r\n";
  }
}

const char kHeaderLine[] = "\xEF\xBB\xBFId,Name,City,Note,Amount\r\n";

// A file in its own temp folder, removed with it.
struct TempFile {
  std::wstring folder;
  std::wstring name;

  explicit TempFile(const wchar_t* leaf) {
    wchar_t temp[MAX_PATH + 1];
    GetTempPathW(MAX_PATH + 1, temp);
    folder = std::wstring(temp) + L"qorbench-csv-" + std::to_wstring(GetCurrentProcessId()) + L"-" + leaf;
    CreateDirectoryW(folder.c_str(), nullptr);
    name = folder + L"\\" + leaf;
  }
  ~TempFile() {
    DeleteFileW(name.c_str());
    RemoveDirectoryW(folder.c_str());
  }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;
};

struct CsvFile {
  explicit CsvFile(bool breaks) : breaks(breaks) {}
  bool breaks;
  std::unique_ptr<TempFile> file;
  std::string narrowName;
  std::string bytes;  // the whole file, mark included
  std::wstring text;  // the same after the mark, as UTF-16

  // Writes the file the first time a row needs it.
  void ensure() {
    if (file) return;
    std::mt19937 rng(42);
    unsigned id = 1;
    bytes = kHeaderLine;
    appendRows(bytes, kFileBytes, rng, id, breaks);
    file = std::make_unique<TempFile>(breaks ? L"breaks.csv" : L"people.csv");
    narrowName = getMBS(file->name);
    std::ofstream out(narrowName, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    text = utf8(bytes.substr(3));
  }
  [[nodiscard]] const std::wstring& name() const { return file->name; }
};

const wchar_t kColumns[] = L"Id,Name,City,Note,Amount";

using PeerReader = io::CSVReader<5, io::trim_chars<' ', '\t'>, io::double_quote_escape<',', '"'>>;

std::size_t peerRows(PeerReader& in) {
  in.read_header(io::ignore_extra_column, "Id", "Name", "City", "Note", "Amount");
  std::string id, name, city, note, amount;
  std::size_t n = 0;
  while (in.read_row(id, name, city, note, amount)) n += amount.size();
  return n;
}

std::size_t ourRows(QOR::CSVRecordReader& records) {
  std::vector<std::wstring> fields;
  std::size_t n = 0;
  while (records.next(fields)) n += fields[4].size();
  return n;
}

// Our end-to-end read of a file by name.
std::size_t readOurs(const std::wstring& name) {
  std::unique_ptr<QOR::TextReader> in(QOR::TextReader::create(name));
  std::unique_ptr<QOR::CSVParser> parser(QOR::CSVParser::create(kColumns));
  QOR::CSVRecordReader records(*parser, *in);
  return ourRows(records);
}

// The process's committed private memory. PagefileUsage is that figure on
// Windows, and the one Wine fills in (it leaves PrivateUsage 0).
std::size_t privateBytes() {
  PROCESS_MEMORY_COUNTERS counters{};
  counters.cb = sizeof counters;
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  return counters.PagefileUsage;
}

}  // namespace

void addCsvCases(Suite& suite) {
  auto file = std::make_shared<CsvFile>(false);
  auto withBreaks = std::make_shared<CsvFile>(true);
  const double bytes = static_cast<double>(kFileBytes);
  suite.add({"csv 50 MB UTF-8 file, end to end", "file",
             [file](std::size_t ops) {
               file->ensure();
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(readOurs(file->name()));
               return ops;
             },
             "fast-cpp-csv-parser CSVReader",
             [file](std::size_t ops) {
               file->ensure();
               for (std::size_t i = 0; i < ops; ++i) {
                 PeerReader in(file->narrowName);
                 doNotOptimize(peerRows(in));
               }
               return ops;
             },
             bytes});
  suite.add({"csv 50 MB in memory (UTF-16; peer UTF-8)", "text",
             [file](std::size_t ops) {
               file->ensure();
               for (std::size_t i = 0; i < ops; ++i) {
                 std::unique_ptr<QOR::CSVParser> parser(QOR::CSVParser::create(kColumns));
                 QOR::CSVRecordReader records(*parser, file->text);
                 doNotOptimize(ourRows(records));
               }
               return ops;
             },
             "fast-cpp-csv-parser CSVReader",
             [file](std::size_t ops) {
               file->ensure();
               for (std::size_t i = 0; i < ops; ++i) {
                 PeerReader in("memory", file->bytes.data(), file->bytes.data() + file->bytes.size());
                 doNotOptimize(peerRows(in));
               }
               return ops;
             },
             bytes});
  // No peer reads line breaks inside quoted fields: the same read of the
  // file without them stands in.
  suite.add({"csv 50 MB, breaks in quoted fields", "file",
             [withBreaks](std::size_t ops) {
               withBreaks->ensure();
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(readOurs(withBreaks->name()));
               return ops;
             },
             "qorcor14, the file without breaks",
             [file](std::size_t ops) {
               file->ensure();
               for (std::size_t i = 0; i < ops; ++i) doNotOptimize(readOurs(file->name()));
               return ops;
             },
             bytes});
}

int runCsvMemory(const std::string& filter) {
  const char kName[] = "csv 500 MB end to end: private bytes";
  if (filter.empty() || std::string(kName).find(filter) == std::string::npos) return 0;
  // Ten times the rows' file, written a block at a time so that the writer
  // holds no more of it than the reader may.
  constexpr std::size_t kBigBytes = 10 * kFileBytes;
  TempFile big(L"big.csv");
  {
    std::ofstream out(getMBS(big.name), std::ios::binary);
    std::mt19937 rng(42);
    unsigned id = 1;
    std::string block = kHeaderLine;
    for (std::size_t written = 0; written < kBigBytes; block.clear()) {
      appendRows(block, std::size_t(1) << 20, rng, id, true);
      out.write(block.data(), static_cast<std::streamsize>(block.size()));
      written += block.size();
    }
  }
  // The most private memory seen while reading, above what the process held
  // before: sampled every 4096 records.
  const std::size_t before = privateBytes();
  std::size_t most = before;
  std::unique_ptr<QOR::TextReader> in(QOR::TextReader::create(big.name));
  std::unique_ptr<QOR::CSVParser> parser(QOR::CSVParser::create(kColumns));
  QOR::CSVRecordReader records(*parser, *in);
  std::vector<std::wstring> fields;
  std::size_t count = 0;
  while (records.next(fields))
    if (++count % 4096 == 0) most = std::max(most, privateBytes());
  std::printf("%-40s %zu records; %.1f MB private before, at most %.2f MB more while reading\n", kName, count,
              static_cast<double>(before) / 1e6, static_cast<double>(most - before) / 1e6);
  return 1;
}

}  // namespace bench
