#!/bin/sh
# Install what the Windows build needs when it is missing: the mingw-w64
# cross compilers (with their binutils) and 64-bit Wine to run the tests.
# GoogleTest is built from the sources libgtest-dev ships (see setup.sh).
set -e
missing=""
command -v x86_64-w64-mingw32-g++-posix >/dev/null 2>&1 || missing="$missing g++-mingw-w64-x86-64"
command -v wine64 >/dev/null 2>&1 || [ -x /usr/lib/wine/wine64 ] || missing="$missing wine64"
[ -f /usr/src/googletest/CMakeLists.txt ] || missing="$missing libgtest-dev"
if [ -n "$missing" ]; then
  echo "setup-windows: installing$missing"
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -q && $SUDO env DEBIAN_FRONTEND=noninteractive apt-get install -y -q $missing
fi
