#!/usr/bin/env bash
# Sets up, builds and passes all tests. The last line counts them.
#   scripts/test.sh              both bitnesses; what CI runs
#   scripts/test.sh PRESET...    the tests of these builds, "ubsan" say
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

presets=(x64 x86)
[ $# -eq 0 ] || presets=("$@")
cd "$root"

say "Setting up"
scripts/setup.sh

say "Building"
for preset in "${presets[@]}"; do build "$preset" -DZELK_WERROR=ON; done

# Side by side: most of a test is waiting for Wine.
say "Testing"
declare -A running
for preset in "${presets[@]}"; do
    ctest --preset "$preset" >"build/$preset/ctest.txt" 2>&1 &
    running[$preset]=$!
done
status=0
for preset in "${presets[@]}"; do
    code=0
    wait "${running[$preset]}" || code=$?
    say "$preset"
    cat "build/$preset/ctest.txt"
    [ "$code" = 0 ] || { status=1 && printf 'FAILED: ctest --preset %s ended with %s\n' "$preset" "$code"; }
done

# What CTest says of each test; those that start and stop Wine count when they fail.
outcomes() { sed -nE 's/^ *[0-9]+\/[0-9]+ Test +#[0-9]+: //p' "build/$1/ctest.txt"; }
count() { all | grep -cE "$1" || true; }
all() { for preset in "${presets[@]}"; do outcomes "$preset" | sed "s/^/$preset /"; done; }
say "Result"
all | grep -E '\*\*\*' | sed -E 's/ \.*\*\*\*/: /' || true
passed=$(all | grep -vE '^[a-z0-9]+ wine_st' | grep -cE '   Passed  ' || true)
skipped=$(count '\*\*\*(Skipped|Not Run \(Disabled\))')
failed=$(($(count '\*\*\*') - skipped))
printf '%s passed, %s failed, %s skipped\n' "$passed" "$failed" "$skipped"
[ "$status" = 0 ] && [ "$failed" = 0 ] && [ "$passed" -gt 0 ]
