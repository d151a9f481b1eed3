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

skip() {
  echo "SKIP ($name): $*"
  exit 77
}
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

# Memcheck's verdict on the starter and the agent is their exit status (--error-exitcode), which
# start_session and end_with check; a process forked for popen must log nothing but the header.
check_logs() {
  local log
  for log in "$folder"/vg.*; do
    grep -q 'ERROR SUMMARY' "$log" ||
      ! grep -v -E '^==[0-9]+== ( *$|Memcheck|Copyright|Using Valgrind|Command:|Parent PID:)' "$log" >/dev/null ||
      fail "a forked process logged more than the header:"$'\n'"$(<"$log")"
  done
  grep -q 'ERROR SUMMARY: 0 errors' "$folder/vg.$agent_pid" || fail "no clean summary from the agent"
  grep -E 'in use at exit|All heap blocks|definitely lost|indirectly lost|ERROR SUMMARY' "$folder"/vg.*
}

start_session 100 valgrind --error-exitcode=99 --leak-check=full \
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
