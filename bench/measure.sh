#!/usr/bin/env bash
# Measures the agent beside bench/baseline-agent.c in a simulated session whose ps lists 200
# processes (bench/stand-in.sh): idle CPU, private dirty memory, own read calls per check and per
# launch, launch and quit latency. Targets are ratios to the baselines of the same run, or derived
# from the listing; a miss is printed, not a failure. 77: no session. Usage (the build's paths):
#   bench/measure.sh [--seconds N (idle, 60)] [--samples N] AGENT BASELINE BINDING SESSION_TOOL
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/tools/polling.sh"
seconds=60 samples=30
die() { echo "measure.sh: $*" >&2 && exit 1; }
while [[ ${1:-} == --seconds || ${1:-} == --samples ]]; do
  declare "${1#--}=$2"
  shift 2
done

if [[ -z ${ZEB_MEASURE_FOLDER:-} ]]; then
  (($# == 4)) || die "usage: measure.sh [--seconds N] [--samples N] [AGENT BASELINE BINDING TOOL]"
  folder=$(mktemp -d /tmp/zeb-measure.XXXXXX)
  trap 'rm -rf "$folder"' EXIT
  mkdir "$folder/bin" && : >"$folder/open.log" && : >"$folder/ps.log"
  cp "$root/bench/stand-in.sh" "$folder/bin/ps" && cp "$root/bench/stand-in.sh" "$folder/bin/open"
  # The header, loginwindow, the agent once, then names of 15 to 30 letters: 200 lines, 2,000.
  head -c 800000 /dev/urandom | tr -dc a-z | fold -w 30 |
    awk 'BEGIN { print "COMMAND\nloginwindow\nzeb-agent" }
      NR <= 1997 { print substr($0, 1, 15 + NR * 7 % 16) }' >"$folder/listing2000"
  head -n 200 "$folder/listing2000" >"$folder/listing" && sync "$1" "$2" "$3" # see performance.md
  ZEB_MEASURE_FOLDER=$folder "$4" --bin "$folder/bin" --out "$folder/out" \
    --deadline $((seconds * 2 + samples * 6 + 80)) -- "$root/bench/measure.sh" \
    --seconds "$seconds" --samples "$samples" "${@:1:3}" && exit || status=$?
  ((status == 77)) && exit 77 || die "failed (status $status)"
fi

# Inside the session, as its starter: its PID 1 adopts the detached agents.
readonly agent=$1 baseline=$2 binding=$3 work=$ZEB_MEASURE_FOLDER
# poll's 20 ms steps, each a /bin/sleep, would be too coarse: read -t on an empty pipe pauses.
exec {pause_fd}<> <(:)
pause() { read -r -t "$1" -u "$pause_fd" _ || true; }
alive() { # and not a zombie
  local stat
  { read -r stat <"/proc/$1/stat"; } 2>/dev/null || return
  stat=${stat##*) }
  [[ ${stat:0:1} != Z ]]
}
armed() { # SIGTERM and SIGUSR2 are caught
  [[ $(grep SigCgt "/proc/$1/status" 2>/dev/null) =~ ([0-9a-f]+)$ ]] &&
    (((16#${BASH_REMATCH[1]} & 0x4800) == 0x4800)); }
start() {
  if [[ $1 == "$agent" ]]; then
    "$agent" || die "the agent's starter failed"
    pid=$(pgrep -n -P 1 -x zeb-agent) || die "the agent did not detach" # PID 1 adopted it
  else
    "$1" </dev/null >/dev/null 2>&1 &
    pid=$!
  fi
  poll 3 armed "$pid" || die "process $pid never caught its signals"
}
quit() { # prints the microseconds from SIGTERM until the process is gone
  local sent=${EPOCHREALTIME/[.,]/}
  kill -TERM "$1"
  while alive "$1"; do
    ((${EPOCHREALTIME/[.,]/} < sent + 3000000)) || die "process $1 still there 3 s after SIGTERM"
    pause 0.0002
  done
  echo $((${EPOCHREALTIME/[.,]/} - sent))
  wait "$1" 2>/dev/null || true # a baseline is our child; an agent is PID 1's
}
dirty_kb() { awk '/^Private_Dirty/ { print $2 }' "/proc/$1/smaps_rollup"; }
middle() { sort -n | awk '{ v[NR] = $1 } END { print NR ? v[int((NR + 1) / 2)] : "n/a" }'; }
reads_of() { # ps|open PID: the median of a program's own read calls from one record to the next
  awk -v pid="$2" '$(NF - 1) == pid { if (n++) print $NF - last
    last = $NF }' "$work/$1.log" | middle
}
cpu() { (cd /proc && awk '{ printf " %s", $1 }' "${idle[@]/%//schedstat}"); }

# Idle, side by side: the agent, the binding baseline twice (their difference is the noise), the
# plain one. Short windows, each after a SIGUSR1 at a random moment, which re-phases the pauses.
for p in "$agent" "$binding" "$binding" "$baseline"; do start "$p" && idle+=("$pid"); done
read -r agent_pid binding_pid copy_pid baseline_pid <<<"${idle[*]}"
pause 1
end=$(($(micros "$EPOCHREALTIME") + seconds * 1000000))
while (($(micros "$EPOCHREALTIME") < end)); do
  for pid in $(shuf -e "${idle[@]}"); do
    printf -v delay '0.%03d' $((RANDOM % 111)) && pause "$delay" && kill -USR1 "$pid"
  done
  pause 0.2
  before="${EPOCHREALTIME/[.,]/}$(cpu)" && pause 2 # then the time and the programs' own CPU
  echo "$before ${EPOCHREALTIME/[.,]/}$(cpu)" >>"$work/windows"
  echo "$(dirty_kb "$agent_pid") $(dirty_kb "$baseline_pid")" >>"$work/memory" # median: see below
done
for pid in "${idle[@]}"; do alive "$pid" || die "a program ended during the idle windows"; done
# These pairs, like launch_reads and after below, hold the agent's figure, then the baseline's.
reads=("$(reads_of ps "$agent_pid")" "$(reads_of ps "$baseline_pid")") # idle: checks alone
quit "$binding_pid" >/dev/null && quit "$copy_pid" >/dev/null

# One check of the long listing, the agent's alone, with its private dirty before and after.
check_before=$(dirty_kb "$agent_pid")
cp "$work/listing2000" "$work/listing.$agent_pid" # the stand-in serves it once
poll 12 test ! -e "$work/listing.$agent_pid" || die "no check within 12 s"
pause 1 && check_after=$(dirty_kb "$agent_pid")

# Each program's own CPU in us per s of the windows, each ratio pooled and its ~95% interval from
# the per-window ratios' logs (mean, two standard errors): "name=value" lines into idle_cpu.
declare -A idle_cpu
while IFS='=' read -r name value; do
  idle_cpu[$name]=$value
done < <(awk 'BEGIN { split("wall agent binding copy baseline", column) } # a window: before, after
  function add(k, r) { s[k] += log(r); s2[k] += log(r) ^ 2 }
  function ratio(k, a, b) {
    add(k, d[a] / d[b])
    pooled[k] = t[a] / t[b]
  }
  function show(k,   m, e) {
    m = s[k] / NR
    e = NR > 1 ? sqrt((s2[k] - NR * m * m) / (NR - 1) / NR) : 0
    printf "%s=%.2f\n%s_low=%.2f\n", k, pooled[k], k, exp(m - 2 * e)
    printf "%s_high=%.2f\n", k, exp(m + 2 * e)
  }
  { for (i = 1; i <= 5; i++) {
      d[column[i]] = $(i + 5) - $i
      t[column[i]] += d[column[i]]
    }
    d["bindings"] = (d["binding"] + d["copy"]) / 2 # the binding baseline: its two copies
    t["bindings"] = (t["binding"] + t["copy"]) / 2
    ratio("agent_ratio", "agent", "bindings")
    ratio("noise", "copy", "binding")
    ratio("binding_ratio", "bindings", "baseline") }
  END {
    printf "windows=%d\nseconds=%.1f\n", NR, t["wall"] / 1e6
    for (i = 2; i <= 5; i++) printf "%s=%.0f\n", column[i], t[column[i]] / t["wall"] * 1e3
    show("agent_ratio")
    show("noise")
    show("binding_ratio") }' "$work/windows")
median() { cut -d' ' -f"$1" "$work/memory" | middle; }
dirty=("$(median 1)" "$(median 2)") # agent, baseline
dirty_ratio=$(awk -v a="${dirty[0]}" -v b="${dirty[1]}" 'BEGIN { printf "%.2f", a / b }')
printf '## Idle, side by side: %s s in %s windows\n\n' "${idle_cpu[seconds]}" "${idle_cpu[windows]}"
echo "| own CPU | us per s | ratio (~95% interval) |"
echo "|---|---:|---|"
echo "| agent | ${idle_cpu[agent]} | ${idle_cpu[agent_ratio]} (${idle_cpu[agent_ratio_low]} to" \
  "${idle_cpu[agent_ratio_high]}) to the binding baseline (the mean of its two copies) |"
echo "| baseline binding usleep by name | ${idle_cpu[binding]} | ${idle_cpu[binding_ratio]}" \
  "(${idle_cpu[binding_ratio_low]} to ${idle_cpu[binding_ratio_high]}) to the plain one |"
echo "| the same, 2nd copy | ${idle_cpu[copy]} | ${idle_cpu[noise]} (${idle_cpu[noise_low]} to" \
  "${idle_cpu[noise_high]}) to the 1st copy (noise) |"
printf '| baseline | %s | |\n\n' "${idle_cpu[baseline]}"

# Latency; requests 150 to 400 ms apart, so at random phases of the pass.
exec {record_fd}<"$work/open.log"
for who in agent baseline; do
  pid_var=${who}_pid
  for ((i = 0; i < samples; i++)); do
    pause "0.$((150 + RANDOM % 251))" # 150 to 400 ms
    sent=${EPOCHREALTIME/[.,]/} && kill -USR2 "${!pid_var}"
    until read -r -u "$record_fd" stamp _; do
      ((${EPOCHREALTIME/[.,]/} < sent + 3000000)) || die "no launch within 3 s of SIGUSR2"
      pause 0.0005
    done
    echo $(($(micros "$stamp") - sent))
  done >"$work/launch-$who"
  launch_reads+=("$(reads_of open "${!pid_var}")")
  after+=("$(dirty_kb "${!pid_var}")")
  quit "${!pid_var}" >/dev/null
  for ((i = 0; i < samples; i++)); do
    start "${!who}"
    pause "0.$((150 + RANDOM % 251))" # 150 to 400 ms
    quit "$pid"
  done >"$work/quit-$who"
done
summary() { # FILE: median, 95th percentile (nearest rank), maximum; in ms
  sort -n "$1" | awk '{ v[NR] = $1 / 1e3 } END { h = (NR + 1) / 2
    printf "%.3f %.3f %.3f\n", (v[int(h)] + v[int(h + 0.5)]) / 2, v[int(0.95 * NR + 0.999)], v[NR] }'
}
printf '## Latency, ms (%s samples each)\n\n' "$samples"
echo "| launch: SIGUSR2 until open started; quit: SIGTERM until gone | median | 95th pct. | max. |"
echo "|---|---:|---:|---:|"
declare -A ms # RUN.median and RUN.maximum
for run in {launch,quit}-{agent,baseline}; do
  read -r median percentile maximum < <(summary "$work/$run")
  ms[$run.median]=$median
  ms[$run.maximum]=$maximum
  echo "| $run | $median | $percentile | $maximum |"
done && echo
bytes=$(wc -c <"$work/listing")
printf '| | agent | baseline |\n|---|---:|---:|\n'
printf '| private dirty idle, kB (median of a sample a window) | %s | %s |\n' "${dirty[@]}"
printf '| private dirty after the launches, kB | %s | %s |\n' "${after[@]}"
printf '| own read calls (syscr) per check of %s bytes, median | %s | %s |\n' "$bytes" "${reads[@]}"
printf '| own read calls per launch, median | %s | %s |\n\n' "${launch_reads[@]}"
printf 'The agent around one check of 2,000 processes (%s bytes): %s kB before, %s kB after.\n\n' \
  "$(wc -c <"$work/listing2000")" "$check_before" "$check_after"
# A request in the 10 ms wait takes a whole pass: of the baseline's 60 one very likely does.
slowest=$(awk -v a="${ms[launch-baseline.maximum]}" -v b="${ms[quit-baseline.maximum]}" \
  'BEGIN { print (a > b) ? a : b }')
verdict() { awk -v v="$1" -v limit="$2" 'BEGIN { print (v <= limit) ? "met" : "MISSED" }'; }
target() { # TEXT AGENT_MS BASELINE_MS LIMIT: one line of the table, the ratio and both times
  awk -v t="$1" -v a="$2" -v b="$3" -v l="$4" 'BEGIN { r = sprintf("%.2f", b > 0 ? a / b : 99)
    printf "| %s | %s x (%.1f / %.1f ms) | %s |\n", t, r, a, b, r + 0 <= l ? "met" : "MISSED" }'
}
echo "| target, against the baseline of the same run | measured | |"
echo "|---|---:|---|"
echo "| idle CPU at most 1.05 x the binding baseline's | ${idle_cpu[agent_ratio]} x |" \
  "$(verdict "${idle_cpu[agent_ratio]}" 1.05) |"
echo "| private dirty at most 1.10 x the baseline's | $dirty_ratio x | $(verdict "$dirty_ratio" 1.10) |"
limit=$(awk -v b="$bytes" 'BEGIN { printf "%.1f", b / 512 + 4 }') && left=$((check_after - check_before))
echo "| reads per check at most $limit (1 per 512 bytes + 4) | ${reads[0]} | $(verdict "${reads[0]}" "$limit") |"
echo "| reads per launch at most 5 | ${launch_reads[0]} | $(verdict "${launch_reads[0]}" 5) |"
echo "| private dirty after the long check at most 4 kB over before | $left kB | $(verdict "$left" 4) |"
target "launch median at most 1.50 x the baseline's" "${ms[launch-agent.median]}" \
  "${ms[launch-baseline.median]}" 1.50
target "launch maximum at most 1.25 x the baseline's slowest answer" \
  "${ms[launch-agent.maximum]}" "$slowest" 1.25
target "quit maximum at most 1.25 x the baseline's slowest answer" "${ms[quit-agent.maximum]}" \
  "$slowest" 1.25
