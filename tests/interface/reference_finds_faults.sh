#!/usr/bin/env bash
# Plants faults in a copy of the headers: scripts/reference must name each of them.
#
# usage: reference_finds_faults.sh SOURCE_DIR SERVICE_REFERENCE
set -euo pipefail
export LC_ALL=C

source=$1 filter=$2
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
mkdir -p "$copy/docs" "$copy/tests/interface"
for folder in include service qtpromise adapter simulator calibration scripts; do
    cp -R -L "$source/$folder" "$copy/"
done
cp "$source/docs/Doxyfile" "$source/docs/mainpage.dox" "$copy/docs/"
cp "$source/tests/interface/reference_links.py" "$copy/tests/interface/"
cp "$source/CMakeLists.txt" "$copy/"

checked=0
finds() { # finds WORDS FILE SED_SCRIPT
    local output
    cp "$copy/$2" "$copy/before"
    sed -i "$3" "$copy/$2"
    ! cmp -s "$copy/$2" "$copy/before" || { echo "$2 is unchanged" >&2; exit 1; }
    if output=$("$copy/scripts/reference" "$copy/reference" "$filter" 2>&1); then
        echo "not found: $1: $output" >&2
        exit 1
    fi
    grep -qF -- "$1" <<< "$output" || { echo "not named: $1: $output" >&2; exit 1; }
    cp "$copy/before" "$copy/$2"
    checked=$((checked + 1))
}
finds 'Member getPixelCol()=0 (function) of class Correction::ICoefficient is not documented' \
    include/Correction/ICoefficient.h '/\/\/\/ Number of columns/d'
finds 'not declared: showUserCoefficient' include/Correction/ICabinets.h 's/ showUserCoefficient()/ showCoefficient()/'
finds 'no comment: virtual EnumErrorCode saveUserCoefficient() = 0;' \
    include/Correction/ICabinets.h '/\/\/\/ Saves the coefficients that the cabinets show\.$/d'

links=$copy/links
mkdir "$links"
echo '<a id="here" href="#here">right</a> <a href="b.html#nowhere">wrong</a> <a href="missing.html">wrong</a>' > "$links/a.html"
echo '<p id="there">' > "$links/b.html"
expected='a.html: b.html#nowhere: no such anchor
a.html: missing.html: no such file'
if found=$("$source/tests/interface/reference_links.py" "$links" 2>&1) || [[ $found != "$expected" ]]; then
    echo "broken links are not named: $found" >&2
    exit 1
fi
echo "$checked faults and 2 broken links found"
