#!/usr/bin/env bash
# Runs cases of a test program; CTest does. Fails also when the program ends with 0 and has not come
# to its end: the file is there from the program's start to its end.
#   scripts/run-cases.sh PROGRAM --gtest_filter=CASES
set -euo pipefail

file=$(mktemp -u)
status=0
TEST_PREMATURE_EXIT_FILE="Z:$file" "$(dirname "${BASH_SOURCE[0]}")/wine.sh" "$@" || status=$?
if [ -e "$file" ]; then
    rm "$file"
    printf 'ended in the middle, with code %s\n' "$status"
    status=1
fi
exit "$status"
