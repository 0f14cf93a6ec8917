#!/usr/bin/env bash
# Runs a Windows program under Wine on the X display $DISPLAY, in a private
# prefix that uses Wine's X11 driver, preparing the prefix on first use: no
# crash dialog, 96 DPI whatever the X server reports, Wine's default theme
# and its own fonts, and windows that Wine frames itself (no window manager
# draws their frame), so screenshots of the same program look the same on
# every display.
#
#   wine-x11.sh [--prefix DIR] PROGRAM.exe [ARGS...]
#
# The prefix defaults to build/default/wineprefix-x11 beside this script. Keep
# it apart from wine-run.sh's headless prefixes: a prefix's wineserver and
# desktop process belong to one display.
set -euo pipefail

prefix=$(dirname "$0")/../build/default/wineprefix-x11
if [ "${1:-}" = --prefix ]; then prefix=$2; shift 2; fi
if [ -z "${DISPLAY:-}" ]; then
  echo "wine-x11.sh: DISPLAY is not set; this runs programs in X windows" >&2
  exit 2
fi

# shellcheck source=wine-prefix.sh
. "$(dirname "$0")/wine-prefix.sh"

prepare() {
  # Booted without a display: nothing of the first boot shows on the screen.
  (unset DISPLAY; wine wineboot --init)
  local reg=(wine reg add)
  "${reg[@]}" 'HKCU\Software\Wine\Drivers' /v Graphics /d x11 /f
  "${reg[@]}" 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f
  # Wine would otherwise hand a managed window's frame to a window manager
  # where there is one; drawn by Wine, it is the same with or without.
  "${reg[@]}" 'HKCU\Software\Wine\X11 Driver' /v Decorated /d N /f
  "${reg[@]}" 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f
  "${reg[@]}" 'HKCU\Control Panel\Desktop' /v LogPixels /t REG_DWORD /d 96 /f
  "${reg[@]}" 'HKLM\System\CurrentControlSet\Hardware Profiles\Current\Software\Fonts' \
    /v LogPixels /t REG_DWORD /d 96 /f
  "$wine_dir/wineserver" -w
  # Debian's Wine does not find its own fonts (Marlett draws the caption
  # buttons, Tahoma the captions and menus); the prefix's font folder holds
  # them where it looks.
  cp /usr/share/wine/fonts/*.ttf "$prefix/drive_c/windows/Fonts/" 2>/dev/null || true
}

run_in_prefix wine-x11.sh "$prefix" "$@"
