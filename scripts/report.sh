#!/usr/bin/env bash
# usage: scripts/report.sh [-o PAGE.html] TRACE.csv [TRACE2.csv]
#        scripts/report.sh [-o PAGE.html] LOG
#
# One page that shows a trace, compares two, or explains a diagnostic log of the service (docs/report.md). LOG may be a
# folder with the log in it.
#
# Prints the page's path, build/run/NAME.html by default. Exit codes: 0 made, 1 the plotting library cannot be had,
# 2 wrong usage, 3 malformed trace or log, 4 page not writable.
#
# Example: scripts/report.sh -o change.html before.trace.csv after.trace.csv
#          scripts/report.sh -o field.html KelvanneApp.log
set -eu
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"
sources=$root/tools/report
home=$root/build/report
library=$home/node_modules/echarts/dist/echarts.min.js

check_arguments() {
    local page='' trace traces=()
    while [ $# -gt 0 ]; do
        case $1 in
        -o)
            page=${2:-}
            [ -n "$page" ] || wrong_usage "-o needs a page"
            shift
            ;;
        *)
            refuse_option "$1"
            traces+=("$1")
            ;;
        esac
        shift
    done
    [ ${#traces[@]} -eq 1 ] || [ ${#traces[@]} -eq 2 ] || wrong_usage "one trace is needed, or two, or a log"
    for trace in "${traces[@]}"; do
        ! [ "$page" -ef "$trace" ] || wrong_usage "the page would overwrite a trace"
    done
}

check_arguments "$@"

has_library() { [ -f "$library" ] && cmp -s "$sources/package-lock.json" "$home/installed"; }

# The plotting library, by the lock file's versions; anew when they change. Two reports may be made at the same time.
install_library() {
    mkdir -p "$home"
    exec 9>"$home/lock"
    flock 9
    has_library && return
    cp "$sources/package.json" "$sources/package-lock.json" "$sources/.npmrc" "$home"
    if ! npm --prefix "$home" --cache "$home/cache" ci >"$home/npm.log" 2>&1; then
        cat "$home/npm.log" >&2
        return 1
    fi
    cp "$sources/package-lock.json" "$home/installed"
}

if has_library; then npm_packages=(); fi
(install_packages python3 "${npm_packages[@]}" && install_library) || {
    echo "the plotting library cannot be installed" >&2
    exit 1
}
run_tool report --folder "$root/build/run" --library "$library" "$@"
