// qortool uuid: makes a new UUID, or checks and normalises a given one.
#include "command.h"

#include <qorcor14/errors.h>
#include <qorcor14/object/uuid.h>
#include <qorcor14/text/strings.h>

#include <cstdio>

namespace qortool {

int runUuid(const Args& args) {
  if (args.size() > 1) throw UsageError("takes at most one argument, the UUID text to check");
  if (args.empty()) {
    print(QOR::UUID::create().toString() + L"\n");
    return 0;
  }
  const std::wstring text = wideArguments(args)[0];
  try {
    print(QOR::UUID(text).toString() + L"\n");
    return 0;
  } catch (const QOR::QorError& e) {
    // The catalogue's text names the rejected input: write it as UTF-8,
    // not through the ANSI copy that what() holds.
    std::fprintf(stderr, "qortool uuid: %s\n", utf8(std::wstring(e.wWhat())).c_str());
    return 2;
  }
}

}  // namespace qortool
