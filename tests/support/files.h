// Files on disk for the tests: a fresh folder per test, whole-file byte access
// through the C++ library (independent of the streams tested), and the text of
// an expected QOR::QorError.
#pragma once

#include <qorcor14/errors.h>

#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace qortest {

// A new, empty folder in the system's temp folder, removed with its content.
class ScratchFolder {
public:
  ScratchFolder() {
    static std::atomic<unsigned> counter{0};
    wchar_t temp[MAX_PATH + 1];
    GetTempPathW(MAX_PATH + 1, temp);
    m_path = std::filesystem::path(temp) /
             (L"qortest-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++counter));
    std::filesystem::remove_all(m_path);
    std::filesystem::create_directories(m_path);
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::wstring path() const { return m_path.wstring(); }
  // The full name of `leaf` in the folder.
  std::wstring file(const std::wstring& leaf) const { return (m_path / leaf).wstring(); }

private:
  std::filesystem::path m_path;
};

inline void writeBytes(const std::wstring& name, const std::string& bytes) {
  std::ofstream out(std::filesystem::path(name), std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

inline std::string readBytes(const std::wstring& name) {
  std::ifstream in(std::filesystem::path(name), std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Runs f, which must throw QOR::QorError, and returns its text.
template <class F>
std::wstring errorText(F&& f) {
  try {
    f();
  } catch (const QOR::QorError& e) {
    return e.wWhat();
  }
  ADD_FAILURE() << "no QOR::QorError";
  return {};
}

}  // namespace qortest
