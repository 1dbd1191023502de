#!/bin/sh
# Build the file-reader fuzz targets with clang's libFuzzer (plus ASan and
# UBSan) and run each for a while on its seed corpus:
#   tools/fuzz.sh [seconds per target]      (default 600)
# FUZZ_TARGETS="jpeg" limits the run to the targets named.
# Crashing inputs land in build-fuzz/crashes-<target>/; keep each one as a
# regression case under tests/fuzz/regressions/.
set -e
cd "$(dirname "$0")/.."
SECONDS_PER_TARGET=${1:-600}
command -v clang++ >/dev/null 2>&1 || { echo "fuzz: clang++ is needed (Debian package clang)"; exit 1; }
OUT=build-fuzz
mkdir -p $OUT
SOURCES=$(find core views ops regions draw files -name '*.cpp' | sort)
FLAGS="-std=c++20 -O1 -g -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=all -Iinclude -I. -DMVIP_BUILDING -fno-strict-aliasing"
for target in ${FUZZ_TARGETS:-tiff bmp jpeg}; do
  define=""; [ $target = bmp ] && define="-DMVIP_FUZZ_BMP"; [ $target = jpeg ] && define="-DMVIP_FUZZ_JPEG"
  if [ ! -x $OUT/fuzz_$target ] || [ -n "$(find $SOURCES tests/fuzz/fuzz_reader.cpp -newer $OUT/fuzz_$target | head -1)" ]; then
    echo "fuzz: building fuzz_$target"
    clang++ $FLAGS $define $SOURCES tests/fuzz/fuzz_reader.cpp -o $OUT/fuzz_$target
  fi
done
for target in ${FUZZ_TARGETS:-tiff bmp jpeg}; do
  corpus=$OUT/corpus-$target
  mkdir -p $corpus $OUT/crashes-$target
  cp tests/fuzz/seeds/$target/* $corpus/ 2>/dev/null || true
  cp tests/fuzz/regressions/$target/* $corpus/ 2>/dev/null || true
  echo "fuzz: running fuzz_$target for $SECONDS_PER_TARGET s"
  $OUT/fuzz_$target $corpus -max_total_time=$SECONDS_PER_TARGET -max_len=65536 -rss_limit_mb=2048 \
    -artifact_prefix=$OUT/crashes-$target/ -print_final_stats=1 2>&1 | tail -20
done
