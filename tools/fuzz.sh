#!/bin/sh
# Build the file-reader and region-text fuzz targets with clang's libFuzzer (plus ASan and
# UBSan) and run each for a while on its seed corpus:
#   tools/fuzz.sh [seconds per target]      (default 600)
# FUZZ_TARGETS="jpeg" (say) picks targets among tiff, bmp, jpeg, avi and region.
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
TARGETS=${FUZZ_TARGETS:-tiff bmp jpeg avi region}
for target in $TARGETS; do
  define=""; [ $target = bmp ] && define="-DMVIP_FUZZ_BMP"; [ $target = avi ] && define="-DMVIP_FUZZ_AVI"
  [ $target = jpeg ] && define="-DMVIP_FUZZ_JPEG"
  main=tests/fuzz/fuzz_reader.cpp; [ $target = region ] && main=tests/fuzz/fuzz_region.cpp
  if [ ! -x $OUT/fuzz_$target ] || [ -n "$(find $SOURCES $main -newer $OUT/fuzz_$target | head -1)" ]; then
    echo "fuzz: building fuzz_$target"
    clang++ $FLAGS $define $SOURCES $main -o $OUT/fuzz_$target
  fi
done
for target in $TARGETS; do
  corpus=$OUT/corpus-$target
  mkdir -p $corpus $OUT/crashes-$target
  cp tests/fuzz/seeds/$target/* $corpus/ 2>/dev/null || true
  cp tests/fuzz/regressions/$target/* $corpus/ 2>/dev/null || true
  echo "fuzz: running fuzz_$target for $SECONDS_PER_TARGET s"
  $OUT/fuzz_$target $corpus -max_total_time=$SECONDS_PER_TARGET -max_len=65536 -rss_limit_mb=2048 \
    -artifact_prefix=$OUT/crashes-$target/ -print_final_stats=1 2>&1 | tail -20
done
