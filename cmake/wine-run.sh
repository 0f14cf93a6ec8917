#!/usr/bin/env bash
# Runs a Windows program under Wine in a private prefix, preparing the prefix
# on first use: no display driver but the null one (windows work headless),
# no crash dialog (a crashing program prints a backtrace and fails at once).
#
#   wine-run.sh [--prefix DIR] PROGRAM.exe [ARGS...]
set -euo pipefail

prefix=${QOR_WINEPREFIX:-${HOME:-/tmp}/.qorcor14-wine}
if [ "${1:-}" = --prefix ]; then prefix=$2; shift 2; fi
# shellcheck source=wine-prefix.sh
. "$(dirname "$0")/wine-prefix.sh"
unset DISPLAY

prepare() {
  wine wineboot --init
  wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f
  wine reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f
  "$wine_dir/wineserver" -w
}

run_in_prefix wine-run.sh "$prefix" "$@"
