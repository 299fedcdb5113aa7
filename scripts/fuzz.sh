#!/usr/bin/env bash
# Looks for inputs that one of the parts without Windows gets wrong, with the address and
# undefined-behaviour sanitizers on.
#   scripts/fuzz.sh TARGET             tries the inputs that are known; ctest --preset x64 -L fuzz does
#   scripts/fuzz.sh SECONDS TARGET     lets clang's fuzzer look for new ones
# What is found grows in build/fuzz/corpus; an input that fails is left in build/fuzz/found, and is known
# from then on. Once it is fixed, put it into tests/fuzz/corpus under a name that says what it was.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

seconds=
if [[ "${1:-}" =~ ^[0-9]+$ ]]; then
    seconds=$1
    shift
fi
target=${1:-}
fuzz="$root/build/fuzz"
seeds="$root/tests/fuzz/corpus/$target"
if [ -z "$target" ] || [ ! -d "$seeds" ]; then die "the targets are: $(cd "$root/tests/fuzz/corpus" && echo *)"; fi
mkdir -p "$fuzz/found" "$fuzz/corpus/$target"

# Several targets at a time share one build.
if ! (flock 9 && cmake -G Ninja -S "$root/tests/fuzz" -B "$fuzz" -DCMAKE_CXX_COMPILER=clang++ \
    -DZELK_WERROR=ON && cmake --build "$fuzz") >"$fuzz/$target.log" 2>&1 9>"$fuzz/lock"; then
    tail -n 40 "$fuzz/$target.log" >&2
    die "the fuzz targets cannot be built"
fi

if [ -n "$seconds" ]; then
    options=(-max_total_time="$seconds" -max_len=600 -timeout=10 -use_value_profile=1
        -artifact_prefix="$fuzz/found/$target-" "$fuzz/corpus/$target" "$seeds")
else
    mapfile -t options < <(find "$seeds" "$fuzz/found" -type f \( -path "$seeds/*" -o -name "$target-*" \))
fi
status=0
"$fuzz/$target" "${options[@]}" >"$fuzz/$target.log" 2>&1 || status=1
grep -aE '^(Done|Running:) |does not hold|runtime error|ERROR: |Test unit written' "$fuzz/$target.log" || true
exit "$status"
