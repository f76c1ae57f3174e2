# What tools/wine_prefix and tools/wine_run share; sourced by both, not run.
#
# A Wine prefix is one isolated Windows machine: registry, services, drivers, files. They live side
# by side in one folder (ZV_WINE_HOME), cloned from one template:
#   template/       made once by wineboot
#   prefix-N/       clones of it, N = 1, 2, ...
#   prefix-N.lock   held by the program that uses prefix N
#   setup.lock      held while anything is made or started
#   xvfb            "PID :DISPLAY" of the display that all prefixes use for their windows

zv_wine_home="${ZV_WINE_HOME:-${XDG_CACHE_HOME:-${HOME:-/tmp}/.cache}/zvworker-wine}"
zv_wine_limit="${ZV_WINE_PREFIXES:-8}"

export WINEARCH=win64
export WINEDEBUG="${WINEDEBUG:--all}"
# No debugger, .NET, browser or menu entries: they cost time or wait for a person.
export WINEDLLOVERRIDES="winedbg.exe=d;mscoree=d;mshtml=d;winemenubuilder.exe=d"

# The programs themselves: Debian's wrapper would print a warning about 32-bit support.
zv_wine=
zv_wineserver=
for candidate in /usr/lib/wine/wine64 "$(command -v wine64 || true)" "$(command -v wine || true)"; do
  if [ -z "$zv_wine" ] && [ -x "$candidate" ]; then zv_wine=$candidate; fi
done
for candidate in /usr/lib/wine/wineserver64 /usr/lib/wine/wineserver "$(command -v wineserver || true)"; do
  if [ -z "$zv_wineserver" ] && [ -x "$candidate" ]; then zv_wineserver=$candidate; fi
done
if [ -z "$zv_wine" ] || [ -z "$zv_wineserver" ]; then
  echo "Wine is missing: install the packages wine and wine64" >&2
  exit 127
fi

# What the services of a prefix inherit stays open for as long as they live: give them nothing of the
# caller's. Otherwise a test runner waits for the end of a pipe that a service holds.
zv_detached() {
  timeout 120 "$@" </dev/null >/dev/null 2>&1 7>&- 8>&- 9>&-
}

zv_display_alive() {
  local pid rest
  read -r pid rest 2>/dev/null <"$zv_wine_home/xvfb" || return 1
  [ "$(cat "/proc/$pid/comm" 2>/dev/null)" = Xvfb ]
}

zv_use_display() {
  local pid display
  unset DISPLAY
  if zv_display_alive; then
    read -r pid display <"$zv_wine_home/xvfb"
    export DISPLAY="$display"
  fi
}

# Needs setup.lock. Without Xvfb everything but top-level windows works.
zv_start_display() {
  local number pid
  if zv_display_alive || ! command -v Xvfb >/dev/null; then return 0; fi
  local numbers="$zv_wine_home/xvfb.number"
  : >"$numbers"
  setsid Xvfb -displayfd 6 -screen 0 1024x768x16 -nolisten tcp \
    6>"$numbers" </dev/null >/dev/null 2>&1 7>&- 8>&- 9>&- &
  pid=$!
  disown "$pid"
  for _ in $(seq 200); do
    number=$(cat "$numbers")
    [ -n "$number" ] && break
    kill -0 "$pid" 2>/dev/null || break
    sleep 0.05
  done
  rm -f "$numbers"
  if [ -z "$number" ]; then
    kill "$pid" 2>/dev/null
    echo "warning: Xvfb does not start; tests with windows will fail" >&2
    return 0
  fi
  echo "$pid :$number" >"$zv_wine_home/xvfb"
}

# Needs setup.lock.
zv_make_template() {
  local version
  version=$("$zv_wine" --version)
  if [ "$(cat "$zv_wine_home/template/.zv-complete" 2>/dev/null)" = "$version" ]; then return 0; fi
  zv_stop_servers
  rm -rf "$zv_wine_home/template" "$zv_wine_home"/prefix-*/
  mkdir -p "$zv_wine_home/template"
  local WINEPREFIX="$zv_wine_home/template"
  export WINEPREFIX
  if ! zv_detached "$zv_wine" wineboot -i; then
    echo "wineboot failed in $WINEPREFIX" >&2
    return 1
  fi
  # The registry files are complete once the server has ended.
  zv_detached "$zv_wineserver" -k
  zv_detached "$zv_wineserver" -w
  echo "$version" >"$WINEPREFIX/.zv-complete"
}

zv_server_runs() {
  WINEPREFIX=$1 zv_detached "$zv_wineserver" -k0
}

# Needs setup.lock. Hard links save 700 MB for each prefix; the registry is written anew in each.
zv_make_prefix() {
  local prefix="$zv_wine_home/prefix-$1"
  if [ ! -e "$prefix/.zv-complete" ]; then
    rm -rf "$prefix" "$prefix.new"
    cp -al "$zv_wine_home/template" "$prefix.new"
    cp --remove-destination "$zv_wine_home/template"/*.reg "$prefix.new/"
    mv "$prefix.new" "$prefix"
  fi
  if zv_server_runs "$prefix" && [ -e "$prefix/.zv-warm" ]; then return 0; fi
  rm -f "$prefix/.zv-warm"
  # A server of its own that stays: without it services and drivers end with the last program. The
  # first program starts the services and the desktop, so that no test's pipes are inherited by them.
  WINEPREFIX=$prefix zv_detached "$zv_wineserver" -p
  WINEPREFIX=$prefix zv_detached "$zv_wine" cmd /c exit
  WINEPREFIX=$prefix zv_detached "$zv_wine" rundll32 user32.dll,MessageBeep
  : >"$prefix/.zv-warm"
}

zv_prefix_ready() {
  [ -e "$zv_wine_home/prefix-$1/.zv-warm" ] && zv_server_runs "$zv_wine_home/prefix-$1" && zv_display_ready
}

zv_display_ready() {
  zv_display_alive || ! command -v Xvfb >/dev/null
}

# Makes prefix N ready; any number of programs may ask at once.
zv_prepare() {
  if zv_prefix_ready "$1"; then return 0; fi
  mkdir -p "$zv_wine_home"
  (
    flock 8
    zv_start_display
    zv_use_display
    zv_make_template && zv_make_prefix "$1"
  ) 8>>"$zv_wine_home/setup.lock"
}

zv_stop_servers() {
  local prefix
  for prefix in "$zv_wine_home"/template "$zv_wine_home"/prefix-*/; do
    if [ -d "$prefix" ] && zv_server_runs "${prefix%/}"; then
      WINEPREFIX=${prefix%/} zv_detached "$zv_wineserver" -k
      WINEPREFIX=${prefix%/} zv_detached "$zv_wineserver" -w
    fi
    rm -f "${prefix%/}/.zv-warm"
  done
}

zv_stop_display() {
  local pid rest
  if zv_display_alive; then
    read -r pid rest <"$zv_wine_home/xvfb"
    kill "$pid"
  fi
  rm -f "$zv_wine_home/xvfb"
}
