# Shared by the project's scripts: where things lie, what they need, what they have in common. To be sourced by bash.
# shellcheck shell=bash disable=SC2034

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

build_packages=(g++-mingw-w64-x86-64-posix cmake libcli11-dev ninja-build nlohmann-json3-dev wine64)
package_packages=(git msitools python3 uuid-runtime wixl)
sign_packages=(openssl osslsigncode)
native_packages=(clang cmake g++ googletest libclang-rt-dev ninja-build python3-pytest)
mutate_packages=(libclang1 python3-clang)
# What runs in several threads, and is worth the thread sanitizer's time.
thread_targets=(engine_tests log_tests stress_tests)

# The comment at a command's head is its help, and the first paragraph of that its usage.
show_help() { sed -n '2,${/^#/!q;s/^# \{0,1\}//p}' "$0"; }

# answer_help ARGUMENT...: shows the help, and ends, when one of the arguments asks for it.
answer_help() {
    local argument
    for argument in "$@"; do
        [[ $argument != -h && $argument != --help ]] || {
            show_help
            exit 0
        }
    done
}

# wrong_usage SENTENCE: says it with the usage, and ends.
wrong_usage() {
    echo "$1"
    show_help | sed '/^$/,$d'
    exit 2
} >&2

# refuse_line_feed NAME: ends the script for a file name that takes more than one line, as the Python tools do.
refuse_line_feed() {
    [[ $1 == *$'\n'* ]] || return 0
    printf 'a file name with a line feed in it is not taken: %q\n' "$1" >&2
    exit 2
}

# refuse_option ARGUMENT: when it looks like an option, and there is no such file.
refuse_option() {
    [[ $1 != -* ]] || [ -e "$1" ] || wrong_usage "there is no option $1"
}

# check_ctest_arguments ARGUMENT...: those of ctest that choose tests, and say how they run.
check_ctest_arguments() {
    while [ $# -gt 0 ]; do
        case $1 in
        -E | --exclude-regex | -L | --label-regex | -LE | --label-exclude | -R | --tests-regex | -I | \
            --tests-information | -j | --parallel | --repeat | --timeout)
            [ $# -gt 1 ] || wrong_usage "$1 needs a value"
            shift
            ;;
        -j[0-9]* | -F | -N | -Q | -V | -VV | --extra-verbose | --output-on-failure | --progress | --quiet | \
            --rerun-failed | --schedule-random | --show-only | --stop-on-failure | --verbose) ;;
        -*) wrong_usage "there is no option $1" ;;
        *) wrong_usage "some of the tests are chosen by -R PATTERN, not by $1 alone" ;;
        esac
        shift
    done
}

# What npm needs, unless the machine has it, in whichever form.
npm_packages=(nodejs npm)
! command -v npm >/dev/null || npm_packages=()

# take_lock FD WHAT: locks the file that FD has open, until nobody has it open any more; others wait, and say so once.
take_lock() {
    flock -w "${KELVANE_PATIENCE_S:-5}" "$1" && return  # seconds, in which most others have finished
    echo "waiting for another command: $2" >&2
    flock "$1"
}

# take_turn NAME: of the commands that call this, one at a time goes on; to its end, for they share files below build/.
take_turn() {
    mkdir -p "$root/build"
    exec 7>"$root/build/$1.turn.lock"
    take_lock 7 "${0##*/}" || exit
}

# --- interruptions ----------------------------------------------------------------------------------------------------

# A command of scripts/ runs as a child of itself (the end of this file), and its parent waits for a signal. When one
# comes, to both or to the parent alone, the parent ends everything that the command has started, wherever that may have
# got to: all of it has KELVANE_COMMAND in its environment, with the parent's process id in it.
run_interruptibly() {
    local script code=0
    trap end_command INT TERM HUP
    [ -e /proc/self/fd/0 ] || exec </dev/null
    env --default-signal=INT,QUIT KELVANE_COMMAND="${KELVANE_COMMAND:-}/$$/" setpriv --pdeathsig KILL \
        "$BASH" "$0" "$@" <&0 &
    script=$!
    wait $script || code=$?
    exit $code
}

processes_of_command() {
    grep -lszE "^KELVANE_COMMAND=.*/$$/" /proc/[0-9]*/environ | cut -d / -f 3
}

# Shells end by themselves when what they wait for has ended, and may be waiting for packages that are being installed.
processes_but_shells() {
    local id
    for id in $(processes_of_command); do
        grep -qs '^bash$' "/proc/$id/comm" || echo "$id"
    done
}

end_command() {
    local tries=40
    trap '' INT TERM HUP
    [ -n "${KELVANE_COMMAND:-}" ] || echo "interrupted" >&2
    # shellcheck disable=SC2046
    kill -TERM $(processes_of_command) 2>/dev/null || true
    while [ -n "$(processes_of_command)" ]; do
        sleep 0.1
        tries=$((tries - 1))
        # shellcheck disable=SC2046
        [ $tries -gt 0 ] || kill -KILL $(processes_but_shells) 2>/dev/null || true
    done
    exit 130
}

# --- packages, builds, tools ------------------------------------------------------------------------------------------

# Installs those of the named Debian packages that this machine lacks.
install_packages() {
    [ -n "$(missing_packages "$@")" ] || return 0
    mkdir -p "$root/build"
    (take_lock 8 "the installation of packages" && install_missing_packages "$@") 8>"$root/build/packages.lock"
}

missing_packages() {
    local package
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' || echo "$package"
    done
}

install_missing_packages() {
    local missing as_root=() by_hand
    mapfile -t missing < <(missing_packages "$@")
    [ ${#missing[@]} -eq 0 ] && return
    by_hand="apt-get update && apt-get install --no-install-recommends ${missing[*]}"
    if ! is_known_debian; then
        echo "Only Debian 12 and 13 are known here, and this system is neither. It lacks what these Debian packages" \
            "hold: ${missing[*]}" >&2
        return 1
    fi
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "Packages are missing, and there is no sudo. As root: $by_hand" >&2
            return 1
        fi
        as_root=(sudo)
    fi
    echo "installing ${missing[*]}" >&2
    (
        trap '' INT TERM HUP  # an installation that is broken off leaves the system's packages in disorder
        unset KELVANE_COMMAND
        exec 8>&-
        "${as_root[@]}" apt-get update -qq >&2 && "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
            apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
    ) && return
    echo "Packages are missing, and installing them failed. As root: $by_hand" >&2
    return 1
}

is_known_debian() {
    local ID='' VERSION_ID=''
    # shellcheck source=/dev/null
    [ -f /etc/os-release ] && source /etc/os-release
    [ "$ID" = debian ] && { [ "$VERSION_ID" = 12 ] || [ "$VERSION_ID" = 13 ]; }
}

# build PRESET [TARGET...]: configures once and builds what is missing, one command at a time; says nothing unless it
# fails or waits. Warnings are errors where KELVANE_STRICT is ON, as our own checks set it.
build() {
    mkdir -p "$root/build"
    (take_lock 8 "the build of $1" && build_alone "$@") 8>"$root/build/$1.lock"
}

build_alone() {
    local preset=$1 log strict=CMAKE_COMPILE_WARNING_AS_ERROR=${KELVANE_STRICT:-OFF}
    shift
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
# folder, and nothing is written beside the sources. It ends with the script, however that ends; Ctrl-C
# would be a traceback until the tool is ready for it, and reaches it as the script's own TERM.
run_tool() {
    PYTHONPATH=$root env --ignore-signal=INT setpriv --pdeathsig TERM /usr/bin/python3 -P -B -m tools "$@"
}

# test_preset PRESET [CTEST ARGUMENT...]: runs its tests, while no other command builds or tests it; one that is skipped
# has not passed. Those for which Wine did not even start a program are run once more, when there are no other failures;
# without Wine nothing is. A program of unit tests is one test to ctest: it gets ctest's pattern, and runs those of its
# tests that have it in their names.
test_preset() {
    (take_lock 8 "the tests of $1" && test_alone "$@") 8>"$root/build/$1.lock"
}

test_alone() {
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

# make_whole PLACE COMMAND [ARGUMENT...]: runs the command with one more argument, a file beside the place, which takes
# the place when the command has succeeded; else nothing is left of it.
make_whole() (
    place=$1
    new=$(dirname -- "$place")/.kelvane-$BASHPID.new
    trap 'rm -f -- "$new"' EXIT
    trap 'exit 130' INT TERM HUP
    shift
    "$@" "$new" && mv -fT -- "$new" "$place"
)

if [ "${BASH_SOURCE[1]:-}" = "$0" ]; then
    answer_help "$@"
    [[ ${KELVANE_COMMAND:-} == */$PPID/ ]] || run_interruptibly "$@"
    trap 'exit 130' INT TERM HUP
fi
