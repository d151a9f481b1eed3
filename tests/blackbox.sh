#!/usr/bin/env bash
# One black-box row of the real agent per run:  blackbox.sh ROW AGENT SESSION_TOOL FOLDER
# Exit 0 pass, 1 fail, 77 the machine lacks what the row needs (namespaces, valgrind).
set -euo pipefail
row=$1 agent=$(realpath "$2") session=$(realpath "$3") folder=$(realpath -m "$4")
# shellcheck source-path=SCRIPTDIR source=../tools/polling.sh
source "$(dirname "$0")/../tools/polling.sh"
out=$folder/out name=zb${row:0:1}$$x # unique on the machine: the real ps sees every row
ignored=(HUP ILL TRAP ABRT BUS FPE USR1 SEGV PIPE ALRM STKFLT CHLD CONT TSTP TTIN TTOU URG XCPU
  XFSZ VTALRM PROF WINCH IO PWR SYS)
listing=(COMMAND loginwindow "${agent##*/}") own=() session_pid='' agent_pid=''

fail() { echo "FAIL ($row): $*" >&2 && exit 1; }
until_ok() { poll "$2" "${@:3}" || fail "no $1 within $2 s"; }
calls() { if [[ -f $folder/$1.times ]]; then wc -l <"$folder/$1.times"; else echo 0; fi; }
has_calls() { (($(calls "$1") >= $2)); }
ended() { [[ -f $out/agent-status ]]; }
status_0() { [[ $(<"$out/agent-status") == "exit 0" ]] || fail "ended: $(<"$out/agent-status")"; }
gone() { local s; ! read -r _ _ s _ <"/proc/$1/stat" 2>/dev/null || [[ $s == Z ]]; }
# Killed at the end only while it is still the process that was started.
adopt() { own+=("$1:$(<"/proc/$1/comm")"); }
cleanup() {
  for p in "${own[@]}"; do
    [[ $(cat "/proc/${p%%:*}/comm" 2>/dev/null) != "${p#*:}" ]] || kill -KILL "${p%%:*}"
  done
  [[ -z $session_pid ]] || wait "$session_pid" || true
}
trap cleanup EXIT
rm -rf "$folder" && mkdir -p "$folder"

# stand_in NAME [LINE]: logs its arguments (one a line, then --) and its start time, runs LINE.
stand_in() {
  # shellcheck disable=SC2016 # expanded when the stand-in runs
  printf '#!/bin/bash\nprintf "%%s\\n" "$@" -- >>%q\necho "$EPOCHREALTIME" >>%q\n%s\n' \
    "$folder/$1.log" "$folder/$1.times" "${2:-}" >"$folder/$1" && chmod +x "$folder/$1"
}
expect_log() {
  [[ $(<"$folder/$1.log") == "$(printf '%s\n' "${@:2}")" ]] || fail "$1 got: $(<"$folder/$1.log")"
}
# Every signal from 1 to 31 but KILL and STOP has a handler.
armed() {
  [[ $(<"/proc/$agent_pid/status") =~ SigCgt:.([0-9a-f]+) ]] &&
    (((16#${BASH_REMATCH[1]} & 0x7ffbfeff) == 0x7ffbfeff))
}

# start COMMAND...: in a simulated session; COMMAND is the starter, which must exit 0 and detach.
start() {
  printf '%s\n' "${listing[@]}" >"$folder/listing" && stand_in ps "cat '$folder/listing'"
  stand_in open "${open_line:-}"
  "$session" --open "$folder/open" --ps "$folder/ps" --deadline 60 --out "$out" -- "$@" &
  session_pid=$!
  poll 30 eval '[[ -f $out/agent-pid || -f $out/agent-status ]] || ! kill -0 $session_pid' || :
  if [[ ! -f $out/agent-pid ]]; then
    wait "$session_pid" || (($? != 77)) || exit 77 # zeb-session has said what the machine lacks
    session_pid='' && fail "nothing detached: $(cat "$out"/*-status)"
  fi
  [[ $(<"$out/starter-status") == "exit 0" ]] || fail "starter: $(<"$out/starter-status")"
  agent_pid=$(<"$out/agent-pid") && adopt "$agent_pid"
  [[ $row == valgrind ]] || until_ok "signal handlers" 2 armed # valgrind holds them itself
}
# end_with SIGNAL SECONDS: from the signal to the recorded end, with status 0.
end_with() {
  if ended || ! kill -0 "$agent_pid"; then fail "gone before SIG$1: $(<"$out/agent-status")"; fi
  local sent=${EPOCHREALTIME/[.,]/}
  kill -s "$1" "$agent_pid" && until_ok "end after SIG$1" $(($2 + 2)) ended && status_0
  local took=$(($(micros "$(<"$out/ended-at")") - sent))
  ((took < $2 * 1000000)) || fail "SIG$1 took $((took / 1000)) ms"
}
# A request after a served one is served again: the agent neither stopped nor is ending.
launch_twice() {
  for n in 1 2; do kill -USR2 "$agent_pid" && until_ok "launch $n" 2 has_calls open $n; done
}
detached() {
  local p=/proc/$agent_pid && read -r _ _ _ _ _ sid tty _ <"$p/stat"
  echo "sid=$sid tty=$tty cwd=$(readlink "$p/cwd") fds$(find "$p/fd" -mindepth 1 -printf ' %f:%l')"
}

# Two copies under one name about 2 s apart, with the real ps and a real loginwindow: the first
# copy's check sees the second and ends it; the second, checking later, sees itself alone.
two_copies() {
  ln -s /bin/sleep "$folder/loginwindow" && { "$folder/loginwindow" 600 & } && disown
  until_ok "loginwindow" 2 eval "[[ \$(</proc/$!/comm) == loginwindow ]]" 2>/dev/null
  adopt $! && { "$folder/$name" || fail "the first starter failed"; }
  a=$(pgrep -x "$name") && adopt "$a"
  sleep 2 # a spacing, not a wait: it decides whose check comes first
  ! gone "$a" || fail "the first copy ended before the second started"
  "${@:-true}" && { "$folder/$name" || fail "the second starter failed"; }
  b=$(pgrep -x "$name" | grep -vx "$a") && adopt "$b"
  until_ok "end of the first copy" 11 gone "$a"
  ! poll 5 gone "$b" || fail "the second copy ended as well"
  kill -TERM "$b" && until_ok "end of the second copy after SIGTERM" 2 gone "$b"
}
# The way a package upgrade replaces a program.
replace() { cp "$agent" "$folder/.new" && mv -f "$folder/.new" "$folder/$name"; }

case $row in
  detached)
    exec 9>"$folder/inherited" && start "$agent" && exec 9>&- # a descriptor it must not keep
    (($(micros "$(<"$out/starter-seconds")") < 1000000)) || fail "starter: $(<"$out/starter-seconds") s"
    poll 2 eval '[[ $(detached) == "sid=$agent_pid tty=0 cwd=/ fds 0:/dev/null 1:/dev/null 2:/dev/null" ]]' ||
      fail "not detached: $(detached)"
    end_with TERM 1 ;;
  launch)
    start "$agent" && launch_twice && end_with TERM 1
    m='/Library/Application Support/Brightloom Utilities Support/ZEB_Helper/ZEB_Messenger.app'
    expect_log open "$m" -- "$m" -- ;;
  quit-TERM | quit-INT | quit-QUIT)
    start "$agent" && end_with "${row#quit-}" 1
    ((!$(calls open))) || fail "a quit signal launched the messenger" ;;
  ignored)
    start "$agent" && for s in "${ignored[@]}"; do kill -s "$s" "$agent_pid"; done
    launch_twice && end_with TERM 1 ;;
  session-ends)
    listing=(COMMAND bash "${agent##*/}") && start "$agent"
    until_ok "end at the first check" 15 ended && status_0 && expect_log ps -cx -o command --
    lasted=$(($(micros "$(<"$out/agent-seconds")") / 1000))
    ((lasted >= 10000 && lasted <= 12000)) || fail "ended after $lasted ms, not 10-12 s" ;;
  link) ln -s "$agent" "$folder/$name" && two_copies ;;
  replaced) cp "$agent" "$folder/$name" && two_copies replace ;;
  closed-streams)
    open_line="readlink /proc/\$\$/fd/0 /proc/\$\$/fd/1 /proc/\$\$/fd/2 >'$folder/fds'"
    # shellcheck disable=SC2016 # for the inner bash
    start bash -c 'exec "$0" <&- >&- 2>&-' "$agent"
    kill -USR2 "$agent_pid" && until_ok "launch" 2 has_calls open 1
    # Standard output is popen's pipe; the other two must be the agent's /dev/null.
    [[ $(<"$folder/fds") == /dev/null$'\n'pipe:*$'\n'/dev/null ]] || fail "saw $(<"$folder/fds")"
    end_with TERM 1 ;;
  valgrind)
    [[ ${ZEB_SANITIZE:-0} != 1 ]] && command -v valgrind >/dev/null || exit 77
    start valgrind --tool=memcheck --leak-check=full --errors-for-leak-kinds=definite,indirect \
      --error-exitcode=99 --child-silent-after-fork=no --trace-children=no \
      --log-file="$folder/vg.%p" "$agent"
    until_ok "first check" 40 has_calls ps 1 # the loop runs, so its handlers are in place
    kill -USR2 "$agent_pid" && until_ok "launch" 10 has_calls open 1 && end_with TERM 20
    grep -q 'ERROR SUMMARY: 0 errors' "$folder/vg.$agent_pid" || fail "no clean summary"
    ! grep -E 'ERROR SUMMARY: [1-9]|(definitely|indirectly) lost: [1-9]' "$folder"/vg.* ||
      fail "memcheck found faults" ;;
  storm)
    start "$agent" && end=$((${EPOCHREALTIME/[.,]/} + 3000000)) n=0
    while ((${EPOCHREALTIME/[.,]/} < end)); do
      kill -s "${ignored[n % ${#ignored[@]}]}" "$agent_pid" && kill -USR2 "$agent_pid" ||
        fail "died in the storm"
      last=${EPOCHREALTIME/[.,]/} n=$((n + 1))
    done
    until_ok "launch after the storm's last request" 2 awk -v last="$last" \
      '{ gsub(/[.,]/, "") } $1 + 0 > last + 0 { f = 1 } END { exit !f }' "$folder/open.times"
    echo "signals $((2 * n)) launches $(calls open)" && end_with TERM 2 ;;
  *) fail "unknown row" ;;
esac
echo "PASS ($row)"
