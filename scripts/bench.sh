#!/usr/bin/env bash
# usage: scripts/bench.sh [--native]
#
# What the service takes: counts, ratios, times (docs/cost.md, which keeps the last table).
#
# --native: counts on Linux and the replay's speed alone, printed and not kept. Needs no particular machine, but a quiet
# one for the times. Ctrl-C ends everything.
#
# Example: scripts/bench.sh --native
set -eu
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"

[ $# -eq 0 ] || [ "$*" = --native ] || wrong_usage "nothing can be given but --native"
install_packages "${build_packages[@]}" cmake g++ ninja-build python3 valgrind
take_turn bench
build release
build native-bench
run_tool bench "$@"
