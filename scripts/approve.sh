#!/usr/bin/env bash
# Takes what the whole-program tests showed as what they are to show, and prints how that differs:
# review it with git diff before you commit it.
#   scripts/approve.sh [PRESET]     after ctest --preset PRESET -L program; default: x64
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

received="$root/build/${1:-x64}/received"
cd "$root/tests/program/transcripts"
[ -n "$(ls "$received" 2>/dev/null)" ] || die "no test showed anything else"
mv "$received"/*.txt .
git add -N .
git --no-pager diff --word-diff -- .
