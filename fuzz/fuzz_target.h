// The contract between a fuzz target and the driver that runs it.
//
// A target is one source file, `fuzz/<name>_fuzz.cpp`, linked with the
// driver into `fuzz_<name>.exe`. It defines the two functions below; the
// driver owns everything else: seeded mutation of the seeds, the watchdog,
// the memory check, saving failing inputs and replaying kept ones.
//
// A target checks what each result must satisfy, not only that nothing
// crashed, and reports a broken property with fuzzCheck. An exception that
// escapes fuzzOne is a failure, unless the target caught it and checked that
// its type and text are ones the library allows for that input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qorfuzz {

// One starting input: real data (a file the platform ships, a file the tests
// or another tool wrote), named for the progress report.
struct Seed {
  std::string name;
  std::vector<std::uint8_t> bytes;
};

// Reads a whole file into a seed; empty bytes when it cannot be read (a seed
// that is missing on this machine is skipped, not a failure).
Seed seedFromFile(const std::wstring& path);

// A file of the source tree ('/' separators, relative to the repository's
// root) as a Windows name: the tree is reached through Wine's Z: drive.
std::wstring sourcePath(const std::wstring& relative);

// A host path ("/usr/share/color/icc") as a Windows name ("Z:\usr\...").
std::wstring hostPath(const std::wstring& path);

// Every file directly in `folder` whose name ends with `suffix` (any case),
// as seeds in name order; none when the folder is missing.
std::vector<Seed> seedsFromFolder(const std::wstring& folder, const std::wstring& suffix = L"");

// A file in the temporary folder for this run of the target, named by
// `suffix` and the process id; deleted when the owner goes.
class ScratchFile {
public:
  explicit ScratchFile(const std::wstring& suffix);
  ~ScratchFile();
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  [[nodiscard]] const std::wstring& name() const { return m_name; }

private:
  std::wstring m_name;
};

// Replaces the file `name` with `size` bytes; fails the input when it cannot.
void writeWholeFile(const std::wstring& name, const void* data, std::size_t size);

// Room for `bytes` bytes that ends where an inaccessible page begins (and in
// a block that starts after one), so that a read or write one byte too far
// faults; null when more than 1 MiB is asked. The room is shared: it holds
// what was put there only until the next call.
void* roomBeforeGuardPage(std::size_t bytes);

// Fails the current input: the driver reports `what`, saves the input and
// stops (or, when replaying, fails the replay).
[[noreturn]] void fail(const std::string& what);

inline void fuzzCheck(bool condition, const char* what) {
  if (!condition) fail(what);
}

}  // namespace qorfuzz

// Defined by each target.
std::vector<qorfuzz::Seed> fuzzSeeds();
void fuzzOne(const std::uint8_t* data, std::size_t size);
