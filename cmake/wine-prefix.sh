# Sourced by wine-run.sh and wine-x11.sh: the environment Wine runs in, and a
# prefix prepared once (by the sourcing script's prepare function) under a
# lock, so that parallel runs never prepare it twice.
#
# LC_ALL is en_US.UTF-8 (ANSI code page 1252) unless QOR_LC_ALL names another.

wine_dir=/usr/lib/wine
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
locale=${QOR_LC_ALL:-en_US.UTF-8}
unset WAYLAND_DISPLAY

# bash itself would warn about a locale the host has not generated; only
# Wine reads it, to choose the ANSI code page.
wine() { env LC_ALL="$locale" "$wine_dir/wine64" "$@"; }

# run_in_prefix NAME PREFIX PROGRAM [ARGS...]: prepares PREFIX with
# prepare() on first use (NAME names the caller in a failure), then replaces
# this shell with PROGRAM under Wine.
run_in_prefix() {
  local name=$1
  prefix=$(realpath -m "$2")   # Wine wants an absolute path
  shift 2
  export WINEPREFIX=$prefix
  if [ ! -f "$prefix/.qor-prepared" ]; then
    mkdir -p "$(dirname "$prefix")"
    exec 9>"$prefix.lock"
    flock 9
    if [ ! -f "$prefix/.qor-prepared" ]; then
      prepare >/dev/null 2>&1 || { echo "$name: cannot prepare $prefix" >&2; exit 1; }
      touch "$prefix/.qor-prepared"
    fi
    flock -u 9
    exec 9>&-
  fi
  exec env LC_ALL="$locale" "$wine_dir/wine64" "$@"
}
