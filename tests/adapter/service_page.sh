#!/usr/bin/env bash
# Compares docs/service.md with what the operation table gives.
#
# usage: service_page.sh PROGRAM PAGE
set -euo pipefail

if ! diff -u "$2" <("$1"); then
    echo "docs/service.md is not current: run scripts/service-page" >&2
    exit 1
fi
