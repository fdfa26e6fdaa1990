# What the scripts share. Sourced, never run.
# shellcheck shell=bash

set -euo pipefail

# The repository's root, from wherever a script was called.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
export LC_ALL=C.UTF-8

say() { printf '\n== %s\n' "$*"; }

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# Installs the Debian packages that are missing. As root, or with sudo.
need() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  say "Installing ${missing[*]}"
  as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q </dev/null
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}" </dev/null
}

configure_preset() {
  cmake --preset "$1" >"$(log_of "$1")" || { cat "$(log_of "$1")"; return 1; }
}

# Configures and builds a preset: build_preset NAME [targets]
build_preset() {
  local preset=$1
  shift
  configure_preset "$preset" || return 1 # "set -e" has no effect inside a condition or a command substitution
  cmake --build --preset "$preset" ${1:+--target "$@"}
}

# Of CMakeLists.txt, which has it alone.
project_version() {
  sed -n 's/^project(Correction VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt
}

log_of() {
  mkdir -p build
  printf 'build/%s-configure.log' "$1"
}

# Puts a table into a page, between the comments "table: begin" and "table: end": renew_table TABLE PAGE
renew_table() {
  awk -v table="$1" '
    /<!-- table: end -->/ { inside = 0 }
    !inside
    /<!-- table: begin/ {
      inside = 1
      print ""
      while ((getline line < table) > 0)
        print line
      print ""
    }' "$2" >"$1.page"
  cp "$1.page" "$2"
}

# What scripts/reference and scripts/abi need.
# shellcheck disable=SC2034 # for the scripts that source this one
reference_packages=(doxygen doxygen-awesome-css python3 qttools5-dev-tools)
# shellcheck disable=SC2034
abi_packages=(abigail-tools)

# What every build needs.
# shellcheck disable=SC2034 # for the scripts that source this one
build_packages=(cmake g++ libcli11-dev libhwy-dev liblcms2-dev libxxhash-dev libzip-dev ninja-build qtbase5-dev)
