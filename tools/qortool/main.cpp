// qortool: a console tour and calculator over qorcor14, linked to the DLL like
// any client. With no arguments it prints a tour of the geometry types.
#include "command.h"

#include <qorcor14/diagnostics/debug_stream.h>
#include <qorcor14/errors.h>

#include <qorcor14/text/strings.h>

#include "common/unique_resource.h"

#include <windows.h>
#include <shellapi.h>

#include <cstdio>
#include <cstdlib>
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
    {"arc",
     "arc X0 Y0 BULGE X1 Y1 | X0 Y0 Z0 BULGE X1 Y1 Z1 [--axis AX AY AZ] [--split T] [--bisect]: centre, radius, "
     "length, extent... of a circular arc",
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
    {"draw-demo",
     "draw-demo: hidden windows drawn in the background by a draw thread, highest window first; prints who drew, "
     "stopped, resumed and cancelled what, on which thread",
     runDrawDemo},
    {"path",
     "path KIND ARGS: file names; type|directory|long NAME, join DIR NAME, absolute NAME [BASE], "
     "abbreviate NAME MAXCHARS, chars COMPONENT",
     runPath},
    {"url", "url check|unescape|canonicalize|cleanup|download URL: the URL functions; download prints the cache file",
     runUrl},
    {"colour",
     "colour #RRGGBB|rgb(r,g,b)|hsv(h,s,v)|hls(h,l,s): the colour in every model, its COLORREF, 24-bit and 5-5-5 "
     "pixels",
     runColour},
    {"profile",
     "profile [FILE...] [--to FILE2 --intent 0-3]: id, colour space, class, names and size of ICC profiles (no FILE: "
     "the standard sRGB profile); --to builds a transform and translates a few colours",
     runProfile},
    {"render", "render OUT.bmp [--size W H]: draw a colour wheel, arcs and HLS ramps into a 24-bit .bmp file",
     runRender},
    {"reg",
     "reg get|set|delete|list HKCU\\KEY [VALUE [DATA]]: the current user's registry values with their types; set "
     "stores a REG_SZ, delete without VALUE removes the key and everything below it",
     runReg},
};

int help() {
  std::printf("usage: qortool [COMMAND [ARGS...]]\n\ncommands:\n");
  for (const Command& c : kCommands) std::printf("  %-8s %s\n", c.name, c.synopsis);
  std::printf("  %-8s %s\n", "--help", "list the commands (also -h)");
  std::printf("  %-8s %s\n", "--version", "print the library's version");
  std::printf("  %-8s %s\n", "--debug[=FILE] COMMAND...",
              "run COMMAND with the debug stream on, writing to FILE (a name with # numbers a new file per run) or "
              "to qortool-debug.txt in the temporary folder");
  return 0;
}

// --debug[=FILE]: points the debug stream's variables at FILE (or the default
// file) before anything opens the stream; returns the file, empty for any
// other argument.
std::wstring enableDebug(const char* arg) {
  if (std::strncmp(arg, "--debug", 7) != 0 || (arg[7] != '\0' && arg[7] != '=')) return std::wstring();
  std::wstring file;
  if (arg[7] == '=') {
    int count = 0;
    if (const QOR::internal::UniqueLocalMemory<LPWSTR*> wide(CommandLineToArgvW(GetCommandLineW(), &count)); wide) {
      if (count > 1) file = std::wstring(wide.get()[1]).substr(8);
    }
    if (file.empty()) return std::wstring();
  } else {
    wchar_t temp[MAX_PATH + 1];
    GetTempPathW(MAX_PATH + 1, temp);
    file = std::wstring(temp) + L"qortool-debug.txt";
  }
  const bool numbered = file.find(L'#') != std::wstring::npos;
  _wputenv_s(L"QORDEBUGPRINTTEMPLATE", numbered ? file.c_str() : L"");
  _wputenv_s(L"QORDEBUGPRINTFILE", numbered ? L"" : file.c_str());
  return file;
}

int dispatch(const char* name, const Args& args) {
  for (const Command& c : kCommands) {
    if (std::strcmp(c.name, name) != 0) continue;
    try {
      return c.run(args);
    } catch (const UsageError& e) {
      std::fprintf(stderr, "qortool %s: %s\n", name, e.what());
      return 2;
    } catch (const QOR::QorError& e) {
      // The library's texts name files and URLs: write the wide text as
      // UTF-8, not the ANSI copy that what() holds.
      std::fprintf(stderr, "qortool %s: %s\n", name, utf8(std::wstring(e.wWhat())).c_str());
      return 1;
    } catch (const std::exception& e) {
      std::fprintf(stderr, "qortool %s: %s\n", name, e.what());
      return 1;
    }
  }
  std::fprintf(stderr, "qortool: unknown command '%s' (try qortool --help)\n", name);
  return 2;
}

}  // namespace
}  // namespace qortool

int main(int argc, char** argv) {
  using namespace qortool;
  const std::wstring debugFile = argc > 1 ? enableDebug(argv[1]) : std::wstring();
  if (!debugFile.empty()) {
    ++argv;
    --argc;
  }
  const char* name = argc > 1 ? argv[1] : "tour";
  if (std::strcmp(name, "--help") == 0 || std::strcmp(name, "-h") == 0 || std::strcmp(name, "help") == 0) return help();
  if (std::strcmp(name, "--version") == 0) {
    std::printf("qorcor14 %s\n", QORCOR14_VERSION);
    return 0;
  }
  Args args(argv + (argc > 1 ? 2 : 1), argv + argc);
  if (DebugStream::isActive())
    DebugStream::stream() << DebugStream::GCTID() << L"qortool " << name << L" with " << args.size() << L" arguments\n";
  const int code = dispatch(name, args);
  if (DebugStream::isActive()) {
    DebugStream::stream() << DebugStream::GCTID() << L"qortool " << name << L" exit code " << code << L"\n";
    DebugStream::flush();
  }
  // A failure keeps to its one line; a success says where the trace went.
  if (!debugFile.empty() && code == 0)
    std::fprintf(stderr,
                 DebugStream::isActive() ? "qortool: debug stream written to %s\n"
                                         : "qortool: the debug stream could not open %s\n",
                 utf8(debugFile).c_str());
  return code;
}
