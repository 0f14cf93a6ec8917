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
// trim, and Latin and CJK text.
#include "harness.h"

#include <qorcor14/stream/csv.h>
#include <qorcor14/stream/text_file.h>
#include <qorcor14/text/strings.h>

#include <csv.h>

#include <windows.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <random>
#include <string>

namespace bench {
namespace {

constexpr std::size_t kFileBytes = std::size_t(50) << 20;

struct CsvFile {
  std::wstring folder;
  std::wstring name;
  std::string narrowName;
  std::string bytes;   // the whole file, mark included
  std::wstring text;   // the same after the mark, as UTF-16

  ~CsvFile() {
    if (!name.empty()) DeleteFileW(name.c_str());
    if (!folder.empty()) RemoveDirectoryW(folder.c_str());
  }

  // Writes the file the first time a row needs it.
  void ensure() {
    if (!name.empty()) return;
    static const char* const first[] = {"Ada", "Bob", "Zo\xC3\xAB", "J\xC3\xBCrgen", "\xE5\xB1\xB1\xE7\x94\xB0",
                                        "Li", "Mar\xC3\xAD\x61", "\xE7\x8E\x8B", "Olu", "Sven"};
    static const char* const city[] = {"London", "Paris", "Malm\xC3\xB6", "\xE6\x9D\xB1\xE4\xBA\xAC", "Z\xC3\xBCrich",
                                       "S\xC3\xA3o Paulo", "Lagos", "\xE5\x8C\x97\xE4\xBA\xAC"};
    static const char* const note[] = {"plain note", "\"with, a comma\"", "\"say \"\"hi\"\" twice\"",
                                       "  padded  ", "\"\xE4\xB8\xAD\xE6\x96\x87, quoted\"", ""};
    std::mt19937 rng(42);
    bytes = "\xEF\xBB\xBFId,Name,City,Note,Amount\r\n";
    for (unsigned id = 1; bytes.size() < kFileBytes; ++id) {
      bytes += std::to_string(id);
      bytes += ',';
      bytes += first[rng() % 10];
      bytes += ' ';
      bytes += first[rng() % 10];
      bytes += ',';
      bytes += city[rng() % 8];
      bytes += ',';
      bytes += note[rng() % 6];
      bytes += ", ";
      bytes += std::to_string(rng() % 100000) + "." + std::to_string(rng() % 100);
      bytes += "\r\n";
    }
    wchar_t temp[MAX_PATH + 1];
    GetTempPathW(MAX_PATH + 1, temp);
    folder = std::wstring(temp) + L"qorbench-csv-" + std::to_wstring(GetCurrentProcessId());
    CreateDirectoryW(folder.c_str(), nullptr);
    name = folder + L"\\people.csv";
    narrowName = getMBS(name);
    std::ofstream out(narrowName, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    text = utf8(bytes.substr(3));
  }
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

}  // namespace

void addCsvCases(Suite& suite) {
  auto file = std::make_shared<CsvFile>();
  const double bytes = static_cast<double>(kFileBytes);
  suite.add({"csv 50 MB UTF-8 file, end to end", "file",
             [file](std::size_t ops) {
               file->ensure();
               for (std::size_t i = 0; i < ops; ++i) {
                 std::unique_ptr<QOR::TextReader> in(QOR::TextReader::create(file->name));
                 std::unique_ptr<QOR::CSVParser> parser(QOR::CSVParser::create(kColumns));
                 QOR::CSVRecordReader records(*parser, *in);
                 doNotOptimize(ourRows(records));
               }
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
}

}  // namespace bench
