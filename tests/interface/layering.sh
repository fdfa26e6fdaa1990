#!/usr/bin/env bash
# Checks who includes whom, that the exported headers are the known ones, and that every suppression of a warning gives its
# reason on its line. Lists every finding as FILE:LINE: what is wrong.
#
# usage: layering.sh SOURCE_DIR
set -euo pipefail
shopt -s nullglob
export LC_ALL=C

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

[[ $# -eq 1 ]] || fail "usage: layering.sh SOURCE_DIR"
cd "$1"
findings=0
finding() {
    printf '%s\n' "$*" >&2
    findings=$((findings + 1))
}

exported="ArrayOpTool BrightnessRange CabinetAvgCoefficient CabinetBaseInfo CabinetInfo CabinetManager CabinetPtr
CabinetV4 CabinetsModuleFlag CabinetsPtr CabinetsV4 Coefficient CoefficientFactory CoefficientPtr Correction DrawingCheckerboard
DrawingParameter Enumerations FlashCheckInfo Global ICabinet ICabinetCoefficient ICabinets IChromaCoefficient ICoefficient
ILowGrayCoefficient IMultilayerCoefficient IScreen ISubScreen LowGrayCoefficient MultilayerCoefficient MultilayerParam
Promise RequestParser ScreenManager ScreenReader ScreenV4 SubScreenV4"
services="CabinetInfoOperator Correctionop HWInfo HttpProxy Promise ScreenInfo ServiceGlobal"

# The sources of a folder, subfolders included, one a line.
sources_of() {
    # shellcheck disable=SC2086 # words
    find "$1/" ${folder_alone:-} -type f \( -name '*.h' -o -name '*.hpp' -o -name '*.inl' -o -name '*.cpp' -o -name 'QtPromise' \) | sort
}

compare() { # compare FOLDER NAMES: the headers of a folder are exactly these
    local found expected
    [[ -d $1 ]] || fail "no folder $PWD/$1"
    found=$(cd "$1" && printf '%s\n' *.h | sed 's/\.h$//' | sort)
    expected=$(tr ' ' '\n' <<< "$2" | sed '/^$/d' | sort)
    while IFS= read -r name; do finding "$1/$name.h: missing"; done < <(comm -13 <(echo "$found") <(echo "$expected") | sed '/^$/d')
    while IFS= read -r name; do finding "$1/$name.h: unknown header"; done < <(comm -23 <(echo "$found") <(echo "$expected") | sed '/^$/d')
}

compare include/Correction "$exported"
compare service "$services"

# Correction.h includes its neighbours, all of them.
for name in $exported; do
    [[ $name == Correction ]] || grep -qx "#include <Correction/$name.h>" include/Correction/Correction.h \
        || finding "include/Correction/Correction.h: does not include $name.h"
done

# Headers of Qt Core, of Qt Gui, of the promise, of the C++ library and its runtime.
core='<QtCore/[A-Za-z0-9]+(\.h)?>|<[a-z_]+>|<cxxabi\.h>|<QtPromise>'
gui='<QtGui/[A-Za-z0-9]+>'

# may_include FOLDER PATTERN: every include of the folder's sources matches. In quotes and without a folder: a neighbour.
may_include() {
    local folder=$1 allowed=$2 files file line number name
    [[ -d $folder ]] || fail "no folder $PWD/$folder"
    files=$(sources_of "$folder")
    [[ -n $files ]] || fail "no sources in $PWD/$folder"
    includes=0
    while IFS= read -r file; do
        while IFS=: read -r number line; do
            includes=$((includes + 1))
            [[ $line =~ (\<[^>]*\>|\"[^\"]*\") ]] || fail "$file:$number: an include of no name"
            name=${BASH_REMATCH[1]}
            if [[ $name =~ ^\"[^/]+\"$ ]]; then
                name=${name//\"/}
                [[ -f ${file%/*}/$name ]] || finding "$file:$number: \"$name\" is no neighbour"
            elif ! [[ $name =~ ^($allowed)$ ]]; then
                finding "$file:$number: $folder/ must not include $name"
            fi
        done < <(grep -nE '^[[:space:]]*#[[:space:]]*include' "$file")
    done <<< "$files"
    [[ $includes -gt 0 ]] || fail "no include line in $PWD/$folder"
}

may_include include "$core|$gui|<Correction/[A-Za-z0-9]+\.h>"
may_include service "$core|<service/[A-Za-z]+\.h>"
may_include qtpromise "$core"
may_include values "$core"
# The simulator's headers for programs, and its folders from below to above. Only the topmost includes the whole wall, and only
# one of them makes system calls.
below=""
may_include_below() { # may_include_below NAME [FURTHER]: also the headers of the folders named before it, and of its own
    below="$below|$1"
    may_include "simulator/$1" "$core|$gui|<values/[A-Za-z]+\.h>|<adapter/((journal|json)/)?[A-Za-z]+\.h>|<simulator/[A-UX-Z][A-Za-z]*\.(h|def)>|<simulator/Wall[A-Za-z]*\.h>|\"(${below#|})/[A-Za-z]+\.h\"${2:+|$2}"
}
folder_alone=-maxdepth\ 1
may_include simulator "$core|$gui|<(adapter|simulator)/[A-Za-z]+\.(h|def)>"
folder_alone=
may_include_below files '<(dirent|fcntl|unistd|sys/file|sys/stat|sys/statvfs|xxhash)\.h>'
may_include_below faults
may_include_below device
may_include_below description
may_include_below disk
may_include_below journal
may_include_below pictures
may_include_below light
may_include_below wall '<simulator/VirtualWall\.h>'
for folder in simulator/*/; do
    [[ "$below|walls" =~ \|$(basename "$folder")(\||$) ]] || finding "$folder: a folder without a rule"
done
# The adapter depends on the service alone: it serves any backend.
may_include adapter "$core|<unistd\.h>|<(service|values)/[A-Za-z]+\.h>|<adapter/((journal|json)/)?[A-Za-z]+\.(h|def)>"
# Tools link it without the adapter.
may_include adapter/json "$core|<unistd\.h>|<values/[A-Za-z]+\.h>"
# From below to above: model, cabinet, screen. None of them includes the simulator or a tool. Vector instructions
# (Highway) stay in the model, and in the calibration.
may_include model "$core|<hwy/[a-z_]+\.h>|$gui|<Correction/[A-Za-z0-9]+\.h>|\"model/[A-Za-z0-9]+\.h\""
may_include cabinet "$core|$gui|<(Correction|service)/[A-Za-z0-9]+\.h>|\"(values|model|cabinet)/[A-Za-z0-9]+\.h\""
may_include screen "$core|$gui|<(Correction|service)/[A-Za-z0-9]+\.h>|\"(model|cabinet|screen)/[A-Za-z0-9]+\.h\""
# Of the library it takes what hosts take. Hosts need not have LittleCMS.
may_include calibration "$core|$gui|<lcms2\.h>|<hwy/[a-z_]+\.h>|<Correction/[A-Za-z0-9]+\.h>|<calibration/[A-Za-z]+\.h>"
while IFS=: read -r file number _; do
    finding "$file:$number: only sources may include <lcms2.h>"
done < <(grep -nE '^[[:space:]]*#[[:space:]]*include[[:space:]]*<lcms2' calibration/*.h /dev/null || true)
# It checks any service: of the library it takes enumerations alone, and the virtual wall is one file's choice.
may_include tools/service-check "$core|$gui|<CLI/CLI\.hpp>|<(adapter|service|values)/[A-Za-z]+\.(h|def)>|<Correction/Enumerations\.h>|<simulator/VirtualWall\.h>"

# Headers for hosts get the promise from Promise.h, which compares it with the one that the library was built with.
while IFS=: read -r file number _; do
    [[ $file == */Promise.h ]] || finding "$file:$number: must include Promise.h instead of <QtPromise>"
done < <(grep -rnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*<QtPromise>' include service | sort)

# Suppressions: the check in parentheses for NOLINT, and behind it at least three words.
reason='([^A-Za-z]*[A-Za-z]+){3}'
checked=0
for folder in include values model cabinet screen calibration service adapter qtpromise simulator tools tests bench examples; do
    [[ -d $folder ]] || continue
    while IFS= read -r file; do
        checked=$((checked + 1))
        while IFS=: read -r number line; do
            case $line in
            *NOLINTEND*) ;;
            *NOLINT*)
                [[ $line =~ NOLINT[A-Z]*\([a-z][^\)]*\):$reason ]] || finding "$file:$number: NOLINT without check and reason" ;;
            *)
                [[ $line =~ //$reason ]] || finding "$file:$number: suppression without a reason on its line" ;;
            esac
        done < <(grep -nE 'NOLINT|clazy:exclude|cppcheck-suppress|#[[:space:]]*pragma|_Pragma|no_sanitize|GCOVR?_EXCL|LCOV_EXCL|QEXPECT_FAIL|QT_WARNING_DISABLE' \
            "$file" | grep -vE '^[0-9]+:#pragma once$' || true)
    done < <(sources_of "$folder")
done
[[ $checked -gt 50 ]] || fail "only $checked sources in $PWD"
while IFS=: read -r file number line; do
    [[ $line =~ \#$reason ]] || finding "$file:$number: a warning is switched off without a reason on its line"
done < <(find . -path ./build -prune -o \( -name CMakeLists.txt -o -name '*.cmake' -o -name CMakePresets.json \) -type f -print \
    | sort | xargs grep -nE -e '-Wno-' /dev/null || true)
# Files of sanitizer suppressions: each entry is below a comment, or ends in one.
while IFS= read -r file; do
    awk -v file="$file" '
        /^[[:space:]]*(#|$)/ { commented = /#/; next }
        { if (!commented && !/#/) { printf "%s:%d: suppression without a reason\n", file, NR; bad = 1 } }
        END { exit bad }' "$file" >&2 || findings=$((findings + 1))
done < <(find . -path ./build -prune -o -type f \( -name '*.supp' -o -name '*suppressions*' \) -print | sort)

[[ $findings -eq 0 ]] || fail "$findings findings"
printf '%d sources keep to the layers\n' "$checked"
