#!/usr/bin/env bash
# Makes the archives that are handed out: dist/zelkpmreg-<version>-x64.zip and -x86.zip, for each the
# kit that tries it on a Windows machine, -x64-acceptance.zip. dist/SHA256SUMS has their sums and, as
# zelkpmreg-<version>-x64/<path>, that of each file of the first two.
# Equal sources give equal bytes, in any folder and at any time.
#   scripts/release.sh [x64|x86]               default: both
#   scripts/release.sh --no-kit [x64|x86]      without the kits
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

dist="$root/dist"
version=$(sed -n 's/^#define ZELK_VERSION "\([0-9.]*\)"/\1/p' "$root/src/run/version.h")
[ -n "$version" ] || die "src/run/version.h names no version"
# The time of the last commit; a constant where the sources came without their history.
when=${SOURCE_DATE_EPOCH:-$(git -C "$root" log -1 --format=%ct 2>/dev/null || echo 1767225600)}
kit=kit
if [ "${1:-}" = --no-kit ]; then
    kit=
    shift
fi
export SOURCE_DATE_EPOCH=$when  # for what CMake fills in
presets=(x64 x86)
[ $# -eq 0 ] || presets=("$@")

# pack TREE NAME
pack() {
    find "$1" -type f -exec touch -d "@$when" {} +
    # zip stores local time, and in the order in which it gets the names.
    (cd "$1" && find . -type f -printf '%P\n' | LC_ALL=C sort |
        TZ=UTC zip -q -X -9 "$dist/zelkpmreg-$version-$2.zip" -@)
}

# The build has a folder of its own: options of a working build must not get into what is
# handed out.
release() {
    local preset=$1 built="$root/build/release/$1" tree="$root/build/release/tree/$1"
    printf 'packing %s ...\n' "$preset"
    (cd "$root" && cmake --preset "$preset" -B "$built" -DZELK_WERROR=ON -DZELK_TESTS="${kit:+ON}" &&
        cmake --build "$built" --target "${kit:-all}" &&
        cmake --install "$built" --component package --prefix "$tree" &&
        { [ -z "$kit" ] || cmake --install "$built" --component acceptance --prefix "$tree-acceptance"; }) \
        >"$built.log" 2>&1 || {
        tail -n 40 "$built.log" >&2
        die "the build of $preset failed"
    }
    pack "$tree" "$preset"
    [ -z "$kit" ] || pack "$tree-acceptance" "$preset-acceptance"
}

python3 -B "$root/msg/check_sources.py" --untranslated || die "a release has every text in every language"
mkdir -p "$root/build/release" "$dist"
rm -rf "$root/build/release/tree" "$dist"/zelkpmreg-*.zip "$dist/SHA256SUMS"
for preset in "${presets[@]}"; do release "$preset"; done
(cd "$dist" && sha256sum zelkpmreg-*.zip >SHA256SUMS && cat SHA256SUMS)
for preset in "${presets[@]}"; do
    (cd "$root/build/release/tree/$preset" && find . -type f -printf '%P\0' | LC_ALL=C sort -z |
        xargs -0 sha256sum | sed "s,  ,  zelkpmreg-$version-$preset/,") >>"$dist/SHA256SUMS"
done
