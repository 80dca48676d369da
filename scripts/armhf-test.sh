#!/usr/bin/env bash
# The ARM job: the armhf libraries and tools (scripts/armhf-deps.sh), a cross build of the
# library, the writers and every test into build-armhf/, and ctest running the tests under
# qemu-arm. Debug information is left out: nothing reads it here and it slows the build.
# Usage: scripts/armhf-test.sh   (as root when the cross compiler or qemu-user is missing)
set -euo pipefail
cd "$(dirname "$0")/.."
deps=$PWD/build-armhf-deps
bash scripts/armhf-deps.sh "$deps"
cmake -S . -B build-armhf -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchain-armhf.cmake" \
  -DSEARCHPROC_ARMHF_PREFIX="$deps" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_FLAGS_RELWITHDEBINFO="-O2 -DNDEBUG" -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O2 -DNDEBUG"
cmake --build build-armhf -j2
ctest --test-dir build-armhf --output-on-failure -j2
