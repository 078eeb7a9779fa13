"""What is written for a user is there as a whole or not at all, and an older one stays: disks that are full, kills."""

import contextlib
import re
import resource
import signal
import subprocess
import time

import pytest
from conftest import BUILD, HEADER, REPLAY, ROOT, run_command

from tools.shared.new_file import NotWritable, new_file, write_whole

OLD = "what was there before\n"
REPLAYED = HEADER + "0,power_mw,2000\n3600000,stop,service\n"  # a trace of a few MB
ENDLESS = HEADER + "0,power_mw,2000\n31536000000,stop,service\n"
NATIVE = BUILD.parent / "native-asan/kelvane-replay"
SMALL_BYTES = 64 * 1024


def names_in(folder):
    return sorted(path.name for path in folder.iterdir())


@contextlib.contextmanager
def no_more_than(size):
    """Files of this process get no larger. Python has the signal of that ignored."""
    before = resource.getrlimit(resource.RLIMIT_FSIZE)
    resource.setrlimit(resource.RLIMIT_FSIZE, (size, before[1]))
    try:
        yield
    finally:
        resource.setrlimit(resource.RLIMIT_FSIZE, before)


# --- the two ways to write a file -------------------------------------------------------------------------------------

def test_a_new_file_takes_its_place_when_it_is_whole(tmp_path):
    place = tmp_path / "page.html"
    place.write_text(OLD)

    with new_file(place) as file:
        file.write("new")
        assert place.read_text() == OLD

    assert place.read_text() == "new"
    assert names_in(tmp_path) == ["page.html"]


@pytest.mark.parametrize("end", [KeyboardInterrupt, SystemExit, ValueError])
def test_what_ends_the_writing_leaves_what_was_there(tmp_path, end):
    place = tmp_path / "page.html"
    place.write_text(OLD)

    with pytest.raises(end), new_file(place) as file:
        file.write("half")
        raise end

    assert place.read_text() == OLD
    assert names_in(tmp_path) == ["page.html"]


def test_a_full_disk_is_told_with_the_file(tmp_path):
    place = tmp_path / "page.html"
    place.write_text(OLD)

    with pytest.raises(NotWritable) as told, no_more_than(SMALL_BYTES):
        write_whole(place, "x" * 2 * SMALL_BYTES)

    assert str(told.value) == f"{place}: cannot be written: File too large"
    assert place.read_text() == OLD
    assert names_in(tmp_path) == ["page.html"]


def test_a_link_stays_one_and_a_device_is_written_directly(tmp_path):
    (tmp_path / "to").mkdir()
    (tmp_path / "link").symlink_to(tmp_path / "to/file")

    write_whole(tmp_path / "link", "new")
    write_whole("/dev/null", "gone")

    assert (tmp_path / "link").is_symlink() and (tmp_path / "to/file").read_text() == "new"
    assert names_in(tmp_path / "to") == ["file"]
    with pytest.raises(NotWritable, match="^/dev/full: cannot be written: No space left on device$"):
        write_whole("/dev/full", "new")


MAKE_WHOLE = 'source "$0"; make_whole "$1" "${@:2}"'


@pytest.mark.parametrize("command, code, left", [
    (["cp", "/proc/self/status"], 0, None), (["bash", "-c", 'echo half >"$0"; exit 4'], 4, OLD),
    (["bash", "-c", 'echo half >"$0"; kill -TERM $PPID $$'], 130, OLD)])
def test_the_shell_makes_a_file_as_a_whole(tmp_path, command, code, left):
    (tmp_path / "a page").write_text(OLD)

    done = run_command("bash", "-c", MAKE_WHOLE, ROOT / "scripts/common.sh", tmp_path / "a page", *command)

    assert done.returncode == code
    assert names_in(tmp_path) == ["a page"]
    assert ((tmp_path / "a page").read_text() == OLD) == (left == OLD)


# --- full disks -------------------------------------------------------------------------------------------------------

def can_mount():
    return run_command("unshare", "-rm", "mount", "-t", "tmpfs", "-o", "size=64k", "none", "/mnt").returncode == 0


@pytest.fixture(name="on_small_disk", scope="module")
def choose_small_disk():
    """Runs words in a folder that holds 64 KiB and the file `old`; the code, what was said, and what lies there then.

    Where no file system can be mounted, a limit on the size of files stands in.
    """
    mounted = can_mount()

    def run(folder, *words):
        make = f"mount -t tmpfs -o size={SMALL_BYTES} none ." if mounted else f"ulimit -f {SMALL_BYTES // 1024}"
        script = f'cd "$0" && {make} && cd "$0" && printf "%s" "$1" >old && "${{@:2}}"; ' \
                 'echo "code $?" >&2; ls -A; cat old'
        words = ["bash", "-c", script, folder, OLD, *words]
        done = run_command(*(["unshare", "-rm", *words] if mounted else words), timeout=120)
        said, code = re.fullmatch(r"(.*?)code (\d+)\n", done.stderr, re.S).groups()
        reason = "No space left on device" if mounted else "File too large"
        assert reason in said, said
        return int(code), said.splitlines(), done.stdout

    return run


def test_replay_on_a_full_disk(tmp_path, on_small_disk):
    scenario = tmp_path / "scenario.csv"
    scenario.write_text(REPLAYED)
    (tmp_path / "disk").mkdir()

    code, said, left = on_small_disk(tmp_path / "disk", NATIVE, scenario, "old")

    assert (code, len(said)) == (4, 1)
    assert said[0].startswith("old: the trace cannot be written: ")
    assert left == "old\n" + OLD


def tool(*words):
    return ["bash", "-c", 'source "$0" && run_tool "$@"', ROOT / "scripts/common.sh", *words]


@pytest.fixture(name="long_trace", scope="module")
def trace_of_a_long_scenario(tmp_path_factory):
    folder = tmp_path_factory.mktemp("long")
    (folder / "scenario.csv").write_text(REPLAYED)
    assert run_command(NATIVE, folder / "scenario.csv", folder / "trace.csv").returncode == 0
    return folder / "trace.csv"


def test_report_on_a_full_disk(tmp_path, on_small_disk, long_trace):
    (tmp_path / "library.js").write_text("// a library\n")

    code, said, left = on_small_disk(tmp_path, *tool(
        "report", "--folder", ".", "--library", ROOT / "tools/report/timeline.js", "-o", "old", long_trace))

    assert (code, len(said)) == (4, 1)
    assert said[0].startswith("old: cannot be written: ")
    assert "old\n" + OLD in left and ".kelvane" not in left


def test_summary_on_a_full_disk(tmp_path, on_small_disk):
    trace = tmp_path / "trace.csv"
    rows = "".join(f"{step * 1000},sleep,,1000,\n{step * 1000},primitive,SET_PERF_PREFERENCE_MAX,{step % 9},0\n"
                   for step in range(20000))
    trace.write_text("time_ms,kind,name,value,status\n" + rows)
    (tmp_path / "disk").mkdir()

    code, said, left = on_small_disk(tmp_path / "disk", *tool("trace.summarize", trace, "old"))

    assert code == 4
    assert said[-1].startswith("old: cannot be written: ")
    assert left.endswith("old\n" + OLD) and ".kelvane" not in left


def test_import_on_a_full_disk_takes_back_what_it_has_written(tmp_path, on_small_disk):
    log = tmp_path / "powerstat.txt"
    head = "  Time    User  Nice   Sys  Idle    IO  Run Ctxt/s  IRQ/s Fork Exec Exit  Watts\n"
    log.write_text(head + "".join(
        f"{hour:02}:{minute:02}:{second:02}   1.0   0.0   1.0  98.0   0.0    1    1    1    0    0    0   {second}.25\n"
        for hour in range(4) for minute in range(60) for second in range(60)))
    (tmp_path / "disk").mkdir()
    to_file = ["bash", "-c", '"$@" >>old', "import"]

    code, said, left = on_small_disk(tmp_path / "disk", *to_file, *tool("importer", log))

    assert code == 4
    assert said[-1].startswith("standard output: ")
    assert left == "old\n" + OLD


def test_package_on_a_full_disk(tmp_path, on_small_disk):
    code, said, left = on_small_disk(tmp_path, ROOT / "scripts/package.sh", "1.2.3.4", ".")

    assert code == 1
    assert said[-1] == f"{tmp_path}: there is no room for a package"
    assert left == "old\n" + OLD


# --- kills and interruptions of the replay program --------------------------------------------------------------------

@pytest.fixture(name="endless")
def endless_replay(tmp_path):
    (tmp_path / "scenario.csv").write_text(ENDLESS)
    (tmp_path / "trace.csv").write_text(OLD)
    return tmp_path


def end_replay(program, folder, number):
    """The exit code of a program that a signal came to when it had begun to write."""
    command = [*map(str, program), str(folder / "scenario.csv"), str(folder / "trace.csv")]
    with subprocess.Popen(command, stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, cwd=folder) as process:
        try:
            deadline = time.monotonic() + 60
            while len(names_in(folder)) < 3:
                assert time.monotonic() < deadline and process.poll() is None
                time.sleep(0.02)
            process.send_signal(number)
            return process.wait(10)
        finally:
            process.kill()


def wait_until(condition):
    """Wine's server sees a moment later than we that a program has ended."""
    deadline = time.monotonic() + 5
    while not condition() and time.monotonic() < deadline:
        time.sleep(0.02)
    return condition()


@pytest.mark.parametrize("number, codes", [
    (signal.SIGINT, {130}), (signal.SIGTERM, {130, 143, -signal.SIGTERM}), (signal.SIGKILL, {137, -signal.SIGKILL})])
def test_a_replay_that_is_ended_leaves_the_older_trace_and_nothing_else(endless, number, codes):
    assert end_replay(REPLAY, endless, number) in codes

    assert wait_until(lambda: names_in(endless) == ["scenario.csv", "trace.csv"])
    assert (endless / "trace.csv").read_text() == OLD


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_the_same_natively(endless, number):
    assert end_replay([NATIVE], endless, number) == 130
    assert names_in(endless) == ["scenario.csv", "trace.csv"]
    assert (endless / "trace.csv").read_text() == OLD


def test_two_replays_at_once_write_one_trace(tmp_path):
    """The last one's; each is whole."""
    scenario, trace = tmp_path / "scenario.csv", tmp_path / "trace.csv"
    scenario.write_text(REPLAYED)
    both = [subprocess.Popen([*REPLAY, scenario, trace], stdin=subprocess.DEVNULL) for _ in range(2)]

    assert [process.wait(60) for process in both] == [0, 0]
    assert trace.read_bytes().endswith(b"\n") and names_in(tmp_path) == ["scenario.csv", "trace.csv"]
