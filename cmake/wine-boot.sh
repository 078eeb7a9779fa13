#!/bin/sh
# Starts the server of the prefix build/wine, which all programs share (wine-run.sh), unless it runs; makes the prefix
# if need be. Callers queue up.
#
# A session of its own keeps the interruption of one command away from it: a boot that is broken off would leave a
# server at which every later program waits for minutes. What is broken off all the same is known by its missing mark.
# The first program starts Wine's background processes, which inherit its standard streams; a reader of such a pipe
# (ctest, ninja) would then wait for ever. So every stream is closed off. In a prefix that was there before, wineboot
# may end before those processes are up; the program behind it starts them then. The server ends by itself, ten seconds
# after the last program.
root=$(cd "$(dirname "$0")/.." && pwd)
booted=$WINEPREFIX.booted
unset KELVANE_COMMAND  # the server is no part of the command (scripts/common.sh) that happens to be the first

start_server() { /usr/lib/wine/wineserver -p10 9>&-; }

(
  flock 9
  [ -d "$WINEPREFIX" ] || "$root/cmake/wine-prefix.sh" "$WINEPREFIX" 9>&- || exit 1
  exec >/dev/null 2>&1
  if start_server; then
    rm -f "$booted"
  elif [ ! -e "$booted" ]; then
    /usr/lib/wine/wineserver -k
    start_server
  fi
  if [ ! -e "$booted" ]; then
    /usr/lib/wine/wine64 wineboot 9>&-
    /usr/lib/wine/wine64 cmd /c exit 9>&-
    touch "$booted"
  fi
) 9>"$WINEPREFIX.lock" </dev/null
