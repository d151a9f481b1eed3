#!/usr/bin/env bash
# CI for the Debian package: builds it as the README does (the release preset, no tests), then
# fails on any error or warning of lintian, Debian's package checker, and on anything that
# mandoc -Tlint finds in the manual page. Installs what a fresh Debian 12 machine lacks for it.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(cmake g++ make dpkg-dev lintian mandoc)
missing=()
for package in "${packages[@]}"; do
  dpkg -s "$package" >/dev/null 2>&1 || missing+=("$package")
done
if ((${#missing[@]})); then
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}"
fi

build=build/release
rm -f "$build"/zeb-agent_*.deb
cmake --preset release -DZEB_BUILD_TESTS=OFF >/dev/null
cmake --build --preset release --target package >/dev/null
debs=("$build"/zeb-agent_*.deb)
if ((${#debs[@]} != 1)) || [[ ! -f ${debs[0]} ]]; then
  echo "package: no single zeb-agent package in $build" >&2
  exit 1
fi

# A tag that the package's overrides cover does not fail (--show-overrides would fail on it).
lintian --fail-on error,warning "${debs[0]}"
mandoc -Tlint "$build/packaging/zeb-agent.1"
echo "package: ${debs[0]} passes lintian; its manual page passes mandoc -Tlint."
