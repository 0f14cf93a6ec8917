// main() of every fuzz target: runs the seeds, then seeded mutations of them
// for a number of runs or seconds, then a memory check; or replays kept
// inputs. See README.md ("Fuzzing") and fuzz_target.h.
#include "fuzz_target.h"
#include "guard.h"
#include "mutator.h"

#include <windows.h>
#include <psapi.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <typeinfo>

namespace {

constexpr const char* kUsage =
    "usage: fuzz_<target>.exe [--runs N | --seconds N] [--seed S] [--save DIR] [--max-size BYTES] [--no-leak-check]\n"
    "       fuzz_<target>.exe --replay DIR|FILE [--save DIR]\n"
    "  --runs N         run the seeds, then N mutated inputs (default 10000)\n"
    "  --seconds N      run the seeds, then mutated inputs for N seconds\n"
    "  --seed S         the mutation sequence (default: from the clock; printed)\n"
    "  --save DIR       failing inputs go to DIR\\<target>\\<hash>.bin (default fuzz-failures)\n"
    "  --max-size N     largest mutated input (default: twice the largest seed, at least 4096)\n"
    "  --no-leak-check  skip the memory check after the runs\n"
    "  --replay PATH    run a kept input, or the seeds and every file in a folder, once each\n";

// An input that runs longer than this is a failure.
constexpr std::chrono::seconds kTimeLimit{10};

struct Options {
  long long runs = 10000;
  long long seconds = 0;  // 0: bounded by runs
  unsigned long long seed = 0;
  bool seedGiven = false;
  std::wstring save = L"fuzz-failures";
  std::wstring replay;
  std::size_t maxSize = 0;  // 0: from the seeds
  bool leakCheck = true;
};

std::wstring wide(const char* s) {
  const int n = MultiByteToWideChar(CP_ACP, 0, s, -1, nullptr, 0);
  std::wstring out(n > 0 ? static_cast<std::size_t>(n) : 1, L'\0');
  MultiByteToWideChar(CP_ACP, 0, s, -1, out.data(), n);
  out.resize(out.size() - 1);
  return out;
}

// A host path ("/work/...") names the same file through Wine's Z: drive.
std::wstring windowsPath(std::wstring path) {
  if (!path.empty() && path[0] == L'/') path = L"Z:" + path;
  std::replace(path.begin(), path.end(), L'/', L'\\');
  return path;
}

[[noreturn]] void usage(const char* problem) {
  std::fprintf(stderr, "%s\n%s", problem, kUsage);
  std::exit(2);
}

Options parse(int argc, char** argv) {
  Options o;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--no-leak-check") {
      o.leakCheck = false;
      continue;
    }
    if (i + 1 >= argc) usage(("missing value after " + arg).c_str());
    const char* value = argv[++i];
    char* end = nullptr;
    const unsigned long long number = std::strtoull(value, &end, 0);
    const bool isNumber = *value != '\0' && *end == '\0';
    if (arg == "--runs" && isNumber) o.runs = static_cast<long long>(number);
    else if (arg == "--seconds" && isNumber) o.seconds = static_cast<long long>(number);
    else if (arg == "--seed" && isNumber) o.seed = number, o.seedGiven = true;
    else if (arg == "--max-size" && isNumber && number > 0) o.maxSize = static_cast<std::size_t>(number);
    else if (arg == "--save") o.save = windowsPath(wide(value));
    else if (arg == "--replay") o.replay = windowsPath(wide(value));
    else usage(("bad option " + arg + " " + value).c_str());
  }
  return o;
}

// "filenames" for fuzz_filenames.exe.
std::wstring targetName() {
  wchar_t file[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, file, MAX_PATH);
  std::wstring name = std::filesystem::path(file).stem().wstring();
  if (name.rfind(L"fuzz_", 0) == 0) name.erase(0, 5);
  return name;
}

// Runs one input; the failure's text, or nothing when it passed.
std::optional<std::string> runOne(const std::vector<std::uint8_t>& input) {
  std::optional<std::string> failure;
  qorfuzz::beginInput(input.data(), input.size());
  try {
    fuzzOne(input.data(), input.size());
  } catch (const qorfuzz::FailureThrown&) {
  } catch (const std::exception& e) {
    failure = std::string("uncaught exception (") + typeid(e).name() + "): " + e.what();
  } catch (...) {
    const std::string system = qorfuzz::lastSystemException();
    failure = "uncaught exception of unknown type" + (system.empty() ? std::string() : " after " + system);
  }
  qorfuzz::endInput();
  // fail() counts even when the target swallowed what it threw.
  if (auto recorded = qorfuzz::takeFailure()) failure = recorded;
  return failure;
}

// The process's private bytes. Wine reports 0 there; its PagefileUsage
// counts the pages in use, which grows as well when memory leaks.
std::size_t privateBytes() {
  PROCESS_MEMORY_COUNTERS_EX counters{};
  counters.cb = sizeof counters;
  GetProcessMemoryInfo(GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters), sizeof counters);
  return counters.PrivateUsage != 0 ? counters.PrivateUsage : counters.PagefileUsage;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Ends the run at once: the watchdog thread is still waiting, and nothing
// static may be torn down under it.
[[noreturn]] void failed(const std::string& what, const std::vector<std::uint8_t>& input) {
  qorfuzz::reportFailure(what.c_str(), input.data(), input.size());
  std::fflush(stderr);
  std::_Exit(1);
}

// Runs each input many times after a warm-up; private bytes that keep
// growing mean a leak. The bound is generous: the heap grows in steps, and
// caches may fill during the first runs.
void checkMemory(const std::vector<std::vector<std::uint8_t>>& inputs) {
  constexpr std::size_t kBound = 4 << 20;
  constexpr int kWarmUp = 50, kMaxRuns = 20000;
  for (const auto& input : inputs) {
    for (int i = 0; i < kWarmUp; ++i)
      if (auto failure = runOne(input)) failed(*failure, input);
    const std::size_t before = privateBytes();
    const auto start = std::chrono::steady_clock::now();
    int runs = 0;
    while (runs < kMaxRuns && (runs < 200 || secondsSince(start) < 1.0)) {
      if (auto failure = runOne(input)) failed(*failure, input);
      ++runs;
    }
    const std::size_t after = privateBytes();
    if (after > before + kBound) {
      char text[200];
      std::snprintf(text, sizeof text, "leak: private bytes grew by %llu KiB over %d runs of one input",
                    static_cast<unsigned long long>((after - before) >> 10), runs);
      failed(text, input);
    }
  }
}

std::vector<std::uint8_t> readAll(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

int replay(const std::wstring& path, const std::vector<qorfuzz::Seed>& seeds) {
  std::vector<std::pair<std::string, std::vector<std::uint8_t>>> inputs;
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    for (const auto& seed : seeds) inputs.emplace_back("seed " + seed.name, seed.bytes);
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(path, error))
      if (entry.is_regular_file()) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    for (const auto& file : files) inputs.emplace_back(file.filename().string(), readAll(file));
  } else if (std::filesystem::is_regular_file(path, error)) {
    inputs.emplace_back(std::filesystem::path(path).filename().string(), readAll(path));
  } else {
    qorfuzz::report("nothing to replay at %ls", path.c_str());
    return 2;
  }
  int failures = 0;
  for (const auto& [name, bytes] : inputs) {
    if (auto failure = runOne(bytes)) {
      qorfuzz::report("FAILED: %s: %s", name.c_str(), failure->c_str());
      ++failures;
    }
  }
  qorfuzz::report("replayed %zu inputs, %d failed", inputs.size(), failures);
  return failures == 0 ? 0 : 1;
}

int fuzz(const Options& o, const std::vector<qorfuzz::Seed>& seeds) {
  std::size_t largest = 0;
  for (const auto& s : seeds) largest = std::max(largest, s.bytes.size());
  const std::size_t maxSize = o.maxSize ? o.maxSize : std::max<std::size_t>(4096, 2 * largest);
  const unsigned long long seed =
      o.seedGiven ? o.seed
                  : static_cast<unsigned long long>(std::chrono::system_clock::now().time_since_epoch().count());
  qorfuzz::report("seed %llu (--seed %llu repeats this run), %zu seeds, inputs up to %zu bytes", seed, seed,
                  seeds.size(), maxSize);

  for (const auto& s : seeds)
    if (auto failure = runOne(s.bytes)) failed("seed " + s.name + ": " + *failure, s.bytes);

  qorfuzz::Mutator mutator(seeds, maxSize, seed);
  std::vector<std::uint8_t> input;
  std::vector<std::vector<std::uint8_t>> recent;  // a few inputs for the memory check
  const auto start = std::chrono::steady_clock::now();
  double lastReport = 0;
  long long runs = 0;
  for (;; ++runs) {
    const double elapsed = secondsSince(start);
    if (o.seconds > 0 ? elapsed >= double(o.seconds) : runs >= o.runs) break;
    if (elapsed - lastReport >= 5) {
      lastReport = elapsed;
      qorfuzz::report("%lld runs, %.0f/s, %.0f s", runs, runs / elapsed, elapsed);
    }
    mutator.next(input);
    if (auto failure = runOne(input)) failed(*failure, input);
    if (runs % 997 == 0) {
      if (recent.size() == 2) recent.erase(recent.begin());
      recent.push_back(input);
    }
  }
  const double elapsed = secondsSince(start);
  qorfuzz::report("%lld runs in %.1f s (%.0f/s), no failure", runs, elapsed, elapsed > 0 ? runs / elapsed : 0.0);

  if (o.leakCheck) {
    // The first and last seeds and two mutated inputs, each many times.
    recent.push_back(seeds.front().bytes);
    if (seeds.size() > 1) recent.push_back(seeds.back().bytes);
    const auto checkStart = std::chrono::steady_clock::now();
    checkMemory(recent);
    qorfuzz::report("memory check of %zu inputs passed in %.1f s", recent.size(), secondsSince(checkStart));
  }
  return 0;
}

}  // namespace

namespace qorfuzz {

Seed seedFromFile(const std::wstring& path) {
  Seed seed{std::filesystem::path(path).filename().string(), {}};
  std::error_code error;
  if (std::filesystem::is_regular_file(path, error)) seed.bytes = readAll(path);
  return seed;
}

std::wstring sourcePath(const std::wstring& relative) {
  return windowsPath(wide(QORFUZZ_SOURCE_DIR) + L"/" + relative);
}

std::wstring hostPath(const std::wstring& path) { return windowsPath(path); }

std::vector<Seed> seedsFromFolder(const std::wstring& folder, const std::wstring& suffix) {
  std::vector<std::filesystem::path> files;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    const std::wstring name = entry.path().filename().wstring();
    if (entry.is_regular_file(error) && name.size() >= suffix.size() &&
        _wcsicmp(name.c_str() + name.size() - suffix.size(), suffix.c_str()) == 0)
      files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  std::vector<Seed> seeds;
  for (const auto& file : files) seeds.push_back(seedFromFile(file.wstring()));
  return seeds;
}

}  // namespace qorfuzz

int main(int argc, char** argv) {
  const Options options = parse(argc, argv);
  const std::wstring target = targetName();
  qorfuzz::configureSaving(options.save, target);
  qorfuzz::installCrashHandlers();

  std::vector<qorfuzz::Seed> seeds;
  std::size_t missing = 0;
  for (auto& s : fuzzSeeds()) {
    if (s.bytes.empty()) ++missing;
    else seeds.push_back(std::move(s));
  }
  if (missing) qorfuzz::report("%zu seeds missing on this machine, skipped", missing);
  if (seeds.empty()) seeds.push_back({"empty", {}});

  qorfuzz::Watchdog watchdog(kTimeLimit);
  return options.replay.empty() ? fuzz(options, seeds) : replay(options.replay, seeds);
}
