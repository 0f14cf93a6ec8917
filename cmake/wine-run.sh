#!/usr/bin/env bash
# Runs a Windows program under Wine in a private prefix, preparing the prefix
# on first use: no display driver but the null one (windows work headless),
# no crash dialog (a crashing program prints a backtrace and fails at once).
#
#   wine-run.sh [--prefix DIR] PROGRAM.exe [ARGS...]
#
# LC_ALL is en_US.UTF-8 (ANSI code page 1252) unless QOR_LC_ALL names another.
set -euo pipefail

prefix=${QOR_WINEPREFIX:-${HOME:-/tmp}/.qorcor14-wine}
if [ "${1:-}" = --prefix ]; then prefix=$2; shift 2; fi
prefix=$(realpath -m "$prefix")   # Wine wants an absolute path

wine_dir=/usr/lib/wine
export WINEPREFIX=$prefix
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
locale=${QOR_LC_ALL:-en_US.UTF-8}
unset DISPLAY WAYLAND_DISPLAY

# bash itself would warn about a locale the host has not generated; only
# Wine reads it, to choose the ANSI code page.
wine() { env LC_ALL="$locale" "$wine_dir/wine64" "$@"; }

prepare() {
  wine wineboot --init
  wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f
  wine reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f
  "$wine_dir/wineserver" -w
}

if [ ! -f "$prefix/.qor-prepared" ]; then
  mkdir -p "$(dirname "$prefix")"
  exec 9>"$prefix.lock"
  flock 9
  if [ ! -f "$prefix/.qor-prepared" ]; then
    prepare >/dev/null 2>&1 || { echo "wine-run.sh: cannot prepare $prefix" >&2; exit 1; }
    touch "$prefix/.qor-prepared"
  fi
  flock -u 9
  exec 9>&-
fi

exec env LC_ALL="$locale" "$wine_dir/wine64" "$@"
