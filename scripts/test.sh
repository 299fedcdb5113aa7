#!/usr/bin/env bash
# Sets up, builds and passes all tests. The last line counts them.
#   scripts/test.sh             both bitnesses, the sources and the fuzzer; what CI runs
#   scripts/test.sh --PRESET    the C++ and whole-program tests of one build, --ubsan say
# ZELK_FUZZ_SECONDS is the time that each fuzz target gets (30).
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

reports="$root/build/reports"
export WINEPREFIX="$root/build/wine"

stop_server() { wineserver -k 2>/dev/null || true; }
trap stop_server EXIT

case "${1:-}" in
    "")
        presets=(x64 x86)
        lanes=(cpp_tests python_tests lint fuzz)
        ;;
    --*)
        presets=("${1#--}")
        lanes=(cpp_tests python_tests)
        ;;
    *) die "there is no option $1" ;;
esac

build_all() {
    local preset
    say "Building"
    for preset in "${presets[@]}"; do build "$preset" -DZELK_WERROR=ON; done
    rm -rf "$reports"
    mkdir -p "$reports"
}

# A change of the Wine package, or a prefix that was left half made, must not decide a test.
start_wine() {
    say "Starting Wine"
    export ZELK_HOLDER="$root/build/${presets[0]}/programs/holder.exe"
    stop_server
    "$wine" || die "Wine could not make a prefix in build/wine"
}

# run_cpp PRESET PROGRAM REPORT FILTER [LOCALE]: runs the tests of one program that match the filter,
# on a system of that locale, which the shell that starts Wine need not have. A report that is missing
# means that the program crashed or hung before it could write it.
run_cpp() {
    local report="$reports/$1-$3.xml"
    say "$3, $1"
    (cd "$root/build/$1/tests" && env ${5:+"LC_ALL=$5"} "$wine" "./$2.exe" --gtest_brief=1 \
        --gtest_filter="$4" --gtest_output="xml:$3.xml" 2> >(grep -v setlocale >&2)) || true
    mv "$root/build/$1/tests/$3.xml" "$report" || die "$3 of $1 did not come to their end"
}

cpp_tests() {
    local preset
    for preset in "${presets[@]}"; do
        if [ "$preset" = x86 ] && ! has_wine32; then
            say "C++ tests, $preset"
            printf 'NOT RUN: 32-bit Wine cannot be had on this machine\n'
            continue
        fi
        run_cpp "$preset" unit_tests unit_tests '-*Japanese*'
        # Where the second byte of a character can be a backslash's.
        run_cpp "$preset" unit_tests unit_tests_in_japanese '*Japanese*' ja_JP.UTF-8
        run_cpp "$preset" module_tests module_tests '*'
    done
}

# python_lane PRESET PREFIX PYTEST-ARGUMENT...: one build in a Wine prefix of its own.
python_lane() {
    local preset=$1 prefix=$2
    shift 2
    (cd "$root" && WINEPREFIX="$prefix" ZELK_TEST_PREFIX="$prefix" ZELK_PRESETS="$preset" \
        /usr/bin/python3 -m pytest -q -p no:cacheprovider \
        --junitxml="$reports/$preset-program.xml" "$@") >"$reports/$preset-program.txt" 2>&1 || true
    WINEPREFIX="$prefix" wineserver -k 2>/dev/null || true
}

# The bitnesses run side by side: most of a test is waiting for Wine. What does not depend on the
# bitness runs with the first.
python_tests() {
    local preset
    say "The whole program, and what goes with it"
    python_lane "${presets[0]}" "$WINEPREFIX" tests &
    for preset in "${presets[@]:1}"; do
        python_lane "$preset" "$WINEPREFIX-$preset" tests -k "$preset" &
    done
    wait
    for preset in "${presets[@]}"; do
        say "$preset"
        tail -n 30 "$reports/$preset-program.txt"
        [ -s "$reports/$preset-program.xml" ] ||
            die "the whole-program tests of $preset did not come to their end"
    done
}

lint() {
    say "Sources"
    "$root/scripts/lint.sh" || true
    [ -s "$reports/lint.xml" ] || die "the sources were not checked to the end"
}

fuzz() {
    say "Fuzzing"
    "$root/scripts/fuzz.sh" "${ZELK_FUZZ_SECONDS:-30}" || true
    [ -s "$reports/fuzz.xml" ] || die "the fuzzer did not come to its end"
}

say "Setting up"
"$root/scripts/setup.sh"
build_all
start_wine
for lane in "${lanes[@]}"; do
    started=$SECONDS
    "$lane"
    printf '(%s: %s seconds)\n' "$lane" $((SECONDS - started))
done

say "Result"
/usr/bin/python3 "$root/scripts/count-tests.py" "$reports"/*.xml
