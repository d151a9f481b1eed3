#!/usr/bin/env bash
# A storm of launch requests mixed with every ignored signal, on the real agent in a live session:
#   signal-storm.sh AGENT SESSION_TOOL STORM_TOOL FOLDER [SECONDS]
# The agent must survive it, launch at most once per pass, still answer the storm's last request
# and end with status 0 on SIGTERM. Prints the figures. Exit 77: no sandbox on this machine.
set -euo pipefail

readonly name=signal-storm agent=$1 session=$2 storm=$3 folder=$4 seconds=${5:-4}
readonly agent_name=${agent##*/}
# shellcheck source-path=SCRIPTDIR source=session.sh
source "$(dirname "$0")/session.sh"

# Between two launches lie at least the pump after the first and the pump that starts the next
# pass (10 ms each); the pause between them is cut short by every signal of the storm.
readonly pumps_between_launches_us=20000 tolerance_us=2000
readonly pass_us=110000

# Every signal from 1 to 31 but SIGKILL and SIGSTOP has a handler.
readonly all_caught=$((0x7fffffff & ~(1 << (9 - 1)) & ~(1 << (19 - 1))))
armed() {
  local caught
  caught=$(awk '/^SigCgt:/ { print $2 }' "/proc/$agent_pid/status" 2>/dev/null) || return 1
  [[ -n $caught ]] && (((16#$caught & all_caught) == all_caught))
}

figure() { awk -v key="$1" '$1 == key { print $2 }' "$folder/storm.out"; }

launched_after() {
  local last=$1 time
  while read -r time; do
    (($(micros "$time") > last)) && return 0
  done <"$folder/open.log"
  return 1
}

closest_launches_us() {
  local previous='' time closest=''
  while read -r time; do
    time=$(micros "$time")
    if [[ -n $previous ]] && { [[ -z $closest ]] || ((time - previous < closest)); }; then
      closest=$((time - previous))
    fi
    previous=$time
  done <"$folder/open.log"
  echo "${closest:-none}"
}

start_session 60 "$agent"
wait_for "signal handlers" 5 armed
"$storm" "$agent_pid" "$seconds" >"$folder/storm.out" || fail "the storm could not be sent"
cat "$folder/storm.out"

last_request=$(micros "$(figure last-request)")
running || fail "the agent did not survive the storm: $(cat "$out/agent-status" 2>/dev/null)"
wait_for "launch after the last request" 2 launched_after "$last_request"
launches=$(lines "$folder/open.log")
storm_us=$(($(micros "$(figure last-request)") - $(micros "$(<"$out/started-at")")))
closest=$(closest_launches_us)

echo "launches $launches"
echo "passes-at-110ms $(((storm_us + pass_us - 1) / pass_us)) (start to last request)"
echo "closest-launches-ms $((closest / 1000)).$(printf '%03d' $((closest % 1000)))"

most_launches=$((storm_us / (pumps_between_launches_us - tolerance_us) + 2))
((launches <= most_launches)) || fail "$launches launches, more than one per pass ($most_launches)"
((launches >= 2)) || fail "only $launches launch for $(figure launch-requests) requests"
((closest >= pumps_between_launches_us - tolerance_us)) ||
  fail "two launches only $closest us apart: two in one pass"
end_session 5
echo "PASS ($name)"
