// qortool path: the file-name functions on names given on the command line.
#include "command.h"

#include <qorcor14/errors.h>
#include <qorcor14/platform/filenames.h>

#include <cstdio>
#include <cstdlib>

namespace qortool {
namespace {

const char* typeName(FileType type) {
  switch (type) {
  case FileType::Empty: return "Empty";
  case FileType::Relative: return "Relative";
  case FileType::Rooted: return "Rooted";
  case FileType::DriveRelative: return "DriveRelative";
  case FileType::DriveAbsolute: return "DriveAbsolute";
  case FileType::UNC: return "UNC";
  case FileType::Device: return "Device";
  case FileType::Extended: return "Extended";
  case FileType::URL: return "URL";
  }
  return "?";
}

void needs(const Args& args, std::size_t low, std::size_t high, const char* usage) {
  if (args.size() < low + 1 || args.size() > high + 1) throw UsageError(std::string("usage: qortool path ") + usage);
}

}  // namespace

int runPath(const Args& args) {
  const std::string kind = args.empty() ? "" : args[0];
  const std::vector<std::wstring> w = wideArguments(args);
  if (kind == "type") {
    needs(args, 1, 1, "type NAME");
    std::printf("%s\n", typeName(analyzeFileType(w[1])));
  } else if (kind == "directory") {
    needs(args, 1, 1, "directory NAME");
    print(getDirectory(w[1]) + L"\n");
  } else if (kind == "join") {
    needs(args, 2, 2, "join DIRECTORY NAME");
    print(joinDirectory(w[1], w[2]) + L"\n");
  } else if (kind == "absolute") {
    needs(args, 1, 2, "absolute NAME [BASE]");
    print((args.size() == 3 ? absoluteFilename(w[1], w[2]) : absoluteFilename(w[1])) + L"\n");
  } else if (kind == "abbreviate") {
    needs(args, 2, 2, "abbreviate NAME MAXCHARS");
    const double max = parseDouble(args[2], "MAXCHARS");
    if (max < 0 || max > 100000 || max != static_cast<double>(static_cast<long>(max)))
      throw UsageError("MAXCHARS must be a whole number from 0 to 100000");
    print(abbreviateFilename(w[1], static_cast<std::size_t>(max)) + L"\n");
  } else if (kind == "long") {
    needs(args, 1, 1, "long NAME");
    print(getLongFilename(w[1]) + L"\n");
  } else if (kind == "chars") {
    needs(args, 1, 1, "chars COMPONENT");
    int refused = 0;
    for (wchar_t c : w[1]) {
      if (isFileChar(c)) continue;
      std::printf("refused U+%04X\n", static_cast<unsigned>(c));
      ++refused;
    }
    if (refused == 0) std::printf("every character may appear in a file name\n");
    return refused == 0 ? 0 : 1;
  } else {
    throw UsageError("needs a kind: type, directory, join, absolute, abbreviate, long or chars");
  }
  return 0;
}

}  // namespace qortool
