#!/usr/bin/env bash
# usage: scripts/run.sh
#        scripts/run.sh --replay [SCENARIO.csv]
#
# The service for real: installed under Wine, started by the service control manager, switched on and off. With
# --replay: a recording through the service's scaling loop in virtual time, and what it did.
#
# The first takes about 90 seconds and shows a line for each control step. What both leave behind lies in build/run/,
# with a page that shows it (docs/report.md). Exit codes of a replay are those of scripts/replay.sh.
#
# Example: scripts/run.sh --replay scenarios/office-laptop.csv
set -eu
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"
out=$root/build/run

# summarize TRACE NAME PICTURE
summarize() {
    picture=$3 data=${3%.new}.dat  # make_whole's own, for its end, where $3 is another one
    trap 'rm -f -- "$data" "$picture"' EXIT
    run_tool trace.summarize "$1" "$data" || return
    gnuplot -c "$root/tools/trace/picture.gp" "$data" "$3" "$(run_tool trace.title "$2")" || return
    rm "$data"
    tail -n 2 "$3" | grep -q '^</svg>$' && return  # gnuplot does not tell
    echo "$out/$2.svg: not written to its end" >&2
    return 4
}

# show_trace TRACE NAME: the summary, the picture build/run/NAME.svg and the report build/run/NAME.html.
show_trace() {
    make_whole "$out/$2.svg" summarize "$1" "$2"
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
    take_turn run
    "$root/scripts/replay.sh" "$scenario" "$out/$name.trace.csv"
    show_trace "$out/$name.trace.csv" "$name"
}

live() {
    echo "--- building the service"
    build release
    kept=$(mktemp -d "$out/.live-XXXXXX")
    trap 'rm -rf "$kept"' EXIT
    run_tool live "$root/build/release" "$kept"
    echo
    take_turn run
    mv "$kept"/* "$out"
    show_trace "$out/service.trace.csv" service
}

case ${1-} in
--replay)
    [ $# -le 2 ] || wrong_usage "one scenario is replayed at a time"
    refuse_option "${2-}"
    ;;
*) [ $# -eq 0 ] || wrong_usage "nothing can be given but --replay" ;;
esac
install_packages "${build_packages[@]}" python3 gnuplot-nox "${npm_packages[@]}"
mkdir -p "$out"
if [ $# -gt 0 ]; then
    replay "${@:2}"
else
    live
fi
