#!/usr/bin/env bash
# One entry point for building, trying and testing qorcor14 on Debian 12.
#
#   ./build.sh tool [ARGS...]  build the library and run qortool (no ARGS: its tour)
#   ./build.sh test            build and run the whole test suite
#   ./build.sh test-ubsan      the same, trapping on undefined behaviour
#   ./build.sh test-clang      the same, built by clang instead of GCC
#   ./build.sh bench [ARGS...] build and run the benchmarks
#   ./build.sh viewer [FILE]   build and show FILE (a sample drawing) in the
#                              viewer example, in a window on $DISPLAY
#   ./build.sh fuzz [TARGET] [--seconds N]
#                              build the fuzz targets (ubsan) and run TARGET, or
#                              each, for N seconds (60); failing inputs go to
#                              build/fuzz-failures/<target>/
#   ./build.sh format [--check] format the C++ sources (--check: change nothing,
#                              fail on any file that differs or on a public
#                              header that includes what it may not)
#
# Missing Debian packages are installed with apt-get first.
set -euo pipefail
cd "$(dirname "$0")"

packages=(cmake ninja-build g++-mingw-w64-x86-64-posix clang wine64 googletest libeigen3-dev libfccp-dev icc-profiles-free colord-data python3-pil spin clang-format xvfb xdotool x11-apps)

ensure_packages() {
  local missing=()
  for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return
  local sudo=
  [ "$(id -u)" -eq 0 ] || sudo=sudo
  echo "Installing ${missing[*]}" >&2
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}" >&2
}

# Programs run under Wine in the build tree's own prefix.
run_exe() {
  local preset=$1; shift
  "$PWD/cmake/wine-run.sh" --prefix "$PWD/build/$preset/wineprefix" "$@"
}

stop_wine() {
  for prefix in build/*/wineprefix; do
    [ -d "$prefix" ] && WINEPREFIX="$PWD/$prefix" /usr/lib/wine/wineserver -k 2>/dev/null || true
  done
}

# Builds quietly, showing the log only when something fails.
build() {
  local log=build/$1.log
  mkdir -p build
  { cmake --preset "$1" && cmake --build --preset "$1"; } >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
}

command=${1:-}
[ $# -gt 0 ] && shift
case "$command" in
  tool)
    ensure_packages
    build default
    status=0; run_exe default build/default/bin/qortool.exe "$@" || status=$?
    stop_wine; exit $status ;;
  test|test-ubsan|test-clang)
    ensure_packages
    preset=default; [ "$command" != test ] && preset=${command#test-}
    status=0; cmake --workflow --preset "$preset" || status=$?
    stop_wine; exit $status ;;
  bench)
    ensure_packages
    build default
    status=0; run_exe default build/default/bin/qorbench.exe "$@" || status=$?
    stop_wine; exit $status ;;
  viewer)
    [ -n "${DISPLAY:-}" ] || { echo "./build.sh viewer shows a window on \$DISPLAY, which is not set" >&2; exit 2; }
    [ $# -le 1 ] || { echo "./build.sh viewer takes one drawing at most" >&2; exit 2; }
    file=$PWD/examples/viewer/samples/shapes.csv
    # A name is the user's, relative to where the script was started.
    if [ $# -eq 1 ]; then file=$(cd "$OLDPWD" && realpath -e -- "$1") || exit 2; fi
    ensure_packages
    build default
    # Its own prefix with the X11 driver; the viewer gets the file by its Windows name.
    prefix=$PWD/build/default/wineprefix-x11
    status=0; cmake/wine-x11.sh --prefix "$prefix" build/default/bin/viewer.exe "Z:${file//\//\\}" || status=$?
    WINEPREFIX=$prefix /usr/lib/wine/wineserver -k 2>/dev/null || true
    exit $status ;;
  fuzz)
    # The ubsan build: hostile input is where undefined behaviour hides, and
    # there it traps and the input is saved instead of passing silently.
    ensure_packages
    seconds=60; targets=()
    while [ $# -gt 0 ]; do
      case $1 in
        --seconds) seconds=${2:?--seconds needs a number}; shift 2 ;;
        -*) echo "unknown option $1" >&2; exit 2 ;;
        *) targets+=("$1"); shift ;;
      esac
    done
    if [ ${#targets[@]} -eq 0 ]; then
      for source in fuzz/*_fuzz.cpp; do t=${source#fuzz/}; targets+=("${t%_fuzz.cpp}"); done
    fi
    mkdir -p build/fuzz-failures
    log=build/fuzz.log
    { cmake --preset ubsan && cmake --build --preset ubsan --target "${targets[@]/#/fuzz_}"; } >"$log" 2>&1 ||
      { cat "$log" >&2; exit 1; }
    status=0
    for t in "${targets[@]}"; do
      marker=$(mktemp)
      run_exe ubsan "$PWD/build/ubsan/bin/fuzz_$t.exe" --seconds "$seconds" --save "$PWD/build/fuzz-failures" || {
        status=1
        find "build/fuzz-failures/$t" -name '*.bin' -newer "$marker" 2>/dev/null | sed 's/^/failing input: /' >&2
      }
      rm -f "$marker"
    done
    stop_wine; exit $status ;;
  format)
    ensure_packages
    exec tools/check_sources.sh "$@" ;;
  *)
    sed -n '2,19p' "$0" | sed 's/^# \{0,1\}//' >&2; exit 2 ;;
esac
