#!/usr/bin/env bash
# Checks the sources without running them. No finding is accepted: fix it, or write beside it why it
# is right.
#   scripts/lint.sh [CHECK...]     default: all checks; ctest --preset x64 -L lint runs the same
# CHECK is the name of a function below, without "check_".
# shellcheck disable=SC2317  # the functions are called by their names
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

sources() { find src msg tests acceptance bench \( -name '*.cpp' -o -name '*.c' -o -name '*.h' \) -print0; }

check_format() { sources | xargs -0 clang-format --dry-run -Werror; }

check_layers() { python3 scripts/check-layers.py; }

check_documents() { python3 scripts/check-documents.py; }

check_messages() { python3 -B msg/check_sources.py; }

check_python() {
    # W503 and W504 want a line break before an operator to be after it, and the reverse.
    flake8 --isolated --max-line-length=100 --extend-ignore=W503,W504 --exclude=build,dist .
}

check_shell() { shellcheck scripts/*.sh .ci/run; }

# Once as the 64-bit compiler sees the sources and once as the 32-bit one does.
check_cppcheck() {
    local platform
    for platform in win64 win32A; do
        cppcheck --quiet --enable=warning,style,performance,portability --inline-suppr --std=c++20 \
            --platform="$platform" --error-exitcode=1 -I. -Isrc src || return
    done
}

# clang reads the sources for the same Windows, with the cross compiler's own headers.
check_tidy() {
    local headers
    headers=$(x86_64-w64-mingw32-g++-posix -print-file-name=include)/c++
    [ -e build/x64/compile_commands.json ] || cmake --preset x64 >/dev/null
    find src -name '*.cpp' -print0 |
        xargs -0 -P2 -n3 clang-tidy --quiet -p build/x64 --header-filter="$root/src/.*" \
            --extra-arg-before=--target=x86_64-w64-mingw32 \
            --extra-arg="-isystem$headers" --extra-arg="-isystem$headers/x86_64-w64-mingw32" \
            2> >(grep -vE '^[0-9]+ warnings? generated' >&2)
}

checks=("$@")
[ $# -gt 0 ] || mapfile -t checks < <(compgen -A function check_ | sed 's/^check_//')
failed=0
for check in "${checks[@]}"; do
    declare -F "check_$check" >/dev/null || die "there is no check $check"
    status=0
    "check_$check" || status=1
    printf '%s: %s\n' "$check" "$([ $status = 0 ] && echo clean || echo FAILED)"
    failed=$((failed | status))
done
exit "$failed"
