// qortool: a console tour and calculator over qorcor14, linked to the DLL like
// any client. With no arguments it prints a tour of the geometry types.
#include "command.h"

#include <cstdio>
#include <cstring>
#include <exception>

namespace qortool {
namespace {

const Command kCommands[] = {
    {"tour", "print a short tour of the geometry types (the default)", runTour},
    {"matrix", "matrix E11 E12 ... ENN  (1, 4, 9 or 16 elements, row by row): determinant, inverse, transpose",
     runMatrix},
    {"char", "char U+XXXX|CHARACTER: Unicode class, UTF-16 units, UTF-8 bytes and line-break role", runChar},
    {"number", "number TEXT: what the strict integer and decimal parsers make of TEXT", runNumber},
    {"arc", "arc X0 Y0 BULGE X1 Y1 | X0 Y0 Z0 BULGE X1 Y1 Z1 [--axis AX AY AZ] [--split T] [--bisect]: centre, radius, length, extent... of a circular arc",
     runArc},
    {"transform",
     "transform [--3d] OP... [--points X Y ...] [--extent LO HI]: chain translate, rotate, scale, stretch, mirror, "
     "perspective; e.g. transform translate 1 2 rotate 90 scale 2 --points 1 0 --extent 0 0 1 1",
     runTransform},
    {"uuid", "uuid [TEXT]: a new UUID, or TEXT checked and normalised (exit 2 when it is not a UUID)", runUuid},
    {"quark", "quark TEXT...: intern the texts; which share one quark, their ordinal and collating orders", runQuark},
    {"csv",
     "csv [FILE] [--columns \"A,B\"] [--format table|tsv|json|csv] [--to OUT --encoding utf8|utf16le|utf16be|ansi]: "
     "show or re-encode a CSV file (no FILE: a built-in sample; csv --help for more)",
     runCsv},
};

int help() {
  std::printf("usage: qortool [COMMAND [ARGS...]]\n\ncommands:\n");
  for (const Command& c : kCommands) std::printf("  %-8s %s\n", c.name, c.synopsis);
  std::printf("  %-8s %s\n", "--help", "list the commands (also -h)");
  std::printf("  %-8s %s\n", "--version", "print the library's version");
  return 0;
}

}  // namespace
}  // namespace qortool

int main(int argc, char** argv) {
  using namespace qortool;
  const char* name = argc > 1 ? argv[1] : "tour";
  if (std::strcmp(name, "--help") == 0 || std::strcmp(name, "-h") == 0 || std::strcmp(name, "help") == 0)
    return help();
  if (std::strcmp(name, "--version") == 0) {
    std::printf("qorcor14 %s\n", QORCOR14_VERSION);
    return 0;
  }
  Args args(argv + (argc > 1 ? 2 : 1), argv + argc);
  for (const Command& c : kCommands) {
    if (std::strcmp(c.name, name) != 0) continue;
    try {
      return c.run(args);
    } catch (const UsageError& e) {
      std::fprintf(stderr, "qortool %s: %s\n", name, e.what());
      return 2;
    } catch (const std::exception& e) {
      std::fprintf(stderr, "qortool %s: %s\n", name, e.what());
      return 1;
    }
  }
  std::fprintf(stderr, "qortool: unknown command '%s' (try qortool --help)\n", name);
  return 2;
}
