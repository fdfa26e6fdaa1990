#!/usr/bin/env bash
# Changes the interface in a copy of the headers: scripts/abi must find each change, and nothing without one.
#
# usage: abi_finds_changes.sh SOURCE_DIR CXX FLAGS...
set -euo pipefail
export LC_ALL=C

source=$1 cxx=$2
shift 2
flags=("$@")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# One source of the library is enough: it has an interface with virtual functions, and a class that derives from it.
build() { # build NAME: from the headers as they are in the copy
    "$cxx" -std=c++17 -g -O0 -fPIC -shared -fvisibility=hidden -fvisibility-inlines-hidden -DCORRECTION_LIBRARY \
        -DQT_NO_KEYWORDS -I "$folder/include" -I "$source" "${flags[@]}" -o "$folder/$1.so" "$source/cabinet/CabinetsV4.cpp"
}
fresh() {
    rm -rf "$folder/include"
    cp -R -L "$source/include" "$folder/"
}

fresh
build before
"$source/scripts/abi" record "$folder/before.abi" "$folder/before.so"
[[ -s $folder/before.abi ]] || { echo "no record was written" >&2; exit 1; }
build again
"$source/scripts/abi" compare "$folder/before.abi" "$folder/again.so"

changed=0
finds() { # finds WORDS HEADER SED_SCRIPT: the change is found and named
    local output
    fresh
    sed -i "$3" "$folder/include/Correction/$2"
    ! cmp -s "$folder/include/Correction/$2" "$source/include/Correction/$2" || { echo "$2 is unchanged" >&2; exit 1; }
    build after
    if output=$("$source/scripts/abi" compare "$folder/before.abi" "$folder/after.so" 2>&1); then
        echo "not found: $3: $output" >&2
        exit 1
    fi
    grep -qF -- "$1" <<< "$output" || { echo "not named ($1): $output" >&2; exit 1; }
    changed=$((changed + 1))
}
finds 'added' ICabinets.h 's/^    virtual EnumErrorCode saveUserCoefficient/    virtual void added() {}\n&/'
finds 'CabinetsV4' CabinetsV4.h 's/^    QList<ICabinet \*> m_cabinets/    int m_added = 0;\n&/'
finds 'CabinetsV4(' CabinetsV4.h 's/~CabinetsV4();/virtual &/'
echo "$changed changes found"
