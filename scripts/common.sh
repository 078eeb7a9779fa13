# Shared by the project's scripts: where things lie, what they need, how Wine is ended. To be sourced by bash.
# shellcheck shell=bash disable=SC2034

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export WINEPREFIX="${WINEPREFIX:-$root/build/wine}"

build_packages=(g++-mingw-w64-x86-64-posix cmake ninja-build wine64)
package_packages=(git msitools python3 uuid-runtime wixl)
sign_packages=(openssl osslsigncode)
native_packages=(clang cmake g++ googletest libclang-rt-dev ninja-build python3-pytest)
mutate_packages=(libclang1 python3-clang)
# What runs in several threads, and is worth the thread sanitizer's time.
thread_targets=(engine_tests log_tests stress_tests)

# Installs those of the named Debian packages that this machine lacks.
install_packages() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    if ! is_known_debian; then
        echo "Only Debian 12 and 13 are known here, and this system is neither. It lacks what these Debian packages" \
            "hold: ${missing[*]}" >&2
        return 1
    fi
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "Packages are missing, and there is no sudo. As root: apt-get install ${missing[*]}" >&2
            return 1
        fi
        as_root=(sudo)
    fi
    echo "installing ${missing[*]}" >&2
    "${as_root[@]}" apt-get update -qq >&2
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
}

is_known_debian() {
    local ID='' VERSION_ID=''
    # shellcheck source=/dev/null
    [ -f /etc/os-release ] && source /etc/os-release
    [ "$ID" = debian ] && { [ "$VERSION_ID" = 12 ] || [ "$VERSION_ID" = 13 ]; }
}

# npm, in which form ever the machine has it.
install_npm() {
    command -v npm >/dev/null || install_packages nodejs npm
}

# refuse_line_feed NAME: ends the script for a file name that takes more than one line, as the Python tools do.
refuse_line_feed() {
    [[ $1 == *$'\n'* ]] || return 0
    printf 'a file name with a line feed in it is not taken: %q\n' "$1" >&2
    exit 2
}

# build PRESET [TARGET...]: configures once and builds what is missing; says nothing unless it fails. Warnings are
# errors where KELVANE_STRICT is ON, as our own checks set it.
build() {
    local preset=$1 log strict=CMAKE_COMPILE_WARNING_AS_ERROR=${KELVANE_STRICT:-OFF}
    shift
    mkdir -p "$root/build"
    log="$root/build/$preset.log"
    if ! (cd "$root" &&
        { [ -f "build/$preset/build.ninja" ] && grep -qs "${strict/=/:.*=}" "build/$preset/CMakeCache.txt" ||
            cmake --preset "$preset" "-D$strict"; } &&
        cmake --build --preset "$preset" ${1:+--target "$@"}) >"$log" 2>&1; then
        cat "$log" >&2
        echo "the $preset build failed" >&2
        return 1
    fi
}

# run_tool NAME [ARGUMENT...]: the package or module of that name in tools/. No module is looked for in the current
# folder, and nothing is written beside the sources.
run_tool() {
    PYTHONPATH=$root /usr/bin/python3 -P -B -m "tools.$1" "${@:2}"
}

# test_preset PRESET [CTEST ARGUMENT...]: runs its tests; one that is skipped has not passed. Those for which Wine did
# not even start a program are run once more, when there are no other failures; without Wine nothing is. A program of
# unit tests is one test to ctest: it gets ctest's pattern, and runs those of its tests that have it in their names.
test_preset() {
    local preset=$1 report=$root/build/$1/ctest.log option previous='' pattern=''
    shift
    for option in "$@"; do
        [[ $previous =~ ^(-R|--tests-regex)$ ]] && pattern=$option
        previous=$option
    done
    if [ -n "$pattern" ]; then
        local -x KELVANE_TESTS=$pattern
        set -- "$@" -R "($pattern)|_tests\$"  # the last one holds
    fi
    if ! (cd "$root" && ctest --preset "$preset" --parallel 4 "$@") 2>&1 | tee "$report"; then
        [ "$preset" = debug ] || return 1
        run_tool checks.silent_failures "$root/build/$preset/Testing" || return 1
        (cd "$root" && ctest --preset "$preset" --rerun-failed) 2>&1 | tee -a "$report" || return 1
    fi
    if grep -E '\*\*\*(Skipped|Not Run)|\(Disabled\)' "$report"; then
        echo "a test that is skipped does not pass" >&2
        return 1
    fi
}

# part NAME COMMAND...: runs a part of a long command, and remembers for show_parts how long it took.
parts=()
part() {
    local name=$1 begin=$SECONDS result=0
    shift
    "$@" || result=$?
    parts+=("$(printf '%6d s  %s' $((SECONDS - begin)) "$name")")
    return $result
}

show_parts() {
    printf '%s\n' "${parts[@]}"
    printf '%6d s  in all\n' $SECONDS
}

# Ends the Wine server of the project's own prefix, and with it every program in there; unless KELVANE_KEEP_WINE says
# that others are at work in it.
stop_wine() {
    [ -n "${KELVANE_KEEP_WINE:-}" ] || [ ! -d "$WINEPREFIX" ] || /usr/lib/wine/wineserver -k >/dev/null 2>&1 || true
}

run_windows_program() {
    "$root/cmake/wine-run.sh" "$@"
}
