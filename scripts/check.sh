#!/usr/bin/env bash
# usage: scripts/check.sh
#
# What runs before each commit: the unit tests on Linux itself, the format, the rules of the tree, and planted faults in
# the product's files that are changed. Three minutes from a clean clone, seconds after an edit. scripts/test.sh runs
# everything.
#
# Example: scripts/check.sh && git commit
set -euo pipefail
# shellcheck source=common.sh
source "$(dirname "$0")/common.sh"
export KELVANE_STRICT=ON

[ $# -eq 0 ] || wrong_usage "nothing can be chosen here"
install_packages "${native_packages[@]}" "${mutate_packages[@]}" clang-format python3-pytest shellcheck
cd "$root"
part "build" build native

failed=()
part "unit tests" test_preset native --quiet || failed+=("unit tests")
part "format and rules" /usr/bin/python3 -B -m pytest -p no:cacheprovider -q tests/rules/test_tree.py ||
    failed+=("rules")
part "planted faults" scripts/mutate.sh --changed || failed+=("planted faults")
show_parts
[ ${#failed[@]} -eq 0 ] || {
    printf 'failed:'
    printf ' %s' "${failed[@]}"
    echo
    exit 1
} >&2
