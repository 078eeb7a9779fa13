#!/usr/bin/env bash
# import.sh LOG > SCENARIO.csv: turns a HWiNFO64, turbostat or powerstat log into a scenario (docs/import.md).
# import.sh --time COLUMN --power COLUMN [--unit mW|W] LOG > SCENARIO.csv: the same for any CSV log.
#
# Exit codes: 0 imported, 2 wrong usage, 3 nothing understood (then nothing is written), 4 output not writable; 1 when
# python3 cannot be installed. What was understood, and what was passed over, is told on standard error.
set -u
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"
install_packages python3 || exit 1
run_tool importer "$@"
