# shellcheck shell=bash
# Sourced by the stress checks: one real agent in a simulated session (tools/zeb-session.cpp).
# The caller sets name, session (the tool) and folder (its own, emptied here), then calls
# start_session. The stand-in open logs one wall-clock time per call to $folder/open.log, the
# stand-in ps one per call to $folder/ps.log and prints a live listing. Exit 77: no sandbox.

# Set by the caller.
# shellcheck disable=SC2154
: "${name:?}" "${session:?}" "${folder:?}" "${agent_name:?}"
out=
session_pid=
agent_pid=

fail() {
  echo "FAIL ($name): $*" >&2
  exit 1
}

skip() {
  echo "SKIP ($name): $*"
  exit 77
}

# micros and poll.
# shellcheck source=../../tools/polling.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../tools/polling.sh"

wait_for() {
  poll "$2" "${@:3}" || fail "no $1 within $2 s"
}

lines() {
  if [[ -f $1 ]]; then wc -l <"$1"; else echo 0; fi
}

has_lines() { (($(lines "$1") >= $2)); }
ended() { [[ -f $out/agent-status ]]; }
running() { ! ended && kill -0 "$agent_pid" 2>/dev/null; }

# Single quotes: the stand-ins read the clock when they run.
# shellcheck disable=SC2016
write_stand_ins() {
  local open_log ps_log
  printf -v open_log '%q' "$folder/open.log"
  printf -v ps_log '%q' "$folder/ps.log"
  printf '#!/bin/bash\necho "$EPOCHREALTIME" >>%s\n' "$open_log" >"$folder/open"
  printf '#!/bin/bash\necho "$EPOCHREALTIME" >>%s\nprintf "COMMAND\\nloginwindow\\n%s\\n"\n' \
    "$ps_log" "$agent_name" >"$folder/ps"
  chmod +x "$folder/open" "$folder/ps"
}

session_started() {
  [[ -f $out/agent-pid || -f $out/agent-status ]] && return 0
  kill -0 "$session_pid" 2>/dev/null && return 1
  local status=0
  wait "$session_pid" || status=$?
  session_pid=
  ((status != 77)) || skip "zeb-session found no sandbox on this machine"
  fail "zeb-session ended with status $status before the agent started"
}

# start_session DEADLINE COMMAND...: COMMAND starts the agent (it detaches).
start_session() {
  command -v unshare >/dev/null || skip "no unshare(1): no namespaces for a session"
  rm -rf "$folder"
  mkdir -p "$folder"
  out=$folder/out
  write_stand_ins
  "$session" --open "$folder/open" --ps "$folder/ps" --deadline "$1" --out "$out" -- "${@:2}" &
  session_pid=$!
  wait_for "detached agent" 30 session_started
  [[ -f $out/agent-pid ]] || fail "the starter left nothing running ($(<"$out/agent-status"))"
  agent_pid=$(<"$out/agent-pid")
}

# end_session SECONDS: SIGTERM, then the agent's end, which must be exit status 0.
end_session() {
  running || fail "the agent is gone before SIGTERM: $(cat "$out/agent-status" 2>/dev/null)"
  kill -s TERM "$agent_pid"
  wait_for "end after SIGTERM" "$1" ended
  local status
  status=$(<"$out/agent-status")
  [[ $status == "exit 0" ]] || fail "the agent ended with $status, expected exit 0"
  [[ $(<"$out/starter-status") == "exit 0" ]] || fail "starter: $(<"$out/starter-status")"
}

cleanup() {
  if [[ -n $session_pid ]]; then
    [[ -z $agent_pid ]] || ended || kill -s KILL "$agent_pid" 2>/dev/null || true
    wait "$session_pid" || true
  fi
}
trap cleanup EXIT
