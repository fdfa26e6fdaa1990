#!/usr/bin/env bash
# Plants faults in a copy of the sources: layering.sh must name each of them, and nothing else.
#
# usage: layering_finds_faults.sh SOURCE_DIR
set -euo pipefail
export LC_ALL=C

[[ $# -eq 1 ]] || { echo "usage: layering_finds_faults.sh SOURCE_DIR" >&2; exit 1; }
check=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/layering.sh
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
for folder in include values model cabinet screen calibration service adapter qtpromise simulator tests tools; do
    cp -R -L "$1/$folder" "$copy/"
done
cp -L "$1/CMakeLists.txt" "$copy/"
cd "$copy"
"$check" . > /dev/null

expected=()
plant() { # plant FILE LINE WORDS: appends a line; layering.sh must answer with these words for it
    printf '%s\n' "$2" >> "$1"
    [[ -z $3 ]] || expected+=("$1:$(wc -l < "$1"): $3")
}

plant include/Correction/CabinetV4.h '#include <service/HWInfo.h>' 'include/ must not include <service/HWInfo.h>'
plant include/Correction/ScreenV4.h '#include "model/Grid.h"' 'include/ must not include "model/Grid.h"'
plant service/HWInfo.h '#include <Correction/Global.h>' 'service/ must not include <Correction/Global.h>'
plant include/Correction/IScreen.h '#include <QtPromise>' 'must include Promise.h instead of <QtPromise>'
plant service/ScreenInfo.h '# include <QtPromise>' 'must include Promise.h instead of <QtPromise>'
plant service/HttpProxy.h '#  include <QtNetwork/QTcpSocket>' 'service/ must not include <QtNetwork/QTcpSocket>'
plant qtpromise/QPromise.h '#include <Correction/Global.h>' 'qtpromise/ must not include <Correction/Global.h>'
plant values/Nesting.cpp '#include <adapter/Call.h>' 'values/ must not include <adapter/Call.h>'
plant model/Records.cpp '#include "cabinet/DeviceCall.h"' 'model/ must not include "cabinet/DeviceCall.h"'
plant model/Coefficient.cpp '#include <service/HWInfo.h>' 'model/ must not include <service/HWInfo.h>'
plant cabinet/CabinetV4.cpp '#include "screen/Drawing.h"' 'cabinet/ must not include "screen/Drawing.h"'
plant cabinet/DeviceCall.cpp '#include <hwy/highway.h>' 'cabinet/ must not include <hwy/highway.h>'
plant cabinet/CabinetsV4.cpp '#include "../tools/x.h"' 'cabinet/ must not include "../tools/x.h"'
plant screen/Drawing.cpp '#include <simulator/VirtualWall.h>' 'screen/ must not include <simulator/VirtualWall.h>'
plant screen/ScreenV4.cpp '#include "VirtualWall.h"' '"VirtualWall.h" is no neighbour'
plant calibration/Plan.cpp '#include <simulator/VirtualWall.h>' 'calibration/ must not include <simulator/VirtualWall.h>'
plant calibration/Report.h '#include <lcms2.h>' 'only sources may include <lcms2.h>'
plant simulator/wall/Wall.cpp '#include <service/HWInfo.h>' 'simulator/wall/ must not include <service/HWInfo.h>'
plant simulator/device/Acts.cpp '#include "wall/Wall.h"' 'simulator/device/ must not include "wall/Wall.h"'
plant simulator/faults/Rules.cpp '#include "device/Acts.h"' 'simulator/faults/ must not include "device/Acts.h"'
plant adapter/json/Describe.cpp '#include <adapter/Call.h>' 'adapter/json/ must not include <adapter/Call.h>'
plant simulator/pictures/Canvas.cpp '#include <simulator/VirtualWall.h>' \
    'simulator/pictures/ must not include <simulator/VirtualWall.h>'
plant adapter/DeviceBackend.cpp '#include <simulator/VirtualWall.h>' 'adapter/ must not include <simulator/VirtualWall.h>'
plant adapter/Operations.cpp '#include <Correction/Enumerations.h>' 'adapter/ must not include <Correction/Enumerations.h>'
plant tools/service-check/Check.cpp '#include <Correction/ScreenManager.h>' \
    'tools/service-check/ must not include <Correction/ScreenManager.h>'
plant simulator/wall/Wall.cpp '#include "model/Grid.h"' 'simulator/wall/ must not include "model/Grid.h"'
plant simulator/VirtualWall.h '#include <Correction/Global.h>' 'simulator/ must not include <Correction/Global.h>'
plant model/Codec.cpp 'int a; // NOLINT' 'NOLINT without check and reason'
plant model/Codec.cpp 'int b; // NOLINT(bugprone-branch-clone)' 'NOLINT without check and reason'
plant model/Codec.cpp 'int c; // NOLINT(bugprone-branch-clone): each branch has its own reason' ''
plant model/Codec.cpp '#pragma GCC diagnostic ignored "-Wshadow"' 'suppression without a reason on its line'
plant model/Codec.cpp '#pragma GCC diagnostic pop // back to the strict settings' ''
plant CMakeLists.txt 'add_compile_options(-Wno-shadow)' 'a warning is switched off without a reason on its line'
expected[-1]="./${expected[-1]}"
mkdir simulator/cellar
expected+=('simulator/cellar/: a folder without a rule')
rm include/Correction/Global.h
expected+=('include/Correction/Global.h: missing')
echo '#include <QtCore/QtGlobal>' > include/Correction/Further.h
expected+=('include/Correction/Further.h: unknown header')
printf '# why this one is kept\nrace:known\n\nleak:unknown\n' > simulator/lsan.supp
expected+=('./simulator/lsan.supp:4: suppression without a reason')

if found=$("$check" . 2>&1); then
    echo "layering.sh finds nothing wrong in sources full of faults" >&2
    exit 1
fi
expected+=("${#expected[@]} findings")
if ! diff <(printf '%s\n' "${expected[@]}" | sort) <(sort <<< "$found") >&2; then
    echo "layering.sh misses faults (<) or sees too many (>)" >&2
    exit 1
fi
printf 'each of %d faults is found\n' $((${#expected[@]} - 1))
