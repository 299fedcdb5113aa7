#!/usr/bin/env bash
# Counts which lines and branches of the product the C++ and whole-program tests run. What is not
# reached is in build/coverage/report.txt and, line by line, in build/coverage/html/index.html.
# docs/testing.md says why.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

command -v gcovr >/dev/null || "$root/scripts/setup.sh" --also gcovr
rm -rf "$root/build/coverage"  # the counts of earlier runs, and sources that were renamed since
# The programs write their counts by the sources' own paths, which are on this drive of theirs.
export GCOV_PREFIX=Z:
"$root/scripts/test.sh" coverage || printf 'some tests failed; the counts are from all of them\n'

say "Lines and branches of the product"
mkdir -p "$root/build/coverage/html"
cd "$root"
gcovr --root . --object-directory build/coverage --gcov-executable x86_64-w64-mingw32-gcov-posix \
    --filter 'src/' --exclude-throw-branches \
    --exclude-unreachable-branches --print-summary --html-details build/coverage/html/index.html \
    --txt build/coverage/report.txt
grep -vE '^-|^ *$' build/coverage/report.txt
