// qortool url: the URL functions on URLs given on the command line.
#include "command.h"

#include <qorcor14/errors.h>
#include <qorcor14/platform/urls.h>
#include <qorcor14/text/strings.h>

#include <cstdio>

namespace qortool {

int runUrl(const Args& args) {
  const std::string kind = args.empty() ? "" : args[0];
  if (kind != "check" && kind != "unescape" && kind != "canonicalize" && kind != "cleanup" && kind != "download")
    throw UsageError("needs a kind: check, unescape, canonicalize, cleanup or download");
  if (args.size() != 2) throw UsageError("usage: qortool url " + kind + " URL");
  const std::wstring url = wideArguments(args)[1];
  if (kind == "check") {
    const bool yes = isURL(url);
    std::printf("%s\n", yes ? "a URL" : "not a URL");
    return yes ? 0 : 1;
  }
  if (kind == "unescape") print(unescapeUrl(url) + L"\n");
  if (kind == "canonicalize") print(canonicalizeUrl(url) + L"\n");
  if (kind == "cleanup") print(cleanupUrl(url) + L"\n");
  if (kind == "download") print(downloadUrlToCache(url) + L"\n");
  return 0;
}

}  // namespace qortool
