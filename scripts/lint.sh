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
    tidy_flags="--target=x86_64-w64-mingw32 -std=c++20 -DWIN32_LEAN_AND_MEAN -I. -Isrc"
    tidy_flags+=" -isystem$headers -isystem$headers/x86_64-w64-mingw32"
    tidy_cache=${XDG_CACHE_HOME:-$HOME/.cache}/zelkpmreg/tidy
    tidy_version=$(clang-tidy --version)
    mkdir -p "$tidy_cache"
    export tidy_flags tidy_cache tidy_version root
    export -f tidy
    find src -name '*.cpp' -print0 | xargs -0 -P2 -n1 bash -euo pipefail -c "tidy \"\$1\"" lint
}

# A source in which nothing was found is not read again while it, its headers, the checks and the
# tool are the same. What is compared is the source after the preprocessor, with its comments.
tidy() {
    local seen flags
    read -ra flags <<<"$tidy_flags"
    seen=$tidy_cache/$({
        printf '%s\n' "$tidy_version" "$tidy_flags" "$1"
        cat .clang-tidy
        clang++ -E -P -C -dD "${flags[@]}" "$1"
    } | sed "s|$root||g" | sha256sum | cut -c -64)
    [ ! -e "$seen" ] || return 0
    clang-tidy --quiet --header-filter='^src/' "$1" -- "${flags[@]}" \
        2> >(grep -vE '^[0-9]+ warnings? generated' >&2)
    touch "$seen"
}

checks=("$@")
[ $# -gt 0 ] || mapfile -t checks < <(compgen -A function check_ | sed 's/^check_//')
failed=0
for check in "${checks[@]}"; do
    declare -F "check_$check" >/dev/null || die "there is no check $check"
    set +e
    (set -e && "check_$check")
    status=$?
    set -e
    printf '%s: %s\n' "$check" "$([ $status = 0 ] && echo clean || echo FAILED)"
    [ $status = 0 ] || failed=1
done
exit "$failed"
