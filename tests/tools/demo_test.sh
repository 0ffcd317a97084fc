#!/bin/bash
# demo_test.sh PROGRAM: the demonstration reads what it wrote, prints every event within 100 columns, leaves files only
# where it was told to, and refuses what it does not understand.
set -euo pipefail

program=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TMPDIR=$work/tmp
mkdir "$TMPDIR"

fail() {
  printf 'demo_test: %s\n' "$*" >&2
  exit 1
}

# Runs the program; its output is in $work/out.
run() {
  "$program" "$@" > "$work/out" || fail "exit code $? with: $*"
  grep -q 'every record that was read is what was written' "$work/out" || fail "nothing was compared with: $*"
  [[ $(awk '{ if (length($0) > width) width = length($0) } END { print width }' "$work/out") -le 100 ]] ||
    fail "lines of more than 100 columns with: $*"
}

expect_lines() {
  local found
  found=$(grep -cE "$2" "$work/out") || true
  [[ $found == "$1" ]] || fail "$found lines, not $1, fit: $2"
}

expect_refusal() {
  local code=0
  "$program" "$@" > "$work/out" 2>&1 || code=$?
  [[ $code == 2 ]] || fail "exit code $code, not 2, with: $*"
}

run --events 24
expect_lines 48 '^ ?704128[0-9]{2} '
expect_lines 24 '^ ?704128[0-9]{2} +09:30:'
expect_lines 13 '^ ?[0-9]+  LINAC\.'
expect_lines 1 '^  24 events, 13 channels, [0-9]+ records in 3 files of '
[[ -z $(ls -A "$TMPDIR") ]] || fail 'the temporary directory stays'

run --events 3 --keep
[[ $(find "$TMPDIR" -name 'demo_main_run1_file[123]_*.raw' | wc -l) == 3 ]] || fail '--keep keeps nothing'

# A second, longer run takes the place of the first.
run --dir "$work/run" --events 6
run --dir "$work/run" --events 30
[[ $(find "$work/run" -type f | wc -l) == 4 ]] || fail 'not three data files and a catalogue'

expect_refusal --events 2
expect_refusal --events 3x
expect_refusal --nonsense
expect_refusal word
"$program" --dir /proc/none > "$work/out" 2>&1 && fail 'a directory that cannot be made is no failure'
"$program" --help | grep -q -- '--events N' || fail 'no help'
