#!/usr/bin/env bash
# One black-box scenario of the real agent in a simulated session:
#   scenario.sh NAME AGENT SESSION_TOOL FOLDER
set -euo pipefail

readonly name=$1 agent=$2 session=$3 folder=$4
# shellcheck source-path=SCRIPTDIR source=../support/session.sh
source "$(dirname "$0")/../support/session.sh"

readonly messenger='/Library/Application Support/Brightloom Utilities Support/ZEB_Helper/ZEB_Messenger.app'

start() {
  start_session 40 "$agent"
  wait_for "signal handlers" 2 armed
}

seconds_after_start() { echo $((($(micros "$1") - $(micros "$(<"$out/started-at")")) / 1000)); }

expect_log() {
  local expected
  expected=$(printf '%s\n' "${@:2}")
  [[ $(<"$folder/$1.log") == "$expected" ]] ||
    fail "$1.log holds:"$'\n'"$(<"$folder/$1.log")"$'\n'"expected:"$'\n'"$expected"
}

detached_state() {
  local stat fields descriptors="" descriptor
  stat=$(<"/proc/$agent_pid/stat")
  read -ra fields <<<"${stat##*) }"
  for descriptor in "/proc/$agent_pid/fd/"*; do
    descriptors+=" ${descriptor##*/}:$(readlink "$descriptor")"
  done
  echo "session=${fields[3]} tty=${fields[4]} cwd=$(readlink "/proc/$agent_pid/cwd") fds:$descriptors"
}

detached_as_expected() {
  [[ $(detached_state) == "session=$agent_pid tty=0 cwd=/ fds: 0:/dev/null 1:/dev/null 2:/dev/null" ]]
}

scenario_detached() {
  mkdir -p "${folder%/*}"
  exec 9>"$folder.inherited" # the agent must not keep its starter's descriptors
  start
  exec 9>&-
  local took
  took=$(($(micros "$(<"$out/starter-seconds")") / 1000))
  ((took < 1000)) || fail "the starter took $took ms to exit"
  poll 2 detached_as_expected || fail "not detached: $(detached_state)"
  end_with TERM 1
}

scenario_launch() {
  start
  kill -s USR2 "$agent_pid"
  wait_for "first launch" 2 has_calls open 1
  kill -s USR2 "$agent_pid"
  wait_for "second launch" 2 has_calls open 2
  end_with TERM 1
  expect_log open "$messenger" -- "$messenger" --
}

scenario_quit() {
  start
  end_with "$1" 1
  ((!$(calls open))) || fail "a quit signal launched the messenger"
}

scenario_ignored() {
  start
  local signal
  for signal in "${ignored_signals[@]}"; do
    kill -s "$signal" "$agent_pid"
  done
  # Answering a launch request afterwards shows it neither ended nor stopped.
  kill -s USR2 "$agent_pid"
  wait_for "launch after the ignored signals" 2 has_calls open 1
  end_with TERM 1
}

# The listing ends the agent at its first check, a little over ten seconds after the start.
scenario_ends_at_first_check() {
  listing=("$@")
  start
  wait_for "end at the first check" 15 ended
  expect_status_0
  local lasted
  lasted=$(($(micros "$(<"$out/agent-seconds")") / 1000))
  ((lasted >= 10000 && lasted <= 12000)) || fail "ended after $lasted ms, expected 10-12 s"
  expect_log ps -cx -o command --
}

scenario_session_kept() {
  start
  wait_for "second check" 25 has_calls ps 2
  local -a checks
  mapfile -t checks <"$folder/ps.times"
  local first second
  first=$(seconds_after_start "${checks[0]}")
  second=$(seconds_after_start "${checks[1]}")
  ((first >= 10000 && second - first >= 10000)) ||
    fail "checks at $first and $second ms, expected more than ten seconds apart"
  kill -s USR2 "$agent_pid"
  wait_for "launch after the second check" 2 has_calls open 1
  end_with TERM 1
  expect_log ps -cx -o command -- -cx -o command --
}

case $name in
  detached) scenario_detached ;;
  launch) scenario_launch ;;
  quit-on-term) scenario_quit TERM ;;
  quit-on-int) scenario_quit INT ;;
  quit-on-quit) scenario_quit QUIT ;;
  ignored-signals) scenario_ignored ;;
  session-kept) scenario_session_kept ;;
  no-loginwindow) scenario_ends_at_first_check COMMAND bash "$agent_name" ;;
  second-copy) scenario_ends_at_first_check COMMAND loginwindow "$agent_name" bash "$agent_name" ;;
  name-within-another) scenario_ends_at_first_check COMMAND loginwindow "$agent_name" "${agent_name}-updater" ;;
  loginwindowd) scenario_ends_at_first_check COMMAND loginwindowd "$agent_name" ;;
  indented-loginwindow) scenario_ends_at_first_check COMMAND " loginwindow" "$agent_name" ;;
  listing-fails) scenario_ends_at_first_check ;;
  *) fail "unknown scenario" ;;
esac
echo "PASS ($name)"
