#!/usr/bin/env bash
# Runs coverage_table.py on made-up coverage: percentages, gaps, explanations; and on that of a small program: exceptions.
#
# usage: coverage_table_test.sh TABLE_SCRIPT WORK_DIR
set -euo pipefail

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

[[ $# -eq 2 ]] || fail "usage: coverage_table_test.sh TABLE_SCRIPT WORK_DIR"
script=$1
rm -rf "$2"
mkdir -p "$2/model" "$2/simulator/disk" "$2/simulator"
cd "$2"
printf 'a();\n  b(); // # no\nif (c)\n' >model/m.cpp
printf 'a() || b();\n' >simulator/disk/d.cpp
printf 'a();\nif (a)\n' >simulator/s.cpp
line() { # line NUMBER COUNT BRANCHES [FUNCTION]
    printf '{"line_number": %s, "count": %s, %s"branches": [%s]}' "$1" "$2" \
        "$([[ ${4:-} == nameless ]] || printf '"function_name": "%s", ' "${4:-f}")" "${3:-}"
}
taken='{"count": 4, "throw": false}' missed='{"count": 0, "throw": false}' thrown='{"count": 0, "throw": true}'
mkdir build
cat >build/one.gcov.json <<JSON
{"current_working_directory": "$PWD", "files": [
  {"file": "model/m.cpp", "lines": [$(line 1 3 "$taken, $missed"), $(line 2 0), $(line 3 5 "$taken, $thrown, $missed")]},
  {"file": "$PWD/simulator/disk/d.cpp", "lines": [$(line 1 1 "$taken, $missed"), $(line 1 1 "$missed, $taken" of_another_type)]},
  {"file": "simulator/s.cpp", "lines": [$(line 1 0), $(line 2 1 "$taken, $missed, $missed, $taken" nameless)]},
  {"file": "elsewhere/e.cpp", "lines": [$(line 1 0)]}]}
JSON
printf '{"current_working_directory": "%s/build", "files": [{"file": "../simulator/s.cpp", "lines": [%s]},
  {"file": "../simulator/disk/d.cpp", "lines": [%s]}]}' "$PWD" \
    "$(line 1 1)" "$(line 1 0 "$missed, $missed, $missed")" >build/two.gcov.json # a copy that the linker has left out
table() { "$script" build explained gaps "$@" >printed; }

: >explained
! table model simulator/disk simulator || fail "accepted gaps: $(cat printed)"
grep -qx 'model 66.7 / 50.0 % (asked 100 / 98, 2 gaps not explained)' printed || fail "wrong row: $(cat printed)"
grep -qx 'simulator/disk 100.0 / 100.0 % (asked 100 / 98)' printed || fail "wrong row: $(cat printed)"
grep -qx 'simulator 100.0 / 100.0 % (asked 98 / 92)' printed || fail "wrong row: $(cat printed)"
grep -qx 'model/m.cpp:2: not reached: b(); // # no' gaps || fail "wrong gaps: $(cat gaps)"
grep -qx 'model/m.cpp:3: 1 of 2 branches: if (c)' gaps || fail "wrong gaps: $(cat gaps)"
[[ $(wc -l <gaps) -eq 2 ]] || fail "wrong gaps: $(cat gaps)"

printf '# comment\nmodel/m.cpp: b(); // # no # never called\nmodel/m.cpp: if (c) # always true\n' >explained
table model || fail "refused explained gaps: $(cat printed)"
grep -q 'all gaps explained' printed || fail "wrong row: $(cat printed)"

printf 'model/m.cpp: a(); # never called\n' >>explained
! table model || fail "accepted an explanation of covered code"
grep -qx 'explained, but covered or gone: model/m.cpp: a();' printed || fail "wrong line: $(cat printed)"
explained="model/m.cpp: b(); // # no # never called
model/m.cpp: if (c) # always true"
printf '%s\nmodel/m.cpp: a(); # sometimes: of another thread\n' "$explained" >explained
table model || fail "refused an explanation of code that only some runs reach: $(cat printed)"
printf 'model/m.cpp: a(); b(); // # no # never called\nmodel/m.cpp: if (c) # always true\n' >explained
table model || fail "refused an explanation with the line before: $(cat printed)"
printf '%s\nmodel/m.cpp: if (c) b(); // # no # another line before\n' "${explained#*$'\n'}" >explained
! table model || fail "accepted an explanation with another line before"
printf '%s\nmodel/m.cpp: a(); # never called\n' "$explained" >explained
table simulator || fail "looked at explanations of another folder"

! table adapter || fail "accepted a folder without data"
printf 'nonsense\n' >explained
! table model 2>/dev/null || fail "accepted a line without a reason"

# What the compiler adds for an exception between the two texts does not count; the other outcome of the condition does.
rm build/*.gcov.json
printf '#include <string>\nstd::string text(int size) { return std::string(static_cast<std::size_t>(size), 0); }\n%s\n%s\n' \
    'std::string either(bool isLong) { return isLong ? text(2) + text(3) : text(1); }' \
    'int main(int count, char **) { return static_cast<int>(either(true).size() + either(count == 1).size()) == 0; }' \
    >model/m.cpp
g++ -O0 --coverage -fprofile-abs-path -c model/m.cpp -o build/m.o
g++ --coverage build/m.o -o build/program
: >explained
build/program
! table model || fail "accepted a condition with one outcome"
grep -q '^model/m.cpp:3: .* branches: std::string either' gaps || fail "wrong gaps: $(cat gaps)"
build/program again
table model || fail "counted branches that only an exception reaches: $(cat printed gaps)"
grep -qx 'model 100.0 / 100.0 % (asked 100 / 98)' printed || fail "wrong row: $(cat printed)"
