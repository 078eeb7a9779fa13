#!/usr/bin/env bash
# usage: scripts/mutate.sh [--part I/N] [--changed | FOLDER|FILE...]
#
# Plants one fault at a time in the product's code, runs the native unit tests that reach it, and tells which faults
# none of them sees. Those that are known stand in tests/survivors.txt. Without a folder or file: everything. Everything
# made lies below build/mutate and build/native, or build/PRESET where KELVANE_NATIVE is the name of another native
# preset.
#
#   --changed    only files that differ from the main branch, for at most 60 seconds
#   --part I/N   of the faults the Ith of N parts, always the same
#
# Exit codes: 0 no surprise, 1 an unknown survivor or a wrong entry in the list, 2 wrong usage, 130 Ctrl-C.
#
# Example: scripts/mutate.sh controller/tiers.cpp framework
set -euo pipefail
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"
export KELVANE_STRICT=ON

check_part() {
    [[ $1 =~ ^[1-9][0-9]{0,5}/[1-9][0-9]{0,5}$ ]] || wrong_usage "no part: $1"
    ((${1%/*} <= ${1#*/})) || wrong_usage "no part: $1"
}

# What can be told of the arguments without a tool; which files are the product's, tools/mutate knows.
check_arguments() {
    local changed='' names=0
    while [ $# -gt 0 ]; do
        case $1 in
        --changed) changed=1 ;;
        --part)
            check_part "${2:-}"
            shift
            ;;
        --part=*) check_part "${1#*=}" ;;
        *)
            refuse_option "$1"
            [ -e "$1" ] || [ -e "$root/$1" ] || wrong_usage "neither a folder nor a file of the product: $1"
            names=$((names + 1))
            ;;
        esac
        shift
    done
    [ -z "$changed" ] || [ $names -eq 0 ] || wrong_usage "--changed names its files itself"
}

check_arguments "$@"
install_packages git "${native_packages[@]}" "${mutate_packages[@]}"
answer=$(run_tool mutate.answer "$@") || exit
if [ -n "$answer" ]; then
    echo "$answer"
    exit
fi
take_turn mutate
build "${KELVANE_NATIVE:-native}"
run_tool mutate "$@"
