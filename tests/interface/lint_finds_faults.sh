#!/usr/bin/env bash
# Plants a fault for each section of scripts/lint in a copy of the sources: the section must name it. The analysers take too long
# for a test and are left out.
#
# usage: lint_finds_faults.sh SOURCE_DIR
# Exit code 77: a program that the sections need is not installed.
set -euo pipefail
export LC_ALL=C.UTF-8

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

[[ $# -eq 1 ]] || fail "usage: lint_finds_faults.sh SOURCE_DIR"
for package in clang-format-14 codespell git shellcheck; do
    command -v "$package" > /dev/null || { echo "no $package"; exit 77; }
done
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
tar -C "$1" -c --exclude=./build --exclude=./.git . | tar -C "$copy" -x
cd "$copy"

checked=0
finds() { # finds SECTION WORDS: fails, and says so
    local output
    if output=$(scripts/lint "$1" 2>&1); then
        fail "lint finds nothing wrong ($1): $output"
    fi
    grep -qF -- "$2" <<< "$output" || fail "lint ($1) does not say \"$2\": $output"
    checked=$((checked + 1))
}
passes() { # passes SECTION [WORDS]
    local output
    output=$(scripts/lint "$1" 2>&1) || fail "lint ($1) finds: $output"
    grep -qF -- "${2:-Nothing found}" <<< "$output" || fail "lint ($1) does not say \"$2\": $output"
}

for section in format spelling shell; do passes "$section"; done
echo 'int  a;' >> model/Records.cpp
finds format 'model/Records.cpp'
echo '#include <service/HWInfo.h>' >> model/Coefficient.cpp
finds layers 'model/ must not include <service/HWInfo.h>'
word=rec""ieve # in two parts, so that it is not found here
echo "// The devices ${word} it." >> cabinet/CabinetV4.cpp
finds spelling 'cabinet/CabinetV4.cpp'
sed -i '$d' cabinet/CabinetV4.cpp
echo "They ${word} it." >> docs/walls.md
finds spelling 'docs/walls.md'
for script in scripts/demo .ci/run; do
    echo "cat \$1" >> "$script"
    finds shell "In ./$script"
done
finds nothing "no section 'nothing'"

passes subjects 'skipped'
commit() {
    git -c user.name=lint -c user.email=lint@localhost -c commit.gpgsign=false commit -q --allow-empty --no-verify -m "$1"
}
git init -q .
commit 'older subjects, which may have more characters than the seventy-two that are allowed now'
sed -i "s/^subjects_base=.*/subjects_base=$(git rev-parse HEAD)/" scripts/lint
commit 'Accept a capital letter'
commit 'model, screen: accept an area'
passes subjects
commit 'model: a subject that goes on and on until it has one more than 72 letter'
finds subjects '73 characters'
git reset -q HEAD~1
commit 'no area and no capital letter'
finds subjects 'neither "Capitalised" nor "area: imperative"'
printf 'each of %d faults is found\n' "$checked"
