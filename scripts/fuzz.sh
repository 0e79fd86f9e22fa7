#!/bin/sh
# Builds the libFuzzer targets with clang under the sanitizers and runs each
# for the given number of seconds (default 60), starting from its saved corpus.
# usage: scripts/fuzz.sh [seconds] [target...]
set -eu
cd "$(dirname "$0")/.."
secs=${1:-60}
[ $# -gt 0 ] && shift
ls fuzz/fuzz_*.cpp >/dev/null 2>&1 || { echo "no fuzz targets"; exit 0; }
scripts/deps.sh build fuzz
CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DKYR_BUILD_FUZZ=ON \
  -DKYR_SANITIZE=ON -DKYR_BUILD_TESTS=OFF -DKYR_BUILD_EXAMPLES=OFF \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build-fuzz -j 2
targets=$*
[ -z "$targets" ] && targets=$(cd fuzz && ls fuzz_*.cpp | sed -e 's/^fuzz_//' -e 's/\.cpp$//')
for t in $targets; do
  echo "== fuzz $t for ${secs}s"
  work=build-fuzz/corpus-$t
  mkdir -p "$work"
  dict=""
  [ -f "fuzz/$t.dict" ] && dict="-dict=fuzz/$t.dict"
  # shellcheck disable=SC2086
  build-fuzz/fuzz/fuzz_$t -max_total_time="$secs" -timeout=10 -rss_limit_mb=4096 \
    -print_final_stats=1 $dict "$work" "fuzz/corpus/$t"
done
