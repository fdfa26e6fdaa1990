#!/usr/bin/env bash
# Compiles every public header by itself, warnings being errors.
#
# usage: headers_stand_alone.sh COMPILER STANDARD SOURCE_DIR FLAG...
# COMPILER: g++ or clang++; STANDARD: 14 or 17; FLAG: where Qt and QtPromise are (-isystem DIR, -I DIR).
set -euo pipefail
shopt -s nullglob

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

[[ $# -ge 4 ]] || fail "usage: headers_stand_alone.sh COMPILER STANDARD SOURCE_DIR FLAG..."
export compiler=$1 standard=$2
cd "$3"
shift 3
printf -v flags '%q ' "$@"
export flags
command -v "$compiler" > /dev/null || fail "no compiler '$compiler' on this machine"

# A line for each header: the include path that it gets besides Qt and QtPromise (folders with ":" between them), and its name.
# The exported headers see nothing of the sources; the service's and the simulator's see nothing of the exported headers.
headers=()
for header in include/Correction/*.h; do
    headers+=("include ${header#include/}")
done
[[ ${#headers[@]} -ge 30 ]] || fail "only ${#headers[@]} headers in $PWD/include/Correction"
before=${#headers[@]}
for header in service/*.h; do
    headers+=(". $header")
done
[[ ${#headers[@]} -ge $((before + 5)) ]] || fail "headers missing in $PWD/service"
before=${#headers[@]}
for header in simulator/*.h; do
    headers+=(". $header")
done
[[ ${#headers[@]} -ge $((before + 5)) ]] || fail "headers missing in $PWD/simulator"
before=${#headers[@]}
for header in calibration/*.h; do
    headers+=("include:. $header")
done
[[ ${#headers[@]} -ge $((before + 5)) ]] || fail "headers missing in $PWD/calibration"
headers+=("include QtPromise")

compile() {
    read -r path header <<< "$1"
    IFS=: read -ra paths <<< "$path"
    eval "set -- $flags"
    # As an included file, not as the main one: "#pragma once" in a main file is a warning.
    if ! words=$(printf '#include <%s>\n' "$header" | "$compiler" -x c++ -std="c++$standard" -fPIC -fsyntax-only \
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror \
        -DQT_NO_KEYWORDS -DQT_NO_CAST_FROM_ASCII -DQT_NO_CAST_TO_ASCII -DQT_STRICT_ITERATORS \
        "${paths[@]/#/-I}" "$@" - 2>&1); then
        printf '<%s> does not compile by itself as C++%s with %s:\n%s\n\n' "$header" "$standard" "$compiler" "$words"
        return 1
    fi
}
export -f compile

# shellcheck disable=SC2016 # the inner shell expands $1
printf '%s\0' "${headers[@]}" | xargs -0 -n 1 -P "$(nproc)" bash -c 'compile "$1"' compile \
    || fail "some headers do not stand alone"
printf '%d headers compile by themselves as C++%s with %s\n' "${#headers[@]}" "$standard" "$compiler"
