#!/usr/bin/env bash
# Installs the package, then builds and runs hosts against it: with CMake; and, after it was moved, with CMake as the pages say,
# with pkg-config alone and with qmake.
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
    include/Correction-service/adapter/DeviceBackend.h include/Correction-service/simulator/VirtualWall.h \
    include/Correction-calibration/calibration/Coefficients.h; do
    [[ -f $prefix/$file ]] || fail "not installed: $file"
done
documents=share/doc/correction
for file in $documents/{README,CHANGELOG,CONTRIBUTING,SECURITY}.md $documents/LICENSE $documents/docs/walls.md \
    $documents/docs/images/layout.png $documents/examples/CMakeLists.txt share/man/man1/correctionctl.1 \
    share/bash-completion/completions/correctionctl share/zsh/site-functions/_correctionctl \
    share/correction/{wall,journal,correctionctl,service-check}.schema.json share/correction/correction.pri; do
    [[ -f $prefix/$file ]] || fail "not installed: $file"
done
stray=$(cd "$prefix" && find . -path ./$documents/examples -prune -o -type f \( -name '*.cpp' -o -name '*.txt' -o -name '*.sh' \) -print)
[[ -z $stray ]] || fail "installed by mistake:" "$stray"
foreign=$(grep -rlF hwy "$prefix"/lib*/ --include='*.cmake' --include='*.pc' || true)
[[ -z $foreign ]] || fail "hosts are told to look for Highway, which they need not have:" "$foreign"

for file in share/man/man1/service-check.1 share/bash-completion/completions/service-check \
    share/zsh/site-functions/_service-check; do
    [[ -f $prefix/$file ]] || fail "not installed: $file"
done

# The components are the installation, in parts.
for component in library simulator calibration development tools documentation; do
    "$cmake" --install "$build" --prefix "$work/parts/$component" --component "$component" > "$work.log" 2>&1 \
        || { cat "$work.log" >&2; fail "cannot install the component $component"; }
done
files() { (cd "$1" && find . -not -type d | sort); }
diff <(files "$prefix") <(for part in "$work"/parts/*; do files "$part"; done | sort) >&2 \
    || fail "the components (>) are not the installation (<)"
libraries=$(files "$work/parts/library")
[[ $libraries =~ ^[^[:space:]]*/libcorrection\.so\.[0-9]+[[:space:]][^[:space:]]*/libcorrection\.so\.[0-9.]+$ ]] \
    || fail "the component library is more than the library:" "$libraries"

# A host with a service of its own needs two of them.
cp -a "$work/parts/library" "$work/bare"
cp -a "$work/parts/development/." "$work/bare"
{
    "$cmake" -S "$source/tests/interface/promises" -B "$work/bare/build" -G "$generator" -DCMAKE_PREFIX_PATH="$work/bare" \
        -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE="$type" -DCMAKE_CXX_FLAGS="$flags" &&
        "$cmake" --build "$work/bare/build"
} > "$work.log" 2>&1 || { cat "$work.log" >&2; fail "the library's own components are no package"; }

log=$work/build.log
{
    "$cmake" -S "$source/tests/interface/consumer" -B "$work/build" -G "$generator" \
        -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE="$type" \
        -DCMAKE_CXX_FLAGS="$flags" -DCONSUMER_EXPECTED_VERSION="$version" &&
        "$cmake" --build "$work/build" --parallel "$(nproc)"
} > "$log" 2>&1 || { cat "$log" >&2; fail "hosts cannot be built against the installed package"; }

for program in on_the_wall_14 on_the_wall_17 calibrates_14 calibrates_17 own_backend_14 own_backend_17 own_service_14 own_service_17; do
    [[ -x $work/build/$program ]] || fail "no program $program"
    libraries=$(ldd "$work/build/$program")
    grep -qF "=> $prefix/" <<< "$(grep -F libcorrection.so <<< "$libraries")" \
        || fail "$program does not use the installed library:" "$libraries"
    if [[ $program == calibrates_* ]]; then
        grep -qF "=> $prefix/" <<< "$(grep -F libcorrection-calibration.so <<< "$libraries")" \
            || fail "$program does not use the installed calibration:" "$libraries"
    elif [[ $program != on_the_wall_* ]] && grep -qF libcorrection-simulator <<< "$libraries"; then
        fail "$program needs the simulator"
    fi
    if [[ $program == own_service_* ]] && grep -qF libcorrection-adapter <<< "$libraries"; then
        fail "$program needs the adapter"
    fi
    QT_LOGGING_RULES="correction.debug=false" timeout 60 "$work/build/$program" || fail "$program fails"
    printf '%s works\n' "$program"
done

# keeps_the_wall PROGRAM: it was linked with the virtual wall, which it does not name.
keeps_the_wall() {
    readelf -d "$1" | grep -F 'libcorrection-simulator.so' > /dev/null || fail "$1 lost the virtual wall"
    timeout 60 "$1" > "$work.log" 2>&1 || { cat "$work.log" >&2; fail "$1 fails"; }
}
keeps_the_wall "$work/build/names_nothing"

# From here on the installation is somewhere else.
moved=$work/moved/elsewhere
mkdir "$work/moved"
mv "$prefix" "$moved"
prefix=$moved

# The CMake lines of the pages, as typed.
block_of() { # block_of LANGUAGE PAGE: the page's only block of it
    [[ $(grep -c "^ *\`\`\`$1\$" "$source/$2") == 1 ]] || fail "$2 has no block of $1, or several"
    awk -v language="$1" '/^ *```/ { inside = $0 ~ "```" language "$"; next } inside' "$source/$2"
}
build_typed() { # build_typed FOLDER PAGE
    {
        "$cmake" -S "$1" -B "$1/build" -G "$generator" -DCMAKE_PREFIX_PATH="$prefix" \
            -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE="$type" -DCMAKE_CXX_FLAGS="$flags" &&
            "$cmake" --build "$1/build"
    } > "$1.log" 2>&1 || { cat "$1.log" >&2; fail "the host of $2 cannot be built"; }
}

# README's host, with its own CMakeLists.txt; it prints what the page shows.
first=$work/first
mkdir "$first"
block_of cmake README.md > "$first/CMakeLists.txt"
block_of cpp README.md > "$first/host.cpp"
build_typed "$first" README.md
shown=$(awk '/^It prints$/ { shown = 1; next } shown && /^[^ ]/ { exit } shown && NF { print substr($0, 5) }' "$source/README.md")
diff <(printf '%s\n' "$shown") <(timeout 60 "$first/build/host" 2>&1) >&2 || fail "README's host (>) does not print what README shows (<)"
printf "README's host works\n"

# The host of the guide takes that CMakeLists.txt, too.
cp "$source/examples/01-first-host.cpp" "$first/host.cpp"
build_typed "$first" docs/guides/getting-started.md
timeout 60 "$first/build/host" 2>&1 | grep -x 'written and saved' > /dev/null || fail "the guide's first host fails"
printf 'the first host of the guide works\n'

# The lines of pages that begin with find_package(): of a backend, and of a service in a library of its own.
for page in hardware backend; do
    folder=$work/typed-$page
    mkdir "$folder"
    cp "$source/tests/interface/consumer/tour.h" "$folder/"
    {
        printf 'cmake_minimum_required(VERSION 3.16)\nproject(Host LANGUAGES CXX)\nadd_executable(host host.cpp)\n'
        block_of cmake "docs/guides/$page.md"
    } > "$folder/CMakeLists.txt"
    if grep -qF service.cpp "$folder/CMakeLists.txt"; then
        # With the host's main() in the same file.
        cp "$source/tests/interface/consumer/own_service.cpp" "$folder/service.cpp"
        : > "$folder/host.cpp"
        echo 'target_link_libraries(device-service PRIVATE Correction::Correction)' >> "$folder/CMakeLists.txt"
    else
        cp "$source/tests/interface/consumer/own_backend.cpp" "$folder/host.cpp"
    fi
    build_typed "$folder" "docs/guides/$page.md"
    QT_LOGGING_RULES="correction.debug=false" timeout 60 "$folder/build/host" || fail "the host of docs/guides/$page.md fails"
    printf 'the lines of docs/guides/%s.md work\n' "$page"
done

# The examples as they are installed.
{
    "$cmake" -S "$prefix/$documents/examples" -B "$work/examples" -G "$generator" -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE="$type" -DCMAKE_CXX_FLAGS="$flags" &&
        "$cmake" --build "$work/examples" --parallel "$(nproc)"
} > "$work.log" 2>&1 || { cat "$work.log" >&2; fail "the installed examples cannot be built"; }
timeout 60 "$work/examples/example-01-first-host" 2>&1 | grep -x 'written and saved' > /dev/null || fail "an installed example fails"
printf 'the installed examples work\n'

# pkg-config alone.
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name correction.pc)")
LD_LIBRARY_PATH=$(dirname "$PKG_CONFIG_PATH")
export PKG_CONFIG_PATH LD_LIBRARY_PATH
qt=$(pkg-config --variable=host_bins Qt5Core)
hosts=$source/tests/interface/consumer
read -ra own_flags <<< "$flags"
compile() { # compile PROGRAM "MODULE..." FILE...: a host of the library and of those modules
    local program=$1 modules cflags libs
    read -ra modules <<< "correction $2"
    shift 2
    [[ $(pkg-config --modversion "${modules[@]}" | sort -u) == "$version" ]] || fail "no pkg-config files of $version"
    read -ra cflags <<< "$(pkg-config --cflags "${modules[@]}")"
    read -ra libs <<< "$(pkg-config --libs "${modules[@]}")"
    "$compiler" "${own_flags[@]}" -std=c++14 -fPIC -Wl,--as-needed -I "$hosts" "${cflags[@]}" "$@" "${libs[@]}" \
        -o "$work/$program-pkg-config" > "$work.log" 2>&1 || { cat "$work.log" >&2; fail "$program cannot be built with pkg-config"; }
}
compile names_nothing correction-simulator "$hosts/names_nothing.cpp"
compile on_the_wall correction-simulator "$hosts/on_the_wall.cpp"
compile calibrates "correction-simulator correction-calibration" "$hosts/calibrates.cpp"
compile own_backend correction-adapter "$hosts/own_backend.cpp"
declarations=$(pkg-config --variable=servicedir correction-service)
read -ra service_flags <<< "$(pkg-config --cflags-only-I correction-service)"
for header in HttpProxy ScreenInfo; do
    "$qt/moc" "${service_flags[@]}" "$declarations/$header.h" -p service -o "$work/moc_$header.cpp"
done
compile own_service correction-service "$hosts/own_service.cpp" "$work/moc_HttpProxy.cpp" "$work/moc_ScreenInfo.cpp"

# qmake.
build_qmake() { # build_qmake PROGRAM PARTS
    local folder=$work/$1-qmake
    mkdir "$folder"
    {
        printf 'TARGET = host\nCONFIG += c++14 console\nCONFIG -= app_bundle\nSOURCES = %s\n' "$hosts/$1.cpp"
        printf 'QMAKE_CXX = %s\nQMAKE_LINK = %s\n' "$compiler" "$compiler"
        printf 'QMAKE_CXXFLAGS += %s\nQMAKE_LFLAGS += %s -Wl,--as-needed\n' "$flags" "$flags"
        printf 'CORRECTION = %s\ninclude(%s)\n' "$2" "$prefix/share/correction/correction.pri"
    } > "$folder/host.pro"
    (cd "$folder" && "$qt/qmake" && make -j "$(nproc)") > "$work.log" 2>&1 \
        || { cat "$work.log" >&2; fail "$1 cannot be built with qmake"; }
    mv "$folder/host" "$work/$1-qmake/$1"
}
build_qmake names_nothing simulator
build_qmake on_the_wall simulator
build_qmake calibrates "simulator calibration"
build_qmake own_backend adapter
build_qmake own_service service

for program in on_the_wall calibrates own_backend own_service; do
    for file in "$work/$program-pkg-config" "$work/$program-qmake/$program"; do
        libraries=$(ldd "$file")
        grep -qF "=> $prefix/" <<< "$(grep -F libcorrection.so <<< "$libraries")" \
            || fail "$file does not use the installed library:" "$libraries"
        QT_LOGGING_RULES="correction.debug=false" timeout 60 "$file" || fail "$file fails"
    done
    printf '%s works with pkg-config and with qmake\n' "$program"
done
keeps_the_wall "$work/names_nothing-pkg-config"
keeps_the_wall "$work/names_nothing-qmake/names_nothing"

# With the prefix of distributions: no path of libraries in the files, and zsh's functions are where those of packages are.
"$cmake" -S "$source" -B "$work/usr" -G "$generator" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_INSTALL_PREFIX=/usr \
    -DCORRECTION_BUILD_TESTS=OFF > "$work.log" 2>&1 || { cat "$work.log" >&2; fail "cannot be configured for /usr"; }
rpaths=$(find "$work/usr" -name cmake_install.cmake -exec grep -hE '^ *(NEW_)?RPATH "' {} +) || fail "no RPATH in what installs"
grep -vE 'RPATH ""\)?$' <<< "$rpaths" >&2 && fail "an RPATH is installed below /usr"
# The path of the build folder would be in the files, with its length: builds in different folders would differ.
grep -rhF --include=cmake_install.cmake "OLD_RPATH \"$work" "$work/usr" >&2 && fail "libraries are looked for in the build folder's path"
grep -rqF --include=cmake_install.cmake share/zsh/vendor-completions "$work/usr" || fail "zsh does not find its functions below /usr"

# An example with a copy of the CMake file; the one in a folder by itself.
mkdir "$work/alone"
cp "$prefix/$documents/examples/"{CMakeLists.txt,07-backend.cpp} "$work/alone/"
for folder in "$work/alone" "$prefix/$documents/examples/03-http-backend"; do
    "$cmake" -S "$folder" -B "$work/alone/build-${folder##*/}" -G "$generator" -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE="$type" -DCMAKE_CXX_FLAGS="$flags" > "$work.log" 2>&1 \
        || { cat "$work.log" >&2; fail "cannot be configured alone: $folder"; }
done
"$cmake" --build "$work/alone/build-alone" > "$work.log" 2>&1 || { cat "$work.log" >&2; fail "an example cannot be built alone"; }
printf 'an example alone works\n'

# As a part of another project, whose modules have the names of those here.
mkdir -p "$work/whole/modules"
for module in "$source"/cmake/*.cmake; do
    echo 'message(FATAL_ERROR "the module of the whole project is taken")' > "$work/whole/modules/${module##*/}"
done
cat > "$work/whole/CMakeLists.txt" << END
cmake_minimum_required(VERSION 3.25)
project(Whole LANGUAGES CXX)
set(CMAKE_MODULE_PATH "$work/whole/modules")
add_subdirectory("$source" part)
add_library(host OBJECT "$source/tests/interface/consumer/names_nothing.cpp")
target_link_libraries(host PRIVATE Correction::Correction)
END
"$cmake" -S "$work/whole" -B "$work/whole/build" -G "$generator" -DCMAKE_CXX_COMPILER="$compiler" > "$work.log" 2>&1 \
    || { cat "$work.log" >&2; fail "cannot be a part of another project"; }
