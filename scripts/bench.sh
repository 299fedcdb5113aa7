#!/usr/bin/env bash
# Measures what a run costs, next to a program that makes only the calls that cannot be left out
# and to the scripts that an administrator would write instead. Ends with 1 when a bound is missed.
#   scripts/bench.sh [--rounds N]      default 15
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

export WINEPREFIX="$root/build/wine-x64"
"$root/scripts/setup.sh"
build x64
"$root/scripts/wine-session.sh" start || die "Wine could not make a prefix in build/wine-x64"
trap '"$root/scripts/wine-session.sh" stop' EXIT
PYTHONPATH="$root/scripts" /usr/bin/python3 -B "$root/bench/bench.py" "$@"
