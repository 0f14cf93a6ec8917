// qortool csv's output formats: an aligned table, TSV, JSON and CSV, each fed
// one record at a time.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace qortool {

// Receives the rendered text piece by piece.
using TextSink = std::function<void(const std::wstring&)>;

class RecordRenderer {
public:
  virtual ~RecordRenderer() = default;
  virtual void record(const std::vector<std::wstring>& fields) = 0;
  // Writes whatever the format still owes (the table, the closing bracket).
  virtual void finish() = 0;
};

// A renderer for `format` (table, tsv, json or csv), or null for another name.
// `names` holds the requested columns of a headed parser (they head the
// output), or is null for a raw parser, whose first record then heads a table.
std::unique_ptr<RecordRenderer> makeRenderer(const std::string& format, const std::vector<std::wstring>* names,
                                             TextSink out);

// Columns the text takes in a terminal: 2 for East Asian wide and full-width
// characters, 0 for combining marks and format characters, 1 otherwise.
std::size_t displayWidth(const std::wstring& text);

}  // namespace qortool
