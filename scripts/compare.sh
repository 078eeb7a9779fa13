#!/usr/bin/env bash
# compare.sh [--preset PRESET] [--keep] [SCENARIO.csv...]: the service's controller beside reference policies, on the
# simulated processor (docs/control.md).
#
# Without scenarios: five kinds of work, an hour each with five seeds, and a recording turned into work. Prints a table
# and a hash of each trace, and leaves both with a picture in build/compare/. --keep puts them into docs/. Exit codes:
# 0 compared, 2 wrong usage, 3 malformed scenario, 1 a run failed, with the reason.
set -eu
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"
trap stop_wine EXIT
install_packages "${build_packages[@]}" python3 gnuplot-nox
build release kelvane-policy
run_tool control "$@"
