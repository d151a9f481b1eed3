#!/usr/bin/env bash
# A storm of launch requests mixed with every ignored signal, on the real agent in a live session:
#   signal-storm.sh AGENT SESSION_TOOL FOLDER [SECONDS]
# The agent must survive it, launch at most once per pass, still answer the storm's last request
# and end with status 0 on SIGTERM. Prints the figures. Exit 77: no sandbox on this machine.
set -euo pipefail

readonly name=signal-storm agent=$1 session=$2 folder=$3 seconds=${4:-4}
# shellcheck source-path=SCRIPTDIR source=../support/session.sh
source "$(dirname "$0")/../support/session.sh"

# Between two launches lie at least the pump after the first and the pump that starts the next
# pass (10 ms each); the pause between them is cut short by every signal of the storm.
readonly pumps_between_launches_us=20000 tolerance_us=2000
readonly pass_us=110000

# storm: an ignored signal and a launch request per round until the time is up, thousands of
# rounds a second (reading the clock paces them). Sets requests and last_request (microseconds).
storm() {
  local end=$(($(micros "$EPOCHREALTIME") + seconds * 1000000))
  requests=0
  while (($(micros "$EPOCHREALTIME") < end)); do
    if ! kill -s "${ignored_signals[requests % ${#ignored_signals[@]}]}" "$agent_pid" ||
      ! kill -s USR2 "$agent_pid"; then
      fail "the agent did not survive the storm"
    fi
    last_request=$EPOCHREALTIME
    requests=$((requests + 1))
  done
  last_request=$(micros "$last_request")
}

# The launch times the stand-in logged, in microseconds.
launch_times() { [[ -f $folder/open.times ]] && awk '{ gsub(/[.,]/, ""); print }' "$folder/open.times"; }
launched_after() { launch_times | awk -v last="$last_request" '$1 > last { found = 1 } END { exit !found }'; }
closest_launches_us() {
  launch_times | awk 'NR > 1 && (!c || $1 - p < c) { c = $1 - p } { p = $1 }
    END { if (c) printf "%d\n", c; else print "none" }'
}

start_session 60 "$agent"
wait_for "signal handlers" 5 armed
storm
running || fail "the agent did not survive the storm: $(cat "$out/agent-status" 2>/dev/null)"
wait_for "launch after the last request" 2 launched_after
launches=$(calls open)
storm_us=$((last_request - $(micros "$(<"$out/started-at")")))
closest=$(closest_launches_us)

echo "signals $((2 * requests)) (launch requests $requests, ignored kinds ${#ignored_signals[@]})"
echo "launches $launches"
echo "passes-at-110ms $(((storm_us + pass_us - 1) / pass_us)) (start to last request)"
echo "closest-launches-ms $((closest / 1000)).$(printf '%03d' $((closest % 1000)))"

most_launches=$((storm_us / (pumps_between_launches_us - tolerance_us) + 2))
((launches <= most_launches)) || fail "$launches launches, more than one per pass ($most_launches)"
((launches >= 2)) || fail "only $launches launch for $requests requests"
((closest >= pumps_between_launches_us - tolerance_us)) ||
  fail "two launches only $closest us apart: two in one pass"
end_with TERM 5
echo "PASS ($name)"
