#!/usr/bin/env bash
# Compares docs/service.md and the comments of service/'s operations with what the operation table gives.
#
# usage: service_page.sh SOURCE_DIR PROGRAM...
set -euo pipefail

source=$1
shift
current=yes
diff -u "$source/docs/service.md" <("$@") || current=
for header in "$source"/service/{CabinetInfoOperator,Correctionop,HWInfo,HttpProxy,ScreenInfo}.h; do
    diff -u "$header" <("$@" "$header") || current=
done
if [[ -z $current ]]; then
    echo "these are not current: run scripts/service-page" >&2
    exit 1
fi
