#!/usr/bin/env bash
# Builds the fuzzing target with clang (AddressSanitizer and UndefinedBehaviorSanitizer) and runs
# it for ZEB_FUZZ_SECONDS (default 30); the corpus stays in build/fuzz/corpus.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/fuzz
CC=clang CXX=clang++ cmake -S . -B $build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZEB_FUZZ=ON \
  -DZEB_SANITIZE=ON -DCMAKE_CXX_FLAGS=-fsanitize=fuzzer-no-link >/dev/null
cmake --build $build -j2 --target zeb-fuzz >/dev/null
mkdir -p $build/corpus
$build/tests/zeb-fuzz -max_total_time="${ZEB_FUZZ_SECONDS:-30}" -artifact_prefix=$build/ \
  $build/corpus 2>$build/fuzz.log || { tail -n 30 $build/fuzz.log >&2; exit 1; }
grep -E '^Done' $build/fuzz.log
