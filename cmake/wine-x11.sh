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
# desktop process belong to one display. LC_ALL is en_US.UTF-8 (ANSI code
# page 1252) unless QOR_LC_ALL names another.
set -euo pipefail

prefix=$(dirname "$0")/../build/default/wineprefix-x11
if [ "${1:-}" = --prefix ]; then prefix=$2; shift 2; fi
prefix=$(realpath -m "$prefix")   # Wine wants an absolute path

if [ -z "${DISPLAY:-}" ]; then
  echo "wine-x11.sh: DISPLAY is not set; this runs programs in X windows" >&2
  exit 2
fi

wine_dir=/usr/lib/wine
export WINEPREFIX=$prefix
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
locale=${QOR_LC_ALL:-en_US.UTF-8}
unset WAYLAND_DISPLAY

# bash itself would warn about a locale the host has not generated; only
# Wine reads it, to choose the ANSI code page.
wine() { env LC_ALL="$locale" "$wine_dir/wine64" "$@"; }

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

if [ ! -f "$prefix/.qor-prepared" ]; then
  mkdir -p "$(dirname "$prefix")"
  exec 9>"$prefix.lock"
  flock 9
  if [ ! -f "$prefix/.qor-prepared" ]; then
    prepare >/dev/null 2>&1 || { echo "wine-x11.sh: cannot prepare $prefix" >&2; exit 1; }
    touch "$prefix/.qor-prepared"
  fi
  flock -u 9
  exec 9>&-
fi

exec env LC_ALL="$locale" "$wine_dir/wine64" "$@"
