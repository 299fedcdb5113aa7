#!/usr/bin/env bash
# Reads the sources for faults without running anything. No finding is accepted: mend it, or say
# beside it why it is none.
#   scripts/lint.sh [format|shell|cppcheck|tidy]...     default: all four
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

product=(src)
sources() { find "$@" \( -name '*.cpp' -o -name '*.h' \) -print0; }

check_format() { sources "${product[@]}" msg tests bench | xargs -0 clang-format --dry-run -Werror; }

check_shell() { shellcheck scripts/*.sh .ci/run; }

# Once as the 64-bit compiler sees the sources and once as the 32-bit one does.
check_cppcheck() {
    local platform
    for platform in win64 win32A; do
        cppcheck --quiet --enable=warning,style,performance,portability --inline-suppr --std=c++20 \
            --platform="$platform" --error-exitcode=1 -I. -Isrc "${product[@]}" || return
    done
}

# clang reads the sources for the same Windows, with the cross compiler's own headers.
check_tidy() {
    local headers
    headers=$(x86_64-w64-mingw32-g++-posix -print-file-name=include)/c++
    [ -e build/x64/compile_commands.json ] || cmake --preset x64 >/dev/null
    find "${product[@]}" -name '*.cpp' -print0 |
        xargs -0 -P2 -n3 clang-tidy --quiet -p build/x64 \
            --header-filter="$root/($(IFS='|'; echo "${product[*]}"))/.*" \
            --extra-arg-before=--target=x86_64-w64-mingw32 \
            --extra-arg="-isystem$headers" --extra-arg="-isystem$headers/x86_64-w64-mingw32" \
            2> >(grep -vE '^[0-9]+ warnings? generated' >&2)
}

checks=("$@")
[ $# -gt 0 ] || checks=(format shell cppcheck tidy)
cases=
failed=0
for check in "${checks[@]}"; do
    status=0
    case $check in
        format) check_format || status=1 ;;
        shell) check_shell || status=1 ;;
        cppcheck) check_cppcheck || status=1 ;;
        tidy) check_tidy || status=1 ;;
        *) die "there is no check $check" ;;
    esac
    printf '%s: %s\n' "$check" "$([ $status = 0 ] && echo clean || echo FAILED)"
    cases+=$(test_case lint "$check" "$status")
    failed=$((failed | status))
done
write_report lint "$cases"
exit "$failed"
