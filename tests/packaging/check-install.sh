#!/usr/bin/env bash
# Installs the build under a scratch prefix and checks where the agent and its page land.
# Usage: check-install.sh BUILD_DIR PREFIX
set -euo pipefail

build=$1
prefix=$2

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

rm -rf "$prefix"
cmake --install "$build" --prefix "$prefix" >/dev/null
[[ -x $prefix/bin/zeb-agent ]] || fail "no executable $prefix/bin/zeb-agent"
[[ -f $prefix/share/man/man8/zeb-agent.8.gz ]] || fail "no manual page in $prefix/share/man/man8"
if command -v man >/dev/null; then
  MANPATH=$prefix/share/man man -w zeb-agent >/dev/null || fail "man does not find the page"
fi
echo "installed under $prefix"
