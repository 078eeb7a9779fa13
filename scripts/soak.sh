#!/usr/bin/env bash
# usage: scripts/soak.sh [MINUTES]
#        scripts/soak.sh --year [DAYS]
#        scripts/soak.sh --fuzz [MINUTES]
#
# The installed service under Wine, driven hard for an hour or as long as said, and watched for growth. --year: a year,
# or so many days, through the scaling loop in virtual time. --fuzz: the fuzz targets, an hour in all or as long as
# said.
#
# Each prints a table; the exit code is 0 when nothing grew, died or stood still. Ctrl-C ends everything.
#
# Example: scripts/soak.sh 5
set -eu
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"

kind=service default=60
case ${1:-} in
--year) kind=year default=365 ;;
--fuzz) kind=fuzz ;;
esac
[ "$kind" = service ] || shift
length=${1-$default}
[ $# -le 1 ] || wrong_usage "one length is enough"
[[ $length =~ ^[1-9][0-9]{0,5}$ ]] || wrong_usage "not a length: $length"

if [ "$kind" = fuzz ]; then
    targets=("$root"/tests/fuzz/*_fuzz.cpp)
    exec "$root/scripts/fuzz.sh" $((length * 60 / ${#targets[@]}))
fi
install_packages "${build_packages[@]}" python3
build release
if [ "$kind" = year ]; then
    take_turn soak-year
    run_tool soak.year "$length" "$root/build/soak" \
        "$root/cmake/wine-run.sh" "$root/build/release/kelvane-replay.exe"
else
    run_tool soak.service "$length" "$root/build/soak" "$root/build/release"
fi
