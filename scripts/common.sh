# What the scripts share; sourced, not run.
# shellcheck shell=bash

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck disable=SC2034  # the scripts that source this use it
wine="$root/scripts/wine.sh"

say() { printf '\n== %s\n' "$*"; }
die() { printf '\n%s: %s\n' "$(basename "$0")" "$*" >&2; exit 1; }

# build PRESET [CMAKE-ARGUMENT...]: configures and builds; quiet, unless it fails. Builds the CMake
# target that the variable target names, or everything.
build() {
    local preset=$1 log="$root/build/$1.log"
    shift
    mkdir -p "$root/build"
    printf 'building %s ...\n' "$preset"
    if ! { (cd "$root" && cmake --preset "$preset" "$@" && cmake --build --preset "$preset" ${target:+--target "$target"}); } >"$log" 2>&1; then
        tail -n 40 "$log" >&2
        die "the build of $preset failed; the whole of its output is in build/$preset.log"
    fi
}

# signed STATUS: the exit code as Windows has it; only its low byte arrives here.
signed() { if [ "$1" -gt 127 ]; then echo $(($1 - 256)); else echo "$1"; fi; }

# lay_package PRESET FOLDER: lays a copy of the package with its stand-ins into FOLDER.
lay_package() { cmake --install "$root/build/$1" --prefix "$2" >/dev/null; }
