#!/usr/bin/env bash
# usage: scripts/import.sh LOG > SCENARIO.csv
#
# Turns a HWiNFO64, turbostat or powerstat log into a scenario (docs/import.md).
#
# Exit codes: 0 imported, 2 wrong usage, 3 nothing understood (then nothing is written), 4 output not writable; 1 when
# python3 cannot be installed. What was understood, and what was passed over, is told on standard error.
#
# Example: scripts/import.sh office.csv > office-scenario.csv
set -u
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"
[ $# -eq 1 ] || wrong_usage "one log is needed"
refuse_option "$1"
install_packages python3 || exit 1
run_tool importer "$@"
