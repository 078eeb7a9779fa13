#!/bin/bash
# wine-prefix.sh PREFIX: makes a Wine prefix, a clone of the template build/wine-template, which the first call makes.
#
# Each is whole or not there: made beside its place and renamed. Nothing runs in either afterwards. A clone shares its
# files with the template, as copies of the file system where it has them, else by hard links; the registry's files,
# which a server rewrites in place, are copies. On a busy machine Wine does not always come up, so that is tried again.
set -eu
template=$(cd "$(dirname "$0")/.." && pwd)/build/wine-template
growing=$template.new
export WINEDEBUG=-all WINEDLLOVERRIDES='mscoree=;mshtml=' LC_ALL=C.UTF-8

end_growing() {
    [ ! -d "$growing" ] || WINEPREFIX=$growing /usr/lib/wine/wineserver -k || true
    rm -rf "$growing"
}

boot_growing() {
    mkdir "$growing"
    WINEPREFIX=$growing /usr/lib/wine/wineserver -p60 && WINEPREFIX=$growing /usr/lib/wine/wine64 wineboot &&
        WINEPREFIX=$growing /usr/lib/wine/wineserver -k && [ -s "$growing/system.reg" ]
}

make_template() {
    trap end_growing EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM
    for _ in 1 2 3; do
        end_growing
        if boot_growing; then
            mv -T "$growing" "$template"
            return
        fi
    done
    return 1
}

clone_template() {
    local made=$1.new same=(cp -al)
    rm -rf "$made"
    mkdir "$made"
    if cp --reflink=always "$template/system.reg" "$made" 2>/dev/null; then same=(cp -a --reflink=always); fi
    "${same[@]}" "$template/drive_c" "$made"
    cp -a "$template/dosdevices" "$template/.update-timestamp" "$template"/*.reg "$made"
    mv -T "$made" "$1"
}

mkdir -p "${template%/*}"
(
    flock 9
    [ -d "$template" ] || make_template 9>&- >"$template.log" 2>&1
) 9>"$template.lock" </dev/null || {
    echo "Wine does not start: see build/wine-template.log" >&2
    exit 1
}
clone_template "$1"
