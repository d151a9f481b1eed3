#!/usr/bin/env bash
# CI for 32-bit x86, the agent's original word size: installs what a fresh Debian 12 machine
# lacks for a -m32 build, builds GoogleTest for 32-bit from Debian's sources (its packaged
# libraries are 64-bit only), then builds the agent, the session tool and every test for 32-bit,
# warnings as errors. The tests run only where the kernel can run a 32-bit program; some of our
# machines' kernels cannot, and there the leg says so and passes.
#   ZEB_M32_RUN=yes|no  overrides the probe (default: ask the kernel).
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(cmake ninja-build g++-multilib googletest)
missing=()
for package in "${packages[@]}"; do
  dpkg -s "$package" >/dev/null 2>&1 || missing+=("$package")
done
if ((${#missing[@]})); then
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}"
fi

gtest=build/m32-googletest
cmake -S /usr/src/googletest -B $gtest/build -G Ninja \
  -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/m32-toolchain.cmake" \
  -DCMAKE_BUILD_TYPE=Release -DBUILD_GMOCK=OFF -DCMAKE_INSTALL_PREFIX="$PWD/$gtest" >/dev/null
cmake --build $gtest/build >/dev/null
cmake --install $gtest/build >/dev/null

cmake --preset m32 >/dev/null
cmake --build --preset m32

# The probe: a tiny 32-bit program, built as the tests are, and run.
probe=build/m32/probe
printf 'int main(void) { return 0; }\n' >$probe.c
gcc -m32 $probe.c -o $probe
can_run=${ZEB_M32_RUN:-} why="ZEB_M32_RUN=no"
if [[ -z $can_run ]]; then
  can_run=yes
  if ! why=$($probe 2>&1); then
    can_run=no
    why=${why##*: }
  fi
fi
if [[ $can_run == yes ]]; then
  ctest --preset m32
else
  echo "32-bit tests not run: this kernel cannot run a 32-bit program ($why)."
fi
