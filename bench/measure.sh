#!/usr/bin/env bash
# The figures of docs/performance.md: the agent beside bench/baseline-agent.c in a simulated
# session (tools/zeb-session) whose ps and open are bench/stand-in.sh. 77: no session here.
#   [ZEB_IDLE_SECONDS=60] [ZEB_LAUNCHES=60] bench/measure.sh AGENT BASELINE BINDING SESSION
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/tools/polling.sh"
seconds=${ZEB_IDLE_SECONDS:-60}
samples=${ZEB_LAUNCHES:-60}
die() {
  echo "measure.sh: $*" >&2
  exit 1
}

if [[ -z ${ZEB_MEASURE_FOLDER:-} ]]; then
  folder=$(mktemp -d /tmp/zeb-measure.XXXXXX)
  trap 'rm -rf "$folder"' EXIT
  install -D "$root/bench/stand-in.sh" "$folder/bin/ps"
  install -D "$root/bench/stand-in.sh" "$folder/bin/open"
  # The header, loginwindow, the agent once, then 197 names of 15 to 30 random letters.
  head -c 80000 /dev/urandom | tr -dc a-z | fold -w 30 |
    awk 'BEGIN { print "COMMAND\nloginwindow\nzeb-agent" }
      NR <= 197 { print substr($0, 1, 15 + NR * 7 % 16) }' >"$folder/listing"
  sync "$1" "$2" "$3" # a mapped page of a file not yet written back counts as private dirty
  ZEB_MEASURE_FOLDER=$folder "$4" --bin "$folder/bin" --out "$folder/out" \
    --deadline $((seconds * 2 + samples + 60)) -- "$root/bench/measure.sh" \
    "$(realpath "$1")" "$(realpath "$2")" "$(realpath "$3")"
  exit
fi

cd "$ZEB_MEASURE_FOLDER" # inside the session; its PID 1 adopts the agent, ends all at the end
exec {pause_fd}<> <(:) # read -t on a pipe that stays empty: a pause without starting a sleep
pause() { read -r -t "$1" -u "$pause_fd" _ || true; }
# SIGUSR1 (0x200) and SIGUSR2 (0x800) caught: their bits in the third hex digit from the end.
armed() { [[ $(grep SigCgt "/proc/$1/status") =~ [abef][0-9a-f]{2}$ ]]; }
"$1" || die "the agent's starter failed"
pids=("$(pgrep -n -P 1 -x zeb-agent)") || die "the agent did not detach"
for program in "$3" "$3" "$2"; do # the binding baseline twice: their difference is the noise
  "$program" </dev/null >/dev/null 2>&1 &
  pids+=("$!")
done
read -r a _ _ p <<<"${pids[*]}" # the agent, the plain baseline
for pid in "${pids[@]}"; do
  poll 3 armed "$pid" || die "process $pid never caught its signals"
done

# Idle: 2 s windows, each after a SIGUSR1 to each program at a random moment (it cuts the pause
# short: a new phase); the time, the programs' own CPU time in ns, then their private dirty memory.
cpu() { (cd /proc && awk '{ printf " %s", $1 }' "${pids[@]/%//schedstat}"); }
dirty_kb() { awk '/^Private_Dirty/ { print $2 }' "/proc/$1/smaps_rollup" >>"dirty.$1"; }
for ((window = 0; window < seconds / 2; window++)); do
  for pid in $(shuf -e "${pids[@]}"); do
    pause "0.$((RANDOM % 111 + 100))" # 100 to 210 ms: any point of a pass
    kill -USR1 "$pid"
  done
  before="${EPOCHREALTIME/[.,]/}$(cpu)"
  pause 2
  echo "$before ${EPOCHREALTIME/[.,]/}$(cpu)" >>windows
  dirty_kb "$a"
  dirty_kb "$p"
done
cp ps.log idle-checks

# Launches at random points of the pass: SIGUSR2 until open has started (the stand-in's record).
# Polled, so the cores stay awake as on a machine in use: the wake of an idle core is not measured.
exec {log_fd}<>open.log
for pid in "$a" "$p"; do
  for ((i = 0; i < samples; i++)); do
    pause "0.$((RANDOM % 111 + 100))" # 100 to 210 ms: any point of a pass
    sent=${EPOCHREALTIME/[.,]/}
    kill -USR2 "$pid"
    until read -r -u "$log_fd"; do
      pause 0.0005
    done
    echo "$(($(micros "${REPLY%% *}") - sent))"
  done >"launch.$pid"
done

read -r agent binding copy plain < <( # own CPU per second of the windows
  awk '{ for (i = 1; i <= 5; i++) t[i] += $(i + 5) - $i }
  END { for (i = 2; i <= 5; i++) printf "%.0f%s", t[i] / t[1] * 1e3, i < 5 ? " " : "\n" }' windows)
median() {
  sort -n | awk '{ v[NR] = $1 } END { print (v[int((NR + 1) / 2)] + v[int(NR / 2) + 1]) / 2 }'
}
reads() { # own read calls from one ps to the next
  awk -v pid="$1" '$2 == pid && n++ { print $3 - last }
    $2 == pid { last = $3 }' idle-checks | median
}
ms() { awk '{ print $1 / 1e3 }' "launch.$1" | sort -n; }
row() { # WHAT FIRST SECOND
  awk -v w="$1" -v a="$2" -v b="$3" 'BEGIN { printf "| %s | %s | %s | %.2f |\n", w, a, b, a / b }'
}
echo "| own CPU idle, us per s ($(wc -l <windows) windows of 2 s) | first | second | ratio |"
echo "|---|---:|---:|---:|"
row "the agent, the binding baseline (mean of its copies)" "$agent" $(((binding + copy) / 2))
row "the binding baseline's 2nd copy, its 1st: the noise" "$copy" "$binding"
row "the binding baseline (mean of its copies), the plain one" $(((binding + copy) / 2)) "$plain"
echo "| **the agent, the plain baseline** | | | |"
row "private dirty idle, kB (windows' median)" "$(median <"dirty.$a")" "$(median <"dirty.$p")"
row "own read calls per check of $(wc -c <listing) bytes (median)" "$(reads "$a")" "$(reads "$p")"
row "launch wait, ms: median of $samples" "$(ms "$a" | median)" "$(ms "$p" | median)"
row "launch wait, ms: maximum of $samples" "$(ms "$a" | tail -n 1)" "$(ms "$p" | tail -n 1)"
