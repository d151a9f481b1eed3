#!/usr/bin/env bash
# CI: the README's quick start tried as a new user would, on fresh minimal Debian 12 and 13
# systems: its apt line, then its two commands, as root in a chroot. Fails when the demo does not
# end as the README says, or when a test fails or is skipped. Everything stays in
# build/fresh-systems, and the systems are removed at the end. docs/developing.md (CI) tells more.
set -euo pipefail
self=$(realpath "$0")
readonly self
cd "$(dirname "$self")/.."

readonly top=$PWD/build/fresh-systems
readonly suites=(bookworm trixie)

fail() {
  echo "fresh-systems: $*" >&2
  exit 1
}

# quick_start README PATTERN: the lines of the README's quick start that match PATTERN.
quick_start() {
  sed -n '/^## Quick start$/,/^## /p' "$1" | grep -E "$2" || true
}

# in_system ROOT LINE: LINE run by bash as root in the system at ROOT, in the tree, with only
# what a login gives (none of CI's settings: ZEB_NO_SKIP unset, so a skip shows as one).
in_system() {
  chroot "$1" /usr/bin/env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin \
    bash -o pipefail -c "cd ~/zeb-agent && $2" </dev/null
}

# enter ROOT: the mounts that the system's programs and the simulated session need. The
# session's unshare needs the root to be a mount of its own. Made in a private mount namespace,
# they end with it however this script ends, and the host never sees them: removing the build
# folder cannot reach the host's /proc or /dev.
enter() {
  mount --bind "$1" "$1"
  mount -t proc proc "$1/proc"
  mount --rbind /dev "$1/dev"
  mount --bind /etc/resolv.conf "$1/etc/resolv.conf"
}

# make_system SUITE ROOT: a minimal system with its package lists, whose apt answers yes by
# itself (as a user at the terminal would), holding the committed tree in ~/zeb-agent.
make_system() {
  local log=$top/$1.debootstrap.log
  echo "== $1: debootstrap --variant=minbase"
  debootstrap --variant=minbase "$1" "$2" >"$log" 2>&1 || fail "debootstrap failed, see $log"
  echo 'APT::Get::Assume-Yes "true";' >"$2/etc/apt/apt.conf.d/90assume-yes"
  touch "$2/etc/resolv.conf"
  mkdir "$2/root/zeb-agent"
  git archive HEAD | tar -x -C "$2/root/zeb-agent"
  enter "$2"
  in_system "$2" "apt-get update -qq"
}

# demo_ended LOG: the timeline's last line is the agent ending by itself at its first check.
demo_ended() {
  local last
  last=$(grep -E '^ +[0-9]+\.[0-9] s  ' "$1" | tail -1)
  [[ $last =~ ^\ +10\.[0-9]\ s\ \ agent\ ended\ by\ itself:\ exit\ 0$ ]] ||
    fail "the demo did not end by itself at its first check with exit 0: ${last:-no timeline}"
}

# tests_passed LOG: some tests ran, and every one passed; a skip fails here.
tests_passed() {
  grep -qE '^100% tests passed, 0 tests failed out of [1-9]' "$1" || fail "a test failed"
  ! grep -E '\*\*\*(Skipped|Not Run)' "$1" || fail "a test was skipped or not run"
}

# try SUITE: the quick start on a fresh SUITE system, from this script's private mount namespace.
try() {
  local root=$top/$1
  make_system "$1" "$root"
  local readme=$root/root/zeb-agent/README.md
  local install
  install=$(quick_start "$readme" '^sudo apt-get install ')
  [[ -n $install && $install != *$'\n'* ]] || fail "not one apt line in the README's quick start"
  local commands
  mapfile -t commands < <(quick_start "$readme" '^cmake --workflow ' | sed 's/ *#.*//')
  ((${#commands[@]} == 2)) || fail "not two cmake --workflow lines in the README's quick start"
  echo "== $1: ${install#sudo }"
  in_system "$root" "${install#sudo }"
  echo "== $1: ${commands[0]}"
  in_system "$root" "${commands[0]}" 2>&1 | tee "$root.demo.log" || fail "the demo failed"
  demo_ended "$root.demo.log"
  echo "== $1: ${commands[1]}"
  in_system "$root" "${commands[1]}" 2>&1 | tee "$root.test.log" || fail "the tests failed"
  tests_passed "$root.test.log"
}

if [[ -n ${ZEB_FRESH_SUITE:-} ]]; then
  try "$ZEB_FRESH_SUITE"
  exit
fi
rm -rf "$top"
mkdir -p "$top"
trap 'rm -rf "${suites[@]/#/$top/}"' EXIT # the logs stay
for suite in "${suites[@]}"; do
  started=$SECONDS
  ZEB_FRESH_SUITE=$suite unshare --mount --propagation private -- "$self"
  echo "== $suite: the quick start passed in $((SECONDS - started)) s"
done
