#!/usr/bin/env bash
# test.sh [CTEST ARGUMENT...]: builds everything and runs every test; a skipped test counts as a failure.
#
# The checks of format, lint and layout are tests like the others. Everything made lies below build/.
set -euo pipefail
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"
cd "$root"
trap stop_wine EXIT

install_packages "${build_packages[@]}" "${package_packages[@]}" "${sign_packages[@]}" chromium chromium-driver \
    clang-format clang-tidy gnuplot-nox googletest python3-hypothesis python3-pefile python3-pytest python3-selenium \
    shellcheck
install_npm
build release
build debug

report=build/debug/ctest.log
ctest --preset debug --parallel 4 --no-tests=error "$@" 2>&1 | tee "$report"
if grep -E '\*\*\*(Skipped|Not Run)|\(Disabled\)' "$report"; then
    echo "a test that is skipped does not pass" >&2
    exit 1
fi
