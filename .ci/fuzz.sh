#!/usr/bin/env bash
# Builds the libFuzzer targets with clang in a build folder of their own and runs each for a
# short while. Longer runs: ZEB_FUZZ_SECONDS=600 .ci/fuzz.sh
# The corpus grows in <build>/corpus/<target> and is reused by the next run; a failing input is
# kept in <build>/artifacts/.
set -euo pipefail
cd "$(dirname "$0")/.."

build=${ZEB_FUZZ_BUILD:-build/fuzz}
seconds=${ZEB_FUZZ_SECONDS:-20}
targets=(zeb-fuzz-text-fields zeb-fuzz-capture)

CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DZEB_BUILD_TESTS=ON -DZEB_FUZZ=ON >/dev/null
cmake --build "$build" -j2 --target zeb-fuzzers >/dev/null

mkdir -p "$build/artifacts"
for target in "${targets[@]}"; do
  corpus="$build/corpus/$target"
  log="$build/$target.log"
  mkdir -p "$corpus"
  if ! "$build/tests/fuzz/$target" -max_total_time="$seconds" -print_final_stats=1 \
      -artifact_prefix="$build/artifacts/$target-" "$corpus" >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    echo "$target: FAILED (log: $log)" >&2
    exit 1
  fi
  runs=$(sed -n 's/^Done \([0-9]*\) runs in.*/\1/p' "$log")
  echo "$target: ${runs:-?} runs in ${seconds} s, no failure"
done
