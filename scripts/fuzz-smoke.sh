#!/usr/bin/env bash
# Fuzz smoke: builds the libFuzzer harnesses with clang into build-fuzz/, writes the decoder
# harness's seed corpus, and runs each harness for SECONDS (default 30) on its corpus. Any
# crash, sanitizer report or leak fails the run. Installs clang and its runtime when run as
# root and they are missing.
# Usage: scripts/fuzz-smoke.sh [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}

source scripts/apt.sh
install_missing clang libclang-rt-14-dev

# Warnings stay warnings here: clang warns about things gcc does not.
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DSEARCHPROC_FUZZ=ON -DSEARCHPROC_BENCH=OFF \
  -DSEARCHPROC_TESTS=OFF -DSEARCHPROC_WERROR=OFF
cmake --build build-fuzz -j2 --target readers_fuzz codec_fuzz write_codec_seeds

work=build-fuzz/smoke
rm -rf "$work" && mkdir -p "$work/codec" "$work/readers"
build-fuzz/fuzz/write_codec_seeds "$work/codec"
for harness in codec readers; do
  build-fuzz/fuzz/${harness}_fuzz -max_total_time="$seconds" -max_len=1024 -len_control=20 \
    -print_final_stats=1 "$work/$harness" >"$work/$harness.log" 2>&1 ||
    { tail -60 "$work/$harness.log"; echo "${harness}_fuzz failed" >&2; exit 1; }
  echo "${harness}_fuzz: $(grep -m1 'stat::number_of_executed_units' "$work/$harness.log" |
    awk '{print $2}') runs in ${seconds} s, $(grep -c . <(ls "$work/$harness")) corpus files"
done
