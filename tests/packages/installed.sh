#!/usr/bin/env bash
# In a fresh root, as root: installs the packages of this folder as a user does, builds and runs hosts and the installed examples,
# compares what they print with the pages, and removes everything again.
#
# usage: installed.sh VERSION   beside the packages and their index (Packages)
set -euo pipefail
export LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

[[ $# -eq 1 ]] || fail "usage: installed.sh VERSION"
version=$1
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
pages=/usr/share/doc/correction
work=/tmp/work
export HOME=$work
mkdir "$work"
cd "$work"

quiet() { "$@" > "$work/log" 2>&1 || { cat "$work/log" >&2; fail "fails: $*"; }; }

# From here on apt has these packages and those that are installed, and nothing else.
rm -f /etc/apt/sources.list /etc/apt/sources.list.d/*
echo "deb [trusted=yes] file:$here ./" > /etc/apt/sources.list
quiet apt-get update
install_packages() { quiet apt-get install -y --no-install-recommends "$@"; }
installed() { dpkg-query -W -f '${db:Status-Abbrev} ${Package}\n' | sed -n 's/^[^n].  *\(.*correction.*\)/\1/p' | sort | paste -sd ' '; }

# Every file but what apt, dpkg and ldconfig write about their own work.
files() {
    find / -xdev \( -path "$here" -o -path "$work" -o -path /proc -o -path /sys -o -path /dev -o -path /var/log \
        -o -path /var/lib/apt -o -path /var/cache/apt -o -path /var/cache/ldconfig \) -prune -o ! -path '/var/lib/dpkg/*-old' -print | sort
}

# The first block that a page shows behind the sentence that an example prints it.
printed() {
    local text
    # shellcheck disable=SC2016 # backquotes of the pages
    text=$(find "$pages" -name '*.md' -exec awk -v sentence="[\`examples/$1.cpp\`]" '
        FNR == 1 { if (found) exit; inside = 0 }
        inside && /^    / { print substr($0, 5); found = 1; next }
        inside && (found || /[^ ]/) { exit }
        index($0, sentence) && / prints$/ { inside = 1 }' {} +)
    [[ -n $text ]] || fail "no page shows what examples/$1.cpp prints"
    printf '%s\n' "$text"
}

# transcript COMMAND: what a page shows for it.
transcript() {
    local text
    text=$(find "$pages" -name '*.md' -exec awk -v command="\$ $1" '
        inside && (/^\$ / || /^```/) { exit }
        inside { print }
        $0 == command { inside = 1 }' {} +)
    [[ -n $text ]] || fail "no page shows: $1"
    printf '%s\n' "$text"
}

# prints FILE COMMAND...: it prints exactly the lines of this file.
prints() {
    local expected=$1
    shift
    timeout 60 "$@" > "$work/output" 2>&1 || { cat "$work/output" >&2; fail "fails: $*"; }
    diff "$expected" "$work/output" >&2 || fail "prints something else than its page shows (<): $*"
}

files > "$here/before"

install_packages correction-tools libcorrection-doc
[[ $(installed) == "correction-tools libcorrection-adapter1 libcorrection-calibration1 libcorrection-doc libcorrection-simulator1 libcorrection1" ]] \
    || fail "correction-tools and libcorrection-doc bring along: $(installed)"
[[ $(correctionctl --version) == "correctionctl $version" ]] || fail "correctionctl is not of $version"
for command in screens "show arena-main"; do
    transcript "correctionctl $command" > expected
    # shellcheck disable=SC2086 # words
    prints expected correctionctl $command
done
service-check > output || fail "the virtual wall has findings:" "$(cat output)"
for file in "$(command -v correctionctl)" "$(command -v service-check)" /usr/lib/*-linux-gnu/libcorrection*.so.1; do
    if ldd "$file" 2>&1 | grep 'not found'; then fail "$file lacks a library"; fi
done
for page in correctionctl service-check; do
    zcat "/usr/share/man/man1/$page.1.gz" | grep '^\.SH "\?EXIT STATUS' > /dev/null || fail "no manual page of $page"
done
echo "the programs work"

install_packages libcorrection-dev
examples=("$pages"/examples/[0-9]*.cpp)
[[ ${#examples[@]} -ge 7 ]] || fail "the examples are missing: ${examples[*]}"

# The pages link the headers, too; the sources of the benchmarks are not installed.
links=$(find "$pages" -name '*.md' -exec grep -oE '\]\([^):#[:space:]]+' {} +)
while IFS= read -r line; do
    page=${line%%:*}
    link=${line#*:](}
    [[ -e ${page%/*}/$link || $link =~ ^(https$|\.\./bench/) ]] || fail "$page: a link to nothing: $link"
done <<< "$links"
echo "the links of the pages work"

# Each example with a copy of the one CMake file.
build() { # build FOLDER: a host in it
    quiet cmake -S "$1" -B "$1/build"
    quiet cmake --build "$1/build" --parallel "$(nproc)"
}
for example in "${examples[@]}"; do
    name=$(basename "$example" .cpp)
    mkdir "$name"
    cp "$example" "$pages/examples/CMakeLists.txt" "$name/"
    build "$name"
    case $name in
    02-*) quiet timeout 60 "$name/build/example-$name" ;; # its exit code is that of its result
    07-*)
        transcript "service-check --backend ./little-backend.so | sed -n '6,9p;\$p'" > expected
        (service-check --backend "$name/build/libexample-$name.so" || [[ $? -eq 1 ]]) | sed -n '6,9p;$p' > output
        diff expected output >&2 || fail "the plug-in is not what its page shows (<)"
        ;;
    00-*) # the host of README
        awk '/^It prints$/ { shown = 1; next } shown && /^[^ ]/ { exit } shown && NF { print substr($0, 5) }' \
            "$pages/README.md" > expected
        prints expected "$name/build/example-$name"
        ;;
    *)
        printed "$name" > expected
        prints expected "$name/build/example-$name"
        ;;
    esac
    echo "$name works"
done
cp -r "$pages/examples/03-http-backend" .
build 03-http-backend
quiet timeout 60 03-http-backend/build/example-03-http-backend
echo "03-http-backend works"

# pkg-config alone.
for module in correction correction-service correction-adapter correction-simulator correction-calibration; do
    [[ $(pkg-config --modversion $module) == "$version" ]] || fail "pkg-config has no $module $version"
done
# shellcheck disable=SC2046 # words
quiet g++ -fPIC "$pages/examples/01-first-host.cpp" $(pkg-config --cflags --libs correction correction-simulator) -o by-pkg-config
printed 01-first-host > expected
prints expected ./by-pkg-config
echo "a host works with pkg-config"

# qmake.
mkdir by-qmake
cat > by-qmake/host.pro << END
TARGET = host
SOURCES = $pages/examples/01-first-host.cpp
CORRECTION = simulator
include(/usr/share/correction/correction.pri)
END
(cd by-qmake && quiet qmake && quiet make)
prints expected by-qmake/host
echo "a host works with qmake"

# Without a trace.
read -ra packages <<< "$(installed)"
[[ ${#packages[@]} -eq 7 ]] || fail "not all packages were installed: ${packages[*]}"
quiet apt-get purge -y "${packages[@]}"
[[ -z $(installed) ]] || fail "not removed: $(installed)"
files > "$here/after"
diff "$here/before" "$here/after" >&2 || fail "removing the packages leaves another root (>) than there was before (<)"
echo "${#packages[@]} packages are installed and removed without a trace"
