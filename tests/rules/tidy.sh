#!/usr/bin/env bash
# tidy.sh: runs clang-tidy over the product and the simulator; any finding fails. Reads build/release's list of
# commands.
set -eu
# shellcheck source=../../scripts/common.sh
source "$(dirname "$0")/../../scripts/common.sh"
gcc=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-libgcc-file-name)")
log=$root/build/tidy.log
if ! run-clang-tidy -quiet -p "$root/build/release" \
    -extra-arg-before=--target=x86_64-w64-mingw32 \
    -extra-arg="-isystem$gcc/include/c++" \
    -extra-arg="-isystem$gcc/include/c++/x86_64-w64-mingw32" \
    -extra-arg=-isystem/usr/x86_64-w64-mingw32/include \
    -extra-arg=-Wno-unknown-warning-option '\.cpp$' >"$log" 2>&1; then
    grep -vE '^clang-tidy|warnings generated|^Suppressed|^Use -header' "$log" >&2
    exit 1
fi
