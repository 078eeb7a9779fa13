#!/bin/sh
# Runs a Windows program under Wine, in the prefix build/wine, which all who call this share.
#
# The first program of a prefix starts Wine's background processes, which inherit its standard streams; a reader of such
# a pipe (ctest, ninja) would then wait for ever. So the prefix is made, and its server started, with every stream
# closed off, under a lock that lets parallel first starts queue up. In a prefix that was there before, wineboot may end
# before those processes are up; the program behind it starts them then. The server ends by itself, ten seconds after
# the last program.
root=$(cd "$(dirname "$0")/.." && pwd)
export WINEPREFIX="$root/build/wine" WINEDEBUG="${WINEDEBUG--all}"
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES-mscoree=;mshtml=}" LC_ALL=C.UTF-8
exec 7>&- 8>&-  # the locks of scripts/common.sh, which the server must not keep
mkdir -p "$root/build"

(
  unset KELVANE_COMMAND  # the server is no part of the command (scripts/common.sh) that happens to be the first
  flock 9
  [ -d "$WINEPREFIX" ] || "$root/cmake/wine-prefix.sh" "$WINEPREFIX" 9>&- || exit 1
  exec >/dev/null 2>&1
  if /usr/lib/wine/wineserver -p10 9>&-; then
    /usr/lib/wine/wine64 wineboot 9>&-
    /usr/lib/wine/wine64 cmd /c exit 9>&-
  fi
) 9>"$WINEPREFIX.lock" </dev/null || exit 1
exec /usr/lib/wine/wine64 "$@"
