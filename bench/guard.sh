#!/usr/bin/env bash
# Counts the instructions of the library's paths and compares them with the recorded counts, or records them again.
#
# usage: guard.sh check|record PROGRAM COUNTS WORK_DIR
# PROGRAM is correction-guard of a release build, COUNTS the file of recorded counts; WORK_DIR is emptied.
# Exit code 77: nothing to compare with, because the counts are those of another toolchain.
set -euo pipefail
export LC_ALL=C

# How much more than recorded is too much.
percent=3

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

[[ $# -eq 4 ]] || fail "usage: guard.sh check|record PROGRAM COUNTS WORK_DIR"
mode=$1 program=$2 counts=$3 work=$4
[[ $mode == check || $mode == record ]] || fail "neither check nor record: '$mode'"
[[ -x $program ]] || fail "no program '$program'"

# Compilers and libraries differ in their instructions. Machines do not: valgrind shows every program the same processor,
# as long as the real one has AVX2.
processor=$(uname -m)
if grep -qw avx2 /proc/cpuinfo; then
    processor=AVX2
fi
environment="$("$program" --environment), $processor"
if [[ $mode == check ]]; then
    recorded=$(sed -n '2s/^# //p' "$counts")
    if [[ $recorded != "$environment" ]]; then
        printf 'Not compared, so nothing is guarded here: the counts are those of\n  %s\nthis is\n  %s\n' \
            "$recorded" "$environment"
        exit 77
    fi
fi
command -v valgrind > /dev/null || fail "no valgrind on this machine"
mkdir -p "$work"
rm -f "$work"/callgrind.out*

# Nothing that differs between two machines or two users: an empty environment, no random seeds.
env -i PATH="$PATH" ${LD_LIBRARY_PATH:+LD_LIBRARY_PATH="$LD_LIBRARY_PATH"} LD_BIND_NOW=1 QT_HASH_SEED=0 \
    valgrind --tool=callgrind --instr-atstart=no --callgrind-out-file="$work/callgrind.out" "$program" 2> "$work/log" \
    || { cat "$work/log" >&2; fail "counting fails"; }

mapfile -t files < <(printf '%s\n' "$work"/callgrind.out.* | sort -V)
# Each case has a file of its own: "desc: Trigger: Client Request: NAME", "totals: COUNT".
measured=$(awk '
    /^desc: Trigger: Client Request: / { name = $NF }
    /^totals: / && name != "" { print name, $2; name = "" }' "${files[@]}")
[[ -n $measured ]] || fail "no counts in '$work'"

if [[ $mode == record ]]; then
    {
        echo "# Instructions of one pass of each case. Recorded by: scripts/bench --record-counts"
        echo "# $environment"
        printf '%s\n' "$measured"
    } > "$counts"
    cat "$counts"
    exit
fi
awk -v percent="$percent" '
    /^#/ { next }
    NR == FNR { recorded[$1] = $2; next }
    !($1 in recorded) { printf "%s: not recorded\n", $1; bad = 1; next }
    {
        change = ($2 / recorded[$1] - 1) * 100
        verdict = change > percent ? "TOO MANY" : change < -percent ? "fewer: record them" : "fine"
        printf "%-28s %12d instructions, %12d recorded, %+7.2f %%: %s\n", $1, $2, recorded[$1], change, verdict
        if (change > percent)
            bad = 1
        delete recorded[$1]
    }
    END {
        for (name in recorded) {
            printf "%s: recorded, but not counted\n", name
            bad = 1
        }
        exit bad
    }' "$counts" <(printf '%s\n' "$measured") \
    || fail "If this growth is meant, record the counts: scripts/bench --record-counts"
