"""Commands of one checkout at the same time: none harms another, and none leaves harm behind when it is killed.

The checkouts here are small ones, made for the test, with the project's own scripts in them.
"""

import contextlib
import os
import shutil
import signal
import subprocess
import sys
import time

import pytest
from conftest import BUILD, ROOT

from tools.wine.prefix import end_prefix, processes_of
from tools.wine.service import ServiceUnderWine

WAIT_S = 60
SERVER_ENDS_S = 20  # ten seconds, and what a busy machine adds


@pytest.fixture(name="start")
def started_programs(tmp_path):
    """Starts programs, each in a process group of its own, all of which end with the test."""
    programs = []

    def call(*words):
        with open(tmp_path / f"{len(programs)}.err", "wb") as err:
            programs.append(subprocess.Popen([str(word) for word in words], stdin=subprocess.DEVNULL, stderr=err,
                                             stdout=subprocess.PIPE, text=True, process_group=0,
                                             env={**os.environ, "KELVANE_PATIENCE_S": "1"}))
        programs[-1].said = lambda: (tmp_path / err.name).read_text(encoding="utf-8")
        return programs[-1]
    yield call
    for program in programs:
        with contextlib.suppress(ProcessLookupError):
            os.killpg(program.pid, signal.SIGKILL)
        program.communicate(timeout=WAIT_S)


def wait_for(condition, what, timeout=WAIT_S):
    deadline = time.monotonic() + timeout
    while not condition():
        assert time.monotonic() < deadline, f"waited {timeout} s in vain for {what}"
        time.sleep(0.05)


def ends(program):
    """The exit code and what the program has printed."""
    out, _ = program.communicate(timeout=WAIT_S)
    return program.returncode, out


# --- builds -----------------------------------------------------------------------------------------------------------

LISTS = """
cmake_minimum_required(VERSION 3.25)
project(Small LANGUAGES NONE)
file(APPEND ${CMAKE_SOURCE_DIR}/done "configured ")
add_custom_command(OUTPUT made COMMAND mkdir ${CMAKE_SOURCE_DIR}/at-work && sleep 2 && rmdir ${CMAKE_SOURCE_DIR}/at-work
  && printf "built " >> ${CMAKE_SOURCE_DIR}/done && touch made)
add_custom_target(all_of_it ALL DEPENDS made)
"""
PRESETS = """{ "version": 3,
  "configurePresets": [ { "name": "small", "generator": "Ninja", "binaryDir": "${sourceDir}/build/${presetName}" } ],
  "buildPresets": [ { "name": "small", "configurePreset": "small" } ] }"""
WAITS = "waiting for another command: the build of small\n"


@pytest.fixture(name="checkout")
def checkout_with_one_preset(tmp_path):
    """Its one build takes two seconds, and fails when another is at work."""
    checkout = tmp_path / "a small checkout"
    (checkout / "scripts").mkdir(parents=True)
    shutil.copy(ROOT / "scripts/common.sh", checkout / "scripts")
    (checkout / "CMakeLists.txt").write_text(LISTS, encoding="ascii")
    (checkout / "CMakePresets.json").write_text(PRESETS, encoding="ascii")
    return checkout


def build(start, checkout):
    return start("bash", "-c", 'set -eu; source "$0/scripts/common.sh"; build small; echo built', checkout)


def test_of_two_first_builds_one_waits_and_says_so_once(checkout, start):
    first = build(start, checkout)
    wait_for((checkout / "at-work").exists, "the first build")
    second = build(start, checkout)

    assert (ends(first), ends(second)) == ((0, "built\n"), (0, "built\n"))
    assert (first.said(), second.said()) == ("", WAITS)
    assert (checkout / "done").read_text() == "configured built "


def test_who_waits_can_be_interrupted_and_goes_on_when_the_other_is_killed(checkout, start):
    killed = build(start, checkout)
    wait_for((checkout / "at-work").exists, "the first build")
    interrupted, patient = build(start, checkout), build(start, checkout)
    wait_for(lambda: interrupted.said() == patient.said() == WAITS, "the two that wait")

    os.killpg(interrupted.pid, signal.SIGINT)
    assert interrupted.wait(20) in (-signal.SIGINT, 128 + signal.SIGINT)
    os.killpg(killed.pid, signal.SIGKILL)
    (checkout / "at-work").rmdir()

    assert ends(patient) == (0, "built\n")


def test_commands_that_share_files_take_turns(checkout, start):
    turn = 'set -eu; source "$0/scripts/common.sh"; take_turn small; mkdir "$0/my"; echo begun; sleep 2; rmdir "$0/my"'
    first = start("bash", "-c", turn, checkout)
    assert first.stdout.readline() == "begun\n"
    second = start("bash", "-c", turn, checkout)

    assert (ends(first)[0], ends(second)) == (0, (0, "begun\n"))
    assert second.said() == "waiting for another command: a small checkout\n"


# --- Wine -------------------------------------------------------------------------------------------------------------

@pytest.fixture(name="wine", scope="module")
def checkout_without_prefixes(tmp_path_factory):
    """A checkout in which nothing has been run under Wine."""
    checkout = tmp_path_factory.mktemp("wine-checkout")
    (checkout / "cmake").mkdir()
    for script in ("wine-boot.sh", "wine-run.sh", "wine-prefix.sh"):
        shutil.copy(ROOT / "cmake" / script, checkout / "cmake")
    yield checkout
    for prefix in ("wine", "wine-template.new"):
        end_prefix(checkout / "build" / prefix)
    shutil.rmtree(checkout)


def echo(start, wine, text):
    return start(wine / "cmake/wine-run.sh", "cmd", "/c", f"echo {text}")


def test_prefixes_are_whole_also_after_a_first_run_that_was_killed(wine, start):
    killed = echo(start, wine, "never")
    wait_for((wine / "build/wine-template.new/drive_c").exists, "the template that is being made")
    os.killpg(killed.pid, signal.SIGKILL)
    assert not (wine / "build/wine-template").exists() and not (wine / "build/wine").exists()

    first, second = echo(start, wine, "one"), echo(start, wine, "two")

    assert (ends(first), ends(second)) == ((0, "one\n"), (0, "two\n"))
    assert (first.said(), second.said()) == ("", "")
    assert sorted(path.name for path in (wine / "build").iterdir() if path.is_dir()) == ["wine", "wine-template"]
    assert not processes_of(wine / "build/wine-template.new")
    for prefix in ("wine", "wine-template"):
        assert (wine / "build" / prefix / "system.reg").stat().st_size > 100000


def test_an_interruption_leaves_no_server_that_was_not_booted_to_its_end(wine, start):
    wait_for(lambda: not processes_of(wine / "build/wine"), "the end of Wine's server", SERVER_ENDS_S)
    interrupted = echo(start, wine, "never")
    wait_for(lambda: processes_of(wine / "build/wine"), "the server's start")
    os.killpg(interrupted.pid, signal.SIGINT)
    interrupted.wait(20)

    assert ends(echo(start, wine, "after it")) == (0, "after it\n")
    (wine / "build/wine.booted").unlink()  # as when the boot itself is killed
    assert ends(echo(start, wine, "anew")) == (0, "anew\n")
    assert (wine / "build/wine.booted").exists()


def test_the_shared_server_outlives_a_program_and_ends_by_itself(wine, start):
    long = start(wine / "cmake/wine-run.sh", "cmd", "/c", "ping -n 3 127.0.0.1 >NUL & echo long")

    assert ends(echo(start, wine, "short")) == (0, "short\n")
    assert ends(long) == (0, "long\n")
    assert processes_of(wine / "build/wine")
    wait_for(lambda: not processes_of(wine / "build/wine"), "the end of Wine's server", SERVER_ENDS_S)


OWNER = """
import sys
from tools.wine.service import ServiceUnderWine
with ServiceUnderWine(sys.argv[1], sys.argv[2]) as service:
    print(service.folder, flush=True)
    sys.stdin.read()
"""


def owner_of_a_service(stem):
    """A program that has installed the service until its standard input ends, and the service's folder."""
    program = subprocess.Popen([sys.executable, "-B", "-c", OWNER, stem, BUILD], cwd=ROOT, stdin=subprocess.PIPE,
                               stdout=subprocess.PIPE, text=True, env={**os.environ, "PYTHONPATH": str(ROOT)})
    return program, program.stdout.readline().strip()


def test_installed_services_have_prefixes_of_their_own_that_go_with_them():
    stem = BUILD / "system/together"
    killed, left = owner_of_a_service(stem)
    killed.kill()
    killed.communicate()
    assert processes_of(left + "/wine")
    other, others_folder = owner_of_a_service(stem)

    assert not os.path.exists(left) and not processes_of(left + "/wine")
    with ServiceUnderWine(stem, BUILD) as service:
        service.start()
        assert str(service.folder) != others_folder and processes_of(others_folder + "/wine")
    other.communicate("", timeout=WAIT_S)

    assert other.returncode == 0
    assert list(stem.parent.glob("together-*")) == []
