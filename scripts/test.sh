#!/bin/sh
# Builds kyr-core with its tests and runs them all. Installs missing Debian
# packages first. usage: scripts/test.sh [build-dir] [extra cmake args...]
set -eu
cd "$(dirname "$0")/.."
scripts/deps.sh build test
dir=${1:-build}
[ $# -gt 0 ] && shift
cmake -S . -B "$dir" -G Ninja -DKYR_BUILD_TESTS=ON "$@"
cmake --build "$dir"
ctest --test-dir "$dir" --output-on-failure -j "$(nproc)"
