#!/usr/bin/env bash
# Static checks of the agent's own sources: clang-tidy (the root .clang-tidy, every finding an
# error) and cppcheck. Fails on any finding. The compile database comes from a configure-only
# build folder of its own: ZEB_STATIC_BUILD (default build/static).
set -euo pipefail
cd "$(dirname "$0")/.."

build=${ZEB_STATIC_BUILD:-build/static}
jobs=${ZEB_STATIC_JOBS:-$(nproc)}
sources=(app shell signals runtime)
status=0

cmake --preset default -B "$build" -DZEB_BUILD_TESTS=OFF >/dev/null

# Dependencies run one way: runtime/ and shell/ know nothing of app/, and signals/ knows only
# App (for its launch flag).
if grep -rn '#include "app/' runtime shell || grep -rn '#include "app/' signals | grep -v '"app/App.h"'; then
  echo "includes: the lines above reach up into app/" >&2
  status=1
fi

echo "clang-tidy: ${sources[*]}"
pattern="$PWD/($(IFS='|'; echo "${sources[*]}"))/"
if command -v run-clang-tidy >/dev/null; then
  run-clang-tidy -p "$build" -j "$jobs" -quiet "$pattern" >"$build/clang-tidy.log" 2>&1 || status=1
else
  find "${sources[@]}" -name '*.cpp' -print0 |
    xargs -0 -n 1 -P "$jobs" clang-tidy -p "$build" --quiet >"$build/clang-tidy.log" 2>&1 || status=1
fi
# clang-tidy reports a configuration it cannot read and goes on without it, exit status 0; it
# fails here.
if grep -q '\.clang-tidy:[0-9:]* error' "$build/clang-tidy.log"; then status=1; fi
if ((status)); then
  # run-clang-tidy colours its output even into a file.
  sed 's/\x1b\[[0-9;]*m//g' "$build/clang-tidy.log" | grep -E '(warning|error): ' | sort -u >&2 ||
    cat "$build/clang-tidy.log" >&2
  echo "clang-tidy: findings (full log: $build/clang-tidy.log)" >&2
else
  echo "clang-tidy: clean"
fi

echo "cppcheck: ${sources[*]}"
if cppcheck -q --enable=warning,style,performance,portability --library=posix --std=c++20 \
    --inline-suppr --error-exitcode=1 -I. "${sources[@]}"; then
  echo "cppcheck: clean"
else
  echo "cppcheck: findings" >&2
  status=1
fi

exit "$status"
