#!/bin/sh
# Run ctest on a cross-built Windows tree under Wine:
#   tools/wine-ctest.sh BUILD_DIR [ctest arguments...]
# The Wine prefix lives in BUILD_DIR/wineprefix.  Wine's server and its
# services are started once before the tests (each test would otherwise
# pay for starting them) and the server is stopped afterwards, whatever the
# tests gave.  WINEDEBUG=-all,err+module keeps Wine quiet except for why a
# program could not be loaded (exit code 53: a DLL was not found).
set -u
[ $# -ge 1 ] || { echo "usage: $0 BUILD_DIR [ctest arguments...]" >&2; exit 2; }
build=$1
shift
[ -d "$build" ] || { echo "wine-ctest: no build folder $build" >&2; exit 2; }

find_wine_tool() {  # $1 name: on the PATH, else where Debian keeps it
    command -v "$1" 2>/dev/null && return 0
    for dir in /usr/lib/wine /usr/lib64/wine /usr/lib/x86_64-linux-gnu/wine; do
        [ -x "$dir/$1" ] && { echo "$dir/$1"; return 0; }
    done
    return 1
}
wine64=$(find_wine_tool wine64) || { echo "wine-ctest: wine64 not found" >&2; exit 2; }
wineserver=$(find_wine_tool wineserver) || { echo "wine-ctest: wineserver not found" >&2; exit 2; }

WINEPREFIX=$(cd "$build" && pwd)/wineprefix
WINEARCH=win64
WINEDEBUG=${WINEDEBUG:--all,err+module}
# No Mono or Gecko: the prefix would otherwise offer to install them.
WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=}
export WINEPREFIX WINEARCH WINEDEBUG WINEDLLOVERRIDES

mkdir -p "$WINEPREFIX"
# A server left over from an interrupted run would refuse a second one.
"$wineserver" -k 2>/dev/null
"$wineserver" -p || { echo "wine-ctest: wineserver did not start" >&2; exit 2; }
trap '"$wineserver" -k 2>/dev/null; exit 130' INT TERM
trap '"$wineserver" -k 2>/dev/null' EXIT
# Creates the prefix the first time; starts Wine's services.  The first run
# may report a missing 32-bit rundll32.exe: a 64-bit prefix does not need it.
"$wine64" wineboot || { echo "wine-ctest: wineboot failed" >&2; exit 2; }

ctest --test-dir "$build" "$@"
rc=$?
exit "$rc"
