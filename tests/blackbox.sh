#!/usr/bin/env bash
# blackbox.sh ROW AGENT SESSION_TOOL FOLDER: one black-box row of the real agent per run.
# Exit 0 pass, 1 fail, 77 the machine lacks what the row needs (namespaces, valgrind).
set -eEuo pipefail
row=$1 agent=$(realpath "$2") session=$(realpath "$3") folder=$(realpath -m "$4")
source "$(dirname "$0")/../tools/polling.sh"
out=$folder/out name=zb${row:0:1}$$x # unique on the machine: the real ps sees every row
mapfile -t ignored < <(for n in {1..31}; do kill -l $n; done | grep -vxE 'KILL|STOP|INT|TERM|QUIT|USR2')
listing=(COMMAND loginwindow "${agent##*/}")

fail() { echo "FAIL ($row): $*" >&2 && exit 1; }
trap 'fail "$BASH_COMMAND failed (line $LINENO)"' ERR
until_ok() { poll "$2" "${@:3}" || fail "no $1 within $2 s"; }
has_calls() { [[ -f $folder/$1.log ]] && (($(grep -c '^--$' "$folder/$1.log" || :) >= $2)); }
ended() { [[ -f $out/agent-status ]]; }
status_0() { [[ $(<"$out/agent-status") == "exit 0" ]] || fail "ended: $(<"$out/agent-status")"; }
gone() { local s; ! read -r _ _ s _ <"/proc/$1/stat" 2>/dev/null || [[ $s == Z ]]; }
cleanup() {
  set +eEu && trap - ERR && { ended || kill -KILL "$pid"; }
  kill -KILL "$lw"; pkill -KILL -x "$name"; wait "$session_pid"
} 2>/dev/null
trap cleanup EXIT; rm -rf "$folder"; mkdir -p "$folder"; exec 9>"$folder/9" # see start

# stand_in NAME LINE: logs its start time, runs LINE, then logs its arguments (one a line, then
# --), so that a test that sees the arguments sees all that LINE did.
stand_in() {
  # shellcheck disable=SC2016 # expanded when the stand-in runs
  printf '#!/bin/bash\necho "$EPOCHREALTIME" >>%q\n%s\nprintf "%%s\\n" "$@" -- >>%q\n' \
    "$folder/$1.times" "$2" "$folder/$1.log" >"$folder/$1" && chmod +x "$folder/$1"
}
# Every signal from 1 to 31 but KILL and STOP has a handler (under valgrind, valgrind's own).
armed() { [[ $(<"/proc/$pid/status") =~ SigCgt:.([0-9a-f]+) ]] &&
  ! ((~0x${BASH_REMATCH[1]} & 0x7ffbfeff)); }

# start COMMAND...: in a simulated session; COMMAND is the starter, which must exit 0 at once and
# leave the agent detached, without the descriptor 9 that every starter inherits.
start() {
  [[ -f $folder/ps ]] || stand_in ps "printf '%s\n' ${listing[*]@Q}"
  stand_in open "readlink /proc/\$\$/fd/{0,1,2} >'$folder/fds'"
  "$session" --open "$folder/open" --ps "$folder/ps" --out "$out" -- "$@" & session_pid=$!
  poll 30 eval '[[ -f $out/agent-pid ]] || ! kill -0 $session_pid 2>/dev/null' || :
  [[ -f $out/agent-pid ]] || { wait "$session_pid" || (($? != 77)) || exit 77
    fail "nothing detached: $(cat "$out"/*-status 2>/dev/null)"; }
  [[ $(<"$out/starter-status") == "exit 0" ]] || fail "starter: $(<"$out/starter-status")"
  pid=$(<"$out/agent-pid"); [[ $row != valgrind ]] || return 0
  [[ $(<"$out/starter-seconds") == 0.* ]] || fail "starter took $(<"$out/starter-seconds") s"
  poll 2 detached || fail "not detached: $state"; until_ok "signal handlers" 2 armed
}
# end_with SIGNAL SECONDS: from the signal to the recorded end, with status 0.
end_with() {
  local sent=${EPOCHREALTIME/[.,]/}; kill -s "$1" "$pid"
  until_ok "end after SIG$1" $(($2 + 2)) ended; status_0
  local took=$(($(micros "$(<"$out/ended-at")") - sent))
  ((took < $2 * 1000000)) || fail "SIG$1 took $((took / 1000)) ms"
}
detached() {
  local p=/proc/$pid && read -r _ _ _ _ _ sid tty _ <"$p/stat"
  state="sid=$sid tty=$tty cwd=$(readlink "$p/cwd") fds$(find "$p/fd" -mindepth 1 -printf ' %f:%l')"
  [[ $state == "sid=$pid tty=0 cwd=/ fds 0:/dev/null 1:/dev/null 2:/dev/null" ]]
}

case $row in
  # The first check's listing stops after its header, the agent blocked reading it, while a burst
  # of requests arrives: the read resumes, so the agent sees its session, stays and launches once.
  launch)
    stand_in ps "echo COMMAND; : >'$folder/paused'; head -n 2 '$folder/go'" # the rest: from the row
    start "$agent"; mkfifo "$folder/go"; exec 8<>"$folder/go" # held open, so head waits for lines
    until_ok pause 20 eval '[[ -f $folder/paused && $(cut -d" " -f3 /proc/$pid/stat) == S ]]'
    for n in {1..50}; do kill -USR2 "$pid"; done # all taken while the read still waits for more
    until_ok "signals taken" 2 eval '! grep -q "Pnd:.*[1-9a-f]" /proc/$pid/status'
    printf '%s\n' "${listing[@]:1}" >&8; until_ok "launch after the check" 2 has_calls open 1
    kill -USR2 "$pid"; until_ok launch 2 has_calls open 2; end_with TERM 1
    m='/Library/Application Support/Brightloom Utilities Support/ZEB_Helper/ZEB_Messenger.app'
    [[ $(<"$folder/open.log") == "$m"$'\n--\n'"$m"$'\n--' ]] || fail "$(<"$folder/open.log")" ;;
  session-ends)
    listing=(COMMAND bash "${agent##*/}"); start "$agent"; until_ok "own end" 15 ended; status_0
    [[ $(<"$folder/ps.log") == $'-cx\n-o\ncommand\n--' ]] || fail "ps: $(<"$folder/ps.log")"
    [[ $(<"$out/agent-seconds") == 1[01].* ]] || fail "ended after $(<"$out/agent-seconds") s" ;;
  # Two copies through one symbolic link about 2 s apart, with the real ps and a real loginwindow:
  # the first copy's check sees the second and ends it; the second, checking later, stays.
  link)
    ln -s "$agent" "$folder/$name"
    ln -s /bin/sleep "$folder/loginwindow" && { "$folder/loginwindow" 600 & } && lw=$! && disown
    timeout 5 "$folder/$name"; a=$(pgrep -x "$name")
    sleep 2 # a spacing, not a wait: it decides whose check comes first
    timeout 5 "$folder/$name"; b=$(pgrep -x "$name" | grep -vx "$a")
    until_ok "end of the first copy" 11 gone "$a"
    ! poll 5 gone "$b" || fail "the second copy ended as well"
    kill -TERM "$b"; until_ok "end of the second copy after SIGTERM" 2 gone "$b" ;;
  closed-all | closed-err) # /dev/null comes back as the lowest closed descriptor, 0 or 2
    start bash -c "exec \"\$0\" $([[ $row == closed-all ]] && echo '<&- >&-') 2>&-" "$agent"
    kill -USR2 "$pid"; until_ok launch 2 has_calls open 1
    # Standard output is popen's pipe; the other two must be the agent's /dev/null.
    [[ $(<"$folder/fds") == /dev/null$'\n'pipe:*$'\n'/dev/null ]] || fail "saw $(<"$folder/fds")"
    end_with INT 1 ;;
  valgrind)
    [[ ${ZEB_NO_VALGRIND:-0} != 1 ]] && command -v valgrind >/dev/null || exit 77
    start valgrind --leak-check=full --errors-for-leak-kinds=definite,indirect \
      --error-exitcode=99 --log-file="$folder/%p" "$agent"
    until_ok "first check" 40 has_calls ps 1 # the loop runs, so its handlers are in place
    kill -USR2 "$pid"; until_ok launch 10 has_calls open 1; end_with QUIT 20
    grep -q 'ERROR SUMMARY: 0 errors' "$folder/$pid" || fail "$(<"$folder/$pid")" ;;
  storm)
    start "$agent"; for ((n = 0; n < 20000; n++)); do # each ignored signal in turn, and a request
      kill -s "${ignored[n % ${#ignored[@]}]}" "$pid"; kill -USR2 "$pid"
    done; last=${EPOCHREALTIME/[.,]/}
    until_ok "launch after the storm" 2 awk -v l="$last" -v f="$folder/open.times" \
      'BEGIN { while ((getline t <f) > 0) s = t; sub(/[.,]/, "", s); exit s <= l }'
    end_with TERM 2; echo "signals $((2 * n)) launches $(wc -l <"$folder/open.times")" ;;
  *) fail "unknown row" ;;
esac
echo "PASS ($row)"
