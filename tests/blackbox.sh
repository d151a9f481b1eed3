#!/usr/bin/env bash
# blackbox.sh ROW AGENT SESSION_TOOL FOLDER: one black-box row of the real agent, the starter of a
# simulated session (tools/zeb-session). Exit 0 pass, 1 fail, 77 skip (failure if ZEB_NO_SKIP=1).
set -eEuo pipefail
row=$1
agent=$(realpath "$2")
folder=$(realpath -m "$4")
out=$folder/out
source "$(dirname "$0")/../tools/polling.sh"
fail() {
  echo "FAIL ($row): $*" >&2
  exit 1
}
trap 'fail "$BASH_COMMAND failed (line $LINENO)"' ERR
# stand_in NAME LINE: /usr/bin/NAME logs its start, runs LINE, then its arguments and "--" (done).
stand_in() {
  printf '#!/bin/bash\necho "$EPOCHREALTIME" >>%q\n%s\nprintf "%%s\\n" "$@" -- >>%q\n' \
    "$folder/$1.times" "$2" "$folder/$1.log" >"$folder/bin/$1"
  chmod +x "$folder/bin/$1"
}
if [[ -z ${ZEB_IN_SESSION:-} ]]; then # the stand-ins first: the session lays them over /usr/bin
  rm -rf "$folder"
  mkdir -p "$folder/bin"
  # Each launch notes its streams and ignored signals, and its session leader's (the agent's) state.
  stand_in open "readlink /proc/\$\$/fd/{0,1,2} >'$folder/fds'
    grep SigIgn /proc/self/status >'$folder/ign' # in a child: bash ignores SIGQUIT itself
    read -r _ _ _ _ _ a _ </proc/\$\$/stat
    grep -h -E '^(PPid|syscr|Anonymous):' /proc/\$a/{status,task/\$a/io,smaps_rollup} >'$folder/agent'"
  [[ $row != launch ]] || stand_in ps "echo COMMAND
    : >'$folder/paused'
    read -r _ <'$folder/go'
    cat '$folder/listing'"
  [[ $row != valgrind ]] || stand_in ps "printf '%s\n' COMMAND loginwindow" # shows the first check
  [[ $row != launch ]] || mknod "$folder/bin/true" c 0 0 # a whiteout: no /usr/bin/true
  session=(--bin "$folder/bin" --out "$out" -- bash "$0" "$@")
  # The row deadline is the session's own: it ends a starter that outlasts it, with status 124.
  [[ $row != deadline ]] || session=(--deadline 1 --out "$out" -- sleep 60)
  status=0
  ZEB_IN_SESSION=1 "$3" "${session[@]}" || status=$?
  [[ $row != deadline || $status == 77 ]] || status=$((status == 124 ? 0 : 1))
  [[ $status != 77 || -z ${ZEB_NO_SKIP:-} ]] || fail "skipped, with ZEB_NO_SKIP"
  exit "$status"
fi

exec 9>"$folder/9" # see detached: the agent closes what its starter leaves open
ln -s "$(command -v sleep)" "$folder/loginwindow" # named after the link, it keeps the session
"$folder/loginwindow" infinity &
until_ok() { poll "$2" "${@:3}" || fail "no $1 within $2 s${from:+ of its fork}"; }
has_calls() { [[ -f $folder/$1.log ]] && (($(grep -c '^--$' "$folder/$1.log" || :) >= $2)); }
# ended [PID]: PID (else $pid) has ended, as PID 1 recorded; a failure unless with status 0.
ended() { [[ -f $out/${1:-$pid} ]] && read -r how code _ <"$out/${1:-$pid}" && exit_0; }
exit_0() { [[ "$how $code" == "exit 0" ]] || fail "ended: $how $code"; }
# armed: a handler for each signal it can catch (valgrind's under valgrind), none blocked (commands
# would inherit it). Signal masks as /proc shows them, signal N as bit N-1:
catchable=0x7ffbfeff glibc_own=0x180000000 # 1-31 but KILL (9), STOP (19); 32, 33: glibc's own
armed() { [[ $(<"/proc/$pid/status") =~ SigBlk:.0{16}.*SigCgt:.([0-9a-f]+) ]] &&
  ! ((~0x${BASH_REMATCH[1]} & catchable)); }
# detached: sets state to $pid's session, terminal, folder and descriptors; true when all detached.
detached() {
  local p=/proc/$pid
  read -r _ _ _ _ _ sid tty _ <"$p/stat"
  state="sid=$sid tty=$tty cwd=$(readlink "$p/cwd") fds$(find "$p/fd" -mindepth 1 -printf ' %f:%l')"
  [[ $state == "sid=$pid tty=0 cwd=/ fds 0:/dev/null 1:/dev/null 2:/dev/null" ]]; }
# Seconds for what takes the agent milliseconds (1.1 s at most at load 35, perl's start of it
# included); the faults caught take 10 s or for ever.
soon=5
check=12 # s from the agent's fork to the end of its first check (10 s): 10.4 at load 35, 2 allowed
# began PID: PID's fork as the kernel noted it, in microseconds of the real clock (to 10 ms).
read -r up _ </proc/uptime
tick=$((1000000 / $(getconf CLK_TCK))) boot=$((${EPOCHREALTIME/[.,]/} - 10#${up/./}0000))
began() { echo $((boot + $(awk '{ sub(/.*\) /, ""); print $20 }' "/proc/$1/stat") * tick)); }
# found: sets pid to the newest session leader but the first copy; true when detached and armed.
found() {
  local leaders='$1 == $6 && $1 != first && $1 > p { p = $1 } END { print p }'
  pid=$(cat /proc/[0-9]*/stat 2>/dev/null | awk -v first="${first:-0}" "$leaders") # not ps: a stand-in
  [[ -n $pid ]] && { [[ $row == valgrind ]] || { detached && armed; }; } # valgrind's own fds too
}
# start COMMAND...: as "COMMAND & exec wm": none reaps the starter; COLUMNS=5 would cut names.
start() {
  COLUMNS=5 perl -e 'fork or exec @ARGV; sleep' "$@" &
  poll "$soon" found || fail "no detached agent with its handlers: ${state:-none}"
  born=$(began "$pid") # the agent's fork: bounds on its first check count from it
}
zombies() { pgrep -r Z | sed 's|.*|/proc/&/stat|' | xargs -r awk '{ print $2, $NF }'; } # name, status
# own: the agent's read calls and anonymous kB (private dirty counts a fresh build's file pages).
own() { awk '/^syscr/ { r = $2 } /^Anonymous/ { d = $2 } END { print r, d }' "$@"; }

case $row in
  # The first check's listing stalls after its header while requests arrive, then comes as 2,002
  # lines in one write: the agent stays and launches once. Without true its starter ends as itself.
  launch)
    printf '%s\n' loginwindow "${agent##*/}" >"$folder/listing"
    seq -f 'com.brightloom.helper%04g' 2000 >>"$folder/listing"
    start "$agent"
    mkfifo "$folder/go"
    from=$born until_ok pause "$check" eval '[[ -f $folder/paused && $(cut -d" " -f3 /proc/$pid/stat) == S ]]'
    [[ $(zombies) == "(${agent##*/}) 0" ]] || fail "the starter: $(zombies)"
    # From the agent's fork to its listing's, 10 s (from just before the fork): 10.1 seen, 1 allowed.
    took=$((($(began "$(pgrep -P "$pid")") - born) / 1000))
    ((took >= 10000 && took < 11000)) || fail "first check $took ms after the start"
    for n in {1..50}; do kill -USR2 "$pid"; done # all taken while the read still waits for more
    until_ok "signals taken" "$soon" eval '! grep -q "Pnd:.*[1-9a-f]" /proc/$pid/status'
    read -r reads dirty < <(own "/proc/$pid/task/$pid/io" "/proc/$pid/smaps_rollup")
    echo >"$folder/go"
    until_ok launch "$soon" has_calls open 1
    # 52 kB: about 100 reads of 512 bytes, more where one finds less; 400 allowed (a byte a call:
    # 52,000). Memory back where it was, 28 kB allowed, half a kept listing (not under ASan).
    read -r reads_after dirty_after < <(own "$folder/agent")
    ((reads_after - reads < 400)) || fail "$((reads_after - reads)) reads for the 52 kB listing"
    grep -q libasan "/proc/$pid/maps" || ((dirty_after - dirty < 28)) ||
      fail "anonymous memory $dirty kB before the check, $dirty_after kB after"
    kill -USR2 "$pid"
    until_ok launch "$soon" has_calls open 2
    kill -TERM "$pid"
    until_ok "end after SIGTERM" "$soon" ended
    m='/Library/Application Support/Brightloom Utilities Support/ZEB_Helper/ZEB_Messenger.app'
    [[ $(<"$folder/open.log") == "$m"$'\n--\n'"$m"$'\n--' ]] || fail "$(<"$folder/open.log")"
    [[ $(<"$folder/ps.log") == $'-cx\n-o\ncommand\n--'* ]] || fail "ps: $(<"$folder/ps.log")" ;;
  # Two copies through a link 2 s apart, real ps: the first ends at its check; the second, past both
  # unreaped starters, stays and launches, also after a storm of signals. The first copy: stdin a
  # pipe, stderr closed, mask blocked, SIGHUP ignored, none reaching a command; its first launch
  # finds the starter gone.
  unreaped)
    ln -s "$agent" "$folder/zeb-link"
    first_starter='pipe(my $r, my $w);
      POSIX::dup2(fileno $r, 0);
      POSIX::close(2);
      $SIG{HUP} = "IGNORE";
      sigprocmask(SIG_BLOCK, POSIX::SigSet->new(SIGUSR2, SIGTERM));
      exec @ARGV'
    start perl -MPOSIX -e "$first_starter" "$folder/zeb-link"
    first=$pid first_born=$born
    kill -USR2 "$pid"
    until_ok launch "$soon" has_calls open 1
    [[ $(<"$folder/agent") =~ PPid:.1$'\n' ]] || fail "at the first launch: $(<"$folder/agent")"
    # 1 is popen's pipe, 0 and 2 /dev/null whatever the starter gave; popen ignores glibc's own.
    [[ $(<"$folder/fds") == /dev/null$'\n'pipe:*$'\n'/dev/null ]] || fail "saw $(<"$folder/fds")"
    [[ $(<"$folder/ign") =~ ([0-9a-f]+)$ ]] && ! ((0x${BASH_REMATCH[1]} & ~glibc_own)) ||
      fail "the command: $(<"$folder/ign")"
    sleep 2 # a spacing, not a wait: it decides whose check comes first
    start perl -MPOSIX -e 'POSIX::close(0); exec @ARGV' "$folder/zeb-link" # stdin: back as 0
    from=$first_born until_ok "end of the first copy" "$check" ended "$first"
    ! from=$born poll "$check" ended || fail "the second copy ended as well"
    [[ $(zombies) == $'(true) 0\n(true) 0' ]] || fail "not two starters ended as true: $(zombies)"
    for n in {1..31}; do [[ $(kill -l "$n") =~ ^(INT|QUIT|TERM|USR2|KILL|STOP)$ ]] || ignored+=("$n"); done
    for ((n = 0; n < 20000; n++)); do # each ignored signal in turn, and a request
      kill -"${ignored[n % ${#ignored[@]}]}" "$pid"
      kill -USR2 "$pid"
    done
    last=${EPOCHREALTIME/[.,]/}
    until_ok "launch after the storm" "$soon" eval '(($(micros "$(tail -n 1 "$folder/open.times")") > last))'
    kill -INT "$pid"
    until_ok "end after SIGINT" "$soon" ended ;;
  # Under memcheck, start, first check, launch and quit: no memory error, no definite or indirect leak.
  valgrind)
    command -v valgrind >/dev/null || exit 77
    soon=30 start valgrind --leak-check=full --errors-for-leak-kinds=definite,indirect \
      --error-exitcode=99 --log-file="$folder/%p" "$agent" # valgrind's start: 7.5 s at load 35, 30 allowed
    from=$born until_ok "first check" "$check" has_calls ps 1 # the loop runs, so its handlers are in place
    kill -USR2 "$pid"
    until_ok launch "$soon" has_calls open 1
    kill -QUIT "$pid"
    until_ok "end after SIGQUIT" "$soon" ended # valgrind's leak check too: 0.14 s at most seen
    grep -q 'ERROR SUMMARY: 0 errors' "$folder/$pid" || fail "$(<"$folder/$pid")" ;;
  *) fail "unknown row" ;;
esac
echo "PASS ($row)"
