// qortool char: what the library knows about one code point, given as U+XXXX
// or typed literally.
#include "command.h"

#include <qorcor14/text/codepoint.h>

#include <windows.h>

#include <cwchar>
#include <sstream>

namespace qortool {
namespace {

const wchar_t* const kCategoryNames[31] = {L"Cn", L"Lu", L"Ll", L"Lt", L"Mn", L"Mc", L"Me", L"Nd", L"Nl", L"No", L"Zs",
                                           L"Zl", L"Zp", L"Cc", L"Cf", L"Cs", L"Co", L"??", L"Lm", L"Lo", L"Pc", L"Pd",
                                           L"Ps", L"Pe", L"Pi", L"Pf", L"Po", L"Sm", L"Sc", L"Sk", L"So"};

std::string toUtf8(const std::wstring& s) {
  std::string out;
  char b[6];
  for (CodePointEnumerator e(s); e; ++e) out.append(b, (*e).utf8(b, sizeof b));
  return out;
}

// U+ followed by 1 to 8 hexadecimal digits.
bool parseUPlus(const std::wstring& a, unsigned int& value) {
  if (a.size() < 3 || a.size() > 10 || (a[0] != L'U' && a[0] != L'u') || a[1] != L'+') return false;
  value = 0;
  for (std::size_t i = 2; i < a.size(); ++i) {
    const wchar_t c = a[i];
    unsigned int digit;
    if (c >= L'0' && c <= L'9') digit = static_cast<unsigned int>(c - L'0');
    else if (c >= L'A' && c <= L'F') digit = static_cast<unsigned int>(c - L'A' + 10);
    else if (c >= L'a' && c <= L'f') digit = static_cast<unsigned int>(c - L'a' + 10);
    else return false;
    value = value << 4 | digit;
  }
  return true;
}

CodePoint parseArgument(const std::wstring& a) {
  unsigned int value = 0;
  if (parseUPlus(a, value)) return CodePoint::codePoint(value);
  if (a.size() >= 2 && (a[0] == L'U' || a[0] == L'u') && a[1] == L'+')
    throw UsageError("'" + toUtf8(a) + "' is not U+ followed by 1 to 8 hex digits");
  CodePointEnumerator e(a);
  if (e) {
    const CodePoint c = *e;
    if (!++e) return c;
  }
  throw UsageError("'" + toUtf8(a) + "' is not a single character (write U+XXXX for a code point)");
}

std::wstring hex(unsigned int v, int width) {
  wchar_t buf[16];
  std::swprintf(buf, 16, L"%0*X", width, v);
  return buf;
}

}  // namespace

int runChar(const Args& args) {
  const std::vector<std::wstring> wide = wideArguments(args);
  if (wide.empty()) throw UsageError("needs a code point: U+XXXX or a single character");
  if (wide.size() > 1)
    throw UsageError("takes one argument (U+XXXX or a single character), got " + std::to_string(wide.size()));
  const CodePoint c = parseArgument(wide[0]);
  const unsigned int v = c.codePoint();

  std::wostringstream out;
  out << L"code point  U+" << hex(v, 4) << L"\n";
  const unsigned char k = unicodeClass(c);
  out << L"class       " << static_cast<unsigned int>(k) << L" " << kCategoryNames[k] << L"\n";

  wchar_t units[2];
  const std::size_t nUnits = c.wchars(units, 2);
  out << L"UTF-16     ";
  for (std::size_t i = 0; i < nUnits; ++i) out << L" " << hex(static_cast<unsigned int>(units[i]), 4);
  if (nUnits == 0) out << L" none (above U+10FFFF)";
  out << L"\n";

  char bytes[6];
  const std::size_t nBytes = c.utf8(bytes, sizeof bytes);
  out << L"UTF-8      ";
  for (std::size_t i = 0; i < nBytes; ++i) out << L" " << hex(static_cast<unsigned char>(bytes[i]), 2);
  if (nBytes == 0) out << L" none (0x80000000 and above)";
  out << L"\n";

  static const wchar_t* const roles[] = {L"none", L"break", L"CR"};
  out << L"line break  " << roles[c.eolCode()] << L"\n";

  out << L"predicates ";
  const struct {
    const wchar_t* name;
    bool (*test)(CodePoint);
  } predicates[] = {{L"alpha", isUalpha}, {L"digit", isUdigit}, {L"alnum", isUalnum}, {L"space", isUspace},
                    {L"ascii", isUascii}, {L"print", isUprint}, {L"graph", isUgraph}, {L"punct", isUpunct}};
  bool any = false;
  for (const auto& p : predicates)
    if (p.test(c)) out << L" " << p.name, any = true;
  if (!any) out << L" none";
  out << L"\n";
  print(out.str());
  return 0;
}

}  // namespace qortool
