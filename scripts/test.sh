#!/usr/bin/env bash
# usage: scripts/test.sh [CTEST ARGUMENT...]
#
# Builds everything and runs every test; a skipped test counts as a failure. With arguments: some of the tests.
#
# The checks of format, lint and layout are tests like the others. Everything made lies below build/.
#
# Example: scripts/test.sh -R 'TierSelection|report'
set -euo pipefail
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"
export KELVANE_STRICT=ON

check_ctest_arguments "$@"
cd "$root"
install_packages "${build_packages[@]}" "${package_packages[@]}" "${sign_packages[@]}" "${native_packages[@]}" \
    "${mutate_packages[@]}" chromium chromium-driver clang-format clang-tidy cppcheck gcovr gnuplot-nox \
    python3-hypothesis python3-pefile python3-pytest python3-selenium shellcheck valgrind "${npm_packages[@]}"
take_turn test

# What takes seconds comes first. Each preset is tested, also after one that failed; a choice of tests need not be among
# those of each.
without=$([ $# -eq 0 ] && echo error || echo ignore)
failed=()

# test_built PRESET [TARGET...]
test_built() {
    part "build of $1" build "$@"
    part "tests of $1" test_preset "$1" --no-tests="$without" "${chosen[@]}" || failed+=("$1")
}

chosen=("$@")
[ ! -d build/native-coverage ] || find build/native-coverage -name '*.gcda' -delete  # the counts of earlier runs
test_built native-coverage
if [ $# -eq 0 ]; then
    part "coverage" run_tool checks.coverage build/native-coverage || failed+=("coverage")
    KELVANE_NATIVE=native-coverage part "planted faults" scripts/mutate.sh --part 1/20 || failed+=("planted faults")
fi
test_built native-tsan "${thread_targets[@]}"
test_built native-asan
part "build of release" build release
part "build of native-bench" build native-bench native-bench
test_built debug
show_parts
[ ${#failed[@]} -eq 0 ] || {
    echo "failed: ${failed[*]}" >&2
    exit 1
}
