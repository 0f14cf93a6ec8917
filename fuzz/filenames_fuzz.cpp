// File names and URLs from hostile input.
#include "fuzz_target.h"

#include <qorcor14/platform/filenames.h>

#include <string>

std::vector<qorfuzz::Seed> fuzzSeeds() {
  return {{"drive", {'C', 0, ':', 0, '\\', 0, 'a', 0}}};
}

void fuzzOne(const std::uint8_t* data, std::size_t size) {
  std::wstring name(size / 2, L'\0');
  for (std::size_t i = 0; i < name.size(); ++i) name[i] = static_cast<wchar_t>(data[2 * i] | data[2 * i + 1] << 8);
  const std::wstring dir = getDirectory(name);
  qorfuzz::fuzzCheck(dir.size() <= name.size(), "the directory part is longer than the name");
}
