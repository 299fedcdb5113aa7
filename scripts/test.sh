#!/usr/bin/env bash
# Sets up, builds and passes all tests. The last line counts them.
#   scripts/test.sh              both bitnesses; what CI runs
#   scripts/test.sh PRESET...    the tests of these builds, "ubsan" say
# ZELK_FUZZ_SECONDS is the time that each fuzz target gets (30).
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

presets=(x64 x86)
[ $# -eq 0 ] || presets=("$@")
cd "$root"

say "Setting up"
scripts/setup.sh

say "Building"
for preset in "${presets[@]}"; do
    build "$preset" -DZELK_WERROR=ON
    rm -rf "build/$preset/ctest.xml" "build/$preset"/reports/*
done

# Side by side: most of a test is waiting for Wine. Of some ten thousand programs that the tests start,
# Wine now and then fails to start one, which nothing here can prevent: what fails gets a second try,
# and is named in the result.
say "Testing"
for preset in "${presets[@]}"; do
    ctest --preset "$preset" --repeat until-pass:2 --output-junit ctest.xml >"build/$preset/ctest.txt" 2>&1 &
done
wait
reports=()
for preset in "${presets[@]}"; do
    say "$preset"
    cat "build/$preset/ctest.txt"
    [ -s "build/$preset/ctest.xml" ] || die "the tests of $preset did not come to their end"
    reports+=("build/$preset/ctest.xml")
done

say "Result"
for preset in "${presets[@]}"; do
    sed -nE "s/.* Test +#[0-9]+: ([a-z0-9_]+) \.+\*{3}.*/FAILED ONCE OR TWICE: $preset \1/p" "build/$preset/ctest.txt" | uniq
done
has_wine32 || printf '32-bit Wine cannot be had here: the 32-bit programs were built, but not run\n'
/usr/bin/python3 -B scripts/count-tests.py "${reports[@]}"
