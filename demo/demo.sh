#!/usr/bin/env bash
# Shows the agent at work in a simulated login session:   demo.sh AGENT SESSION_TOOL FOLDER
# A private PID namespace with its own /proc lets the real /bin/ps see only the demo's processes,
# among them a real one named loginwindow that keeps the session alive; a stand-in /usr/bin/open
# records the messenger's start.
set -euo pipefail
# shellcheck source=tools/polling.sh
source "$(dirname "${BASH_SOURCE[0]}")/../tools/polling.sh"

readonly agent=$1 session=$2 folder=$3

if [[ ${ZEB_DEMO_INSIDE:-} != 1 ]]; then
  for namespace in "unshare --pid --fork --mount-proc" \
    "unshare --user --map-root-user --pid --fork --mount-proc"; do
    read -ra command <<<"$namespace"
    if "${command[@]}" true 2>/dev/null; then
      ZEB_DEMO_INSIDE=1 exec "${command[@]}" bash "$0" "$@"
    fi
  done
  echo "demo: cannot make a private PID and mount namespace here." >&2
  echo "demo: run it as root, or allow unprivileged user namespaces" \
    "(sysctl kernel.unprivileged_userns_clone=1, user.max_user_namespaces > 0)." >&2
  exit 1
fi

started=
elapsed() {
  local since=$(($(micros "${1:-$EPOCHREALTIME}") - started))
  printf '%d.%d' $((since / 1000000)) $((since % 1000000 / 100000))
}
say() { printf '%6s s  %s\n' "$(elapsed "${2:-}")" "$1"; }
# at SECONDS: paces the timeline; the steps are shown at fixed times after the start.
at() {
  local left=$(($1 * 1000000 - ($(micros "$EPOCHREALTIME") - started)))
  ((left <= 0)) || sleep "$(printf '%d.%06d' $((left / 1000000)) $((left % 1000000)))"
}

rm -rf "$folder"
mkdir -p "$folder"
printf -v open_log '%q' "$folder/open.log"
printf '#!/bin/bash\nprintf "%%s\\n" "$*" >>%s\n' "$open_log" >"$folder/open"
stand_ins=(--open "$folder/open")
ps_kind="the real /bin/ps"
# Without procps, a ps that lists the names of what runs here: in this PID namespace that is all
# of the session's processes, as the real one would list them.
if [[ ! -x /bin/ps ]]; then
  printf '#!/bin/bash\necho COMMAND\ncat /proc/[0-9]*/comm\n' >"$folder/ps"
  stand_ins+=(--ps "$folder/ps")
  ps_kind="no procps here, so a stand-in /bin/ps lists /proc"
fi
# The kernel names a process after the file it was started from, so this sleep is "loginwindow".
ln -s "$(command -v sleep)" "$folder/loginwindow"
"$folder/loginwindow" infinity &
readonly loginwindow=$!

echo "zeb-agent in a simulated session (private namespaces; $ps_kind; a stand-in /usr/bin/open)"
started=$(micros "$EPOCHREALTIME")
"$session" "${stand_ins[@]}" --deadline 30 --out "$folder/out" -- "$agent" &
readonly session_pid=$!
if ! poll 5 test -f "$folder/out/agent-status" -o -f "$folder/out/agent-pid"; then
  echo "demo: the agent did not start" >&2
  exit 1
fi
if [[ ! -f $folder/out/agent-pid ]]; then
  status=0
  wait "$session_pid" || status=$?
  echo "demo: the agent left nothing running (session tool status $status)" >&2
  exit 1
fi
agent_pid=$(<"$folder/out/agent-pid")
readonly agent_pid
say "agent started, pid $agent_pid; its starter ended at once: $(<"$folder/out/starter-status")"
listing=$(nsenter --target "$agent_pid" --mount /bin/ps -cx -o command)
listing=${listing#*$'\n'}
say "/bin/ps -cx -o command in the session: ${listing//$'\n'/, }"

at 1
say "kill -USR2 $agent_pid  (launch request)"
kill -s USR2 "$agent_pid"
if poll 3 test -s "$folder/open.log"; then
  say "messenger launched: /usr/bin/open $(<"$folder/open.log")"
else
  say "no launch within 3 s"
fi

at 3
kill "$loginwindow"
wait "$loginwindow" || true
say "session ended (loginwindow gone); the agent notices at its next check, every ten seconds"

if poll 15 test -f "$folder/out/agent-status"; then
  say "agent ended by itself: $(<"$folder/out/agent-status")" "$(<"$folder/out/ended-at")"
else
  say "agent still running after 15 s"
fi
wait "$session_pid"
