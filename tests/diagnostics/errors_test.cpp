#include <qorcor14/errors.h>
#include <qorcor14/text/strings.h>

#include <gtest/gtest.h>

#include <windows.h>
#include <oaidl.h>
#include <objbase.h>
#include <oleauto.h>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

template <class Base>
struct Late : Base {
  void reset(const std::wstring& message) { this->setup(message); }
  void resetToItself() { this->setup(this->whatString()); }
};

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

TEST(ErrorHierarchy, WinErrorIsAQorErrorAndNotImplementedOnlyALogicError) {
  static_assert(std::is_convertible_v<WinError*, QOR::QorError*>);
  static_assert(std::is_convertible_v<QOR::QorError*, std::runtime_error*>);
  static_assert(std::is_convertible_v<QOR::NotImplemented*, std::logic_error*>);
  static_assert(!std::is_convertible_v<QOR::NotImplemented*, std::runtime_error*>);  // so not a QorError
  const QOR::NotImplemented n(L"Transform::inverse");
  const std::exception& base = n;
  EXPECT_STREQ(base.what(), "Transform::inverse");
}

template <class Base>
void checkSetup() {
  EXPECT_STREQ(Base(static_cast<const wchar_t*>(nullptr)).wWhat(), L"");  // a null message is empty
  Late<Base> e;
  EXPECT_STREQ(e.what(), "");  // as the protected constructor leaves both
  e.reset(L"Grid too small");
  e.resetToItself();  // its own text: kept, and the ANSI copy rebuilt
  EXPECT_STREQ(e.wWhat(), L"Grid too small");
  EXPECT_STREQ(e.what(), "Grid too small");
  e.reset(L"");
  EXPECT_STREQ(e.what(), "");
}

TEST(ErrorSetup, ReplacesBothTextsAndAcceptsItsOwnText) {
  checkSetup<QOR::QorError>();
  checkSetup<QOR::NotImplemented>();
}

TEST(ErrorNarrowText, IsTheMessageInTheAnsiCodePage) {
  const UINT acp = GetACP();
  std::vector<std::pair<const wchar_t*, const char*>> cases;
  if (acp == 1252)
    cases = {{L"Gr\u00fc\u00dfe \u20ac5",
              "Gr\xfc\xdf"
              "e \x80"
              "5"},
             {L"\u65e5", "?"}};
  else if (acp == 932) cases = {{L"\u65e5\u672c\u8a9e", "\x93\xfa\x96\x7b\x8c\xea"}, {L"\uff71x", "\xb1x"}};
  else if (acp == 1251) cases = {{L"\u041f\u0440\u0438\u0432\u0435\u0442", "\xcf\xf0\xe8\xe2\xe5\xf2"}};
  else GTEST_SKIP() << "no expectations for code page " << acp;
  for (const auto& [wide, narrow] : cases) {
    SCOPED_TRACE(narrow);
    EXPECT_STREQ(QOR::QorError(wide).what(), narrow);
    EXPECT_STREQ(QOR::NotImplemented(std::wstring(wide)).what(), narrow);
    Late<QOR::QorError> late;
    late.reset(wide);
    EXPECT_STREQ(late.what(), narrow);
    EXPECT_STREQ(late.wWhat(), wide);
  }
}

TEST(ErrorCodeText, SystemTextJoinsItsLinesAndEndsWithoutALineBreak) {
  for (unsigned long error : {2ul, 5ul, 87ul, 122ul, 1813ul}) {
    SCOPED_TRACE(error);
    const std::wstring text = formatMessage(error, nullptr);
    EXPECT_NE(text.rfind(L"Error ", 0), 0u) << "fell back for a known code";
    EXPECT_EQ(text.find_first_of(L"\r\n"), std::wstring::npos);
    EXPECT_EQ(text, referenceText(error, nullptr));
  }
}

TEST(ErrorCodeText, UnknownCodeOrModuleFallsBackToUnsignedDecimal) {
  EXPECT_EQ(formatMessage(4294967295ul, nullptr), L"Error 4294967295");
  EXPECT_EQ(formatMessage(4294967295ul, L"kernel32.dll"), L"Error 4294967295");
  EXPECT_EQ(formatMessage(2ul, L"qor_no_such_module.dll"), L"Error 2");
  EXPECT_EQ(GetModuleHandleW(L"qor_no_such_module.dll"), nullptr);
}

TEST(ErrorCodeText, ModuleTextComesFromTheLoadedModule) {
  const wchar_t* holder = nullptr;
  for (const wchar_t* name : {L"kernelbase.dll", L"kernel32.dll"})
    if (!holder && !referenceText(2, GetModuleHandleW(name)).empty()) holder = name;
  ASSERT_NE(holder, nullptr);
  const std::wstring text = formatMessage(2ul, holder);
  EXPECT_EQ(text, referenceText(2, GetModuleHandleW(holder)));
  EXPECT_EQ(text.find_first_of(L"\r\n"), std::wstring::npos);
}

struct ErrorObject {
  ICreateErrorInfo* create = nullptr;
  explicit ErrorObject(const wchar_t* description) {
    EXPECT_EQ(CreateErrorInfo(&create), S_OK);
    if (description) create->SetDescription(const_cast<wchar_t*>(description));
  }
  ~ErrorObject() { create->Release(); }
};

TEST(ErrorCodeText, HresultTakesTheObjectsOwnDescriptionEvenEmpty) {
  ErrorObject widget(L"Widget jammed\r\nsecond line"), silent(nullptr);
  const long fail = static_cast<long>(0x80004005ul);
  EXPECT_EQ(formatMessage(fail, widget.create), L"[0x80004005] Widget jammed\r\nsecond line");
  widget.create->AddRef();
  EXPECT_EQ(widget.create->Release(), 1u);  // the IErrorInfo obtained was released
  EXPECT_EQ(formatMessage(fail, silent.create), L"[0x80004005] ");
}

struct BrokenErrorInfo : IErrorInfo {
  ULONG count = 1;
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** out) override {
    *out = static_cast<IErrorInfo*>(this);
    return AddRef(), S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++count; }
  ULONG STDMETHODCALLTYPE Release() override { return --count; }
  HRESULT STDMETHODCALLTYPE GetGUID(GUID*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetSource(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetDescription(BSTR* text) override {
    *text = SysAllocString(L"half-written");
    return E_OUTOFMEMORY;
  }
  HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD*) override { return E_NOTIMPL; }
};

TEST(ErrorCodeText, HresultIsEightLowerCaseHexDigitsThenTheSystemText) {
  const long fail = static_cast<long>(0x80004005ul);
  EXPECT_EQ(formatMessage(fail, nullptr), L"[0x80004005] " + formatMessage(0x80004005ul, nullptr));
  EXPECT_EQ(formatMessage(2l, nullptr), L"[0x00000002] " + formatMessage(2ul, nullptr));
  EXPECT_EQ(formatMessage(static_cast<long>(0x8badf00dul), nullptr), L"[0x8badf00d] Error 2343432205");
  IStream* stream = nullptr;
  ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &stream), S_OK);
  EXPECT_EQ(formatMessage(fail, stream), formatMessage(fail, nullptr));
  stream->AddRef();
  EXPECT_EQ(stream->Release(), 1u);
  stream->Release();
  BrokenErrorInfo broken;
  EXPECT_EQ(formatMessage(fail, &broken), formatMessage(fail, nullptr));
  EXPECT_EQ(broken.count, 1u);
}

TEST(WinErrorText, EachConstructorBuildsItsForm) {
  const std::wstring notFound = formatMessage(2ul, nullptr);
  EXPECT_EQ(WinError(2ul).wWhat(), notFound);
  EXPECT_EQ(WinError(L"CreateFileW", 2ul).wWhat(), notFound + L" calling CreateFileW");
  EXPECT_EQ(WinError(static_cast<const wchar_t*>(nullptr), 2ul).wWhat(), notFound + L" calling ");
  const long fail = static_cast<long>(0x80004005ul);
  EXPECT_EQ(WinError(fail, nullptr).wWhat(), formatMessage(fail, nullptr));
  ErrorObject widget(L"Widget jammed");
  EXPECT_EQ(std::wstring(WinError(fail, widget.create).wWhat()), L"[0x80004005] Widget jammed");
  EXPECT_STREQ(WinError(L"IWidget::Spin", fail, widget.create).what(),
               "[0x80004005] Widget jammed calling IWidget::Spin");
}

TEST(WinErrorText, MovesKeepTheTextsOnBothSides) {
  WinError a(L"ReadFile", 5ul);
  const std::wstring text = a.wWhat();
  const std::string narrow = a.what();
  WinError b(std::move(a));
  WinError c(87ul);
  c = std::move(b);
  EXPECT_EQ(a.wWhat(), text);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(b.wWhat(), text);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(c.wWhat(), text);
  EXPECT_EQ(c.what(), narrow);
}

TEST(ThrowIntCast, ThrowsAQorErrorWithTheFixedText) {
  try {
    throwIntCast();
    FAIL() << "nothing thrown";
  } catch (const QOR::QorError& e) {
    EXPECT_EQ(dynamic_cast<const WinError*>(&e), nullptr);
    EXPECT_STREQ(e.wWhat(), L"integer value right out of range");
    EXPECT_STREQ(e.what(), "integer value right out of range");
  }
}

}  // namespace
