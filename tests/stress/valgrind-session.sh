#!/usr/bin/env bash
# One whole session of the real agent under valgrind's memcheck:
#   valgrind-session.sh AGENT SESSION_TOOL FOLDER
# A passed check, a launch request, SIGTERM. The starter and the detached agent (valgrind follows
# a fork, not an exec) must both end with status 0, no error and nothing definitely or
# indirectly lost. Exit 77: no valgrind or no sandbox on this machine.
set -euo pipefail

readonly name=valgrind-session agent=$1 session=$2 folder=$3
# shellcheck source-path=SCRIPTDIR source=../support/session.sh
source "$(dirname "$0")/../support/session.sh"

readonly error_status=99
command -v valgrind >/dev/null || skip "valgrind is not installed"

# The session tool is built like the agent: valgrind must be able to start such a program (for a
# 32-bit one on a 64-bit system it needs the 32-bit C library's debugging symbols).
can_run_built_programs() {
  mkdir -p "$folder"
  valgrind --log-file="$folder/probe.log" "$session" >/dev/null 2>&1 || true
  ! grep -q 'Fatal error at startup' "$folder/probe.log"
}
can_run_built_programs ||
  skip "valgrind cannot start programs of this build here:"$'\n'"$(grep -E 'Fatal|package|i386' "$folder/probe.log")"

# header_only LOG: a process that forked from the agent and ran the shell (popen) has logged
# nothing but valgrind's header.
header_only() {
  ! grep -v -E '^==[0-9]+== ( *$|Memcheck|Copyright|Using Valgrind|Command:|Parent PID:)' "$1" >/dev/null
}

# clean LOG: a finished process with no error and nothing definitely or indirectly lost.
clean() {
  grep -q -E 'ERROR SUMMARY: 0 errors' "$1" &&
    {
      grep -q 'All heap blocks were freed' "$1" ||
        { grep -q 'definitely lost: 0 bytes' "$1" && grep -q 'indirectly lost: 0 bytes' "$1"; }
    }
}

check_logs() {
  local log summaries=0
  for log in "$folder"/vg.*; do
    if grep -q 'ERROR SUMMARY' "$log"; then
      clean "$log" || fail "memcheck found faults:"$'\n'"$(<"$log")"
      summaries=$((summaries + 1))
      echo "${log##*/}:"
      grep -E 'in use at exit|All heap blocks|definitely lost|indirectly lost|ERROR SUMMARY' "$log"
    else
      header_only "$log" || fail "a process ended without a summary:"$'\n'"$(<"$log")"
    fi
  done
  ((summaries == 2)) || fail "expected the starter's and the agent's summaries, found $summaries"
  grep -q 'ERROR SUMMARY' "$folder/vg.$agent_pid" || fail "no summary from the detached agent"
}

start_session 100 valgrind --error-exitcode="$error_status" --leak-check=full \
  --errors-for-leak-kinds=definite,indirect --trace-children=no --child-silent-after-fork=no \
  --log-file="$folder/vg.%p" "$agent"

# Valgrind catches every signal itself from the start, so the handlers cannot be seen being
# installed; the first process check shows the loop is running, and the agent outlives it.
wait_for "process check" 60 has_calls ps 1
kill -s USR2 "$agent_pid"
wait_for "launch" 10 has_calls open 1
end_with TERM 20
check_logs
echo "PASS ($name)"
