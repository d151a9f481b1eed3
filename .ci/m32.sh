#!/usr/bin/env bash
# CI for 32-bit x86, the agent's original word size: installs what a fresh Debian 12 machine
# lacks for a -m32 build (GoogleTest is built from its sources there), then builds the agent,
# the session tool and every test for 32-bit and runs them.
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

cmake --workflow --preset m32
