// Prints the inverse of a 4x4 matrix, formatted by the library into a client's
// wide string stream.
#include <qorcor14/geometry.h>

#include <iostream>
#include <sstream>

int main() {
  const double rows[4][4] = {{0, 0, 0, 2}, {0, 4, 0, 0}, {0, 0, 8, 0}, {1, 0, 0, 0}};
  std::wostringstream out;
  out << Matrix<4>(rows).inverse();
  std::wcout << out.str() << std::endl;
  return out.str() == L"[0,0,0,1/0,0.25,0,0/0,0,0.125,0/0.5,0,0,0]" ? 0 : 1;
}
