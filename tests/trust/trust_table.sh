#!/usr/bin/env bash
# Runs scripts/trust with sections of its own: one that measures, one that fails, one that reports nothing, one that cannot run,
# one whose program cannot be built, one whose program measures nothing, and one that is left out. Each must be in the table as
# what it was.
#
# usage: trust_table.sh SOURCE_DIR WORK_DIR
set -euo pipefail

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

[[ $# -eq 2 ]] || fail "usage: trust_table.sh SOURCE_DIR WORK_DIR"
work=$2
rm -rf "$work"
mkdir -p "$work/sections"
export TRUST_SECTIONS="$work/sections" TRUST_OUT="$work/out"

section() { printf "what='Things of %s'\nasked='a\nlot'\nrun() { %s\n}\n" "$1" "$2" >"$work/sections/$1"; }
section fails 'measured 3 of 5; return 1'
section left_out 'measured 1'
# shellcheck disable=SC2016 # expanded by the section
section measures 'measured "5 of 5${short:+, short}, $minutes minutes"'
section silent 'true'
section stops 'false; measured 5 of 5'
section without_tool 'not_run no such tool'
# shellcheck disable=SC2016 # expanded by the section
section unbuilt 'text=$(run_program no_such_program); measured "$text"'
echo 'build_preset() { return 1; }' >>"$work/sections/unbuilt"
# A program that reports nothing, where run_program looks for one of a preset.
mkdir -p "$1/build" "$work/programs/tests"
programs=$(realpath --relative-to="$1/build" "$work/programs")
printf '#!/bin/sh\necho idle\n' >"$work/programs/tests/idle"
chmod +x "$work/programs/tests/idle"
section idle "text=\$(run_program idle '$programs'); measured \"\$text, all as asked\""
echo 'build_preset() { :; }' >>"$work/sections/idle"

row() { # row SECTION RESULT [OPTION]
    grep -qE "^\| Things of $1 \| a lot \| $2 \([0-9-]+, [^)]*\) \| \`scripts/trust ${3:+$3 }$1\` \|\$" "$work/out/table.md" \
        || fail "no row of $1 with '$2' in $(cat "$work/out/table.md")"
}

! "$1/scripts/trust" fails measures silent stops without_tool unbuilt idle >"$work/printed" || fail "succeeded though sections failed"
row fails '\*\*failed\*\*: 3 of 5'
row measures '5 of 5, 60 minutes'
row silent '\*\*failed\*\*: nothing was measured'
row stops '\*\*failed\*\*'
row without_tool 'not run: no such tool'
row unbuilt '\*\*failed\*\*'
row idle '\*\*failed\*\*'
grep -qx idle "$work/out/idle.output" || fail "did not run the program that reports nothing"
[[ ! -e $work/out/no_such_program.output ]] || fail "ran a program although its build failed"
grep -qF "| Things of left_out | a lot | not run | \`scripts/trust left_out\` |" "$work/out/table.md" || fail "no row of left_out"
grep -q 'Failed or not run: fails silent stops without_tool unbuilt idle' "$work/printed" || fail "wrong summary: $(cat "$work/printed")"

# Rows of other sections stay.
"$1/scripts/trust" --short --minutes 2 measures >"$work/printed" || fail "failed though the section passed"
row measures '5 of 5, short, 2 minutes' --short
row silent '\*\*failed\*\*: nothing was measured'

# A section that fails leaves nothing of an earlier success.
section measures 'false'
! "$1/scripts/trust" measures >"$work/printed" || fail "succeeded though the section failed"
row measures '\*\*failed\*\*'

! "$1/scripts/trust" no_such_section 2>/dev/null || fail "took a section that does not exist"
! "$1/scripts/trust" --minutes 0 measures 2>/dev/null || fail "took 0 minutes"
