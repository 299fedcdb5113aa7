#!/usr/bin/env bash
# Makes the archives that are handed out: dist/zelkpmreg-<version>-x64.zip and -x86.zip, with their
# sums in dist/SHA256SUMS. Equal sources give equal bytes, in whatever folder and at whatever time.
#   scripts/release.sh             both
#   scripts/release.sh x64|x86     one of them
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

dist="$root/dist"
version=$(sed -n 's/^project(zelkpmreg VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
[ -n "$version" ] || die "CMakeLists.txt names no version"
# The time of the last commit; a constant where the sources came without their history.
when=${SOURCE_DATE_EPOCH:-$(git -C "$root" log -1 --format=%ct 2>/dev/null || echo 1767225600)}
presets=(x64 x86)
[ $# -eq 0 ] || presets=("$@")

# A folder of its own: options of somebody's working build must not get into what is handed out.
make_package() {
    (cd "$root" && cmake --preset "$1" -B "build/release/$1" -DZELK_TESTS=OFF -DZELK_WERROR=ON &&
        cmake --build "build/release/$1") >"$root/build/release/$1.log" 2>&1 || {
        tail -n 40 "$root/build/release/$1.log" >&2
        die "the build of $1 failed"
    }
}

write_notice() {
    cat >"$1/NOTICE" <<END
zelkpmreg $version for $2-bit Windows

bin/zelkpmreg.exe             the program
msg/<locale>/zelkpmreg.dll    its texts, one library for each language
deploy/                       command files that register, upgrade, unregister, and verify a copy
README.md, docs/              how to use it

The program is built with GCC and MinGW-w64. Those parts of their start-up code and run-time
libraries that it uses are linked into bin/zelkpmreg.exe statically, under the terms of their own
makers. Nothing else of others is inside. The libraries of Windows and of the package that the
program loads are not part of this archive.
END
}

pack() {
    local preset=$1 name="zelkpmreg-$version-$1" tree="$root/build/release/tree/$1"
    printf 'packing %s ...\n' "$name"
    make_package "$preset"
    mkdir -p "$tree/docs"
    cp -r "$root/build/release/$preset/package/." "$tree/"
    cp "$root"/{README,SECURITY,CHANGELOG}.md "$tree/"
    cp "$root/docs/administration.md" "$root/docs/deployment.md" "$tree/docs/"
    write_notice "$tree" "$([ "$preset" = x64 ] && echo 64 || echo 32)"
    find "$tree" -type d -exec chmod 755 {} + -o -type f -exec chmod 644 {} +
    find "$tree" -exec touch -h -d "@$when" {} +
    # zip stores local time, and in the order in which it is told the names.
    (cd "$tree" && find . -mindepth 1 | sed 's,^\./,,' | LC_ALL=C sort |
        TZ=UTC zip -q -X -9 "$dist/$name.zip" -@)
}

mkdir -p "$root/build/release" "$dist"
rm -rf "$root/build/release/tree" "$dist"/zelkpmreg-*.zip "$dist/SHA256SUMS"
for preset in "${presets[@]}"; do pack "$preset"; done
(cd "$dist" && sha256sum zelkpmreg-*.zip >SHA256SUMS && cat SHA256SUMS)
