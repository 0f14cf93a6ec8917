// The default output: each geometry type in its text form.
#include "command.h"

#include <qorcor14/colour.h>
#include <qorcor14/errors.h>
#include <qorcor14/geometry.h>
#include <qorcor14/object.h>
#include <qorcor14/platform/registry.h>
#include <qorcor14/stream.h>
#include <qorcor14/text.h>

#include <windows.h>

#include <memory>

#include <sstream>

namespace qortool {
namespace {

// A CSV file written in UTF-16LE by a TextWriter, read back by name (the mark
// tells the encoding) through a headed CSVParser; and the lines of a text.
void tourTextFiles(std::wostringstream& out) {
  out << L"\nText files and CSV (qortool csv --help for more)\n";
  wchar_t temp[MAX_PATH + 1];
  GetTempPathW(MAX_PATH + 1, temp);
  const std::wstring name = std::wstring(temp) + L"qortool-tour-" + std::to_wstring(GetCurrentProcessId()) + L".csv";
  try {
    {
      std::unique_ptr<QOR::TextWriter> w(QOR::TextWriter::create(name, QOR::Create, QOR::UTF16le));
      w->write(L"Id,Name,Note\n1,\"M\u00fcller, J.\",\"two\nlines\"\n2,\u5c71\u7530,\"say \"\"hi\"\"\"");
      w->close();
    }
    std::unique_ptr<QOR::TextReader> r(QOR::TextReader::create(name));
    std::unique_ptr<QOR::CSVParser> p(QOR::CSVParser::create(L"Name,Note,Email"));
    QOR::CSVRecordReader records(*p, *r);
    out << L"  UTF-16LE file read back with columns Name,Note,Email:\n";
    std::vector<std::wstring> fields;
    while (records.next(fields)) {
      out << L"   ";
      for (const std::wstring& f : fields) {
        std::wstring shown = f;
        for (wchar_t& c : shown)
          if (c == L'\n') c = L'|';
        out << L" [" << shown << L"]";
      }
      out << L"\n";
    }
    std::vector<bool> missing;
    p->missingColumns(missing);
    out << L"  Email missing from the header line: " << (missing[2] ? L"yes" : L"no") << L"\n";
    r->close();
  } catch (const QOR::QorError& e) {
    out << L"  (" << e.wWhat() << L")\n";
  }
  DeleteFileW(name.c_str());

  const std::wstring text = L"one\r\ntwo\r\rthree\n\nfive\n";
  using Lines = TextLineIterator<const wchar_t*>;
  const wchar_t* b = text.data();
  const wchar_t* e = b + text.size();
  out << L"  lines of \"one CR LF two CR CR three LF LF five LF\":";
  for (Lines i = Lines::begin(b, e), end = Lines::end(b, e); i != end; ++i) out << L" [" << *i << L"]";
  Lines last = Lines::end(b, e);
  --last;
  out << L", last " << *last << L"\n";
}

}  // namespace

namespace {

// Quarks, identifiers, a UUID and an event list with one listener.
void tourObjectModel(std::wostringstream& out) {
  out << L"\nObject model (qortool quark and qortool uuid for more)\n";
  const Quark a = Quark::create(L"layer"), b = Quark::create(std::wstring(L"layer").c_str());
  out << L"  two quarks of \"layer\" share one pointer: " << (a == b ? L"yes" : L"no")
      << L"; the empty text is a quark, not nullQuark: " << (Quark::create(L"") != nullQuark ? L"yes" : L"no") << L"\n";
  const Identifier first, second;
  out << L"  identifiers " << first << L" " << second << L"\n";
  out << L"  nil UUID " << QOR::UUID().toString() << L"\n";

  struct Sum : EVSubscription<int> {
    explicit Sum(EVSubscriptionList<int>& list) : EVSubscription(list) {}
    ~Sum() override { destroy(); }
    void operator()(const int& v) override { total += v; }
    int total = 0;
  };
  auto changed = EVSubscriptionList<int>::create();
  Sum sum(*changed);
  (*changed)(2);
  (*changed)(40);
  out << L"  an event fired with 2 and 40 reaches its listener: total " << sum.total << L"\n";
}

}  // namespace

namespace {

// A few well-known values of the system, read and never written.
void tourRegistry(std::wostringstream& out) {
  out << L"\nRegistry (read only; qortool reg for more)\n";
  const struct {
    HKEY root;
    const wchar_t* key;
    const wchar_t* value;
    const wchar_t* what;
  } values[] = {
      {HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows NT\\CurrentVersion", L"ProductName", L"product name"},
      {HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows NT\\CurrentVersion", L"CurrentVersion", L"version"},
      {HKEY_CURRENT_USER, L"Control Panel\\International", L"LocaleName", L"user's locale"},
      {HKEY_CURRENT_USER, L"Control Panel\\International", L"sDecimal", L"decimal separator"},
  };
  for (const auto& v : values) {
    RegReadKey key(v.root, v.key, 0);
    std::wstring text;
    out << L"  " << v.what << L": ";
    if (key.getString(v.value, text)) {
      out << L"\"" << text << L"\"";
    } else {
      std::wstring message = key.errorMessage();
      for (std::size_t at; (at = message.find_first_of(L"\r\n")) != std::wstring::npos;) message.erase(at, 1);
      out << L"(" << message << L")";
    }
    out << L"\n";
  }
  RegReadKey missing(HKEY_CURRENT_USER, L"Software\\qorcor14-tour\\no such key", 0);
  out << L"  a missing key is not an exception: valid " << (missing.valid() ? L"yes" : L"no") << L", named "
      << missing.errorMessage().substr(0, missing.errorMessage().find(L"\r\n")) << L"\n";
}

}  // namespace

namespace {

// One colour in three models and packed, and the standard sRGB profile.
void tourColour(std::wostringstream& out) {
  out << L"\nColour (qortool colour, profile and render for more)\n";
  const Colour orange = Colour::hsv(Angle::degrees(30), 1, 1);
  out << L"  hsv(30,1,1) = " << orange << L", lightness " << orange.l_hls() << L", COLORREF "
      << stringPrintf(L"0x%06lX", orange.colorref()) << L"\n";
  out << L"  red 1.002 spills into green: COLORREF " << stringPrintf(L"0x%06lX", Colour::rgb(1.002, 0, 0).colorref())
      << L"\n";
  try {
    const auto srgb = QOR::ColourProfile::create(QOR::ColourProfileId::sRGB);
    out << L"  standard profile: '" << srgb->colourSpace() << L"' '" << srgb->profileClass() << L"', "
        << srgb->displayName() << L"\n";
  } catch (const QOR::QorError& e) {
    out << L"  (" << e.wWhat() << L")\n";
  }
  const DIBitmap bmp(3, 2, 24, 0);
  out << L"  a 3 x 2 24-bit bitmap: " << bmp.fileSize() << L" bytes as a file, " << bmp.bitsSize() << L" of pixels\n";
}

}  // namespace

int runTour(const Args& args) {
  if (!args.empty()) throw UsageError("takes no arguments");
  std::wostringstream out;

  out << L"Angles (printed in degrees)\n";
  Angle a = Angle::degrees(30), b = Angle::degrees(90);
  out << L"  30 + 90 = " << a + b << L", 90 + 90 = " << b + b << L", 30 * 3 = " << a * 3 << L"\n";
  out << L"  179 and -179 within 3 degrees: "
      << (closerThanDegrees(Angle::degrees(179), Angle::degrees(-179), 3) ? L"yes" : L"no") << L"\n";

  out << L"\nVectors and points\n";
  Vector<2> v(3, 4);
  Point<3> p(1, 2.5, -3);
  out << L"  v = " << v << L", |v| = " << v.length() << L", unit " << v.unit() << L", quadrant " << v.quadrant()
      << L", direction " << v.theta() << L" degrees\n";
  out << L"  p = " << p << L", p + (1,1,1) = " << p + Vector<3>(1, 1, 1) << L", midpoint to origin "
      << midpoint(p, Point<3>::origin()) << L"\n";
  out << L"  cross((1,0,0), (0,1,0)) = " << cross(Vector<3>(1, 0, 0), Vector<3>(0, 1, 0)) << L"\n";

  out << L"\nMatrices (rows separated by /)\n";
  const double rows[3][3] = {{2, 0, 1}, {1, 3, 0}, {0, 1, 4}};
  Matrix<3> m(rows);
  out << L"  m = " << m << L", determinant " << m.determinant() << L"\n";
  out << L"  inverse " << m.inverse() << L"\n";
  out << L"  (1,1,1) * m = " << Vector<3>(Vector<3>(1, 1, 1), m) << L"\n";

  out << L"\nExtents (lower:upper corner)\n";
  Extent<2> e1(Point<2>(0, 0), Point<2>(2, 1)), e2(Point<2>(1, -1), Point<2>(3, 0.5));
  out << L"  " << e1 << L" | " << e2 << L" = " << (e1 | e2) << L"\n";
  out << L"  " << e1 << L" & " << e2 << L" = " << (e1 & e2) << L"\n";
  out << L"  " << e1 << L" & " << Extent<2>(Point<2>(5, 5), Point<2>(6, 6)) << L" = "
      << (e1 & Extent<2>(Point<2>(5, 5), Point<2>(6, 6))) << L"\n";
  out << L"  empty extent plus (3,4) = " << Extent<2>() + Point<2>(3, 4) << L"\n";

  tourTextFiles(out);
  tourObjectModel(out);
  tourRegistry(out);
  tourColour(out);

  print(out.str());
  return 0;
}

}  // namespace qortool
