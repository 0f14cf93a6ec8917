// The default output: each geometry type in its text form.
#include "command.h"

#include <qorcor14/geometry.h>

#include <sstream>

namespace qortool {

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
  out << L"  v = " << v << L", |v| = " << v.length() << L", unit " << v.unit() << L", quadrant "
      << v.quadrant() << L", direction " << v.theta() << L" degrees\n";
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

  print(out.str());
  return 0;
}

}  // namespace qortool
