#!/usr/bin/env bash
# Mixes the bundled promise header with another one: the compiler, the linker and the loader must refuse. Then lets a package
# that was built with an installed QtPromise look for it.
#
# usage: promise_mixes.sh CMAKE BUILD_DIR SOURCE_DIR WORK_DIR GENERATOR COMPILER MOC BUILD_TYPE FILE_NAME SONAME FLAG...
# BUILD_DIR: a build with the bundled header. WORK_DIR is emptied. FILE_NAME, SONAME: of the library. FLAG: those of the library, so
# that sanitizers fit together, and where Qt is (-isystem DIR).
set -euo pipefail
export LC_ALL=C QT_QPA_PLATFORM=offscreen

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

[[ $# -gt 10 ]] || fail "usage: promise_mixes.sh CMAKE BUILD_DIR SOURCE_DIR WORK_DIR GENERATOR COMPILER MOC BUILD_TYPE FILE_NAME SONAME FLAG..."
cmake=$1 build=$2 source=$3 work=$4 generator=$5 compiler=$6 moc=$7 type=$8 file_name=$9 soname=${10}
shift 10
flags=("$@" -std=c++17 -fPIC -w)
here=$source/tests/interface/promises
bundled=$source/qtpromise
other=$here/stand_in
prefix=$work/prefix
rm -rf "$work"
mkdir -p "$work"

# run NAME COMMAND...: it must succeed.
run() {
    local name=$1
    shift
    "$@" > "$work/$name.log" 2>&1 || { cat "$work/$name.log" >&2; fail "$name fails"; }
}
# refuse NAME WORDS COMMAND...: it must fail with these words (a pattern).
refuse() {
    local name=$1 words=$2
    shift 2
    if "$@" > "$work/$name.log" 2>&1; then
        fail "$name: not refused"
    fi
    # Compilers and CMake wrap lines.
    tr -s ' \n' '  ' < "$work/$name.log" | grep -qE -- "$words" \
        || { cat "$work/$name.log" >&2; fail "$name: refused without the words '$words'"; }
}
compile() { # compile FILE OUTPUT FLAG...
    local file=$1 output=$2
    shift 2
    "$compiler" "${flags[@]}" "$@" -c "$file" -o "$output"
}
syntax() { # syntax HEADER FLAG...
    local header=$1
    shift
    printf '#include <%s>\n' "$header" | "$compiler" "${flags[@]}" "$@" -x c++ -fsyntax-only -
}

# A QFuture given as value would be fulfilled at once.
printf '%s\n' '#include <QtPromise>' '#include <QtCore/QFuture>' 'auto promise = QtPromise::resolve(QFuture<int>());' \
    > "$work/future.cpp"
refuse future 'a QFuture is not followed' compile "$work/future.cpp" "$work/future.o" -I "$bundled"

run install "$cmake" --install "$build" --prefix "$prefix"

# An installed package with the bundled header, a host with the other one and the other way round: the headers refuse.
from_package=(-I "$prefix/include" -I "$prefix/include/Correction-service")
refused_other='#error "?Correction was built with its bundled promise header, but <QtPromise> is another one here'
refused_bundled="#error \"?Correction was built with an installed QtPromise, but <QtPromise> is Correction's bundled header here"
for header in Correction/ISubScreen.h service/Correctionop.h; do
    run "own_${header%/*}" syntax "$header" "${from_package[@]}" -I "$prefix/include/Correction-qtpromise"
    refuse "other_${header%/*}" "$refused_other" syntax "$header" "${from_package[@]}" -I "$other"
done

# The source tree has no such check. A host with a service and the library's calls of it, each with both headers.
from_source=(-I "$source" -I "$source/include")
jobs=()
for header in HttpProxy ScreenInfo; do
    run "moc_$header" "$moc" "${from_source[@]}" "$source/service/$header.h" -p service -o "$work/moc_$header.cpp"
    run "compile_moc_$header" compile "$work/moc_$header.cpp" "$work/moc_$header.o" "${from_source[@]}" -I "$bundled" &
    jobs+=($!)
done
run compile_host_bundled compile "$source/tests/interface/consumer/own_service.cpp" "$work/host_bundled.o" "${from_source[@]}" -I "$bundled" &
jobs+=($!)
for job in "${jobs[@]}"; do wait "$job"; done
run compile_host_other compile "$source/tests/interface/consumer/own_service.cpp" "$work/host_other.o" "${from_source[@]}" -I "$other" &
jobs=($!)
run compile_calls_other compile "$source/screen/SubScreenV4Transfer.cpp" "$work/calls_other.o" "${from_source[@]}" -I "$other" &
jobs+=($!)
for job in "${jobs[@]}"; do wait "$job"; done

libraries=$(dirname "$(find "$prefix" -name "$file_name")")
[[ -f $libraries/$file_name ]] || fail "no installed library $file_name"
link() { # link OUTPUT FILE...
    local output=$1
    shift
    "$compiler" "${flags[@]}" "$@" "$work/moc_HttpProxy.o" "$work/moc_ScreenInfo.o" -L "$libraries" -lcorrection \
        -Wl,-rpath,"$libraries" -lQt5Gui -lQt5Core -o "$work/$output"
}
# links_not NAME TAG FILE...: three functions are missing, and nothing else but what the library keeps to itself.
links_not() {
    local name=$1 tag=$2 missing
    shift 2
    refuse "$name" "undefined reference to .Correctionop::uploadCoefficientAsync$tag\(" link "$name" "$@"
    missing=$(grep -oE "undefined reference to .[A-Za-z:0-9]+(\[abi:[a-z]+\])?" "$work/$name.log" | sed "s/.*to .//" \
        | grep -v '^Correction::' | sort -u)
    if ! grep -xE "Correctionop::upload(Multilayer|LowGray)?CoefficientAsync$tag" <<< "$missing" \
        | cmp -s - <(echo "$missing") || [[ $(wc -l <<< "$missing") -ne 3 ]]; then
        fail "$name: not the three uploads are missing:" "$missing"
    fi
}
run link_host_bundled link host_bundled "$work/host_bundled.o"
QT_LOGGING_RULES="correction.debug=false" run run_host_bundled timeout 60 "$work/host_bundled"
links_not link_host_other '\[abi:bundledpromise\]' "$work/host_other.o"
links_not link_calls_other '' "$work/host_bundled.o" "$work/calls_other.o"

# What was linked all the same is refused by the loader.
run link_host_unresolved link host_unresolved "$work/host_other.o" -Wl,--unresolved-symbols=ignore-all
refuse run_host_unresolved 'undefined symbol: _ZN12Correctionop' timeout 60 "$work/host_unresolved"

# QTPROMISE_ROOT: an error where nothing is, else what is used, until it is cleared. The bundled header is no installed one.
configure() { # configure ROOT
    "$cmake" -S "$source" -B "$work/build" -G "$generator" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE="$type" \
        -DCORRECTION_BUILD_SIMULATOR=OFF -DCORRECTION_BUILD_CALIBRATION=OFF -DQTPROMISE_ROOT="$1"
}
refuse configure_nowhere "QTPROMISE_ROOT: no installed QtPromise in $work/nowhere" configure "$work/nowhere"
refuse configure_bundled "QTPROMISE_ROOT: no installed QtPromise in $bundled" configure "$bundled"
run configure_other configure "$other"
grep -qF -- "-- Promises: installed QtPromise in $other" "$work/configure_other.log" \
    || { cat "$work/configure_other.log" >&2; fail "QTPROMISE_ROOT is not used"; }

# Its package. The library is a part of it: that which deals with promises.
"$compiler" "${flags[@]}" -shared "$work/calls_other.o" -Wl,-soname,"$soname" -o "$work/build/$file_name"
ln -s "$file_name" "$work/build/$soname"
ln -s "$soname" "$work/build/libcorrection.so"
run install_other "$cmake" --install "$work/build" --prefix "$work/prefix_other"
traces=$(grep -rIlF -e "$source" -e "$work/build" "$work/prefix_other" || true)
[[ -z $traces ]] || fail "installed files name paths of this machine:" "$traces"
from_package=(-I "$work/prefix_other/include" -I "$work/prefix_other/include/Correction-service")
for header in Correction/ISubScreen.h service/Correctionop.h; do
    refuse "bundled_${header%/*}" "$refused_bundled" syntax "$header" "${from_package[@]}" -I "$bundled"
done
configure_host() { # configure_host FLAG...
    "$cmake" -S "$here" -B "$work/host" -G "$generator" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE="$type" \
        -DCMAKE_CXX_FLAGS="-Wall -Wextra -Werror" -DCMAKE_PREFIX_PATH="$work/prefix_other" "$@"
}
refuse host_without_promise 'Correction was built with QtPromise, which is not found; set QTPROMISE_ROOT' configure_host
run host_with_promise configure_host -DQTPROMISE_ROOT="$other" -DQTPROMISE_INCLUDE_DIR="$work/of_the_host"
run build_host_with_promise "$cmake" --build "$work/host"

run configure_cleared configure ""
grep -qF -- "-- Promises: the header of this project" "$work/configure_cleared.log" \
    || { cat "$work/configure_cleared.log" >&2; fail "QTPROMISE_ROOT cannot be cleared"; }
printf 'every mix of promise headers is refused\n'
