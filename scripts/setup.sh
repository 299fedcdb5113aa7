#!/usr/bin/env bash
# Installs what building and testing need on Debian 12, and nothing when it is there already.
#   scripts/setup.sh                       for building, the demo and the tests
#   scripts/setup.sh --also PACKAGE...     these Debian packages too
# 32-bit Wine is wanted, but not at any price: where Debian's package lists do not allow it, the
# 32-bit programs are built and not run, and the scripts say so.
set -euo pipefail

packages=(cmake ninja-build googletest git python3 python3-pytest python3-pefile
    g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix
    clang clang-format clang-tidy cppcheck flake8 shellcheck libclang-rt-14-dev locales util-linux zip)
wine_packages=(wine wine64)
locales=(ja_JP ru_RU)  # of systems that tests imitate down to file names and the terminal
if [ "${1:-}" = --also ]; then
    shift
    packages+=("$@")
fi

say() { printf 'setup: %s\n' "$*"; }
die() { printf 'setup: %s\n' "$*" >&2; exit 1; }

installed() { dpkg-query -W -f '${db:Status-Status}\n' "$@" 2>/dev/null | grep -cx installed || true; }

missing() {
    local package
    for package in "$@"; do
        [ "$(installed "$package")" -gt 0 ] || printf '%s\n' "$package"
    done
}

missing_locales() {
    local locale there
    there=$(locale -a 2>/dev/null)
    for locale in "${locales[@]}"; do
        grep -qx "$locale.utf8" <<<"$there" || printf '%s\n' "$locale"
    done
}

as_root() {
    if [ "$(id -u)" = 0 ]; then "$@"; elif command -v sudo >/dev/null; then sudo "$@"; else
        die "needs to install packages: run it as root, or install sudo"
    fi
}

apt() { as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -o Dpkg::Use-Pty=0 "$@"; }

# Installs packages only where nothing that is installed would be removed for them.
install_if_harmless() {
    local plan
    plan=$(apt-get "${lists[@]}" -s install --no-install-recommends "$@" 2>&1) || return 1
    ! grep -q '^Remv ' <<<"$plan" || return 1
    apt "${lists[@]}" install -y --no-install-recommends "$@" >/dev/null 2>&1
}

# The i386 lists of a suite can be out of step with the amd64 ones; a second try goes without the
# security suite, in package lists of its own that leave the machine's as they are.
without_security_suite() {
    local own=$1 file
    mkdir -p "$own/sources" "$own/lists/partial"
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        [ ! -e "$file" ] || grep -v -- '-security' "$file" >"$own/sources/$(basename "$file" .list).list" || true
    done
    for file in /etc/apt/sources.list.d/*.sources; do
        [ ! -e "$file" ] || awk 'BEGIN { RS = ""; ORS = "\n\n" } !/Suites:[^\n]*-security/' "$file" \
            >"$own/sources/$(basename "$file")"
    done
    lists=(-o Dir::Etc::sourcelist=/dev/null -o "Dir::Etc::sourceparts=$own/sources"
        -o "Dir::State::lists=$own/lists")
}

install_wine() {
    local own=$1
    lists=()
    as_root dpkg --add-architecture i386
    if apt update >/dev/null 2>&1 && install_if_harmless "${wine_packages[@]}" wine32:i386; then return; fi
    say "the 32-bit package lists are not complete; trying the lists of the release alone"
    without_security_suite "$own"
    if apt "${lists[@]}" update >/dev/null 2>&1 &&
        install_if_harmless "${wine_packages[@]}" wine32:i386; then return; fi
    lists=()
    say "32-bit Wine cannot be had here; the 32-bit programs will be built, but not run"
    [ -z "$(missing "${wine_packages[@]}")" ] || install_if_harmless "${wine_packages[@]}" ||
        die "Wine cannot be installed"
}

mapfile -t wanted < <(missing "${packages[@]}")
wine_wanted=$(missing "${wine_packages[@]}")
wine32_wanted=$(missing wine32:i386)
# Once refused, it is not tried again and again: only scripts/setup.sh --retry-wine32 does.
refused=/var/tmp/zelkpmreg-no-wine32
if [ "${1:-}" != --retry-wine32 ] && [ -e "$refused" ]; then wine32_wanted=; fi
mapfile -t locales_wanted < <(missing_locales)
[ -n "${wanted[*]}$wine_wanted$wine32_wanted${locales_wanted[*]}" ] || exit 0

lists=()
if [ -n "$wine_wanted$wine32_wanted" ]; then
    say "installing Wine"
    own=$(mktemp -d)
    trap 'rm -rf "$own"' EXIT
    chmod 755 "$own"
    install_wine "$own"
    [ -z "$(missing wine32:i386)" ] || touch "$refused"
fi
if [ ${#wanted[@]} -gt 0 ]; then
    lists=()
    say "installing ${wanted[*]}"
    apt update >/dev/null 2>&1 || say "some package lists could not be fetched; going on with the others"
    apt install -y --no-install-recommends "${wanted[@]}" >/dev/null 2>&1 || die "the packages above cannot be installed"
fi
for locale in "${locales_wanted[@]}"; do
    as_root localedef -c -i "$locale" -f UTF-8 "$locale.UTF-8" >/dev/null 2>&1 ||
        die "the locale $locale cannot be made"
done
say "done"
