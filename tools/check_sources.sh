#!/usr/bin/env bash
# Formats the C++ sources with .clang-format (Debian 12's clang-format 14);
# with --check, changes nothing and fails listing every file that differs.
# Either way it checks the rule for what a public header may include: the
# standard library and qorcor14's own headers, with two exceptions named below.
set -euo pipefail
cd "$(dirname "$0")/.."

mapfile -t sources < <(git ls-files '*.h' '*.cpp')
status=0
if [ "${1:-}" = --check ]; then
  # Each difference is reported with its file and line.
  clang-format --dry-run -Werror "${sources[@]}" || status=1
else
  clang-format -i "${sources[@]}"
fi

# A header name with a dot is no standard C++ header: only qorcor14's own, and
# the two exceptions (registry callers name HKEY_CURRENT_USER; the geometry
# kernels use SSE2 behind the compiler's own macros).
while IFS= read -r line; do
  file=${line%%:*}
  [[ $line =~ include\ *\<([^>]*)\> ]] && header=${BASH_REMATCH[1]}
  case "$file|$header" in
    *"|qorcor14/"*) ;;
    "include/qorcor14/platform/registry.h|windows.h") ;;
    "include/qorcor14/geometry/internal/row_kernels.h|emmintrin.h") ;;
    *) echo "$file: a public header may not include <$header>" >&2; status=1 ;;
  esac
done < <(git grep -n -E '^# *include <[^>]*\.' -- include/ || true)
exit $status
