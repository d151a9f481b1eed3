#!/usr/bin/env bash
# Counts what one idle pass touches: distinct 4 KB pages and 64-byte lines, by mapping. After a
# 100 ms sleep these are cold, so their number, more than the instructions, is what a pass
# costs. Each program runs for a few seconds under valgrind's lackey tool, which logs every
# instruction fetch and data access; a pass is the stretch between two runs of an instruction
# that runs once a pass, and the median pass is reported.
#
#   bench/footprint.sh PROGRAM...      e.g. build/bench/zeb-agent build/bench/bench/baseline-agent
#
# Needs valgrind. A program that detaches (the agent) is followed into its detached copy.
set -euo pipefail

die() {
  echo "footprint.sh: $*" >&2
  exit 1
}

(($#)) || die "usage: footprint.sh PROGRAM..."
command -v valgrind >/dev/null || die "valgrind is needed"
work=$(mktemp -d /tmp/zeb-footprint.XXXXXX)
trap 'pkill -KILL -f "lackey.*$work" 2>/dev/null || true; rm -rf "$work"' EXIT

# Traces PROGRAM for three seconds; leaves trace.PID and maps of the copy still running.
trace() {
  local program=$1 pid
  rm -f "$work"/trace.* "$work/maps"
  valgrind --tool=lackey --trace-mem=yes --log-file="$work/trace.%p" "$program" \
    </dev/null >/dev/null 2>&1 &
  sleep 3
  pid=$(pgrep -n -f "lackey.*$work.*$program") || die "$program is not running under valgrind"
  cp "/proc/$pid/maps" "$work/maps"
  sleep 1
  pkill -TERM -f "lackey.*$work" || true
  wait 2>/dev/null || true
  [[ -s $work/trace.$pid ]] || die "no trace for $program"
  echo "$work/trace.$pid"
}

# The pages and lines of the median pass, by mapping, as a table.
count() {
  awk -v maps="$work/maps" -v program="$2" '
    function value(hex,   i, n) {
      n = 0
      for (i = 1; i <= length(hex); i++) n = n * 16 + index("0123456789abcdef", substr(hex, i, 1)) - 1
      return n
    }
    function mapping(address,   i) {
      for (i = 1; i <= ranges; i++) if (address >= low[i] && address < high[i]) return name[i]
      return "?"
    }
    BEGIN {
      while ((getline line < maps) > 0) {
        split(line, f, " "); split(f[1], r, "-")
        ranges++; low[ranges] = value(r[1]); high[ranges] = value(r[2])
        path = (f[6] == "") ? "[anonymous]" : f[6]; sub(/.*\//, "", path)
        name[ranges] = path " " f[2]
        if (f[6] == program && f[2] ~ /x/) { ownLow = low[ranges]; ownHigh = high[ranges] }
      }
    }
    $1 ~ /^(I|L|S|M)$/ {
      split($2, a, ","); events++; kind[events] = $1; at[events] = a[1]
    }
    END {
      # The marker: an instruction of the loop in the program itself. Of its instructions in the
      # second half of the trace (well after start-up), one that ran as often as most of the
      # others did: once a pass.
      for (e = int(events / 2); e <= events; e++) {
        if (kind[e] != "I") continue
        address = value(at[e])
        if (address >= ownLow && address < ownHigh) runs[at[e]]++
      }
      for (address in runs) if (runs[address] >= 4 && runs[address] <= 60) often[runs[address]]++
      for (n in often) if (often[n] > often[best] || best == "") best = n
      if (best == "") { print "no repeating pass found" > "/dev/stderr"; exit 1 }
      for (address in runs) if (runs[address] == best) { marker = address; break }
      for (e = int(events / 2); e <= events; e++) if (kind[e] == "I" && at[e] == marker) start[++passes] = e
      middle = int(passes / 2)
      for (e = start[middle]; e < start[middle + 1]; e++) {
        address = value(at[e]); where = mapping(address) (kind[e] == "I" ? " code" : " data")
        page = int(address / 4096); line = int(address / 64)
        if (!((where, page) in seenPage)) { seenPage[where, page]; pages[where]++; totalPages++ }
        if (!((where, line) in seenLine)) { seenLine[where, line]; lines[where]++; totalLines++ }
      }
      for (where in pages) printf "| %s | %d | %d |\n", where, pages[where], lines[where] | "sort"
      close("sort")
      printf "| all | %d | %d |\n", totalPages, totalLines
    }' "$1"
}

for program in "$@"; do
  [[ -x $program ]] || die "no program at $program"
  echo "## $(basename "$program"): one idle pass"
  echo
  echo "| mapping | pages | lines |"
  echo "|---|---:|---:|"
  count "$(trace "$(realpath "$program")")" "$(realpath "$program")"
  echo
done
