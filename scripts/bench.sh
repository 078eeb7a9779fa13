#!/usr/bin/env bash
# bench.sh [--native]: what the service takes: counts, ratios, times (docs/cost.md, which keeps the last table).
#
# --native: counts on Linux and the replay's speed alone, printed and not kept. Needs no particular machine, but a quiet
# one for the times. Ctrl-C ends everything.
set -eu
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"

usage() {
    echo "usage: scripts/bench.sh [--native]" >&2
    exit 2
}

[ $# -eq 0 ] || [ "$*" = --native ] || usage
install_packages "${build_packages[@]}" cmake g++ ninja-build python3 valgrind
take_turn bench
build release
build native-bench
run_tool bench "$@"
