#!/bin/sh
# Check the names the Windows DLL exports against the functions the public
# header declares MVIP_API, and against the Linux shared library's dynamic
# symbols when that has been built:
#   tools/check_exports.sh [build-win/bin/mvip.dll] [build/libmvip.so]
# Fails when the DLL exports a name the header does not declare (a C++
# mangled name, say) or lacks one it declares, and when the C names of the
# shared library differ from the header's.  Mangled names in the shared
# library are listed as a warning: libstdc++ gives its template
# instantiations default visibility, so they escape -fvisibility=hidden.
set -eu
cd "$(dirname "$0")/.."
dll=${1:-build-win/bin/mvip.dll}
so=${2:-build/libmvip.so}
objdump=${OBJDUMP:-x86_64-w64-mingw32-objdump}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# Declarations in the header all read "MVIP_API <type> name(" on one line.
sed -n 's/^[[:space:]]*MVIP_API[^(]*[^A-Za-z0-9_]\([A-Za-z_][A-Za-z0-9_]*\)[[:space:]]*(.*/\1/p' \
    include/mvip.h | sort -u >"$tmp/header"
[ -s "$tmp/header" ] || { echo "check_exports: no MVIP_API names found in include/mvip.h"; exit 1; }

[ -f "$dll" ] || { echo "check_exports: $dll not found"; exit 1; }
"$objdump" -p "$dll" |
    sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^[[:space:]]*\[ *[0-9]*\][[:space:]]*//p' |
    sort >"$tmp/dll"
status=0

report() {  # $1 title, $2 file of names
    if [ -s "$2" ]; then
        echo "check_exports: $1:"
        sed 's/^/  /' "$2"
        status=1
    fi
}

comm -23 "$tmp/header" "$tmp/dll" >"$tmp/missing"
comm -13 "$tmp/header" "$tmp/dll" >"$tmp/extra"
report "declared MVIP_API but not exported by $dll" "$tmp/missing"
report "exported by $dll but not declared MVIP_API" "$tmp/extra"
echo "check_exports: $dll exports $(wc -l <"$tmp/dll") names, the header declares $(wc -l <"$tmp/header")"

if [ -f "$so" ]; then
    nm -D --defined-only "$so" | awk 'NF >= 3 { print $3 }' | sort -u >"$tmp/so_all"
    grep -v '^_Z' "$tmp/so_all" >"$tmp/so" || true
    comm -23 "$tmp/header" "$tmp/so" >"$tmp/so_missing"
    comm -13 "$tmp/header" "$tmp/so" >"$tmp/so_extra"
    report "declared MVIP_API but not exported by $so" "$tmp/so_missing"
    report "C names exported by $so but not declared MVIP_API" "$tmp/so_extra"
    mangled=$(grep -c '^_Z' "$tmp/so_all" || true)
    [ "$mangled" -eq 0 ] ||
        echo "check_exports: warning: $so also exports $mangled C++ names (libstdc++ template instantiations)"
else
    echo "check_exports: $so not built; compared with the header only"
fi

[ "$status" -eq 0 ] && echo "check_exports: OK"
exit "$status"
