// qortool matrix: determinant, inverse and transpose of a matrix given row by row.
#include "command.h"

#include <qorcor14/geometry.h>

#include <sstream>

namespace qortool {
namespace {

template <int N>
void describe(const std::vector<double>& e, std::wostringstream& out, double determinant) {
  double rows[N][N];
  for (int i = 0; i < N; ++i)
    for (int j = 0; j < N; ++j) rows[i][j] = e[static_cast<std::size_t>(i * N + j)];
  Matrix<N> m(rows);
  out << L"matrix      " << m << L"\n";
  out << L"determinant " << determinant << L"\n";
  out << L"inverse     " << m.inverse() << L"\n";
  out << L"transpose   " << m.transpose() << L"\n";
}

template <int N>
double determinantOf(const std::vector<double>& e) {
  double rows[N][N];
  for (int i = 0; i < N; ++i)
    for (int j = 0; j < N; ++j) rows[i][j] = e[static_cast<std::size_t>(i * N + j)];
  return Matrix<N>(rows).determinant();
}

// The library has no 4x4 determinant; expand along the first row into 3x3 ones.
double determinant4(const std::vector<double>& e) {
  double sum = 0;
  for (int j = 0; j < 4; ++j) {
    std::vector<double> minor;
    for (int r = 1; r < 4; ++r)
      for (int c = 0; c < 4; ++c)
        if (c != j) minor.push_back(e[static_cast<std::size_t>(r * 4 + c)]);
    sum += (j % 2 ? -1 : 1) * e[static_cast<std::size_t>(j)] * determinantOf<3>(minor);
  }
  return sum;
}

}  // namespace

int runMatrix(const Args& args) {
  std::vector<double> e;
  for (const std::string& a : args) e.push_back(parseDouble(a, "each element"));
  std::wostringstream out;
  switch (e.size()) {
  case 1: describe<1>(e, out, determinantOf<1>(e)); break;
  case 4: describe<2>(e, out, determinantOf<2>(e)); break;
  case 9: describe<3>(e, out, determinantOf<3>(e)); break;
  case 16: describe<4>(e, out, determinant4(e)); break;
  default:
    throw UsageError("needs 1, 4, 9 or 16 elements (a square matrix row by row), got " + std::to_string(e.size()));
  }
  print(out.str());
  return 0;
}

}  // namespace qortool
