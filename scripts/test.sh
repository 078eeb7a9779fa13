#!/usr/bin/env bash
# test.sh [CTEST ARGUMENT...]: builds everything and runs every test; a skipped test counts as a failure.
#
# The checks of format, lint and layout are tests like the others. Everything made lies below build/.
set -euo pipefail
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"
export KELVANE_STRICT=ON
cd "$root"
trap stop_wine EXIT

install_packages "${build_packages[@]}" "${package_packages[@]}" "${sign_packages[@]}" "${native_packages[@]}" \
    "${mutate_packages[@]}" chromium chromium-driver clang-format clang-tidy cppcheck gcovr gnuplot-nox \
    python3-hypothesis python3-pefile python3-pytest python3-selenium shellcheck valgrind
install_npm
build release
build debug
build native-asan
build native-tsan "${thread_targets[@]}"
build native-bench native-bench
build native-coverage
find build/native-coverage -name '*.gcda' -delete  # the counts of earlier runs

# Every preset is tested, also after one that failed. A choice of tests need not be among those of each.
without=$([ $# -eq 0 ] && echo error || echo ignore)
failed=()
for preset in native-coverage native-tsan native-asan debug; do
    test_preset "$preset" --no-tests="$without" "$@" || failed+=("$preset")
    if [ "$preset $#" = "native-coverage 0" ]; then
        run_tool checks.coverage build/native-coverage || failed+=("coverage")
    fi
done
[ $# -gt 0 ] || scripts/mutate.sh --part 1/20 || failed+=("mutate")
[ ${#failed[@]} -eq 0 ] || {
    echo "failed: ${failed[*]}" >&2
    exit 1
}
