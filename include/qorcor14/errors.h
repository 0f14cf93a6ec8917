// qorcor14/errors.h - the exceptions the library throws, and the texts of
// Win32 error codes and COM HRESULTs.
//
// Every failure leaves the library as an exception; nothing returns an error
// code. Each exception carries its message twice: the wide text, which is the
// one the library builds, and a copy of it in the ANSI code page, so that a
// handler for std::exception can read it through what().
//
//   QOR::QorError        the library's own errors (a std::runtime_error)
//   WinError             operating-system and COM failures (a QOR::QorError)
//   QOR::NotImplemented  operations declared but not provided (a
//                        std::logic_error, deliberately not a QOR::QorError)
#pragma once

#include <qorcor14/config.h>

#include <stdexcept>
#include <string>

// The COM root interface; only pointers to it pass through this header.
struct IUnknown;

namespace QOR {

// The library's general exception: a wide message and its ANSI copy.
//
// Example:
//   try { ... } catch (const QOR::QorError& e) {
//     showMessage(e.wWhat());   // the text as the library built it
//   } catch (const std::exception& e) {
//     log(e.what());            // any other failure, narrow
//   }
//
// Note: the std::runtime_error base holds an empty string; the texts live in
// this class and what() is overridden to return the ANSI copy.
// Note: characters the ANSI code page cannot represent come out as whatever
// WideCharToMultiByte makes of them (usually '?'); wWhat() is always exact.
class QORCOR14_API QorError : public std::runtime_error {
public:
  // message is zero-terminated; a null pointer counts as an empty message.
  explicit QorError(const wchar_t* message);
  explicit QorError(const std::wstring& message);
  QorError(const QorError& other);
  QorError& operator=(const QorError& other);

  virtual ~QorError();
  // The message in the ANSI code page of the process.
  [[nodiscard]] const char* what() const noexcept override;
  // The message as given.
  [[nodiscard]] virtual const wchar_t* wWhat() const noexcept;

protected:
  // Both messages empty, for a derived class that builds its text first and
  // then calls setup.
  QorError();

  // Replaces the message and rebuilds the ANSI copy from it. Passing
  // whatString() itself is allowed: the wide text is then kept as it is and
  // only the ANSI copy is rebuilt.
  void setup(const std::wstring& message);

  // The wide message.
  [[nodiscard]] const std::wstring& whatString() const noexcept { return m_wide; }

private:
  std::string m_narrow;
  std::wstring m_wide;
};

// Thrown by an operation that its class declares but does not provide.
//
// Example:
//   throw QOR::NotImplemented(L"Transform::inverse for sliced transforms");
//
// Note: a handler for QOR::QorError or std::runtime_error does not catch it;
// one for std::logic_error or std::exception does.
// Note: there is no built-in text: the message is exactly the one given.
class QORCOR14_API NotImplemented : public std::logic_error {
public:
  // message is zero-terminated; a null pointer counts as an empty message.
  explicit NotImplemented(const wchar_t* message);
  explicit NotImplemented(const std::wstring& message);
  NotImplemented(const NotImplemented& other);
  NotImplemented& operator=(const NotImplemented& other);

  virtual ~NotImplemented();
  // The message in the ANSI code page of the process.
  [[nodiscard]] const char* what() const noexcept override;
  // The message as given.
  [[nodiscard]] virtual const wchar_t* wWhat() const noexcept;

protected:
  // Both messages empty; a derived class fills them with setup.
  NotImplemented();

  // As QorError::setup.
  void setup(const std::wstring& message);

  // The wide message.
  [[nodiscard]] const std::wstring& whatString() const noexcept { return m_wide; }

private:
  std::string m_narrow;
  std::wstring m_wide;
};

}  // namespace QOR

// An operating-system or COM failure, with the system's (or the COM object's)
// text for the code, optionally followed by " calling " and the name of the
// call that failed.
//
// Example:
//   if (!CloseHandle(h)) throw WinError(L"CloseHandle", GetLastError());
//   // "The handle is invalid.  calling CloseHandle" on Windows
//   HRESULT hr = stream->Commit(0);
//   if (FAILED(hr)) throw WinError(L"IStream::Commit", hr, stream);
//   // "[0x80004005] <the stream's own description> calling IStream::Commit"
//
// Note: the separator is " calling " whatever the text before it ends with;
// system texts end with a blank, so two blanks come before "calling". A null
// function name counts as empty (the separator is still written).
class QORCOR14_API WinError : public QOR::QorError {
public:
  // formatMessage(error, nullptr).
  explicit WinError(unsigned long error);
  // formatMessage(error, nullptr) + " calling " + function.
  WinError(const wchar_t* function, unsigned long error);
  // formatMessage(hr, object).
  WinError(long hr, IUnknown* object);
  // formatMessage(hr, object) + " calling " + function.
  WinError(const wchar_t* function, long hr, IUnknown* object);

  // Copying and moving both copy the texts; the source keeps its own.
  WinError(const WinError& other);
  WinError(WinError&& other);
  WinError& operator=(const WinError& other);
  WinError& operator=(WinError&& other);
};

// The text of Win32 error code `error`, or of message `error` of the already
// loaded module `module` (it is looked up with GetModuleHandleW, never loaded
// here). The text is taken as FormatMessageW gives it with a maximum line
// width: the line breaks of the message source become blanks, so no line
// break ends the text, but a blank usually does.
//
// Example:
//   formatMessage(2, nullptr);            // "The system cannot find the file specified. "
//                                         // (Windows' wording; Wine has its own)
//   formatMessage(4294967295, nullptr);   // "Error 4294967295"
//
// Note: an unknown number, or a module that is not loaded, gives "Error "
// and the number in unsigned decimal; nothing is thrown.
[[nodiscard]] QORCOR14_API std::wstring formatMessage(unsigned long error, const wchar_t* module);

// The text of an HRESULT: "[0x" and its 32 bits as eight lower-case hex
// digits, "] ", then the description that `object` offers through
// IErrorInfo, or failing that the system's text for the code (as
// formatMessage((unsigned long)hr, nullptr)). object may be null.
//
// Example:
//   formatMessage(E_FAIL, nullptr);   // "[0x80004005] Unspecified error " on Windows
//
// Note: a description the object returns successfully is used as it stands,
// even when it is empty.
[[nodiscard]] QORCOR14_API std::wstring formatMessage(long hr, IUnknown* object);

// Throws QOR::QorError "integer value right out of range"; called wherever a
// wider integer has to be narrowed and does not fit.
[[noreturn]] QORCOR14_API void throwIntCast();
