"""Commands that are interrupted answer at once, end with 130, and leave nothing running and nothing half-written."""

import os
import pathlib
import re
import signal
import subprocess
import time
import uuid

import pytest
from conftest import HEADER, ROOT

OVER_S = 10
ENDLESS = HEADER + "0,power_mw,2000\n31536000000,stop,service\n"
# How an interruption comes: by Ctrl-C, to everything in the terminal; to the command alone; to its group.
WAYS = {"ctrl-c": (os.killpg, signal.SIGINT), "terminated": (os.kill, signal.SIGTERM),
        "group terminated": (os.killpg, signal.SIGTERM)}


def is_shared(variables):
    """Wine's server and what it starts are no part of a command, and end by themselves."""
    return b"WINEPREFIX=" + os.fsencode(ROOT / "build/wine") in variables and not any(
        variable.startswith(b"KELVANE_COMMAND=") for variable in variables)


class Command:
    """A command of a user, in a session of its own, and everything that it starts."""

    def __init__(self, words, **environment):
        mark = str(uuid.uuid4())
        self._mark = f"KELVANE_TEST={mark}"
        self.process = subprocess.Popen(
            [str(word) for word in words], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            text=True, start_new_session=True,
            env={**os.environ, **environment, "KELVANE_TEST": mark})
        self.said = ""

    def running(self):
        """The command lines of what has come of it, by process; but for Wine's own in the prefix that all share."""
        found = {}
        for entry in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                variables = (entry / "environ").read_bytes().split(b"\0")
                if self._mark.encode() in variables and not is_shared(variables):
                    found[int(entry.name)] = (entry / "cmdline").read_bytes().replace(b"\0", b" ").decode()
            except OSError:
                pass  # ended
        return found

    def wait_for(self, text, timeout=60):
        """Until a process has that in its command line."""
        deadline = time.monotonic() + timeout
        while not any(text in line for line in self.running().values()):
            assert self.process.poll() is None, self.process.communicate()[0]
            assert time.monotonic() < deadline, self.running()
            time.sleep(0.05)

    def interrupt(self, way):
        """Returns the exit code."""
        kill, number = WAYS[way]
        kill(self.process.pid, number)
        self.said = self.process.communicate(timeout=OVER_S)[0]
        return self.process.returncode

    def end(self):
        for pid in self.running():
            os.kill(pid, signal.SIGKILL)
        self.process.communicate()


@pytest.fixture(name="command")
def start_command():
    started = []

    def start(*words, **environment):
        started.append(Command(words, **environment))
        return started[-1]

    yield start
    for command in started:
        command.end()


def expect_nothing_left(command):
    assert command.running() == {}
    assert "Traceback" not in command.said


# --- what a command may be doing --------------------------------------------------------------------------------------

@pytest.fixture(name="script")
def made_up_command(tmp_path):
    """A command of scripts/ that does what the text says."""
    def make(text):
        path = tmp_path / "a command.sh"
        path.write_text(f'#!/usr/bin/env bash\nset -euo pipefail\nsource "{ROOT}/scripts/common.sh"\n{text}\n')
        path.chmod(0o755)
        return path
    return make


NINJA = 'printf "rule wait\\n command = sleep 1000\\nbuild out: wait\\n" >"$1/build.ninja"; ninja -C "$1"'
DOINGS = {
    "a program": "sleep 1000",
    "a program of a session of its own": "setsid --wait sleep 1000",
    "a program in the background": "sleep 1000 & wait",
    "a build": NINJA,
    "a part of another command": '"$BASH" "$0" again',
    "a condition": "if ! sleep 1000 | cat; then sleep 1001; fi",
    "a file": 'make_whole "$1/whole" bash -c \'echo half >"$0"; sleep 1000; true\'',
}


@pytest.mark.parametrize("way", WAYS)
@pytest.mark.parametrize("doing", DOINGS)
def test_whatever_a_command_does_an_interruption_ends_it(script, command, tmp_path, doing, way):
    path = script(f'[ "$1" != again ] || sleep 1000\n{DOINGS[doing]}\necho went on')
    running = command(path, tmp_path)
    running.wait_for("sleep 1000")

    assert running.interrupt(way) == 130

    expect_nothing_left(running)
    assert "went on" not in running.said
    assert [entry.name for entry in tmp_path.iterdir() if "whole" in entry.name or "kelvane" in entry.name] == []


def test_a_program_that_will_not_end_is_killed(script, command):
    running = command(script("(trap '' TERM INT; exec sleep 1000)"))
    running.wait_for("sleep 1000")

    assert running.interrupt("ctrl-c") == 130

    expect_nothing_left(running)


@pytest.mark.parametrize("way", WAYS)
def test_packages_that_are_being_installed_are_waited_for(script, command, tmp_path, way):
    apt_get = tmp_path / "apt-get"
    apt_get.write_text('#!/bin/sh\n[ "$1" = update ] || { sleep 2; touch "${0%/*}/installed"; }\n')
    apt_get.chmod(0o755)
    path = script('is_known_debian() { return 0; }\nid() { echo 0; }\n'
                  '(install_packages kelvane-no-such-package && sleep 1000)\nsleep 1000')
    running = command(path, PATH=f"{tmp_path}:{os.environ['PATH']}")
    running.wait_for("sleep 2")

    assert running.interrupt(way) == 130

    assert (tmp_path / "installed").exists()
    expect_nothing_left(running)


@pytest.mark.parametrize("text, code", [("true", 0), ("exit 7", 7), ("false", 1), ("kill -KILL $$", 137)])
def test_a_command_that_is_left_alone_has_its_own_exit_code(script, command, text, code):
    running = command(script(text))

    running.process.communicate(timeout=30)

    assert running.process.returncode == code


def test_a_command_reads_what_it_is_given(script):
    done = subprocess.run([script("cat")], input="given", capture_output=True, text=True, check=True, timeout=30)

    assert done.stdout == "given"


def test_a_command_ends_with_its_parent(script, command):
    running = command(script("sleep 1000"))
    running.wait_for("sleep 1000")

    os.kill(running.process.pid, signal.SIGKILL)

    running.process.wait()
    deadline = time.monotonic() + OVER_S
    while any("a command" in line for line in running.running().values()) and time.monotonic() < deadline:
        time.sleep(0.05)
    assert [line for line in running.running().values() if "a command" in line] == []


# --- the commands themselves ------------------------------------------------------------------------------------------

@pytest.fixture(name="endless")
def endless_scenario(tmp_path):
    path = tmp_path / "endless.csv"
    path.write_text(ENDLESS)
    return path


@pytest.mark.parametrize("way", WAYS)
def test_replay(command, endless, tmp_path, way):
    running = command(ROOT / "scripts/replay.sh", endless, tmp_path / "trace.csv")
    running.wait_for("kelvane-replay.exe")
    time.sleep(1)  # it writes

    assert running.interrupt(way) == 130

    expect_nothing_left(running)
    assert [entry.name for entry in tmp_path.iterdir()] == ["endless.csv"]


def test_run_replay(command, endless):
    running = command(ROOT / "scripts/run.sh", "--replay", endless)
    running.wait_for("kelvane-replay.exe")

    assert running.interrupt("ctrl-c") == 130

    expect_nothing_left(running)
    assert not (ROOT / "build/run/endless.trace.csv").exists()


def test_compare(command):
    running = command(ROOT / "scripts/compare.sh")
    running.wait_for("kelvane-policy.exe")

    assert running.interrupt("terminated") == 130

    expect_nothing_left(running)
    assert list((ROOT / "build").glob("compare-*")) == []


def test_live_run(command):
    running = command(ROOT / "scripts/run.sh")
    running.wait_for("kelvane.exe", 300)

    assert running.interrupt("ctrl-c") == 130

    expect_nothing_left(running)


@pytest.mark.parametrize("way", WAYS)
def test_import(command, tmp_path, way):
    os.mkfifo(tmp_path / "log")
    to_file = 'exec "$0" "$1" >"$2"'
    running = command("bash", "-c", to_file, ROOT / "scripts/import.sh", tmp_path / "log", tmp_path / "scenario.csv")
    with open(tmp_path / "log", "w", encoding="ascii") as log:
        log.write("Time_Of_Day_Seconds PkgWatt\n" + "".join(f"{second}.0 {second % 9}.5\n" for second in range(20000)))
        log.flush()
        time.sleep(0.5)

        assert running.interrupt(way) == 130

    expect_nothing_left(running)
    assert (tmp_path / "scenario.csv").read_text() == ""


@pytest.mark.parametrize("way", WAYS)
def test_report(command, tmp_path, way):
    os.mkfifo(tmp_path / "trace.csv")
    running = command(ROOT / "scripts/report.sh", "-o", tmp_path / "page.html", tmp_path / "trace.csv")
    running.wait_for("-m tools report", 300)
    time.sleep(0.5)  # it waits for the trace

    assert running.interrupt(way) == 130

    expect_nothing_left(running)
    assert not (tmp_path / "page.html").exists()


def test_package(command, tmp_path):
    running = command(ROOT / "scripts/package.sh", "1.2.3.4", tmp_path / "made")
    deadline = time.monotonic() + 300
    while not list(tmp_path.glob("made/.making-*")) and time.monotonic() < deadline:
        time.sleep(0.01)

    assert running.interrupt("ctrl-c") == 130

    expect_nothing_left(running)
    assert list((tmp_path / "made").iterdir()) == []


def test_the_words_of_an_interruption(command, script):
    running = command(script("sleep 1000"), KELVANE_COMMAND="")
    running.wait_for("sleep 1000")
    running.interrupt("ctrl-c")

    assert re.fullmatch(r"interrupted\n", running.said)
