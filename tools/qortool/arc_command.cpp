// qortool arc: every derived quantity of a circular arc given by its ends and
// bulge, the flat per-unit-chord functions of the bulge, and optionally the
// split of the arc at a parameter t.
//
// The arguments are numbers and options: the count of numbers picks the kind
// of arc (five for a planar one: X0 Y0 BULGE X1 Y1; seven for a spatial one:
// X0 Y0 Z0 BULGE X1 Y1 Z1), and each option takes a fixed number of values.
// A spatial arc turns about --axis AX AY AZ, by default (0,0,1); a straight
// one given without an axis gets the axis its two-point constructor picks.
#include "command.h"

#include <qorcor14/arc.h>

#include <cstring>
#include <iomanip>
#include <map>
#include <sstream>

namespace qortool {
namespace {

struct Option {
  const char* name;
  std::size_t values;
  const char* what;
};

const Option kOptions[] = {
    {"--split", 1, "the split parameter"},
    {"--axis", 3, "each axis component"},
    {"--bisect", 0, ""},
};

struct Parsed {
  std::vector<double> numbers;
  std::map<std::string, std::vector<double>> options;
};

Parsed parse(const Args& args) {
  Parsed p;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a.rfind("--", 0) != 0) {
      p.numbers.push_back(parseDouble(a, "each coordinate and the bulge"));
      continue;
    }
    const Option* option = nullptr;
    for (const Option& o : kOptions)
      if (a == o.name) option = &o;
    if (!option) throw UsageError("unknown option '" + a + "'");
    if (p.options.count(a)) throw UsageError(a + " given twice");
    std::vector<double>& values = p.options[a];
    for (std::size_t k = 0; k < option->values; ++k) {
      if (++i == args.size())
        throw UsageError(a + " needs " +
                         (option->values == 1 ? std::string("a value") : std::to_string(option->values) + " values"));
      values.push_back(parseDouble(args[i], option->what));
    }
  }
  return p;
}

void line(std::wostringstream& out, const wchar_t* label, const auto& value) {
  out << std::left << std::setw(18) << label << std::setw(0) << value << L"\n";
}

void describeFlat(std::wostringstream& out, double b) {
  out << L"\nper unit chord, from the bulge alone\n";
  line(out, L"QORArcLength", QORArcLength(b));
  line(out, L"QORArcSegmentArea", QORArcSegmentArea(b));
  line(out, L"QORArcSegmentCoG", QORArcSegmentCoG(b));
}

// What differs between the planar and the spatial arc: the lines only a
// spatial arc has, the chord's right (where a positive bulge bulges: for a
// spatial arc chord × axis) and how a sub-arc is made.
void describeAxis(std::wostringstream&, const QOR::Arc<2>&) {}
void describeAxis(std::wostringstream& out, const QOR::Arc<3>& arc) { line(out, L"axis", arc.axis()); }
void describePlane(std::wostringstream&, const QOR::Arc<2>&) {}
void describePlane(std::wostringstream& out, const QOR::Arc<3>& arc) { line(out, L"plane", arc.plane()); }

Vector<2> chordRight(const QOR::Arc<2>&, const Vector<2>& d) { return Vector<2>(d[1], -d[0]); }
Vector<3> chordRight(const QOR::Arc<3>& arc, const Vector<3>& d) { return cross(d, arc.axis()); }

QOR::Arc<2> subArc(const QOR::Arc<2>&, const Point<2>& a, double bulge, const Point<2>& b) {
  return QOR::Arc<2>(a, bulge, b);
}
QOR::Arc<3> subArc(const QOR::Arc<3>& arc, const Point<3>& a, double bulge, const Point<3>& b) {
  return QOR::Arc<3>(a, bulge, arc.axis(), b);
}

template <int N>
void describe(std::wostringstream& out, const QOR::Arc<N>& arc) {
  line(out, L"start", arc.start());
  line(out, L"end", arc.end());
  line(out, L"bulge", arc.bulge());
  describeAxis(out, arc);
  line(out, L"chord", (arc.end() - arc.start()).length());
  describePlane(out, arc);
  line(out, L"centre", arc.centre());
  line(out, L"radius", arc.radius());
  line(out, L"length", arc.length());
  line(out, L"midpoint", arc.midpoint());
  line(out, L"deviation", arc.deviation());
  line(out, L"extent", arc.extent());
  line(out, L"text", arc);
}

// The split's outputs live in the unit-chord frame: along the chord from its
// middle, and offset to the chord's right, where a positive bulge bulges.
template <int N>
void describeSplit(std::wostringstream& out, const QOR::Arc<N>& arc, double t) {
  double bulge1, offset, along, tangentOffset, tangentAlong, bulge2;
  QORArcSplit(t, arc.bulge(), &bulge1, &offset, &along, &tangentOffset, &tangentAlong, &bulge2);
  out << L"\nQORArcSplit(" << t << L", " << arc.bulge() << L")\n";
  line(out, L"bulge1", bulge1);
  line(out, L"offset", offset);
  line(out, L"along", along);
  line(out, L"tangentOffset", tangentOffset);
  line(out, L"tangentAlong", tangentAlong);
  line(out, L"bulge2", bulge2);
  const Vector<N> d = arc.end() - arc.start();
  const Vector<N> right = chordRight(arc, d);
  const Point<N> at = midpoint(arc.start(), arc.end()) + d * along + right * offset;
  line(out, L"split point", at);
  line(out, L"direction", d.unit() * tangentAlong + right.unit() * tangentOffset);
  line(out, L"first arc", subArc(arc, arc.start(), bulge1, at));
  line(out, L"second arc", subArc(arc, at, bulge2, arc.end()));
}

void describeBisect(std::wostringstream& out, const QOR::Arc<3>& arc) {
  QOR::Arc<3> first, second;
  arc.bisect(first, second);
  out << L"\nbisect\n";
  line(out, L"first half", first);
  line(out, L"second half", second);
}

}  // namespace

int runArc(const Args& args) {
  const Parsed p = parse(args);
  std::wostringstream out;
  out << std::setprecision(15);
  const std::vector<double>& n = p.numbers;
  const auto split = p.options.find("--split");
  const auto axis = p.options.find("--axis");
  const bool bisect = p.options.count("--bisect") != 0;
  if (n.size() == 5) {
    if (axis != p.options.end()) throw UsageError("--axis needs a spatial arc (7 numbers)");
    if (bisect) throw UsageError("--bisect needs a spatial arc (7 numbers)");
    const QOR::Arc<2> arc(Point<2>(n[0], n[1]), n[2], Point<2>(n[3], n[4]));
    describe(out, arc);
    describeFlat(out, arc.bulge());
    if (split != p.options.end()) describeSplit(out, arc, split->second[0]);
  } else if (n.size() == 7) {
    const Point<3> start(n[0], n[1], n[2]), end(n[4], n[5], n[6]);
    QOR::Arc<3> arc(start, end);
    if (axis != p.options.end()) {
      const std::vector<double>& a = axis->second;
      arc = QOR::Arc<3>(start, n[3], Vector<3>(a[0], a[1], a[2]), end);
    } else if (n[3] != 0) {
      arc = QOR::Arc<3>(start, n[3], Vector<3>(0, 0, 1), end);
    }
    describe(out, arc);
    describeFlat(out, arc.bulge());
    if (split != p.options.end()) describeSplit(out, arc, split->second[0]);
    if (bisect) describeBisect(out, arc);
  } else {
    throw UsageError("needs X0 Y0 BULGE X1 Y1 (5 numbers) or X0 Y0 Z0 BULGE X1 Y1 Z1 (7 numbers), got " +
                     std::to_string(n.size()));
  }
  print(out.str());
  return 0;
}

}  // namespace qortool
