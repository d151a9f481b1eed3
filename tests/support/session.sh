# shellcheck shell=bash
# Sourced by the black-box and stress scripts: one real agent in a simulated session
# (tools/zeb-session.cpp). The caller sets name, agent, session (the tool) and folder (emptied
# here). The stand-ins for open and ps log each call to $folder/open.log or ps.log (arguments one
# per line, then "--") and its wall-clock time to open.times or ps.times; ps prints the lines of
# the array `listing` (none: it fails without output). Exit 77: no sandbox on this machine.

# shellcheck disable=SC2154
: "${name:?}" "${agent:?}" "${session:?}" "${folder:?}"
# shellcheck source-path=SCRIPTDIR source=../../tools/polling.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../tools/polling.sh"

# Used by the scripts that source this one.
# shellcheck disable=SC2034
readonly out=$folder/out agent_name=${agent##*/}
# Every signal from 1 to 31 but KILL, STOP, the quit signals and the launch request.
# shellcheck disable=SC2034
readonly ignored_signals=(HUP ILL TRAP ABRT BUS FPE USR1 SEGV PIPE ALRM STKFLT CHLD CONT TSTP TTIN
  TTOU URG XCPU XFSZ VTALRM PROF WINCH IO PWR SYS)
listing=(COMMAND loginwindow "$agent_name")
session_pid=
agent_pid=

fail() { echo "FAIL ($name): $*" >&2 && exit 1; }
wait_for() { poll "$2" "${@:3}" || fail "no $1 within $2 s"; }
calls() { if [[ -f $folder/$1.times ]]; then wc -l <"$folder/$1.times"; else echo 0; fi; }
has_calls() { (($(calls "$1") >= $2)); }
ended() { [[ -f $out/agent-status ]]; }
running() { ! ended && kill -0 "$agent_pid" 2>/dev/null; }

# Every signal from 1 to 31 but SIGKILL and SIGSTOP has a handler.
readonly all_caught=$((0x7fffffff & ~(1 << (9 - 1)) & ~(1 << (19 - 1))))
armed() {
  local caught
  caught=$(awk '/^SigCgt:/ { print $2 }' "/proc/$agent_pid/status" 2>/dev/null) || return 1
  [[ -n $caught ]] && (((16#$caught & all_caught) == all_caught))
}

# write_stand_in NAME [LAST_LINE]
write_stand_in() {
  local log times
  printf -v log '%q' "$folder/$1.log"
  printf -v times '%q' "$folder/$1.times"
  # shellcheck disable=SC2016 # the stand-in expands these when it runs
  printf '#!/bin/bash\nprintf "%%s\\n" "$@" -- >>%s\necho "$EPOCHREALTIME" >>%s\n%s\n' \
    "$log" "$times" "${2:-}" >"$folder/$1"
  chmod +x "$folder/$1"
}

session_started() {
  [[ -f $out/agent-pid || -f $out/agent-status ]] && return 0
  kill -0 "$session_pid" 2>/dev/null && return 1
  local status=0
  wait "$session_pid" || status=$?
  session_pid=
  ((status != 77)) || exit 77 # zeb-session has said what the machine lacks
  fail "zeb-session ended with status $status before the agent started"
}

# start_session DEADLINE COMMAND...: COMMAND starts the agent, which detaches.
start_session() {
  rm -rf "$folder"
  mkdir -p "$folder"
  write_stand_in open
  ((!${#listing[@]})) || printf '%s\n' "${listing[@]}" >"$folder/listing"
  write_stand_in ps "cat $(printf '%q' "$folder/listing") 2>/dev/null"
  "$session" --open "$folder/open" --ps "$folder/ps" --deadline "$1" --out "$out" -- "${@:2}" &
  session_pid=$!
  wait_for "detached agent" 30 session_started
  [[ -f $out/agent-pid ]] || fail "the starter left nothing running ($(<"$out/agent-status"))"
  [[ $(<"$out/starter-status") == "exit 0" ]] || fail "starter: $(<"$out/starter-status")"
  agent_pid=$(<"$out/agent-pid")
}

expect_status_0() {
  local status
  status=$(<"$out/agent-status")
  [[ $status == "exit 0" ]] || fail "the agent ended with $status, expected exit 0"
}

# end_with SIGNAL SECONDS: the agent must end within SECONDS, with status 0.
end_with() {
  running || fail "the agent is gone before SIG$1: $(cat "$out/agent-status" 2>/dev/null)"
  local sent
  sent=$(micros "$EPOCHREALTIME")
  kill -s "$1" "$agent_pid"
  wait_for "end after SIG$1" $(($2 + 2)) ended
  expect_status_0
  local took=$(($(micros "$(<"$out/ended-at")") - sent))
  ((took < $2 * 1000000)) || fail "SIG$1 took $((took / 1000)) ms to end the agent"
}

cleanup() {
  if [[ -n $session_pid ]]; then
    [[ -z $agent_pid ]] || ended || kill -s KILL "$agent_pid" 2>/dev/null || true
    wait "$session_pid" || true
  fi
}
trap cleanup EXIT
