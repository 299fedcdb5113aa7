# What the scripts share; sourced, not run.
# shellcheck shell=bash

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck disable=SC2034  # the scripts that source this use it
wine="$root/scripts/wine.sh"

say() { printf '\n== %s\n' "$*"; }
die() { printf '\n%s: %s\n' "$(basename "$0")" "$*" >&2; exit 1; }

# build PRESET [CMAKE-ARGUMENT...]: configures and builds; quiet, unless it fails.
build() {
    local preset=$1 log="$root/build/$1.log"
    shift
    mkdir -p "$root/build"
    printf 'building %s ...\n' "$preset"
    if ! { (cd "$root" && cmake --preset "$preset" "$@" && cmake --build --preset "$preset"); } >"$log" 2>&1; then
        tail -n 40 "$log" >&2
        die "the build of $preset failed; the whole of its output is in build/$preset.log"
    fi
}

# signed STATUS: the exit code as Windows has it; only its low byte arrives here.
signed() { if [ "$1" -gt 127 ]; then echo $(($1 - 256)); else echo "$1"; fi; }

# has_wine32: whether 32-bit programs can be run.
has_wine32() { [ -e /usr/lib/wine/wine ] || [ -e /usr/lib/i386-linux-gnu/wine/i386-unix/ntdll.so ]; }

# lay_package PRESET FOLDER: lays a copy of the package with its stand-ins into FOLDER.
lay_package() {
    mkdir -p "$2"
    cp -r "$root/build/$1/package/." "$2/"
    cp "$root/build/$1/programs/"{orvanedazelk.dll,zelknmpcfg.exe,zelkswtch.exe,zelkcli.dll,zelkodbc.dll} "$2/bin/"
}

# test_case CLASS NAME STATUS: one result in the form of write_report; any STATUS but 0 is a failure.
test_case() {
    local failure=
    [ "$3" = 0 ] || failure='<failure/>'
    printf '<testcase classname="%s" name="%s">%s</testcase>' "$1" "$2" "$failure"
}

# write_report NAME CASES: writes a JUnit report for scripts/count-tests.py.
write_report() {
    mkdir -p "$root/build/reports"
    printf '<testsuites><testsuite name="%s">%s</testsuite></testsuites>\n' "$1" "$2" \
        >"$root/build/reports/$1.xml"
}
