#!/usr/bin/env bash
# CI for 32-bit x86, the agent's original word size: installs what a fresh Debian 12 machine
# lacks for a -m32 build, builds GoogleTest for 32-bit from Debian's sources (its packaged
# libraries are 64-bit only), then builds the agent, the session tool and every test for 32-bit
# and runs them.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(cmake g++-multilib googletest)
missing=()
for package in "${packages[@]}"; do
  dpkg -s "$package" >/dev/null 2>&1 || missing+=("$package")
done
if ((${#missing[@]})); then
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}"
fi

gtest=build/m32-googletest
cmake -S /usr/src/googletest -B $gtest/build -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/m32-toolchain.cmake" \
  -DCMAKE_BUILD_TYPE=Release -DBUILD_GMOCK=OFF -DCMAKE_INSTALL_PREFIX="$PWD/$gtest" >/dev/null
cmake --build $gtest/build -j2 >/dev/null
cmake --install $gtest/build >/dev/null
cmake --workflow --preset m32
