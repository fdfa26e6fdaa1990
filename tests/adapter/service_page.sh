#!/usr/bin/env bash
# Compares the files that come from tables with what the tables give.
#
# usage: service_page.sh SOURCE_DIR PROGRAM
set -euo pipefail

cd "$1"
files=$("$2")
current=yes
for file in $files; do
    diff -u "$file" <("$2" "$file") || current=
done
if [[ -z $current ]]; then
    echo "these are not current: run scripts/service-page" >&2
    exit 1
fi
