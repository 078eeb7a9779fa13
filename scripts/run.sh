#!/usr/bin/env bash
# run.sh: the service for real: installed under Wine, started by the service control manager, switched on and off.
# run.sh --replay [SCENARIO.csv]: a recording through the service's scaling loop in virtual time, and what it did.
#
# The first takes about 90 seconds and shows a line for each control step. What both leave behind lies in build/run/,
# with a page that shows it (docs/report.md).
# Exit codes of a replay are those of scripts/replay.sh.
set -eu
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"
out=$root/build/run

usage() {
    echo "usage: scripts/run.sh" >&2
    echo "       scripts/run.sh --replay [SCENARIO.csv]" >&2
    exit 2
}

# show_trace TRACE NAME: the summary, the picture build/run/NAME.svg and the report build/run/NAME.html.
show_trace() {
    local data=$out/$2.dat
    run_tool trace.summarize "$1" "$data"
    gnuplot -c "$root/tools/trace/picture.gp" "$data" "$out/$2.svg" "$(run_tool trace.title "$2")"
    rm "$data"
    "$root/scripts/report.sh" -o "$out/$2.html" "$1" >/dev/null
    echo
    echo "trace    build/run/$2.trace.csv"
    echo "picture  build/run/$2.svg"
    echo "report   build/run/$2.html, for a browser"
}

replay() {
    local scenario=${1:-$root/scenarios/office-laptop.csv} name
    refuse_line_feed "$scenario"
    name=$(basename -- "$scenario" .csv)
    trap stop_wine EXIT
    "$root/scripts/replay.sh" "$scenario" "$out/$name.trace.csv"
    show_trace "$out/$name.trace.csv" "$name"
}

live() {
    echo "--- building the service"
    build release
    run_tool live "$root/build/release" "$out"
    echo
    show_trace "$out/service.trace.csv" service
}

case ${1:-} in
--replay) [ $# -le 2 ] || usage ;;
*) [ $# -eq 0 ] || usage ;;
esac
install_packages "${build_packages[@]}" python3 gnuplot-nox
mkdir -p "$out"
if [ $# -gt 0 ]; then
    replay "${@:2}"
else
    live
fi
