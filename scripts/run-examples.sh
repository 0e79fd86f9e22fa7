#!/bin/sh
# The main job: builds the library and runs the example programs under
# examples/ on the data they ship. Installs missing Debian packages first.
set -eu
cd "$(dirname "$0")/.."
scripts/deps.sh build
cmake -S . -B build-examples -G Ninja -DKYR_BUILD_TESTS=OFF -DKYR_BUILD_EXAMPLES=ON >/dev/null
cmake --build build-examples
cd examples
for name in $(cat order.txt); do
  echo "==================== $name"
  ../build-examples/examples/"$name"
done
