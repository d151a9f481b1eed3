#!/usr/bin/env bash
# Measures the agent against bench/baseline-agent.c in a simulated session: idle CPU and memory
# over --seconds (default 120; side by side with two copies of the baseline and with the
# baseline built to bind usleep by name in every pass, as the agent must), launch latency
# (SIGUSR2 until the stand-in /usr/bin/open has started) and quit latency (SIGTERM until the
# process is gone). Prints tables; exits non-zero when something could not be measured. Missed
# targets are reported, not turned into a failure.
#
#   bench/measure.sh [--build-dir DIR] [--agent PATH --baseline PATH --binding PATH]
#                    [--seconds N] [--launches N] [--quits N]
#
# Without the three programs it builds them (Release) in DIR, by default build/bench.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build_dir=$root/build/bench
agent=""
baseline=""
binding=""
seconds=120
launches=50
quits=50

die() {
  echo "measure.sh: $*" >&2
  exit 1
}

while (($#)); do
  case $1 in
    --build-dir) build_dir=$2 ;;
    --agent) agent=$2 ;;
    --baseline) baseline=$2 ;;
    --binding) binding=$2 ;;
    --seconds) seconds=$2 ;;
    --launches) launches=$2 ;;
    --quits) quits=$2 ;;
    *) die "unknown argument: $1" ;;
  esac
  shift 2
done

# ---------------------------------------------------------------------------------------------
# Outside the namespace: build if asked, then run the rest in a private mount namespace.
if [[ ${ZEB_MEASURE_SANDBOX:-} == "" ]]; then
  if [[ -z $agent || -z $baseline || -z $binding ]]; then
    cmake -S "$root" -B "$build_dir" -DZEB_BUILD_BENCH=ON -DCMAKE_BUILD_TYPE=Release >/dev/null
    cmake --build "$build_dir" -j2 --target zeb-agent baseline-agent baseline-agent-binding >/dev/null
    agent=$build_dir/zeb-agent
    baseline=$build_dir/bench/baseline-agent
    binding=$build_dir/bench/baseline-agent-binding
  fi
  [[ -x $agent ]] || die "no agent at $agent"
  [[ -x $baseline ]] || die "no baseline at $baseline"
  [[ -x $binding ]] || die "no binding baseline at $binding"
  sandbox=$(mktemp -d /tmp/zeb-measure.XXXXXX)
  trap 'rmdir "$sandbox" 2>/dev/null || true' EXIT
  if ((EUID == 0)); then unshare_flags=(-m); else unshare_flags=(-r -m); fi
  status=0
  ZEB_MEASURE_SANDBOX=$sandbox unshare "${unshare_flags[@]}" --propagation private -- \
    "$0" --agent "$(realpath "$agent")" --baseline "$(realpath "$baseline")" \
    --binding "$(realpath "$binding")" \
    --seconds "$seconds" --launches "$launches" --quits "$quits" || status=$?
  exit "$status"
fi

# ---------------------------------------------------------------------------------------------
# Inside the namespace. Everything we make lives on a tmpfs that vanishes with the namespace.
sandbox=$ZEB_MEASURE_SANDBOX
mount -t tmpfs -o mode=0755 zeb-measure "$sandbox"
mkdir -p "$sandbox"/{upper,work}
record=$sandbox/open-started
: >"$record"

# Stand-ins, seen by both programs through an overlay on /usr/bin (/bin links there).
cat >"$sandbox/upper/ps" <<'EOF'
#!/bin/bash
printf 'COMMAND\nloginwindow\nzeb-agent\n'
EOF
# EPOCHREALTIME is read without starting another process, so the stamp is the stand-in's start.
cat >"$sandbox/upper/open" <<EOF
#!/bin/bash
printf '%s\n' "\${EPOCHREALTIME/./}" >>'$record'
EOF
chmod 0755 "$sandbox/upper/ps" "$sandbox/upper/open"
mount -t overlay zeb-measure-bin \
  -o "lowerdir=/usr/bin,upperdir=$sandbox/upper,workdir=$sandbox/work" /usr/bin

# Written back first: a mapped page of a file not yet on disk counts as private dirty. (For the
# same reason the programs are not copied to the tmpfs, whose pages are always dirty.)
sync "$agent" "$baseline" "$binding"
own_namespace=$(readlink /proc/self/ns/mnt)

started=()
cleanup() {
  local pid
  for pid in "${started[@]}"; do
    kill -KILL "$pid" 2>/dev/null || true
  done
}
trap cleanup EXIT

# A descriptor that never has data: read -t on it pauses without starting a process.
exec {pause_fd}<> <(:)
pause() { read -r -t "$1" -u "$pause_fd" _ || true; }
random_pause() { pause "0.$(printf '%03d' $((150 + RANDOM % 251)))"; }

# True while the process exists and is not a zombie.
alive() {
  local stat
  { read -r stat <"/proc/$1/stat"; } 2>/dev/null || return 1
  stat=${stat##*) }
  [[ ${stat%% *} != Z ]]
}

# Waits until the process catches SIGTERM and SIGUSR2: its handlers are in place.
await_handlers() {
  local pid=$1 deadline=$((${EPOCHREALTIME/./} + 3000000)) line mask
  while ((${EPOCHREALTIME/./} < deadline)); do
    mask=0
    while read -r line; do
      [[ $line == SigCgt:* ]] && mask=$((16#${line##*[[:space:]]}))
    done <"/proc/$pid/status" 2>/dev/null || true
    if ((mask & (1 << (15 - 1)) && mask & (1 << (12 - 1)))); then
      return 0
    fi
    pause 0.001
  done
  die "process $pid never installed its handlers"
}

# Starts the agent, which detaches, and sets pid to the detached copy's: the starter has exited
# by then, so it is the one process of this binary in this namespace.
start_agent() {
  "$agent" || die "the agent's starter failed"
  local deadline=$((${EPOCHREALTIME/./} + 3000000)) candidate
  while ((${EPOCHREALTIME/./} < deadline)); do
    for candidate in $(pgrep -x zeb-agent || true); do
      if [[ $(readlink "/proc/$candidate/exe" 2>/dev/null) == "$agent" &&
        $(readlink "/proc/$candidate/ns/mnt" 2>/dev/null) == "$own_namespace" ]] &&
        alive "$candidate"; then
        pid=$candidate
        started+=("$pid")
        return 0
      fi
    done
    pause 0.001
  done
  die "the detached agent was not found"
}

start_baseline() {
  "${1:-$baseline}" </dev/null >/dev/null 2>&1 &
  pid=$!
  started+=("$pid")
}

# Fields of /proc/PID/smaps_rollup, in kB.
memory_kb() {
  local pid=$1 field=$2 name value _
  while read -r name value _; do
    if [[ $name == "$field:" ]]; then
      printf '%s' "$value"
      return 0
    fi
  done <"/proc/$pid/smaps_rollup"
  die "no $field for $pid"
}

own_cpu_ns() {
  local ns _
  read -r ns _ <"/proc/$1/schedstat"
  printf '%s' "$ns"
}

median() { sort -n | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : int((v[NR / 2] + v[NR / 2 + 1]) / 2) }'; }

# Waits until the process is gone (or a zombie); prints microseconds since `sent`.
await_gone() {
  local pid=$1 sent=$2 gone
  while alive "$pid"; do
    ((${EPOCHREALTIME/./} < sent + 3000000)) || die "process $pid still there 3 s after SIGTERM"
    pause 0.0002
  done
  gone=${EPOCHREALTIME/./}
  echo $((gone - sent))
}

# median, 95th percentile (nearest rank) and maximum of microsecond samples, in ms.
summary() {
  sort -n | awk '{ v[NR] = $1 } END {
    if (NR == 0) exit 1
    p = int(0.95 * NR); if (p < 0.95 * NR) p++
    m = (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2
    printf "%d %.1f %.1f %.1f\n", NR, m / 1000, v[p] / 1000, v[NR] / 1000 }'
}

# ---------------------------------------------------------------------------------------------
# Idle. Side by side: the agent; the baseline and a second copy of it (together the reference;
# how far the two differ shows the noise of the machine); and the baseline built to bind usleep
# by name in every pass. What a wake-up costs depends on what ran just before it on that CPU,
# and programs with the same period keep their phases against each other for as long as they
# run, so one long window would measure one phase. The time is therefore cut into short windows;
# before each, a SIGUSR1 at a random moment cuts each program's pause short and gives it a new
# phase. None of them does anything else on SIGUSR1.
start_agent
agent_pid=$pid
start_baseline
baseline_pid=$pid
start_baseline
copy_pid=$pid
start_baseline "$binding"
binding_pid=$pid
idle_pids=("$agent_pid" "$baseline_pid" "$copy_pid" "$binding_pid")
for pid in "${idle_pids[@]}"; do await_handlers "$pid"; done
pause 1

window_seconds=3
idle_end=$((${EPOCHREALTIME/./} + seconds * 1000000))
: >"$sandbox/windows"
while ((${EPOCHREALTIME/./} < idle_end)); do
  for pid in $(shuf -e "${idle_pids[@]}"); do
    pause "0.$(printf '%03d' $((RANDOM % 111)))"
    kill -USR1 "$pid"
  done
  pause 0.3
  t0=${EPOCHREALTIME/./}
  before=()
  for pid in "${idle_pids[@]}"; do before+=("$(own_cpu_ns "$pid")"); done
  pause "$window_seconds"
  line=""
  for i in "${!idle_pids[@]}"; do line+=" $(($(own_cpu_ns "${idle_pids[i]}") - before[i]))"; done
  t1=${EPOCHREALTIME/./}
  echo "$((t1 - t0))$line" >>"$sandbox/windows"
  # Memory once a window; a sample may catch a process check in flight (popen's child stack and
  # buffers), so the median is the resting figure and the maximum the peak.
  for who in agent baseline; do
    pid_var=${who}_pid
    echo "$(memory_kb "${!pid_var}" Rss) $(memory_kb "${!pid_var}" Private_Dirty)" >>"$sandbox/memory-$who"
  done
done
for who in agent baseline copy binding; do
  pid_var=${who}_pid
  alive "${!pid_var}" || die "the $who ended during the idle measurement"
done
for pid in "$copy_pid" "$binding_pid"; do
  kill -TERM "$pid"
  await_gone "$pid" "${EPOCHREALTIME/./}" >/dev/null
  wait "$pid" || true
done

declare -A rss dirty peak
for who in agent baseline; do
  rss[$who]=$(cut -d' ' -f1 "$sandbox/memory-$who" | median)
  dirty[$who]=$(cut -d' ' -f2 "$sandbox/memory-$who" | median)
  peak[$who]=$(cut -d' ' -f2 "$sandbox/memory-$who" | sort -n | tail -n 1)
done
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { if (b > 0) printf "%.2f", a / b; else print "n/a" }'; }

# Pooled over the windows: microseconds of CPU per second of wall time, and ratios against the
# reference (both copies of the baseline). The spread of the per-window ratios gives an
# approximate 95% interval (mean of the logarithms, two standard errors).
read -r windows idle_s agent_idle baseline_idle copy_idle binding_idle idle_ratio low high \
  binding_ratio binding_low binding_high copy_ratio < <(
  awk 'function interval(s, s2, n,   mean, se) {
         mean = s / n; se = (n > 1) ? sqrt((s2 - n * mean * mean) / (n - 1) / n) : 0
         return sprintf("%.2f %.2f", exp(mean - 2 * se), exp(mean + 2 * se)) }
    { wall += $1; a += $2; b += $3; c += $4; d += $5
      if ($3 + $4 > 0 && $2 > 0 && $5 > 0) {
        n++; ra = log(2 * $2 / ($3 + $4)); rd = log(2 * $5 / ($3 + $4))
        sa += ra; sa2 += ra * ra; sd += rd; sd2 += rd * rd } }
    END {
      printf "%d %.1f %.1f %.1f %.1f %.1f %.2f %s %.2f %s %.2f\n", NR, wall / 1e6,
        a / wall * 1e3, b / wall * 1e3, c / wall * 1e3, d / wall * 1e3,
        2 * a / (b + c), interval(sa, sa2, n), 2 * d / (b + c), interval(sd, sd2, n), c / b }' \
    "$sandbox/windows")

echo "## Idle, side by side for $idle_s s ($windows windows of $window_seconds s)"
echo
echo "Own CPU in microseconds per second of wall time (schedstat: the process itself, not its"
echo "children), and the ratio to the two copies of the baseline together (95% interval)."
echo
echo "| | us per s | ratio to the baseline |"
echo "|---|---:|---:|"
echo "| agent | $agent_idle | $idle_ratio ($low to $high) |"
echo "| baseline | $baseline_idle | |"
echo "| baseline, 2nd copy | $copy_idle | $copy_ratio to the 1st copy |"
echo "| baseline binding usleep by name in every pass | $binding_idle | $binding_ratio ($binding_low to $binding_high) |"
echo
echo "| | agent | baseline | agent/baseline |"
echo "|---|---:|---:|---:|"
echo "| resident, kB (Rss, median) | ${rss[agent]} | ${rss[baseline]} | $(ratio "${rss[agent]}" "${rss[baseline]}") |"
echo "| private dirty, kB (median) | ${dirty[agent]} | ${dirty[baseline]} | $(ratio "${dirty[agent]}" "${dirty[baseline]}") |"
echo "| private dirty, kB (peak, during a check) | ${peak[agent]} | ${peak[baseline]} | $(ratio "${peak[agent]}" "${peak[baseline]}") |"
echo

# ---------------------------------------------------------------------------------------------
# Launch latency: SIGUSR2 until the stand-in open has written its stamp.
exec {record_fd}<"$record"
launch_samples() {
  local pid=$1 i sent line partial deadline stamp
  for ((i = 0; i < launches; i++)); do
    random_pause
    partial=""
    sent=${EPOCHREALTIME/./}
    kill -USR2 "$pid"
    deadline=$((sent + 3000000))
    while :; do
      if read -r -u "$record_fd" line; then
        stamp=$partial$line
        echo $((stamp - sent))
        break
      fi
      partial+=$line
      ((${EPOCHREALTIME/./} < deadline)) || die "no launch within 3 s of SIGUSR2 to $pid"
      pause 0.0002
    done
  done
}
# Samples go to files, not through pipes: a subshell would not stop what it started on failure.
launch_samples "$agent_pid" >"$sandbox/launch-agent"
launch_samples "$baseline_pid" >"$sandbox/launch-baseline"
launch_agent=$(summary <"$sandbox/launch-agent") || die "no launch samples for the agent"
launch_baseline=$(summary <"$sandbox/launch-baseline") || die "no launch samples for the baseline"

# ---------------------------------------------------------------------------------------------
# Quit latency: SIGTERM until the process is gone (or a zombie), a fresh process per sample.
for ended in "$agent_pid" "$baseline_pid"; do
  kill -TERM "$ended"
  await_gone "$ended" "${EPOCHREALTIME/./}" >/dev/null
done
wait "$baseline_pid" || true

quit_samples() {
  local who=$1 i sent
  for ((i = 0; i < quits; i++)); do
    if [[ $who == agent ]]; then start_agent; else start_baseline; fi
    await_handlers "$pid"
    random_pause
    sent=${EPOCHREALTIME/./}
    kill -TERM "$pid"
    await_gone "$pid" "$sent"
    [[ $who == agent ]] || wait "$pid" 2>/dev/null || true
  done
}
quit_samples agent >"$sandbox/quit-agent"
quit_samples baseline >"$sandbox/quit-baseline"
quit_agent=$(summary <"$sandbox/quit-agent") || die "no quit samples for the agent"
quit_baseline=$(summary <"$sandbox/quit-baseline") || die "no quit samples for the baseline"

latency_row() {
  local name=$1 a b
  read -r -a a <<<"$2"
  read -r -a b <<<"$3"
  echo "| $name | ${a[0]} | ${a[1]} / ${b[1]} | ${a[2]} / ${b[2]} | ${a[3]} / ${b[3]} |"
}
echo "## Latency, ms (agent / baseline)"
echo
echo "| | samples | median | 95th percentile | maximum |"
echo "|---|---:|---:|---:|---:|"
latency_row "launch: SIGUSR2 until /usr/bin/open started" "$launch_agent" "$launch_baseline"
latency_row "quit: SIGTERM until the process is gone" "$quit_agent" "$quit_baseline"
echo

# ---------------------------------------------------------------------------------------------
verdict() { awk -v v="$1" -v limit="$2" 'BEGIN { print (v <= limit) ? "met" : "MISSED" }'; }
read -r -a la <<<"$launch_agent"
read -r -a qa <<<"$quit_agent"
echo "## Targets"
echo
echo "| target | measured | |"
echo "|---|---:|---|"
echo "| idle CPU at most 1.10 x baseline | $idle_ratio x | $(verdict "$idle_ratio" 1.10) |"
echo "| private dirty at most 256 kB | ${dirty[agent]} kB | $(verdict "${dirty[agent]}" 256) |"
echo "| launch median at most 20 ms | ${la[1]} ms | $(verdict "${la[1]}" 20) |"
echo "| launch maximum at most 130 ms | ${la[3]} ms | $(verdict "${la[3]}" 130) |"
echo "| quit maximum at most 130 ms | ${qa[3]} ms | $(verdict "${qa[3]}" 130) |"
