#!/usr/bin/env bash
# usage: scripts/fuzz.sh [SECONDS [TARGET...]]
#
# Feeds each fuzz target (tests/fuzz/TARGET_fuzz.cpp) with made-up inputs, 60 seconds by default; the seeds in
# tests/fuzz/corpus come first. New inputs are kept in build/native-asan/tests/fuzz/found. Ends at the first target that
# fails, with the name of the file that holds the input.
#
# Example: scripts/fuzz.sh 10 scenario event_text
set -euo pipefail
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"
export KELVANE_STRICT=ON

seconds=${1-60}
[[ $seconds =~ ^[1-9][0-9]{0,6}$ ]] || wrong_usage "not a number of seconds: $seconds"
shift "$(($# > 0))"
for target in "$@"; do
    [ -f "$root/tests/fuzz/${target}_fuzz.cpp" ] || wrong_usage "there is no target $target"
done

install_packages "${native_packages[@]}"
take_turn fuzz
targets=("$@")
if [ $# -eq 0 ]; then
    for source in "$root"/tests/fuzz/*_fuzz.cpp; do
        targets+=("$(basename "$source" _fuzz.cpp)")
    done
fi
build native-asan "${targets[@]/#/fuzz_}"

made=$root/build/native-asan/tests/fuzz
for target in "${targets[@]}"; do
    if ! "$made/fuzz_$target" -max_total_time="$seconds" -timeout=20 -print_final_stats=1 \
        -artifact_prefix="$made/$target-" "$made/found/$target" "$root/tests/fuzz/corpus/$target" \
        >"$made/$target.log" 2>&1; then
        cat "$made/$target.log" >&2
        echo "$target failed" >&2
        exit 1
    fi
    printf '%-15s %9s inputs\n' "$target" "$(sed -n 's/^stat::number_of_executed_units: *//p' "$made/$target.log")"
done
