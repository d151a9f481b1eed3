# shellcheck shell=bash
# Clock and polling for the scripts that drive zeb-session (tests/blackbox, demo); sourced.

# micros SECONDS: a time in seconds with six decimals, as $EPOCHREALTIME or zeb-session's files
# give it, in microseconds.
micros() {
  local digits=${1/[.,]/}
  echo $((10#$digits))
}

# poll SECONDS COMMAND...: runs COMMAND until it succeeds (0), or until a run begun past the
# deadline fails (1), so that a script scheduled late fails no condition met in time. The deadline
# is SECONDS from now, or from $from where set (microseconds, as micros gives them).
poll() {
  local deadline=$((${from:-$(micros "$EPOCHREALTIME")} + $1 * 1000000)) late=0
  shift
  until "$@"; do
    ((!late)) || return 1
    (($(micros "$EPOCHREALTIME") < deadline)) || late=1
    sleep 0.02
  done
}
