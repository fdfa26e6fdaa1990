#!/usr/bin/env bash
# Runs mutation.py on a small project: mutants that its test finds, by a failure, a crash or a time-out; that it does not find; that
# are equivalent; that do not compile; that change nothing. Then once more: the results are there.
#
# usage: mutation_test.sh MUTATION_SCRIPT WORK_DIR
set -euo pipefail

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

[[ $# -eq 2 ]] || fail "usage: mutation_test.sh MUTATION_SCRIPT WORK_DIR"
for tool in clang++ ld.lld llvm-dwarfdump; do
    command -v $tool >/dev/null || { echo "not tested: there is no $tool"; exit 77; }
done
script=$1
unset CMAKE_CXX_COMPILER_LAUNCHER
rm -rf "$2"
mkdir -p "$2/root/code" "$2/root/tests"
cd "$2"
cat >root/CMakeLists.txt <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(Fixture LANGUAGES CXX)
enable_testing()
add_library(code SHARED code/code.cpp)
add_executable(tst_code tests/tst_code.cpp)
target_link_libraries(tst_code PRIVATE code)
target_include_directories(code PUBLIC .)
add_test(NAME tst_code COMMAND tst_code)
add_test(NAME no_three COMMAND sh -c "! grep -q 'value % 3' ${CMAKE_SOURCE_DIR}/code/code.cpp")
CMAKE
cat >root/code/half.h <<'CODE'
#pragma once
inline int half(int value)
{
    return value / 2;
}
CODE
cat >root/code/code.cpp <<'CODE'
#include "half.h"
#include "tests/Steps.h"
int limited(int value)
{
    if (value > 10)
        return 10;
    return half(value + value);
}
char *place(char *to)
{
    static char pair[2] = {'a', 'b'};
    to = pair;
    return to;
}
int counted()
{
    Steps steps;
    while (steps.more())
        steps.advance();
    return steps.count;
}
int untested(int value)
{
    return value % 4;
}
static const int unused = 6;
CODE
cat >root/tests/Steps.h <<'CODE'
#pragma once
struct Steps {
    int count = 0;
    bool more() const { return count < 5; }
    void advance() { ++count; }
};
CODE
cat >root/tests/tst_code.cpp <<'CODE'
#include "code/half.h"
#include <cstdio>
#include <cstring>
int limited(int);
char *place(char *);
int counted();
static bool limits() { return limited(3) == 3 && limited(11) == 10; }
static bool places() { return *place(nullptr) == 'a'; }
static bool counts() { return counted() == 5; }
static bool halves() { return half(9) == 4; }
int main(int count, char **arguments)
{
    const struct { const char *name; bool (*run)(); } tests[] = {
        {"limits", limits}, {"places", places}, {"counts", counts}, {"halves", halves}};
    bool good = true;
    for (int i = 1; i < count; ++i) {
        for (const auto &test : tests) {
            if (!std::strcmp(arguments[i], "-functions"))
                std::printf("%s()\n", test.name);
            else if (!std::strcmp(arguments[i], test.name)) {
                const bool passed = test.run();
                std::printf("%s: Code::%s()\n", passed ? "PASS   " : "FAIL!  ", test.name);
                good = good && passed;
            }
        }
    }
    return good ? 0 : 1;
}
CODE
mutate() { python3 "$script" --source-test no_three --equivalent equivalent "$@" root work code >printed 2>log; } # mutate OPTION ...
result() { # result RESULT CHANGE [TEST]
    grep -F "\"what\": \"$2\"" work/results.jsonl | tail -n 1 | grep -q "\"result\": \"$1\", \"by\": \"${3:-}\"" \
        || fail "not $1: $2; $(grep -F "$2" work/results.jsonl)"
}
gte='code/code.cpp: if (value > 10) => if (value >= 10)'
printf '# comment\n%s # 10 is 10\n' "$gte" >equivalent
! mutate --kills 100 || fail "accepted survivors: $(cat printed)"
result survived "$gte"
result killed 'code/code.cpp: if (value > 10) => if (value <= 10)' tst_code::limits
result killed 'code/code.cpp: return half(value + value); => return half(value - value);' tst_code::limits
result killed 'code/code.cpp: to = pair; => ;' tst_code::places # it crashes
result killed 'code/half.h: return value / 2; => return value / 3;' 'tst_code::.*'
result time-out 'code/code.cpp: steps.advance(); => ;' tst_code::counts
result survived 'code/code.cpp: return value % 4; => return value % 5;'
result killed 'code/code.cpp: return value % 4; => return value % 3;' no_three
cmp root/code/code.cpp work/source/code/code.cpp
result invalid "code/code.cpp: static char pair[2] = {'a', 'b'}; => static char pair[1] = {'a', 'b'};"
result same 'code/code.cpp: static const int unused = 6; => static const int unused = 7;'
grep -q '^all: .* killed (.* by time-out), .* survived, 1 equivalent; .* did not compile, 0 did not link, .* changed nothing$' printed \
    || fail "wrong sums: $(cat printed)"
grep -qxF 'code/code.cpp: return value % 4; => return value % 5;' work/survivors || fail "wrong survivors: $(cat work/survivors)"
! grep -qF "$gte" work/survivors || fail "an equivalent mutant among the survivors"

mutate --kills 60 || fail "wants more than was asked: $(cat printed)"
! grep -q 'tried now' printed || fail "tried again: $(cat printed)"
printf '// changed\n' >>root/tests/tst_code.cpp
mutate --kills 60 || fail "wants more than was asked: $(cat printed)"
grep -q 'survived .*value % 5' log || fail "did not try a survivor with the changed test: $(cat log)"
! grep -q 'killed ' log || fail "tried a killed mutant again: $(cat log)"
printf '%s # wrong\n' 'code/code.cpp: to = pair; => ;' 'code/code.cpp: gone => gone' >>equivalent
! mutate --report --kills 60 || fail "accepted wrong equivalents"
grep -qxF 'named equivalent, but killed or gone: code/code.cpp: to = pair; => ;' printed || fail "wrong lines: $(cat printed)"
grep -qxF 'named equivalent, but killed or gone: code/code.cpp: gone => gone' printed || fail "wrong lines: $(cat printed)"
cmp root/code/code.cpp work/source/code/code.cpp
