#!/usr/bin/env bash
# usage: scripts/compare.sh [--preset thin-laptop|workstation-laptop|desktop] [--keep] [SCENARIO.csv...]
#
# The service's controller beside reference policies, on the simulated processor (docs/control.md).
#
# Without scenarios: five kinds of work, an hour each with five seeds, and a recording turned into work. Prints a table
# and a hash of each trace, and leaves both with a picture in build/compare/. --keep puts them into docs/, which show
# the thin laptop at that work. Exit codes: 0 compared, 2 wrong usage, 3 malformed scenario, 1 a run failed, with
# the reason.
#
# Example: scripts/compare.sh --preset desktop
set -eu
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"

check_arguments() {
    local keep='' preset=thin-laptop scenarios=0
    while [ $# -gt 0 ]; do
        case $1 in
        --keep) keep=1 ;;
        --preset)
            preset=${2:-}
            shift
            ;;
        --preset=*) preset=${1#*=} ;;
        *)
            refuse_option "$1"
            scenarios=$((scenarios + 1))
            ;;
        esac
        shift "$(($# > 0))"
    done
    case $preset in
    thin-laptop | workstation-laptop | desktop) ;;
    *) wrong_usage "there is no preset '$preset'" ;;
    esac
    [ -z "$keep" ] || [ "$preset $scenarios" = "thin-laptop 0" ] ||
        wrong_usage "the documents show the thin laptop at the work of its own"
}

check_arguments "$@"
install_packages "${build_packages[@]}" python3 gnuplot-nox
take_turn compare
build release kelvane-policy
run_tool control "$@"
