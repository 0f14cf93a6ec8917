// The exception classes: their two texts, and the WinError message forms.
#include <qorcor14/errors.h>

#include <qorcor14/text/strings.h>

namespace {

std::wstring fromPointer(const wchar_t* text) { return text ? std::wstring(text) : std::wstring(); }

std::wstring withFunction(std::wstring message, const wchar_t* function) {
  message += L" calling ";
  if (function) message += function;
  return message;
}

}  // namespace

namespace QOR {

// The std::runtime_error text is never shown; ours is held beside it so that
// what() can return the ANSI copy and wWhat() the wide original.
QorError::QorError() : std::runtime_error(std::string()) {}

QorError::QorError(const wchar_t* message) : QorError(fromPointer(message)) {}

QorError::QorError(const std::wstring& message)
    : std::runtime_error(std::string()), m_narrow(getMBS(message)), m_wide(message) {}

QorError::QorError(const QorError& other) = default;

QorError& QorError::operator=(const QorError& other) = default;

QorError::~QorError() = default;

const char* QorError::what() const noexcept { return m_narrow.c_str(); }

const wchar_t* QorError::wWhat() const noexcept { return m_wide.c_str(); }

void QorError::setup(const std::wstring& message) {
  if (&message != &m_wide) m_wide = message;
  m_narrow = getMBS(m_wide);
}

NotImplemented::NotImplemented() : std::logic_error(std::string()) {}

NotImplemented::NotImplemented(const wchar_t* message) : NotImplemented(fromPointer(message)) {}

NotImplemented::NotImplemented(const std::wstring& message)
    : std::logic_error(std::string()), m_narrow(getMBS(message)), m_wide(message) {}

NotImplemented::NotImplemented(const NotImplemented& other) = default;

NotImplemented& NotImplemented::operator=(const NotImplemented& other) = default;

NotImplemented::~NotImplemented() = default;

const char* NotImplemented::what() const noexcept { return m_narrow.c_str(); }

const wchar_t* NotImplemented::wWhat() const noexcept { return m_wide.c_str(); }

void NotImplemented::setup(const std::wstring& message) {
  if (&message != &m_wide) m_wide = message;
  m_narrow = getMBS(m_wide);
}

}  // namespace QOR

WinError::WinError(unsigned long error) { setup(formatMessage(error, nullptr)); }

WinError::WinError(const wchar_t* function, unsigned long error) {
  setup(withFunction(formatMessage(error, nullptr), function));
}

WinError::WinError(long hr, IUnknown* object) { setup(formatMessage(hr, object)); }

WinError::WinError(const wchar_t* function, long hr, IUnknown* object) {
  setup(withFunction(formatMessage(hr, object), function));
}

// A move copies as well: QorError has no move of its own, so the source keeps
// its texts and stays a valid exception.
WinError::WinError(const WinError& other) = default;
WinError::WinError(WinError&& other) : QorError(other) {}
WinError& WinError::operator=(const WinError& other) = default;
WinError& WinError::operator=(WinError&& other) {
  QorError::operator=(other);
  return *this;
}

void throwIntCast() { throw QOR::QorError(L"integer value right out of range"); }
