#!/usr/bin/env bash
# Plants a fault for each section of scripts/lint in a copy of the sources: the section must name it. The analysers take too long
# for a test and are left out. The same for what scripts/release-check looks at itself.
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
for package in clang-format-14 codespell git reuse shellcheck; do
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

for section in format spelling shell licences changelog version; do passes "$section"; done
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

rm LICENSES/MIT.txt
finds licences 'Missing licenses: MIT'
version=$(sed -n 's/^project(Correction VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
echo "Since $version." >> docs/faults.md
finds version "./docs/faults.md:$(wc -l < docs/faults.md):Since $version."
sed -i '$d' docs/faults.md
echo 'find_package(Correction 999)' >> docs/install.md
finds version './docs/install.md'
pages=$(cat CHANGELOG.md)
changes() { # changes LINE...: after the changes that are there
    { printf '%s\n' "$pages" | sed '/^## \[[0-9]/,$d'; printf '%s\n' "$@"; } > CHANGELOG.md
}
changes "## [$version] - 2001-02-03" '' '### Fixed' '' '- This.' '' '## [0.2.10] - 2001-02-03' '' '## [0.2.9] - 2001-02-02'
passes changelog
changes '### Fixed'
finds changelog 'twice in one version'
changes "## $version"
finds changelog 'not "## [MAJOR.MINOR.PATCH] - YYYY-MM-DD"'
changes '## [999.0.0] - 2001-02-03'
finds changelog 'a version or a date that is not older than the one before'
changes '## [0.2.9] - 2001-02-03' '## [0.2.10] - 2001-02-02'
finds changelog 'a version or a date that is not older than the one before'
changes "## [$version] - 2001-02-03" '### Mended'
finds changelog 'not one of Added'
changes "## [$version] - 2001-02-03" 'Text.'
finds changelog 'neither a list nor a heading'
sed -i 's/^## \[Unreleased\]$/## Unreleased/' CHANGELOG.md
finds changelog 'the first section is not "## [Unreleased]"'

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

release() { # release SECTION passed|FAILED [WORDS]
    local output result=passed
    output=$(scripts/release-check --only "$1" 2>&1) || result=FAILED
    [[ $result == "$2" ]] || fail "release-check $1 is not $2: $output"
    grep -qE "^$1 +$2 +[0-9]+ s  ${3:-}" <<< "$output" || fail "release-check $1 does not say \"$2 ... $3\": $output"
    [[ $result == passed ]] || checked=$((checked + 1))
}
git add --all
commit 'Everything'
release tree passed
touch stray
release tree FAILED 'the changes above are not committed'
changes "## [$version] - 2001-02-03" '### Fixed' '- This.'
release changelog FAILED 'CHANGELOG.md: .*, or changes that are not released'
printf '%s\n' '# Changelog' '## [Unreleased]' '' '## [0.2.9] - 2001-02-03' '### Fixed' '- This.' > CHANGELOG.md
release changelog FAILED "CHANGELOG.md: no dated section of $version"
sed -i "s/0\\.2\\.9/$version/" CHANGELOG.md
release changelog passed
printf 'each of %d faults is found\n' "$checked"
