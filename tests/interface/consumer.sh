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

# README's CMake lines, as typed.
awk -v work="$work" '/^ *```cmake/ { name = work "/readme-" ++count ".cmake"; next } /^ *```/ { name = "" } name { print > name }' \
    "$source/README.md"
programs=(on_the_wall own_backend own_service)
[[ -f $work/readme-3.cmake && ! -f $work/readme-4.cmake ]] || fail "README has other CMake examples than the hosts here"
for i in 0 1 2; do
    folder=$work/readme-$((i + 1))
    mkdir "$folder"
    cp "$source/tests/interface/consumer/tour.h" "$folder/"
    if grep -qF service.cpp "$folder.cmake"; then
        cp "$source/tests/interface/consumer/${programs[i]}.cpp" "$folder/service.cpp" # with the host's main()
        : > "$folder/host.cpp"
    else
        cp "$source/tests/interface/consumer/${programs[i]}.cpp" "$folder/host.cpp"
    fi
    {
        printf 'cmake_minimum_required(VERSION 3.16)\nproject(Host LANGUAGES CXX)\nadd_executable(host host.cpp)\n'
        cat "$folder.cmake"
        # The host is in the same file as its service here.
        [[ ! -f $folder/service.cpp ]] || echo 'target_link_libraries(device-service PRIVATE Correction::Correction)'
    } > "$folder/CMakeLists.txt"
    {
        "$cmake" -S "$folder" -B "$folder/build" -G "$generator" -DCMAKE_PREFIX_PATH="$prefix" \
            -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE="$type" -DCMAKE_CXX_FLAGS="$flags" &&
            "$cmake" --build "$folder/build"
    } > "$folder.log" 2>&1 || { cat "$folder.log" >&2; fail "README's example $((i + 1)) cannot be built"; }
    QT_LOGGING_RULES="correction.debug=false" timeout 60 "$folder/build/host" || fail "README's example $((i + 1)) fails"
    printf 'README example %s works\n' "$((i + 1))"
done
