#!/usr/bin/env bash
# usage: scripts/sanitize.sh [CTEST ARGUMENT...]
#
# The unit tests on Linux itself, under sanitizers; any report fails.
#
# Address and undefined behaviour with all unit tests and each fuzz target's corpus; threads with the log, the engine
# and a stress of everything that runs at once. Exit codes: 0 no report, 1 a report or a failed build, 2 wrong usage.
#
# Example: scripts/sanitize.sh -R TierSelection
set -uo pipefail
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"
export KELVANE_STRICT=ON

check_ctest_arguments "$@"
install_packages "${native_packages[@]}" || exit 1
build native-asan || exit 1
build native-tsan "${thread_targets[@]}" || exit 1

# A choice of tests need not be among those of each.
without=$([ $# -eq 0 ] && echo error || echo ignore)
failed=()
for preset in native-tsan native-asan; do
    test_preset "$preset" --no-tests="$without" "$@" || failed+=("$preset")
done
[ ${#failed[@]} -eq 0 ] || {
    echo "failed: ${failed[*]}" >&2
    exit 1
}
