#!/usr/bin/env bash
# Measures the agent beside bench/baseline-agent.c in a simulated session (tools/zeb-session):
# idle CPU and private dirty memory (where it lies, and after the launches too), launch latency
# (SIGUSR2 until the stand-in /usr/bin/open started), quit latency (SIGTERM until gone). Targets
# are ratios to the baseline of the same run; a miss is printed, not a failure. 77: no session.
#   bench/measure.sh [--seconds N (idle, 60)] [--samples N (launches and quits each, 30)]
#     [AGENT BASELINE BINDING SESSION_TOOL (default: built with the bench preset)]
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/tools/polling.sh"
seconds=60 samples=30
die() { echo "measure.sh: $*" >&2 && exit 1; }
while [[ ${1:-} == --seconds || ${1:-} == --samples ]]; do declare "${1#--}=$2" && shift 2; done

if [[ -z ${ZEB_MEASURE_FOLDER:-} ]]; then
  if (($# == 0)); then
    (cd "$root" && cmake --preset bench >/dev/null && cmake --build --preset bench >/dev/null)
    set -- "$root"/build/bench/{zeb-agent,bench/baseline-agent{,-binding},tools/zeb-session}
  fi
  (($# == 4)) || die "usage: measure.sh [--seconds N] [--samples N] [AGENT BASELINE BINDING TOOL]"
  folder=$(mktemp -d /tmp/zeb-measure.XXXXXX)
  trap 'rm -rf "$folder"' EXIT
  mkdir "$folder/bin" && : >"$folder/open-started"
  printf '#!/bin/bash\nprintf "COMMAND\\nloginwindow\\nzeb-agent\\n"\n' >"$folder/bin/ps"
  # shellcheck disable=SC2016 # $EPOCHREALTIME starts no process: the stamp is the stand-in's start
  printf '#!/bin/bash\necho "$EPOCHREALTIME" >>%q\n' "$folder/open-started" >"$folder/bin/open"
  chmod +x "$folder"/bin/* && sync "$1" "$2" "$3" # unwritten pages of a mapped file count as dirty
  ZEB_MEASURE_FOLDER=$folder "$4" --bin "$folder/bin" --out "$folder/out" \
    --deadline $((seconds * 2 + samples * 6 + 60)) -- "$root/bench/measure.sh" \
    --seconds "$seconds" --samples "$samples" "${@:1:3}" && exit || status=$?
  ((status == 77)) && exit 77 || die "failed (status $status)"
fi

# Inside the session, as its starter: its PID 1 adopts the detached agents.
readonly agent=$1 baseline=$2 binding=$3 work=$ZEB_MEASURE_FOLDER
# poll's 20 ms steps, each a /bin/sleep, would be too coarse: read -t on an empty pipe pauses.
exec {pause_fd}<> <(:)
pause() { read -r -t "$1" -u "$pause_fd" _ || true; }
random_pause() { pause "0.$((150 + RANDOM % 251))"; }
alive() { # and not a zombie
  { read -r s <"/proc/$1/stat"; } 2>/dev/null && s=${s##*) } && [[ ${s:0:1} != Z ]]; }
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

# Idle, side by side: the agent, the baseline binding usleep by name, a second copy of it (their
# difference is the noise) and the plain baseline. A wake-up costs what ran before it on that CPU,
# and programs of one period keep their phases, so one long window measures one phase: short
# windows, each after a SIGUSR1 at a random moment, which cuts a pause short for a new phase.
for p in "$agent" "$binding" "$binding" "$baseline"; do start "$p" && idle+=("$pid"); done
read -r agent_pid binding_pid copy_pid baseline_pid <<<"${idle[*]}"
pause 1
end=$(($(micros "$EPOCHREALTIME") + seconds * 1000000))
while (($(micros "$EPOCHREALTIME") < end)); do
  for pid in $(shuf -e "${idle[@]}"); do
    printf -v delay '0.%03d' $((RANDOM % 111)) && pause "$delay" && kill -USR1 "$pid"
  done
  pause 0.2
  before=() line=""
  for pid in "${idle[@]}"; do read -r ns _ <"/proc/$pid/schedstat" && before+=("$ns"); done
  t0=${EPOCHREALTIME/[.,]/} && pause 2 && t1=${EPOCHREALTIME/[.,]/}
  for i in "${!idle[@]}"; do
    read -r ns _ <"/proc/${idle[i]}/schedstat" && line+=" $((ns - before[i]))"
  done
  echo "$((t1 - t0))$line" >>"$work/windows"
  # A sample may catch a process check in flight, so the median is the resting figure.
  for pid in "$agent_pid" "$baseline_pid"; do
    awk '/^Private_Dirty/ { print $2 }' "/proc/$pid/smaps_rollup"
  done | paste -s >>"$work/memory"
done
for pid in "${idle[@]}"; do alive "$pid" || die "a program ended during the idle windows"; done
# Where the private dirty pages lie, one sample (smaps): the program file's own mappings (its data
# relocated at start among them), the shared libraries, heap, stack, the rest (bss among them).
where=$(awk -v a="$(realpath "$agent")" -v b="$(realpath "$baseline")" 'FNR == 1 { f++ }
  /^[0-9a-f]/ { k = $6 == a || $6 == b ? 2 : $6 ~ /\.so/ ? 3 : $6 ~ /^\[h/ ? 1 : $6 ~ /^\[s/ ? 4 : 5 }
  /^Private_Dirty/ { kb[k, f] += $2 }
  END { split("heap,file,libraries,stack,rest", n, ",")
    for (k = 1; k <= 5; k++) printf "%s%s %d/%d", (k > 1 ? ", " : ""), n[k], kb[k, 1], kb[k, 2] }' \
  /proc/{"$agent_pid","$baseline_pid"}/smaps)
quit "$binding_pid" >/dev/null && quit "$copy_pid" >/dev/null

# Ratios per window (agent to the binding copies' mean, copy to copy, copies to the plain one),
# pooled, ~95% intervals: mean of the logs, two standard errors. Own CPU (schedstat) alone.
read -r -a f < <(awk 'function add(k, r) { s[k] += log(r); s2[k] += log(r) ^ 2 }
  function show(k, pooled,   m, e) {
    m = s[k] / NR; e = NR > 1 ? sqrt((s2[k] - NR * m * m) / (NR - 1) / NR) : 0
    return sprintf("%.2f %.2f %.2f", pooled, exp(m - 2 * e), exp(m + 2 * e)) }
  { for (i = 1; i <= 5; i++) t[i] += $i # wall time, then the CPU of the four programs
    add(1, 2 * $2 / ($3 + $4)); add(2, $4 / $3); add(3, ($3 + $4) / 2 / $5) }
  END { printf "%d %.1f %.0f %.0f %.0f %.0f %s %s %s\n", NR, t[1] / 1e6, t[2] / t[1] * 1e3,
    t[3] / t[1] * 1e3, t[4] / t[1] * 1e3, t[5] / t[1] * 1e3, show(1, 2 * t[2] / (t[3] + t[4])),
    show(2, t[4] / t[3]), show(3, (t[3] + t[4]) / 2 / t[5]) }' \
  "$work/windows")
median() { cut -f"$1" "$work/memory" | sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
dirty=("$(median 1)" "$(median 2)")
dirty+=("$(awk -v a="${dirty[0]}" -v b="${dirty[1]}" 'BEGIN { printf "%.2f", a / b }')")
printf '## Idle, side by side: %s s in %s windows\n\n' "${f[1]}" "${f[0]}"
echo "| own CPU | us per s | ratio (~95% interval) |"
echo "|---|---:|---|"
echo "| agent | ${f[2]} | ${f[6]} (${f[7]} to ${f[8]}) to the binding baseline (the mean of its two copies) |"
echo "| baseline binding usleep by name | ${f[3]} | ${f[12]} (${f[13]} to ${f[14]}) to the plain one |"
echo "| the same, 2nd copy | ${f[4]} | ${f[9]} (${f[10]} to ${f[11]}) to the 1st copy (noise) |"
printf '| baseline | %s | |\n\n' "${f[5]}"
echo "Private dirty (smaps_rollup, median of one sample a window): agent ${dirty[0]} kB, baseline"
printf '%s kB, ratio %s. Where (kB, agent/baseline): %s.\n\n' "${dirty[1]}" "${dirty[2]}" "$where"

# Latency; requests 150 to 400 ms apart, so at random phases of the pass.
exec {record_fd}<"$work/open-started"
for who in agent baseline; do
  pid_var=${who}_pid
  for ((i = 0; i < samples; i++)); do
    random_pause
    sent=${EPOCHREALTIME/[.,]/} && kill -USR2 "${!pid_var}"
    until read -r -u "$record_fd" stamp; do
      ((${EPOCHREALTIME/[.,]/} < sent + 3000000)) || die "no launch within 3 s of SIGUSR2"
      pause 0.0005
    done
    echo $(($(micros "$stamp") - sent))
  done >"$work/launch-$who"
  after+=("$(awk '/^Private_Dirty/ { print $2 }' "/proc/${!pid_var}/smaps_rollup")")
  quit "${!pid_var}" >/dev/null
  for ((i = 0; i < samples; i++)); do
    start "${!who}"
    random_pause
    quit "$pid"
  done >"$work/quit-$who"
done
summary() { # FILE [DECIMALS]: median, 95th percentile (nearest rank), maximum; in ms
  sort -n "$1" | awk -v d="${2:-1}" '{ v[NR] = $1 } END { p = int(0.95 * NR + 0.999)
    h = (NR + 1) / 2; f = "%." d "f"
    printf f " " f " " f "\n", (v[int(h)] + v[int(h + 0.5)]) / 2e3, v[p] / 1e3, v[NR] / 1e3 }'
}
printf '## Latency, ms (%s samples each)\n\n' "$samples"
echo "| | median | 95th percentile | maximum |"
echo "|---|---:|---:|---:|"
for who in agent baseline; do
  read -r -a l < <(summary "$work/launch-$who") && read -r -a q < <(summary "$work/quit-$who")
  echo "| $who: launch, SIGUSR2 until /usr/bin/open started | ${l[0]} | ${l[1]} | ${l[2]} |"
  echo "| $who: quit, SIGTERM until gone | ${q[0]} | ${q[1]} | ${q[2]} |"
done && echo
printf 'Private dirty after the idle run and the launches: agent %s kB, baseline %s kB.\n\n' "${after[@]}"
read -r -a launch < <(summary "$work/launch-agent" 3)
read -r -a quits < <(summary "$work/quit-agent" 3)
read -r -a base_launch < <(summary "$work/launch-baseline" 3)
read -r -a base_quit < <(summary "$work/quit-baseline" 3)
# Both answer within one pass, which a request in the 10 ms wait takes: of 30 requests none may
# land there, of the baseline's 60 one very likely does, its slowest answer being a whole pass.
slowest=$(awk -v a="${base_launch[2]}" -v b="${base_quit[2]}" 'BEGIN { print (a > b) ? a : b }')
verdict() { awk -v v="$1" -v limit="$2" 'BEGIN { print (v <= limit) ? "met" : "MISSED" }'; }
target() { # TEXT AGENT_MS BASELINE_MS LIMIT: one line of the table, the ratio and both times
  ratio=$(awk -v a="$2" -v b="$3" 'BEGIN { printf "%.2f", (b > 0) ? a / b : 99 }')
  awk -v t="$1" -v r="$ratio" -v a="$2" -v b="$3" -v v="$(verdict "$ratio" "$4")" \
    'BEGIN { printf "| %s | %s x (%.1f / %.1f ms) | %s |\n", t, r, a, b, v }'
}
echo "| target, against the baseline of the same run | measured | |"
echo "|---|---:|---|"
echo "| idle CPU at most 1.05 x the binding baseline's | ${f[6]} x | $(verdict "${f[6]}" 1.05) |"
echo "| private dirty at most 1.10 x the baseline's | ${dirty[2]} x | $(verdict "${dirty[2]}" 1.10) |"
target "launch median at most 1.50 x the baseline's" "${launch[0]}" "${base_launch[0]}" 1.50
target "launch maximum at most 1.25 x the baseline's slowest answer" "${launch[2]}" "$slowest" 1.25
target "quit maximum at most 1.25 x the baseline's slowest answer" "${quits[2]}" "$slowest" 1.25
