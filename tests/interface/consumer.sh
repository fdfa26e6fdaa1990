#!/usr/bin/env bash
# Installs the package, then configures, builds and runs hosts against it.
#
# usage: consumer.sh CMAKE BUILD_DIR SOURCE_DIR WORK_DIR VERSION GENERATOR COMPILER BUILD_TYPE FLAGS
# WORK_DIR is emptied. The hosts get the compiler and the flags of the library, so that sanitizers fit together.
set -euo pipefail
export LC_ALL=C QT_QPA_PLATFORM=offscreen

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

[[ $# -eq 9 ]] || fail "usage: consumer.sh CMAKE BUILD_DIR SOURCE_DIR WORK_DIR VERSION GENERATOR COMPILER BUILD_TYPE FLAGS"
cmake=$1 build=$2 source=$3 work=$4 version=$5 generator=$6 compiler=$7 type=$8 flags=$9
[[ -f $build/CMakeCache.txt ]] || fail "'$build' is no build folder"
[[ -f $source/tests/interface/consumer/CMakeLists.txt ]] || fail "no consumer project in '$source'"
prefix=$work/prefix

rm -rf "$work"
"$cmake" --install "$build" --prefix "$prefix" > "$work.log" 2>&1 || { grep -v "^-- " "$work.log" >&2; fail "cannot install"; }

# The package must work when this folder is gone: nothing readable in it may point back.
traces=$(grep -rIlF -e "$source" -e "$build" "$prefix" || true)
[[ -z $traces ]] || fail "installed files point into the source or build folder:" "$traces"
for file in include/Correction/Correction.h include/Correction-service/service/Correctionop.h \
    include/Correction-service/adapter/DeviceBackend.h include/Correction-service/simulator/VirtualWall.h; do
    [[ -f $prefix/$file ]] || fail "not installed: $file"
done
stray=$(cd "$prefix" && find . -type f \( -name '*.cpp' -o -name '*.txt' -o -name '*.sh' \))
[[ -z $stray ]] || fail "installed by mistake:" "$stray"

log=$work/build.log
{
    "$cmake" -S "$source/tests/interface/consumer" -B "$work/build" -G "$generator" \
        -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE="$type" \
        -DCMAKE_CXX_FLAGS="$flags" -DCONSUMER_EXPECTED_VERSION="$version" &&
        "$cmake" --build "$work/build" --parallel "$(nproc)"
} > "$log" 2>&1 || { cat "$log" >&2; fail "hosts cannot be built against the installed package"; }

for program in on_the_wall_14 on_the_wall_17 own_backend_14 own_backend_17 own_service_14 own_service_17; do
    [[ -x $work/build/$program ]] || fail "no program $program"
    libraries=$(ldd "$work/build/$program")
    grep -qF "=> $prefix/" <<< "$(grep -F libcorrection.so <<< "$libraries")" \
        || fail "$program does not use the installed library:" "$libraries"
    if [[ $program != on_the_wall_* ]] && grep -qF libcorrection-simulator <<< "$libraries"; then
        fail "$program needs the simulator"
    fi
    if [[ $program == own_service_* ]] && grep -qF libcorrection-adapter <<< "$libraries"; then
        fail "$program needs the adapter"
    fi
    QT_LOGGING_RULES="correction.debug=false" timeout 60 "$work/build/$program" || fail "$program fails"
    printf '%s works\n' "$program"
done
