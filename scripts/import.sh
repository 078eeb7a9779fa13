#!/usr/bin/env bash
# usage: scripts/import.sh LOG > SCENARIO.csv
#        scripts/import.sh --time COLUMN --power COLUMN [--unit mW|W] LOG > SCENARIO.csv
#
# Turns a HWiNFO64, turbostat or powerstat log into a scenario; with the names of two columns, any CSV log
# (docs/import.md).
#
# Exit codes: 0 imported, 2 wrong usage, 3 nothing understood (then nothing is written), 4 output not writable; 1 when
# python3 cannot be installed. What was understood, and what was passed over, is told on standard error.
#
# Example: scripts/import.sh office.csv > office-scenario.csv
set -u
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"

check_arguments() {
    local logs=0 named=0
    while [ $# -gt 0 ]; do
        case $1 in
        --time | --power | --unit)
            [ $# -gt 1 ] || wrong_usage "$1 needs a value"
            [ "$1" = --unit ] || named=$((named + 1))
            shift
            ;;
        *)
            refuse_option "$1"
            logs=$((logs + 1))
            ;;
        esac
        shift
    done
    [ $logs -eq 1 ] || wrong_usage "one log is needed"
    [ $named -eq 0 ] || [ $named -eq 2 ] || wrong_usage "--time and --power are needed together"
}

check_arguments "$@"
install_packages python3 || exit 1
run_tool importer "$@"
