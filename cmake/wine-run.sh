#!/bin/sh
# Runs a Windows program under Wine, in the prefix build/wine, which all who call this share.
root=$(cd "$(dirname "$0")/.." && pwd)
export WINEPREFIX="$root/build/wine" WINEDEBUG="${WINEDEBUG--all}"
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES-mscoree=;mshtml=}" LC_ALL=C.UTF-8
exec 7>&- 8>&-  # the locks of scripts/common.sh, which the server must not keep
mkdir -p "$root/build"
setsid --wait "$root/cmake/wine-boot.sh" || exit 1
exec /usr/lib/wine/wine64 "$@"
