#!/usr/bin/env bash
# run.sh [SCENARIO.csv]: replays a recording through the service's own scaling loop, and shows what it did.
#
# By default the recording is 25 minutes of a laptop at office work. Trace and picture go to build/run/. Exit codes are
# those of scripts/replay.sh.
set -eu
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"

if [ $# -gt 1 ] || [ "${1:-}" = --help ]; then
    echo "usage: scripts/run.sh [SCENARIO.csv]" >&2
    exit 2
fi
scenario=${1:-$root/scenarios/office-laptop.csv}
name=$(basename "$scenario" .csv)
out=$root/build/run
trap stop_wine EXIT

install_packages "${build_packages[@]}" python3 gnuplot-nox
mkdir -p "$out"
"$root/scripts/replay.sh" "$scenario" "$out/$name.trace.csv"
/usr/bin/python3 "$root/scripts/summarize.py" "$out/$name.trace.csv" "$out/$name.dat"
gnuplot -e "data='$out/$name.dat'; picture='$out/$name.svg'; name='$name'" "$root/scripts/picture.gp"
rm "$out/$name.dat"
echo
echo "trace    build/run/$name.trace.csv"
echo "picture  build/run/$name.svg"
