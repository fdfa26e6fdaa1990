#!/usr/bin/env bash
# Compares what the libraries export and need with what they promise.
#
# usage: exported_symbols.sh NM READELF LIBRARY SONAME ADAPTER SIMULATOR [CALIBRATION]
set -euo pipefail
export LC_ALL=C

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}
failures=0
differ() { # differ WORDS NAMES: a line of words, then the names
    printf '%s\n' "$@" >&2
    failures=$((failures + 1))
}

[[ $# -eq 6 || $# -eq 7 ]] || fail "usage: exported_symbols.sh NM READELF LIBRARY SONAME ADAPTER SIMULATOR [CALIBRATION]"
nm=$1 readelf=$2 library=$3 soname=$4 adapter=$5 simulator=$6 calibration=${7:-}
command -v "$nm" > /dev/null || fail "no program '$nm'"
command -v "$readelf" > /dev/null || fail "no program '$readelf'"
[[ -f $library ]] || fail "no library '$library'"
[[ -f $adapter ]] || fail "no library '$adapter'"
[[ -f $simulator ]] || fail "no library '$simulator'"

# The whole boundary. Without symbols by nature: the six enumerations (numbers only), ArrayOpTool (empty; its special
# members are the compiler's), CoefficientPtr, CabinetPtr and CabinetsPtr with their deleters (header-only).
classes="
BrightnessRange
CabinetAvgCoefficient
CabinetBaseInfo
CabinetInfo
CabinetManager
CabinetV4
CabinetsModuleFlag
CabinetsV4
Coefficient
CoefficientFactory
DrawingCheckerboard
DrawingParameter
FlashCheckInfo
ICabinet
ICabinetCoefficient
ICabinets
IChromaCoefficient
ICoefficient
ILowGrayCoefficient
IMultilayerCoefficient
IScreen
ISubScreen
LowGrayCoefficient
ModuleInfo
MultilayerCoefficient
MultilayerParam
MultilayerParamInfo
MultilayerParamV2
RequestParser
RvCardInfo
RxCardFlashCheckInfo
ScreenManager
ScreenReader
ScreenV4
SubScreenV4
"
# Classes that a host casts between or derives from: their type information must be one for the whole process.
polymorphic="CabinetAvgCoefficient CabinetV4 CabinetsV4 Coefficient ICabinet ICabinetCoefficient ICabinets IChromaCoefficient
ICoefficient ILowGrayCoefficient IMultilayerCoefficient IScreen ISubScreen LowGrayCoefficient MultilayerCoefficient
ScreenManager ScreenV4 SubScreenV4"
# Classes that the host provides.
services="Correctionop CabinetInfoOperator ScreenInfo HWInfo Quorvex::Communicator::HttpDevice::HttpProxy"

defined=$("$nm" -D --defined-only "$library" | awk '{print $NF}' | sed 's/@.*//')
undefined=$("$nm" -D --undefined-only "$library" | awk '{print $NF}' | sed 's/@.*//')
[[ -n $defined ]] || fail "'$library' exports nothing at all"
[[ -n $undefined ]] || fail "'$library' needs nothing at all"

# First names behind "Correction::" in mangled names: functions, static data, tables, type information, guards, local statics,
# thunks. Whatever is not a plain name (an operator of the namespace, say) comes out as "?" and the symbol.
first_names() {
    awk '
        match($0, /^_Z(T[VTIS]|GV|Th[n0-9]*_|Tv[n0-9_]*_|GR|Z)*N[rVK]*[RO]?10Correction/) {
            rest = substr($0, RSTART + RLENGTH)
            if (match(rest, /^[0-9]+/)) {
                length_ = substr(rest, 1, RLENGTH)
                print substr(rest, RLENGTH + 1, length_)
            } else {
                print "?" $0
            }
        }' | sort -u
}

exported=$(first_names <<< "$defined")
expected=$(sort -u <<< "${classes#$'\n'}" | sed '/^$/d')
missing=$(comm -13 <(printf '%s\n' "$exported") <(printf '%s\n' "$expected"))
excess=$(comm -23 <(printf '%s\n' "$exported") <(printf '%s\n' "$expected"))
[[ -z $missing ]] || differ "classes that export nothing:" "$missing"
[[ -z $excess ]] || differ "names of the namespace that are exported and are no class of the boundary:" "$excess"

# Inner parts, and templates of other namespaces made of them: hidden like the parts themselves.
inner=$(grep -E '^_Z(T[VTIS]|GV)?N[rVK]*[RO]?(12_GLOBAL__N_1|.*10Correction(6detail|4Grid|5Codec|12_GLOBAL__N_1))' <<< "$defined" || true)
[[ -z $inner ]] || differ "inner parts are exported:" "$inner"

for class in $polymorphic; do
    grep -qx "_ZTIN10Correction${#class}${class}E" <<< "$defined" || differ "no type information of Correction::$class"
done

own=$(first_names <<< "$undefined")
[[ -z $own ]] || differ "undefined in the library itself:" "$own"

# The service belongs to the host: nothing of it may be inside, everything that is used must be left open, and the adapter
# must provide all of it.
mangled() {
    local part result=
    local rest=$1
    while [[ -n $rest ]]; do
        part=${rest%%::*}
        result+=${#part}$part
        [[ $rest == *::* ]] && rest=${rest#*::} || rest=
    done
    printf '%s' "$result"
}
provided=$("$nm" -D --defined-only "$adapter" | awk '{print $NF}' | sed 's/@.*//')
[[ -n $provided ]] || fail "'$adapter' exports nothing at all"
for class in $services; do
    name=$(mangled "$class")
    inside=$(grep -E "^_Z(T[VTIS])?N?K?$name" <<< "$defined" || true)
    [[ -z $inside ]] || differ "the library defines parts of $class:" "$inside"
    open=$(grep -E "^_Z(T[VTIS])?N?K?$name" <<< "$undefined" || true)
    grep -qx "_ZN${name}11getInstanceEv" <<< "$open" || differ "the library does not ask for $class::getInstance()"
    for symbol in $open; do
        grep -qxF "$symbol" <<< "$provided" || differ "the adapter does not provide $symbol"
    done
done

# Nothing of other namespaces, which would be a part of the binary interface by accident. The promise's data of each thread is
# exported by every library that uses promises.
exports_only() { # exports_only LIBRARY NAME...
    local file=$1 names stray
    names=$("$nm" -D --defined-only "$file" | awk '{print $NF}' | sed 's/@.*//')
    [[ -n $names ]] || fail "'$file' exports nothing at all"
    shift
    names=$(grep -vE "^_Z(T[VTIS]|Th[n0-9]*_|Tv[n0-9_]*_)?N?[rVK]*($(IFS='|'; echo "$*"))" <<< "$names" || true)
    stray=$(grep -vE '^_Z(T[VIS]|Z|GVZ)?N9QtPromise' <<< "$names" || true)
    [[ -z $stray ]] || differ "$file exports more than its own:" "$stray"
}
exports_only "$library" 10Correction
service_names=()
for class in $services; do service_names+=("$(mangled "$class")"); done
exports_only "$adapter" 7Adapter "${service_names[@]}"
exports_only "$simulator" 9Simulator
[[ -z $calibration ]] || exports_only "$calibration" 11Calibration

# One version number for the names of all of them.
for file in "$adapter" "$simulator" ${calibration:+"$calibration"}; do
    name=$("$readelf" -d --wide "$file" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
    [[ $name == *.so."${soname##*.}" ]] || differ "'$name' has not the number of '$soname'"
done

dynamic=$("$readelf" -d --wide "$library")
found=$(sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p' <<< "$dynamic")
[[ $soname =~ ^libcorrection\.so\.[0-9]+$ ]] || differ "'$soname' is no versioned name of libcorrection.so"
[[ $found == "$soname" ]] || differ "the library's name is '$found', not '$soname'"
needed=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<< "$dynamic")
[[ -n $needed ]] || fail "no needed libraries found in '$library'"
for wanted in libQt5Core.so.5 libQt5Gui.so.5; do
    grep -qxF "$wanted" <<< "$needed" || differ "the library does not need $wanted"
done
foreign=$(grep -E 'simulator|adapter|libQt5' <<< "$needed" | grep -vE '^libQt5(Core|Gui)\.so\.5$' || true)
[[ -z $foreign ]] || differ "the library needs more than Qt Core and Gui:" "$foreign"

[[ $failures -eq 0 ]] || fail "$failures differences"
printf '%s exports %d classes, as promised\n' "$library" "$(wc -l <<< "$expected")"
