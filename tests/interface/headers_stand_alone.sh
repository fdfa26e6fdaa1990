#!/usr/bin/env bash
# Compiles every public header by itself as C++14, and all together as C++17, warnings being errors. What a header lacks as C++17
# it lacks as C++14, too: the standard library's and Qt's headers include at least as much there.
#
# usage: headers_stand_alone.sh COMPILER SOURCE_DIR FLAG...
# COMPILER: g++ or clang++; FLAG: where Qt and QtPromise are (-isystem DIR, -I DIR).
set -euo pipefail
shopt -s nullglob

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

[[ $# -ge 3 ]] || fail "usage: headers_stand_alone.sh COMPILER SOURCE_DIR FLAG..."
export compiler=$1
cd "$2"
shift 2
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

# compile STANDARD PATH HEADER...
compile() {
    local standard=$1 path=$2 words paths
    shift 2
    IFS=: read -ra paths <<< "$path"
    local -a headers=("$@")
    eval "set -- $flags"
    # As included files, not as the main one: "#pragma once" in a main file is a warning.
    if ! words=$(printf '#include <%s>\n' "${headers[@]}" | "$compiler" -x c++ -std="c++$standard" -fPIC -fsyntax-only \
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror \
        -DQT_NO_KEYWORDS -DQT_NO_CAST_FROM_ASCII -DQT_NO_CAST_TO_ASCII -DQT_STRICT_ITERATORS \
        "${paths[@]/#/-I}" "$@" - 2>&1); then
        printf '<%s> do not compile as C++%s with %s:\n%s\n\n' "${headers[*]}" "$standard" "$compiler" "$words"
        return 1
    fi
}
export -f compile

# A line for each call: the headers of each path together, and each by itself.
calls=$(printf '%s\n' "${headers[@]}" | awk '{ all[$1] = all[$1] " " $2 } END { for (path in all) print "17", path all[path] }'
    printf '14 %s\n' "${headers[@]}")
# shellcheck disable=SC2016 # the inner shell expands $1
printf '%s\n' "$calls" | xargs -d '\n' -n 1 -P "$(nproc)" bash -c 'read -ra call <<< "$1"; compile "${call[@]}"' compile \
    || fail "some headers do not stand alone"
printf '%d headers compile by themselves as C++14, and together as C++17, with %s\n' "${#headers[@]}" "$compiler"
