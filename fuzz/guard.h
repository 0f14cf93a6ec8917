// What the driver keeps ready for an input that fails: where it is saved,
// which input is running, the crash handlers and the watchdog.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>

namespace qorfuzz {

// What qorfuzz::fail throws after recording its text; the driver catches it.
struct FailureThrown {};

// Failing inputs go to <root>\<target>\<hash of the bytes>.bin.
void configureSaving(const std::wstring& root, const std::wstring& target);

// Prints "FAILED: " and `what`, and saves the input under the save folder,
// printing the file's name. Uses no heap, so that the crash handlers can
// call it.
void reportFailure(const char* what, const std::uint8_t* data, std::size_t size);

// The input now running, for the crash handlers and the watchdog.
void beginInput(const std::uint8_t* data, std::size_t size);
void endInput();

// The text the first fail() since the last call recorded, if any: a target
// that swallows the exception fail() throws still fails.
std::optional<std::string> takeFailure();

// The last system exception seen (access violation, trap, ...), as text,
// for an exception that reaches the driver as a foreign one; empty if none.
std::string lastSystemException();

// On a crash (an unhandled system exception, std::terminate, abort): prints
// what happened, saves the running input and ends the process with status 1.
void installCrashHandlers();

// A thread that treats an input running longer than `limit` as a failure:
// it names and saves the input and ends the process.
class Watchdog {
public:
  explicit Watchdog(std::chrono::seconds limit);
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

private:
  std::thread m_thread;
};

// Prints a line to stderr, prefixed by the program's name.
void report(const char* format, ...);

}  // namespace qorfuzz
