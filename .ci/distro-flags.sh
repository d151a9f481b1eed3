#!/usr/bin/env bash
# CI: the agent as a distribution builds it, with Debian's packaging flags (dpkg-buildflags with
# hardening=+all, build type None) and _FORTIFY_SOURCE raised from 2 to 3, which warns of what 2
# does and more; warnings are errors here, as in every build CI makes. Then the tests, whose
# black-box rows run the agent so built. Build folder: build/distro.
set -euo pipefail
cd "$(dirname "$0")/.."

export DEB_BUILD_MAINT_OPTIONS=hardening=+all
preprocessor=$(dpkg-buildflags --get CPPFLAGS)
preprocessor=${preprocessor/_FORTIFY_SOURCE=2/_FORTIFY_SOURCE=3}
CFLAGS="$(dpkg-buildflags --get CFLAGS) $preprocessor"
CXXFLAGS="$(dpkg-buildflags --get CXXFLAGS) $preprocessor"
LDFLAGS=$(dpkg-buildflags --get LDFLAGS)
export CFLAGS CXXFLAGS LDFLAGS
echo "CXXFLAGS=$CXXFLAGS"
echo "LDFLAGS=$LDFLAGS"

cmake -S . -B build/distro -DCMAKE_BUILD_TYPE=None -DCMAKE_COMPILE_WARNING_AS_ERROR=ON >/dev/null
cmake --build build/distro -j "$(nproc)"
ctest --test-dir build/distro --output-on-failure -j "$(nproc)"
