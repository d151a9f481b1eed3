#!/usr/bin/env bash
# CI for macOS, the agent's target, from Linux: installs the cross toolchain (zig with the macOS
# headers and libSystem link stubs, an npm package pinned by version and integrity hash in
# cmake/macos/package-lock.json) under build/macos-toolchain, and GoogleTest for the target from
# Debian's sources, then runs the workflow `macos`: zeb-agent and the in-process tests built and
# linked as Mach-O x86_64 executables, and every source checked for Mac OS X 10.4 on 32-bit Intel
# so that a newer call fails by name. Then the files' headers: 64-bit Mach-O files for x86_64,
# and the oldest macOS the agent records, which must be the one docs/macos.md states. Nothing
# runs on a Mac here.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(cmake ninja-build clang npm llvm-14 googletest)
missing=()
for package in "${packages[@]}"; do
  command -v "$package" >/dev/null || dpkg -s "$package" >/dev/null 2>&1 || missing+=("$package")
done
if ((${#missing[@]})); then
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}"
fi

# Installed again only when the pinned package changes; the first build of the C++ library for
# the target then takes zig about two minutes, later builds seconds.
toolchain=build/macos-toolchain
if ! cmp -s cmake/macos/package-lock.json $toolchain/package-lock.json; then
  rm -rf $toolchain/node_modules
  mkdir -p $toolchain
  cp cmake/macos/package.json cmake/macos/package-lock.json $toolchain/
  (cd $toolchain && npm ci --ignore-scripts --no-audit --no-fund --cache "$PWD/npm-cache" --loglevel=error)
fi

# zig's caches as the preset sets them, for GoogleTest's build too.
export ZIG_GLOBAL_CACHE_DIR=$PWD/$toolchain/cache ZIG_LOCAL_CACHE_DIR=$PWD/$toolchain/cache
gtest=build/macos-googletest
cmake -S /usr/src/googletest -B $gtest/build -G Ninja \
  -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/macos/toolchain.cmake" \
  -DCMAKE_BUILD_TYPE=Release -DBUILD_GMOCK=OFF -DCMAKE_INSTALL_PREFIX="$PWD/$gtest" >/dev/null
cmake --build $gtest/build >/dev/null
cmake --install $gtest/build >/dev/null

cmake --workflow --preset macos

for file in build/macos/zeb-agent build/macos/tests/zeb-agent-tests; do
  # A 64-bit Mach-O file starts with 0xfeedfacf, here in little-endian order.
  magic=$(od -An -tx1 -N4 $file | tr -d ' \n')
  if [[ $magic != cffaedfe ]]; then
    echo "macOS: $file is no 64-bit Mach-O file (starts with $magic)" >&2
    exit 1
  fi
  # The CPU type follows: CPU_TYPE_X86_64 is 0x01000007 (x86 with the 64-bit flag).
  cputype=$(od -An -tx1 -j4 -N4 $file | tr -d ' \n')
  if [[ $cputype != 07000001 ]]; then
    echo "macOS: $file is not for x86_64 (CPU type bytes $cputype)" >&2
    exit 1
  fi
done

# LC_BUILD_VERSION's minos is the oldest system the loader accepts the file on.
recorded=$(llvm-objdump-14 --macho --private-headers build/macos/zeb-agent | awk '$1 == "minos" { print $2 }')
# shellcheck disable=SC2016 # the backquotes are Markdown's, for sed to match
stated=$(sed -n '/records `minos /{s/.*records `minos \([0-9.]*\)`.*/\1/p;q}' docs/macos.md)
if [[ -z $stated || $recorded != "$stated" ]]; then
  echo "macOS: zeb-agent records minos ${recorded:-none}; docs/macos.md states ${stated:-none}" >&2
  exit 1
fi
echo "macOS: build/macos/zeb-agent and its tests are Mach-O x86_64 executables, the agent for macOS $recorded and later; every source holds to Mac OS X 10.4."
