#!/usr/bin/env bash
# usage: scripts/replay.sh SCENARIO.csv TRACE.csv
#
# Runs the service's scaling loop in virtual time (docs/replay.md).
#
# Builds what is missing. Exit codes are the program's: 0 replayed, 2 wrong usage, 3 malformed scenario, 4 trace not
# writable, 5 the clock stands still, 130 interrupted; 1 when the build fails, or the replay in another way. Above 128:
# it crashed or was killed. A trace that stands at its place is whole.
#
# Example: scripts/replay.sh scenarios/office-laptop.csv trace.csv
set -u
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"
[ $# -eq 2 ] || wrong_usage "a scenario and a trace are needed"
refuse_option "$1"
install_packages "${build_packages[@]}" python3 || exit 1
build release kelvane-replay || exit 1
run_tool replay "$root/build/release/kelvane-replay.exe" "$@"
code=$?
if [ $code -gt 128 ] && [ $code -ne 130 ]; then
    echo "the replay program crashed ($code): there is no trace of it" >&2
fi
exit $code
