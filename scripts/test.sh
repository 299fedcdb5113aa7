#!/usr/bin/env bash
# Sets up, builds both bitnesses and passes all tests. The last line counts them.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

reports="$root/build/reports"
export WINEPREFIX="$root/build/wine"

stop_server() { wineserver -k 2>/dev/null || true; }
trap stop_server EXIT

say "Setting up"
"$root/scripts/setup.sh"
presets=(x64 x86)
has_wine32 || {
    presets=(x64)
    printf 'NOT RUN: the 32-bit programs are built, but 32-bit Wine cannot be had on this machine\n'
}

say "Building"
build x64 -DZELK_WERROR=ON
build x86 -DZELK_WERROR=ON
rm -rf "$reports"
mkdir -p "$reports"

# A change of the Wine package, or a prefix that was left half made, must not decide a test.
say "Starting Wine"
export ZELK_HOLDER="$root/build/x64/standins/holder.exe"
stop_server
"$wine" || die "Wine could not make a prefix in build/wine"

for preset in "${presets[@]}"; do
    for program in unit_tests module_tests; do
        say "$program, $preset"
        (cd "$root/build/$preset/tests" && "$wine" "./$program.exe" --gtest_brief=1 \
            --gtest_output="xml:$program.xml") || true
        mv "$root/build/$preset/tests/$program.xml" "$reports/$preset-$program.xml" ||
            die "$program of $preset did not come to its end"
    done
done

say "The whole program, and what goes with it"
(cd "$root" && /usr/bin/python3 -m pytest -q -p no:cacheprovider --junitxml="$reports/program.xml" \
    tests) || true
[ -s "$reports/program.xml" ] || die "the whole-program tests did not come to their end"

say "Result"
/usr/bin/python3 "$root/scripts/count-tests.py" "$reports"/*.xml
