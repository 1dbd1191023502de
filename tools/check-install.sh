#!/bin/sh
# Install into a temporary prefix and use the installed library the way
# another project would: build examples/hello once through the CMake package
# (find_package(mvip)) and once through pkg-config, run both, and read their
# output with the installed mvtool.
#   tools/check-install.sh [BUILD_DIR]     (default build/; configured and
#                                           built here when needed)
set -eu
cd "$(dirname "$0")/.."
src=$(pwd)
build=${1:-build}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
fail() { echo "check-install: $*" >&2; exit 1; }

[ -f "$build/CMakeCache.txt" ] || cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release >/dev/null
targets="mvip mvtool"
[ -d "$build/python" ] && targets="$targets mvip_python"  # the Python package, when configured
cmake --build "$build" -j"${JOBS:-2}" --target $targets >/dev/null
prefix=$tmp/prefix
cmake --install "$build" --prefix "$prefix" >"$tmp/install.log"

# What the prefix must hold.
pc=$(find "$prefix" -name mvip.pc)
[ -n "$pc" ] || fail "no mvip.pc installed"
libdir=$(dirname "$(dirname "$pc")")
for f in include/mvip.h bin/mvtool; do
    [ -f "$prefix/$f" ] || fail "$f not installed"
done
[ -f "$libdir/cmake/mvip/mvipConfig.cmake" ] && [ -f "$libdir/cmake/mvip/mvipConfigVersion.cmake" ] ||
    fail "CMake package files not installed"
soname=$(objdump -p "$libdir/libmvip.so" | awk '$1 == "SONAME" { print $2 }')
[ -n "$soname" ] && [ -e "$libdir/$soname" ] || fail "libmvip.so has no SONAME, or $libdir/$soname is missing"
echo "check-install: installed into a temporary prefix ($(grep -c Installing "$tmp/install.log") files, SONAME $soname)"

# The example, copied out of the tree so nothing is built inside it.
cp -R "$src/examples/hello" "$tmp/hello"

# 1. CMake package.  The build tree's executable carries the library's
#    directory as its run path.
cmake -S "$tmp/hello" -B "$tmp/hello-cmake" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$tmp/hello-cmake" >/dev/null
"$tmp/hello-cmake/hello" "$tmp/cmake.tif"

# 2. pkg-config.
PKG_CONFIG_PATH="$libdir/pkgconfig" make -s -C "$tmp/hello" hello CFLAGS="-O2 -Wall -Wextra -Werror"
LD_LIBRARY_PATH="$libdir" "$tmp/hello/hello" "$tmp/pkgconfig.tif"

# The installed mvtool finds its library by itself and reads both files.
for f in cmake pkgconfig; do
    env -u LD_LIBRARY_PATH "$prefix/bin/mvtool" info "$tmp/$f.tif" >"$tmp/$f.txt" ||
        fail "installed mvtool could not read $f.tif"
    grep -q '320 x 240' "$tmp/$f.txt" || fail "$f.tif: unexpected description: $(cat "$tmp/$f.txt")"
done
echo "check-install: OK (examples/hello built with find_package(mvip) and with pkg-config, run, output read by the installed mvtool)"

# The Python package, when built: imported from the prefix (it finds the
# installed library through its run path) and run once.
if [ -d "$build/python" ]; then
    module=$(find "$prefix" -name '_mvip*.so' | head -n 1)
    [ -n "$module" ] || fail "the Python module was not installed"
    site=$(dirname "$(dirname "$module")")
    env -u LD_LIBRARY_PATH PYTHONPATH="$site" /usr/bin/python3 -c "
import numpy, mvip, sys
assert mvip.__file__.startswith(sys.argv[1]), mvip.__file__
a = numpy.arange(12, dtype=numpy.uint8).reshape(3, 4)
assert (mvip.pixneg(a) == 255 - a).all()
assert mvip.info(sys.argv[2])['width'] == 320
" "$site" "$tmp/cmake.tif" || fail "the installed Python package does not work"
    echo "check-install: OK (Python package imported from $site)"
fi
