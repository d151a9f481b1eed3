#!/usr/bin/env bash
# One black-box scenario of the real agent in a simulated session (tools/zeb-session.cpp):
#   scenario.sh NAME AGENT SESSION_TOOL FOLDER
# The stand-in open and ps log each call to FOLDER (arguments one per line, then "--"); ps prints
# the listing the scenario writes to FOLDER/listing. Exit 77: no sandbox on this machine.
set -euo pipefail
# shellcheck source=tools/polling.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../tools/polling.sh"

readonly name=$1 agent=$2 session=$3 folder=$4
readonly out=$folder/out
readonly messenger='/Library/Application Support/Brightloom Utilities Support/ZEB_Helper/ZEB_Messenger.app'
readonly agent_name=${agent##*/}
session_pid=
agent_pid=

fail() {
  echo "FAIL ($name): $*" >&2
  exit 1
}

# wait_for WHAT SECONDS COMMAND...: as poll, and a passed deadline fails the scenario.
wait_for() {
  poll "$2" "${@:3}" || fail "no $1 within $2 s"
}

calls() {
  [[ -f $1 ]] || {
    echo 0
    return
  }
  grep -c -x -e '--' "$1" || true
}

has_calls() { (($(calls "$1") >= $2)); }
ended() { [[ -f $out/agent-status ]]; }
seconds_after_start() { echo $((($(micros "$1") - $(micros "$(<"$out/started-at")")) / 1000)); }

write_stand_ins() {
  local open_log ps_log ps_times listing
  printf -v open_log '%q' "$folder/open.log"
  printf -v ps_log '%q' "$folder/ps.log"
  printf -v ps_times '%q' "$folder/ps.times"
  printf -v listing '%q' "$folder/listing"
  printf '#!/bin/bash\nprintf "%%s\\n" "$@" -- >>%s\n' "$open_log" >"$folder/open"
  cat >"$folder/ps" <<STAND_IN
#!/bin/bash
printf "%s\\n" "\$@" -- >>$ps_log
echo "\$EPOCHREALTIME" >>$ps_times
[[ -s $listing ]] || exit 1
cat $listing
STAND_IN
}

# Every signal from 1 to 31 but SIGKILL and SIGSTOP has a handler.
readonly all_caught=$((0x7fffffff & ~(1 << (9 - 1)) & ~(1 << (19 - 1))))
armed() {
  local caught
  caught=$(awk '/^SigCgt:/ { print $2 }' "/proc/$agent_pid/status" 2>/dev/null) || return 1
  [[ -n $caught ]] && (((16#$caught & all_caught) == all_caught))
}

session_running() {
  [[ -f $out/agent-pid || -f $out/agent-status ]] && return 0
  kill -0 "$session_pid" 2>/dev/null && return 1
  local status=0
  wait "$session_pid" || status=$?
  ((status != 77)) || exit 77 # the session tool has said what the machine lacks
  fail "zeb-session ended with status $status before the agent started"
}

# start_session LINE...: the listing ps prints (none: ps fails without output).
start_session() {
  rm -rf "$folder"
  mkdir -p "$folder"
  write_stand_ins
  if (($#)); then printf '%s\n' "$@" >"$folder/listing"; fi
  "$session" --open "$folder/open" --ps "$folder/ps" --deadline 40 --out "$out" -- "$agent" &
  session_pid=$!
  wait_for "detached agent" 5 session_running
  [[ -f $out/agent-pid ]] || fail "the starter left nothing running ($(<"$out/agent-status"))"
  [[ $(<"$out/starter-status") == "exit 0" ]] || fail "starter: $(<"$out/starter-status")"
  agent_pid=$(<"$out/agent-pid")
  wait_for "signal handlers" 2 armed
}

cleanup() {
  if [[ -n $session_pid ]]; then
    [[ -z $agent_pid ]] || ended || kill -s KILL "$agent_pid" 2>/dev/null || true
    wait "$session_pid" || true
  fi
}
trap cleanup EXIT

expect_status() {
  local status
  status=$(<"$out/agent-status")
  [[ $status == "exit 0" ]] || fail "agent ended with $status, expected exit 0"
}

# A quit signal ends the agent at the end of its current pass, well within a second.
end_with() {
  local sent
  sent=$(micros "$EPOCHREALTIME")
  kill -s "$1" "$agent_pid"
  wait_for "end after SIG$1" 3 ended
  expect_status
  local took=$(($(micros "$(<"$out/ended-at")") - sent))
  ((took < 1000000)) || fail "SIG$1 took $((took / 1000)) ms to end the agent"
}

expect_log() {
  local expected
  expected=$(printf '%s\n' "${@:2}")
  [[ $(<"$1") == "$expected" ]] || fail "$(basename "$1") holds:"$'\n'"$(<"$1")"$'\n'"expected:"$'\n'"$expected"
}

expect_listed_calls() {
  local -a expected=()
  for ((call = 0; call < $1; call++)); do expected+=(-cx -o command --); done
  expect_log "$folder/ps.log" "${expected[@]}"
}

readonly alive=(COMMAND loginwindow "$agent_name")

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
  start_session "${alive[@]}"
  exec 9>&-
  local took
  took=$(($(micros "$(<"$out/starter-seconds")") / 1000))
  ((took < 1000)) || fail "the starter took $took ms to exit"
  poll 2 detached_as_expected || fail "not detached: $(detached_state)"
  end_with TERM
}

scenario_launch() {
  start_session "${alive[@]}"
  kill -s USR2 "$agent_pid"
  wait_for "first launch" 2 has_calls "$folder/open.log" 1
  kill -s USR2 "$agent_pid"
  wait_for "second launch" 2 has_calls "$folder/open.log" 2
  end_with TERM
  expect_log "$folder/open.log" "$messenger" -- "$messenger" --
}

scenario_quit() {
  start_session "${alive[@]}"
  end_with "$1"
  [[ ! -f $folder/open.log ]] || fail "a quit signal launched the messenger"
}

scenario_ignored() {
  start_session "${alive[@]}"
  local signal
  for signal in HUP ILL TRAP ABRT BUS FPE USR1 SEGV PIPE ALRM STKFLT CHLD CONT TSTP TTIN TTOU URG \
    XCPU XFSZ VTALRM PROF WINCH IO PWR SYS; do
    kill -s "$signal" "$agent_pid"
  done
  # Answering a launch request afterwards shows it neither ended nor stopped.
  kill -s USR2 "$agent_pid"
  wait_for "launch after the ignored signals" 2 has_calls "$folder/open.log" 1
  ! ended || fail "agent ended with $(<"$out/agent-status")"
  end_with TERM
}

# The listing ends the agent at its first check, a little over ten seconds after the start.
scenario_ends_at_first_check() {
  start_session "$@"
  wait_for "end at the first check" 15 ended
  expect_status
  local lasted
  lasted=$(($(micros "$(<"$out/agent-seconds")") / 1000))
  ((lasted >= 10000 && lasted <= 12000)) || fail "ended after $lasted ms, expected 10-12 s"
  expect_listed_calls 1
}

scenario_session_kept() {
  start_session "${alive[@]}"
  wait_for "second check" 25 has_calls "$folder/ps.log" 2
  local -a checks
  mapfile -t checks <"$folder/ps.times"
  local first second
  first=$(seconds_after_start "${checks[0]}")
  second=$(seconds_after_start "${checks[1]}")
  ((first >= 10000 && second - first >= 10000)) ||
    fail "checks at $first and $second ms, expected more than ten seconds apart"
  kill -s USR2 "$agent_pid"
  wait_for "launch after the second check" 2 has_calls "$folder/open.log" 1
  ! ended || fail "agent ended with $(<"$out/agent-status")"
  end_with TERM
  expect_listed_calls 2
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
