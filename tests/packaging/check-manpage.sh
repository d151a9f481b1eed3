#!/usr/bin/env bash
# Checks that the configured manual page renders cleanly and carries the project's version.
# Usage: check-manpage.sh PAGE VERSION
set -euo pipefail

readonly page=$1 version=$2

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

[[ -f $page ]] || fail "no manual page at $page"
if grep -n '@[A-Za-z_]*@' "$page"; then
  fail "placeholders left in $page"
fi

warnings=$(groff -ww -man -z "$page" 2>&1) || fail "groff failed: $warnings"
[[ -z $warnings ]] || fail "groff warns: $warnings"

rendered=$(groff -man -Tutf8 -P-cbou "$page" 2>/dev/null)
grep -q "zeb-agent $version" <<<"$rendered" || fail "version $version not in the page footer"
for heading in NAME SYNOPSIS DESCRIPTION SIGNALS 'EXIT STATUS' FILES EXAMPLES NOTES; do
  grep -qx "$heading" <<<"$rendered" || fail "section $heading missing"
done

if command -v man >/dev/null; then
  errors=$(MANWIDTH=80 man -l "$page" 2>&1 >/dev/null) || fail "man -l failed: $errors"
  [[ -z $errors ]] || fail "man -l complains: $errors"
else
  echo "man is not installed: skipped man -l"
fi
echo "manual page renders cleanly"
