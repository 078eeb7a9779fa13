#!/usr/bin/env bash
# mutate.sh [--part I/N] [--changed | FOLDER|FILE...]: plants faults in the product's code, one at a time, and tells
# which no native unit test sees. Everything made lies below build/mutate and build/native, or build/PRESET where
# KELVANE_NATIVE is the name of another native preset.
set -euo pipefail
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"
export KELVANE_STRICT=ON

answer=$(run_tool mutate.answer "$@") || exit
if [ -n "$answer" ]; then
    echo "$answer"
    exit
fi
install_packages "${native_packages[@]}" "${mutate_packages[@]}"
take_turn mutate
build "${KELVANE_NATIVE:-native}"
run_tool mutate "$@"
