# shellcheck shell=bash
# Clock and polling for the scripts that drive zeb-session (tests/blackbox, demo); sourced.

# micros SECONDS: a time in seconds with six decimals, as $EPOCHREALTIME or zeb-session's files
# give it, in microseconds.
micros() {
  local digits=${1/[.,]/}
  echo $((10#$digits))
}

# poll SECONDS COMMAND...: runs COMMAND until it succeeds (status 0) or the deadline passes (1).
poll() {
  local deadline=$(($(micros "$EPOCHREALTIME") + $1 * 1000000))
  shift
  until "$@"; do
    (($(micros "$EPOCHREALTIME") < deadline)) || return 1
    sleep 0.02
  done
}
