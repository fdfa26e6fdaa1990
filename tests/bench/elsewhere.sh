#!/usr/bin/env bash
# The guard of instruction counts with counts of another toolchain.
#
# usage: elsewhere.sh GUARD WORK_DIR
set -euo pipefail

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

guard=$1 work=$2
rm -rf "$work"
mkdir -p "$work"
printf '#!/bin/sh\necho "g++ 99"\n' > "$work/program"
chmod +x "$work/program"
printf '# Instructions\n# g++ 12, AVX2\nencode 1\n' > "$work/counts"

code=0
output=$("$guard" check "$work/program" "$work/counts" "$work/out") || code=$?
[[ $code -eq 77 ]] || fail "exit code $code, not 77: $output"
for part in "Not compared, so nothing is guarded here:" "g++ 12, AVX2" "g++ 99, "; do
    [[ $output == *"$part"* ]] || fail "'$part' is not in: $output"
done
[[ ! -e $work/out ]] || fail "it counted"
