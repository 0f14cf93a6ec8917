#include <qorcor14/errors.h>
#include <qorcor14/text/strings.h>

#include <gtest/gtest.h>

#include <windows.h>
#include <oaidl.h>
#include <objbase.h>
#include <oleauto.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

// Exposes the protected members that derived exceptions build their texts with.
struct LateError : QOR::QorError {
  void reset(const std::wstring& message) { setup(message); }
  void resetToItself() { setup(whatString()); }
  const std::wstring& text() const { return whatString(); }
};

struct LateNotImplemented : QOR::NotImplemented {
  void reset(const std::wstring& message) { setup(message); }
  void resetToItself() { setup(whatString()); }
  const std::wstring& text() const { return whatString(); }
};

// The ANSI bytes of `text`, converted independently of the library.
std::string ansi(const std::wstring& text) {
  if (text.empty()) return {};
  const int n = WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<int>(text.size()), nullptr, 0,
                                    nullptr, nullptr);
  std::string out(static_cast<size_t>(n), '\0');
  WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<int>(text.size()), out.data(), n, nullptr, nullptr);
  return out;
}

// The system text of `error` formatted without a width limit, with each line
// break the message source ends its lines with turned into the blank that the
// width limit puts there instead.
std::wstring referenceText(unsigned long error, HMODULE module) {
  wchar_t* buffer = nullptr;
  const DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                      (module ? FORMAT_MESSAGE_FROM_HMODULE : FORMAT_MESSAGE_FROM_SYSTEM);
  const DWORD n = FormatMessageW(flags, module, error, 1024, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
  std::wstring text(buffer ? buffer : L"", n);
  if (buffer) LocalFree(buffer);
  for (size_t at; (at = text.find(L"\r\n")) != std::wstring::npos;) text.replace(at, 2, L" ");
  return text;
}

template <class Caught, class Thrown>
bool catches(const Thrown& e) {
  try {
    throw e;
  } catch (const Caught&) {
    return true;
  } catch (...) {
    return false;
  }
}

TEST(ErrorHierarchy, NotImplementedIsALogicErrorAndNotAQorError) {
  const QOR::NotImplemented e(L"Transform::inverse");
  EXPECT_TRUE(catches<std::logic_error>(e));
  EXPECT_TRUE(catches<std::exception>(e));
  EXPECT_FALSE(catches<QOR::QorError>(e));
  EXPECT_FALSE(catches<std::runtime_error>(e));
}

TEST(ErrorHierarchy, WinErrorIsAQorErrorAndARuntimeError) {
  const WinError e(L"CloseHandle", 6ul);
  EXPECT_TRUE(catches<QOR::QorError>(e));
  EXPECT_TRUE(catches<std::runtime_error>(e));
  EXPECT_TRUE(catches<std::exception>(e));
  EXPECT_FALSE(catches<std::logic_error>(e));
  EXPECT_TRUE(catches<std::runtime_error>(QOR::QorError(L"x")));
}

TEST(ErrorHierarchy, HandlersOfABaseReadTheDerivedTexts) {
  try {
    throw WinError(L"CreateFileW", 2ul);
  } catch (const QOR::QorError& e) {
    EXPECT_EQ(std::wstring(e.wWhat()), formatMessage(2ul, nullptr) + L" calling CreateFileW");
  }
  try {
    throw QOR::NotImplemented(L"Arc::split");
  } catch (const std::exception& e) {
    EXPECT_STREQ(e.what(), "Arc::split");
  }
}

TEST(ErrorText, EmptyAndNullMessagesGiveEmptyTexts) {
  const QOR::QorError a(L""), b{std::wstring()}, c(static_cast<const wchar_t*>(nullptr));
  const QOR::NotImplemented d(L""), f(static_cast<const wchar_t*>(nullptr));
  for (const QOR::QorError* e : {&a, &b, &c}) {
    EXPECT_STREQ(e->what(), "");
    EXPECT_STREQ(e->wWhat(), L"");
  }
  for (const QOR::NotImplemented* e : {&d, &f}) {
    EXPECT_STREQ(e->what(), "");
    EXPECT_STREQ(e->wWhat(), L"");
  }
  EXPECT_STREQ(LateError().what(), "");
  EXPECT_STREQ(LateNotImplemented().wWhat(), L"");
}

TEST(ErrorText, CopyAndAssignmentKeepBothTexts) {
  QOR::QorError a(L"first");
  const QOR::QorError b(a);
  QOR::QorError c(L"other");
  c = b;
  a = QOR::QorError(L"changed");
  EXPECT_STREQ(b.wWhat(), L"first");
  EXPECT_STREQ(c.what(), "first");
  EXPECT_STREQ(a.wWhat(), L"changed");
  c = c;  // self-assignment keeps the text
  EXPECT_STREQ(c.wWhat(), L"first");

  QOR::NotImplemented n(L"one");
  QOR::NotImplemented m(n);
  n = QOR::NotImplemented(L"two");
  EXPECT_STREQ(m.what(), "one");
  EXPECT_STREQ(n.wWhat(), L"two");
}

TEST(ErrorSetup, ReplacesBothTextsAndAcceptsItsOwnText) {
  LateError e;
  e.reset(L"Grid too small");
  EXPECT_STREQ(e.wWhat(), L"Grid too small");
  EXPECT_STREQ(e.what(), "Grid too small");
  e.resetToItself();
  EXPECT_STREQ(e.wWhat(), L"Grid too small");
  EXPECT_STREQ(e.what(), "Grid too small");
  e.reset(L"");
  EXPECT_STREQ(e.what(), "");

  LateNotImplemented n;
  n.reset(L"Sliced::perspective");
  n.resetToItself();
  EXPECT_EQ(n.text(), L"Sliced::perspective");
  EXPECT_STREQ(n.what(), "Sliced::perspective");
}

// What each ANSI code page the suite runs under makes of a few texts: the
// narrow copy is in the process's code page, not UTF-8.
TEST(ErrorNarrowText, IsTheMessageInTheAnsiCodePage) {
  struct Case {
    const wchar_t* wide;
    const char* narrow;
  };
  const UINT acp = GetACP();
  std::vector<Case> cases;
  if (acp == 1252) {
    cases = {{L"Gr\u00fc\u00dfe \u20ac5", "Gr\xfc\xdf" "e \x80" "5"}, {L"\u65e5", "?"}};
  } else if (acp == 932) {
    cases = {{L"\u65e5\u672c\u8a9e", "\x93\xfa\x96\x7b\x8c\xea"}, {L"\uff71x", "\xb1x"}};
  } else if (acp == 1251) {
    cases = {{L"\u041f\u0440\u0438\u0432\u0435\u0442", "\xcf\xf0\xe8\xe2\xe5\xf2"}};
  } else {
    GTEST_SKIP() << "no expectations for code page " << acp;
  }
  for (const Case& c : cases) {
    SCOPED_TRACE(c.narrow);
    EXPECT_STREQ(QOR::QorError(c.wide).what(), c.narrow);
    EXPECT_STREQ(QOR::NotImplemented(std::wstring(c.wide)).what(), c.narrow);
    LateError late;
    late.reset(c.wide);
    EXPECT_STREQ(late.what(), c.narrow);
    EXPECT_STREQ(late.wWhat(), c.wide);
  }
}

// Messages long enough to need more than the stack buffer, with characters
// that take two bytes in a double-byte code page.
TEST(ErrorNarrowText, LongRandomMessagesMatchAnIndependentConversion) {
  const wchar_t alphabet[] = L"abcXYZ 019.\u00e9\u00fc\u20ac\u65e5\u672c\u30a2\u041f\u0436";
  std::mt19937 rng(1234);
  std::uniform_int_distribution<size_t> pick(0, std::size(alphabet) - 2);
  for (size_t length : {1u, 25u, 26u, 27u, 200u, 5000u}) {
    SCOPED_TRACE(length);
    std::wstring text;
    for (size_t i = 0; i < length; ++i) text += alphabet[pick(rng)];
    EXPECT_EQ(std::string(QOR::QorError(text).what()), ansi(text));
    EXPECT_EQ(std::string(QOR::NotImplemented(text).what()), ansi(text));
    EXPECT_EQ(QOR::QorError(text).wWhat(), text);
  }
}

TEST(ErrorCodeText, SystemTextJoinsItsLinesAndEndsWithoutALineBreak) {
  for (unsigned long error : {2ul, 5ul, 87ul, 122ul, 1813ul}) {
    SCOPED_TRACE(error);
    const std::wstring text = formatMessage(error, nullptr);
    ASSERT_FALSE(text.empty());
    EXPECT_NE(text.rfind(L"Error ", 0), 0u) << "fell back for a known code";
    EXPECT_EQ(text.find_first_of(L"\r\n"), std::wstring::npos);
    EXPECT_EQ(text, referenceText(error, nullptr));
  }
}

TEST(ErrorCodeText, UnknownCodeFallsBackToUnsignedDecimal) {
  EXPECT_EQ(formatMessage(4294967295ul, nullptr), L"Error 4294967295");
  EXPECT_EQ(formatMessage(0x8badf00dul, nullptr), L"Error 2343432205");
  EXPECT_EQ(formatMessage(4294967295ul, L"kernel32.dll"), L"Error 4294967295");
}

TEST(ErrorCodeText, ModuleTextComesFromTheLoadedModuleOnly) {
  // Wine keeps the Win32 message table in kernelbase, Windows in kernel32 and
  // kernelbase; the test takes whichever of them holds it.
  const wchar_t* holder = nullptr;
  for (const wchar_t* name : {L"kernelbase.dll", L"kernel32.dll"})
    if (!holder && !referenceText(2, GetModuleHandleW(name)).empty()) holder = name;
  ASSERT_NE(holder, nullptr);
  const std::wstring text = formatMessage(2ul, holder);
  EXPECT_EQ(text, referenceText(2, GetModuleHandleW(holder)));
  EXPECT_EQ(text.find_first_of(L"\r\n"), std::wstring::npos);
  // A module that is not loaded is not loaded for the purpose.
  EXPECT_EQ(formatMessage(2ul, L"qor_no_such_module.dll"), L"Error 2");
  EXPECT_EQ(GetModuleHandleW(L"qor_no_such_module.dll"), nullptr);
}

TEST(ErrorCodeText, HresultIsEightLowerCaseHexDigitsThenTheSystemText) {
  const long fail = static_cast<long>(0x80004005ul);
  EXPECT_EQ(formatMessage(fail, nullptr), L"[0x80004005] " + formatMessage(0x80004005ul, nullptr));
  EXPECT_EQ(formatMessage(2l, nullptr), L"[0x00000002] " + formatMessage(2ul, nullptr));
  EXPECT_EQ(formatMessage(static_cast<long>(0x8badf00dul), nullptr), L"[0x8badf00d] Error 2343432205");
  EXPECT_EQ(formatMessage(-1l, nullptr), L"[0xffffffff] Error 4294967295");
}

// A real oleaut32 error object, described or not.
struct ErrorObject {
  ICreateErrorInfo* create = nullptr;
  explicit ErrorObject(const wchar_t* description) {
    EXPECT_EQ(CreateErrorInfo(&create), S_OK);
    if (description) {
      EXPECT_EQ(create->SetDescription(const_cast<wchar_t*>(description)), S_OK);
    }
  }
  ~ErrorObject() { create->Release(); }
  // The object's reference count, read by a balanced AddRef and Release.
  ULONG references() const {
    create->AddRef();
    return create->Release();
  }
};

TEST(ErrorCodeText, HresultPrefersTheObjectsOwnDescription) {
  ErrorObject widget(L"Widget jammed\r\nsecond line");
  const ULONG before = widget.references();
  const long fail = static_cast<long>(0x80004005ul);
  EXPECT_EQ(formatMessage(fail, widget.create), L"[0x80004005] Widget jammed\r\nsecond line");
  EXPECT_EQ(widget.references(), before);  // the IErrorInfo obtained was released
}

TEST(ErrorCodeText, HresultTakesAnEmptyDescriptionAsGiven) {
  ErrorObject silent(nullptr);
  EXPECT_EQ(formatMessage(static_cast<long>(0x80004005ul), silent.create), L"[0x80004005] ");
}

TEST(ErrorCodeText, HresultFallsBackWhenTheObjectOffersNoErrorInfo) {
  IStream* stream = nullptr;
  ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &stream), S_OK);
  const long fail = static_cast<long>(0x80004005ul);
  EXPECT_EQ(formatMessage(fail, stream), formatMessage(fail, nullptr));
  stream->AddRef();
  EXPECT_EQ(stream->Release(), 1u);
  stream->Release();
}

// An error object whose description cannot be had: the system text is used,
// and the object is released and its (partial) text freed all the same.
struct BrokenErrorInfo : IErrorInfo {
  ULONG count = 1;
  int descriptionCalls = 0;
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override {
    if (IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IErrorInfo)) {
      *out = static_cast<IErrorInfo*>(this);
      AddRef();
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++count; }
  ULONG STDMETHODCALLTYPE Release() override { return --count; }
  HRESULT STDMETHODCALLTYPE GetGUID(GUID*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetSource(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetDescription(BSTR* text) override {
    ++descriptionCalls;
    *text = SysAllocString(L"half-written");
    return E_OUTOFMEMORY;
  }
  HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD*) override { return E_NOTIMPL; }
};

TEST(ErrorCodeText, HresultFallsBackWhenTheDescriptionFails) {
  BrokenErrorInfo broken;
  const long fail = static_cast<long>(0x80004005ul);
  EXPECT_EQ(formatMessage(fail, &broken), formatMessage(fail, nullptr));
  EXPECT_EQ(broken.descriptionCalls, 1);
  EXPECT_EQ(broken.count, 1u);
}

TEST(WinErrorText, EachConstructorBuildsItsForm) {
  const std::wstring notFound = formatMessage(2ul, nullptr);
  EXPECT_EQ(WinError(2ul).wWhat(), notFound);
  EXPECT_EQ(WinError(L"CreateFileW", 2ul).wWhat(), notFound + L" calling CreateFileW");
  EXPECT_EQ(WinError(L"", 2ul).wWhat(), notFound + L" calling ");
  EXPECT_EQ(WinError(static_cast<const wchar_t*>(nullptr), 2ul).wWhat(), notFound + L" calling ");

  const long fail = static_cast<long>(0x80004005ul);
  EXPECT_EQ(WinError(fail, nullptr).wWhat(), formatMessage(fail, nullptr));
  ErrorObject widget(L"Widget jammed");
  EXPECT_EQ(std::wstring(WinError(fail, widget.create).wWhat()), L"[0x80004005] Widget jammed");
  EXPECT_EQ(std::wstring(WinError(L"IWidget::Spin", fail, widget.create).wWhat()),
            L"[0x80004005] Widget jammed calling IWidget::Spin");
  EXPECT_STREQ(WinError(L"IWidget::Spin", fail, widget.create).what(),
               "[0x80004005] Widget jammed calling IWidget::Spin");
}

TEST(WinErrorText, ReportsARealFailedCall) {
  const HANDLE h = CreateFileW(L"C:\\qor-no-such-dir\\missing.txt", GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_EQ(h, INVALID_HANDLE_VALUE);
  const DWORD error = GetLastError();
  EXPECT_EQ(error, 3u);  // ERROR_PATH_NOT_FOUND
  const WinError e(L"CreateFileW", error);
  EXPECT_EQ(e.wWhat(), referenceText(3, nullptr) + L" calling CreateFileW");
  EXPECT_EQ(std::string(e.what()), ansi(e.wWhat()));
}

TEST(WinErrorText, CopiesAndMovesKeepTheTextsOnBothSides) {
  WinError a(L"ReadFile", 5ul);
  const std::wstring text = a.wWhat();
  const std::string narrow = a.what();
  WinError b(a);
  WinError c(std::move(a));
  EXPECT_EQ(b.wWhat(), text);
  EXPECT_EQ(c.wWhat(), text);
  EXPECT_EQ(a.wWhat(), text);  // NOLINT(bugprone-use-after-move): moving copies
  EXPECT_EQ(c.what(), narrow);

  WinError d(87ul), f(87ul);
  d = b;
  f = std::move(c);
  EXPECT_EQ(d.wWhat(), text);
  EXPECT_EQ(f.wWhat(), text);
  EXPECT_EQ(f.what(), narrow);
  EXPECT_EQ(c.wWhat(), text);  // NOLINT(bugprone-use-after-move)
}

TEST(ThrowIntCast, ThrowsAQorErrorWithTheFixedText) {
  try {
    throwIntCast();
  } catch (const WinError&) {
    FAIL() << "not a WinError";
  } catch (const QOR::QorError& e) {
    EXPECT_STREQ(e.wWhat(), L"integer value right out of range");
    EXPECT_STREQ(e.what(), "integer value right out of range");
    return;
  }
  FAIL() << "nothing thrown";
}

} // namespace
