#!/usr/bin/env bash
# Shows the agent at work in a simulated login session:   demo.sh AGENT SESSION_TOOL FOLDER
# It runs itself as the starter of the session (tools/zeb-session), where the real /bin/ps sees
# only the session's processes, among them a real one named loginwindow that keeps the session
# alive; a stand-in /usr/bin/open records the messenger's start.
set -euo pipefail
# shellcheck source=tools/polling.sh
source "$(dirname "${BASH_SOURCE[0]}")/../tools/polling.sh"

readonly agent=$1 folder=$3
if [[ -z ${ZEB_IN_SESSION:-} ]]; then
  rm -rf "$folder"
  mkdir -p "$folder/bin"
  printf -v open_log '%q' "$folder/open.log"
  printf '#!/bin/bash\nprintf "%%s\\n" "$*" >>%s\n' "$open_log" >"$folder/bin/open"
  chmod +x "$folder/bin/open"
  ZEB_IN_SESSION=1 exec "$2" --bin "$folder/bin" --deadline 30 --out "$folder/out" -- bash "$0" "$@"
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

# The kernel names a process after the file it was started from, so this sleep is "loginwindow".
ln -s "$(command -v sleep)" "$folder/loginwindow"
"$folder/loginwindow" infinity &
readonly loginwindow=$!

echo "zeb-agent in a simulated session (private namespaces, the real /bin/ps, a stand-in open)"
started=$(micros "$EPOCHREALTIME")
"$agent"
# The agent detached: the session's PID 1 adopted it, its newest child.
agent_pid=$(pgrep -n -P 1)
readonly agent_pid
if ((agent_pid == $$)); then
  echo "demo: the agent left nothing running" >&2
  exit 1
fi
say "agent started, pid $agent_pid; its starter ended at once: exit 0"
listing=$(/bin/ps -cx -o command)
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

if poll 15 test -f "$folder/out/$agent_pid"; then
  read -r how code when <"$folder/out/$agent_pid"
  say "agent ended by itself: $how $code" "$when"
else
  say "agent still running after 15 s"
fi
