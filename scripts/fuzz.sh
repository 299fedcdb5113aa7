#!/usr/bin/env bash
# Lets clang's fuzzer look for inputs that the parts without Windows get wrong, with the address
# and undefined-behaviour sanitizers on; two targets at a time.
#   scripts/fuzz.sh [SECONDS] [TARGET...]     default: 30 seconds each, all targets
# What is found grows in build/fuzz/corpus; an input that fails is left in build/fuzz/found. Once it
# is mended, put it into tests/fuzz/corpus under a name that tells what it was.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

seconds=30
if [[ "${1:-}" =~ ^[0-9]+$ ]]; then
    seconds=$1
    shift
fi
fuzz="$root/build/fuzz"
seeds="$root/tests/fuzz/corpus"
mkdir -p "$fuzz/found"
targets=("$@")
[ $# -gt 0 ] || mapfile -t targets < <(ls "$seeds")
for target in "${targets[@]}"; do [ -d "$seeds/$target" ] || die "there is no target $target"; done

printf 'building the fuzz targets ...\n'
if ! { cmake -G Ninja -S "$root/tests/fuzz" -B "$fuzz" -DCMAKE_CXX_COMPILER=clang++ -DZELK_WERROR=ON &&
    cmake --build "$fuzz"; } >"$fuzz/build.log" 2>&1; then
    tail -n 40 "$fuzz/build.log" >&2
    die "the fuzz targets cannot be built"
fi

# run TARGET: leaves its result as a test case.
run() {
    local target=$1 status=0
    mkdir -p "$fuzz/corpus/$target"
    "$fuzz/$target" -max_total_time="$seconds" -max_len=600 -timeout=10 -use_value_profile=1 \
        -artifact_prefix="$fuzz/found/$target-" "$fuzz/corpus/$target" "$seeds/$target" \
        >"$fuzz/$target.log" 2>&1 || status=1
    [ $status = 0 ] ||
        grep -aE 'does not hold|runtime error|ERROR: |Test unit written' "$fuzz/$target.log" >&2 || true
    test_case fuzz "$target" $status >"$fuzz/$target.case"
    printf '%s: %s\n' "$target" "$(grep -aE '^Done ' "$fuzz/$target.log" || echo FAILED)"
}

rm -f "$fuzz"/*.case
for target in "${targets[@]}"; do
    while [ "$(jobs -rp | wc -l)" -ge 2 ]; do wait -n; done
    run "$target" &
done
wait
cases=$(for target in "${targets[@]}"; do cat "$fuzz/$target.case"; done)
write_report fuzz "$cases"
[[ "$cases" != *'<failure/>'* ]]
