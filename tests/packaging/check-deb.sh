#!/usr/bin/env bash
# Installs the agent's component into its own folder, builds the Debian package of it and checks
# the package's contents and control fields.
# Usage: check-deb.sh BUILD_DIR WORK_DIR VERSION
set -euo pipefail

readonly build=$1 work=$2 version=$3

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

rm -rf "$work"
mkdir -p "$work"
# Left to itself, cpack first builds the whole tree (its preinstall step), which must not happen
# while other tests run: stage the packaged component here and hand cpack that folder instead.
cmake --install "$build" --prefix "$work/stage/usr" --component agent --strip >"$work/install.log" 2>&1 ||
  fail "staging failed: $(cat "$work/install.log")"
cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work/out" \
  -D CPACK_INSTALL_CMAKE_PROJECTS= -D "CPACK_INSTALLED_DIRECTORIES=$work/stage;." \
  >"$work/cpack.log" 2>&1 || fail "cpack failed: $(cat "$work/cpack.log")"

# The real package is made of the same component.
grep -q '^set(CPACK_INSTALL_CMAKE_PROJECTS ".*;agent;/")' "$build/CPackConfig.cmake" ||
  fail "the package is not made of the agent component alone"

shopt -s nullglob
packages=("$work"/out/*.deb)
((${#packages[@]} == 1)) || fail "expected one .deb in $work/out, found ${#packages[@]}"
package=${packages[0]}

# Only the agent and its manual page: install rules of tests or tools must stay out.
files=$(dpkg-deb -c "$package" | awk '$1 !~ /^d/ {print $1, $NF}')
expected=$'-rwxr-xr-x ./usr/bin/zeb-agent\n-rw-r--r-- ./usr/share/man/man8/zeb-agent.8.gz'
[[ $files == "$expected" ]] || fail "unexpected package contents:"$'\n'"$files"

field() { dpkg-deb -f "$package" "$1"; }
[[ $(field Package) == zeb-agent ]] || fail "package name is '$(field Package)'"
[[ $(field Version) == "$version" ]] || fail "version is '$(field Version)', not $version"
[[ $(field Maintainer) == *@* ]] || fail "maintainer is '$(field Maintainer)'"
[[ $(field Architecture) == "$(dpkg --print-architecture)" ]] ||
  fail "architecture is '$(field Architecture)'"
[[ -n $(field Section) && -n $(field Priority) && -n $(field Description) ]] ||
  fail "section, priority or description missing"
[[ $(field Depends) == *libc6* ]] || fail "dependencies lack libc6: '$(field Depends)'"

dpkg-deb -x "$package" "$work/root"
zcat "$work/root/usr/share/man/man8/zeb-agent.8.gz" | grep -q "zeb\\\\-agent $version" ||
  fail "the packaged manual page does not carry version $version"
echo "package $(basename "$package") is complete"
