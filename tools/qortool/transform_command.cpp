// qortool transform: builds a chain of transforms from the command line,
// prints each step and the composed transform with its kind, and maps points
// and an extent through it and through its inverse.
//
// Grammar (N = 2, or 3 with --3d; each operation takes a fixed count of
// numbers):
//   translate D1..DN         rotate DEG (2-D) | rotate DEG AX AY AZ (3-D)
//   scale S                  stretch S1..SN
//   mirror P1..PN D1..DN     the line through P along D (2-D) or the plane
//                            through P with normal D (3-D)
//   perspective              the default unit projection
//   --points X1..XN ...      any number of points
//   --extent LO1..LON HI1..HIN
#include "command.h"

#include <qorcor14/transform.h>

#include <array>
#include <cstdlib>
#include <iomanip>
#include <memory>
#include <sstream>

namespace qortool {
namespace {

bool isNumber(const std::string& text) {
  if (text.empty()) return false;
  char* end = nullptr;
  std::strtod(text.c_str(), &end);
  return end == text.c_str() + text.size();
}

template <int N>
class Chain {
public:
  explicit Chain(const Args& args) : m_args(args) {}

  int run() {
    std::wostringstream out;
    while (m_i < m_args.size()) {
      const std::string op = m_args[m_i++];
      if (op == "--points") {
        if (m_i >= m_args.size() || !isNumber(m_args[m_i])) throw UsageError("--points needs at least one point");
        while (m_i < m_args.size() && isNumber(m_args[m_i]))
          m_points.push_back(Point<N>(numbers<N>("--points").data()));
        continue;
      }
      if (op == "--extent") {
        const auto v = numbers<2 * N>("--extent");
        m_extent = Extent<N>(Point<N>(v.data()), Point<N>(v.data() + N));
        m_hasExtent = true;
        continue;
      }
      std::unique_ptr<Transform<N>> step = make(op);
      out << std::left << std::setw(12) << widen(op) << std::setw(0) << *step << L"\n";
      m_chain = m_chain ? compose(*m_chain, *step) : std::move(step);
    }
    if (!m_chain)
      throw UsageError("needs at least one operation (translate, rotate, scale, stretch, mirror, perspective)");

    out << L"kind        " << kindOf(*m_chain) << L"\n";
    out << L"composed    " << *m_chain << L"\n";
    for (const Point<N>& p : m_points)
      out << L"point       " << p << L" -> " << p * *m_chain << L"  inverse " << p / *m_chain << L"\n";
    if (m_hasExtent)
      out << L"extent      " << m_extent << L" -> " << m_extent * *m_chain << L"  inverse " << m_extent / *m_chain
          << L"\n";
    print(out.str());
    return 0;
  }

private:
  static std::wstring widen(const std::string& s) { return std::wstring(s.begin(), s.end()); }

  static const wchar_t* kindOf(const Transform<N>& t) {
    if (dynamic_cast<const UniformTransform<N>*>(&t)) return L"Uniform";
    if (dynamic_cast<const NonUniformTransform<N>*>(&t)) return L"NonUniform";
    if (dynamic_cast<const PerspectiveTransform<N>*>(&t)) return L"Perspective";
    if (dynamic_cast<const CompoundTransform<N>*>(&t)) return L"Compound";
    return L"Sliced";
  }

  template <int K>
  std::array<double, K> numbers(const std::string& op) {
    std::array<double, K> r{};
    for (int k = 0; k < K; ++k) {
      if (m_i >= m_args.size() || m_args[m_i].rfind("--", 0) == 0)
        throw UsageError(op + " needs " + std::to_string(K) + (K == 1 ? " number" : " numbers"));
      r[static_cast<std::size_t>(k)] = parseDouble(m_args[m_i++], (op + "'s arguments").c_str());
    }
    return r;
  }

  std::unique_ptr<Transform<N>> make(const std::string& op) {
    if (op == "translate") return cloneOf(UniformTransform<N>::translation(Vector<N>(numbers<N>(op).data())));
    if (op == "scale") return cloneOf(UniformTransform<N>::scale(numbers<1>(op)[0]));
    if (op == "perspective") return std::make_unique<PerspectiveTransform<N>>();
    if (op == "stretch") {
      const auto s = numbers<N>(op);
      if constexpr (N == 2) return cloneOf(NonUniformTransform<2>::scale(s[0], s[1]));
      else return cloneOf(NonUniformTransform<3>::scale(s[0], s[1], s[2]));
    }
    if (op == "rotate") {
      if constexpr (N == 2) {
        return cloneOf(UniformTransform<2>::rotation(Angle::degrees(numbers<1>(op)[0])));
      } else {
        const auto a = numbers<4>(op);
        return cloneOf(UniformTransform<3>::rotation(Angle::degrees(a[0]), Vector<3>(a[1], a[2], a[3])));
      }
    }
    if (op == "mirror") {
      const auto p = numbers<N>(op), d = numbers<N>(op);
      if constexpr (N == 2)
        return cloneOf(UniformTransform<2>::mirror(QOR::Line<2>(Vector<2>(d.data()), Point<2>(p.data()))));
      else return cloneOf(UniformTransform<3>::mirror(Plane(Vector<3>(d.data()), Point<3>(p.data()))));
    }
    throw UsageError("unknown operation '" + op + "'");
  }

  const Args& m_args;
  std::size_t m_i = 0;
  std::unique_ptr<Transform<N>> m_chain;
  std::vector<Point<N>> m_points;
  Extent<N> m_extent;
  bool m_hasExtent = false;
};

}  // namespace

int runTransform(const Args& args) {
  if (!args.empty() && args[0] == "--3d") {
    const Args rest(args.begin() + 1, args.end());
    return Chain<3>(rest).run();
  }
  return Chain<2>(args).run();
}

}  // namespace qortool
