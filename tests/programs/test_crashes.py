"""A crash of a program under Wine has a code above 128 and a sentence; the programs' own codes stay theirs."""

import os
import pathlib
import signal
import subprocess
import time

import pytest
from conftest import BUILD, HEADER, ROOT, run_command

from tools.shared.program_end import describe_end


def end_of(*arguments):
    done = run_command(ROOT / "cmake/wine-run.sh", BUILD / "tests/crash_program.exe", *arguments, timeout=120)
    return done.returncode, done.stderr


@pytest.mark.parametrize("how, sentence", [("fault", "crash_program.exe crashed: exception c0000005 at "),
                                           ("trap", "crash_program.exe crashed: exception c000001d at ")])
def test_exception_that_nobody_handles_is_reported_with_its_place(how, sentence):
    code, text = end_of(how)

    assert code == 128 + signal.SIGSEGV
    assert text.startswith(sentence)


@pytest.mark.parametrize("how", ["abort", "throw"])
def test_abort_is_reported_and_is_not_the_code_of_a_malformed_scenario(how):
    code, text = end_of(how)

    assert code == 128 + signal.SIGABRT
    assert text.endswith("crash_program.exe crashed: it aborted itself\n")


def test_program_that_does_not_crash_keeps_its_code_and_says_nothing():
    assert end_of() == (5, "")


@pytest.mark.parametrize("code, text", [
    (0, "ended with 0"), (5, "ended with 5"), (128, "ended with 128"), (130, "was interrupted"), (139, "crashed (139)"),
    (-signal.SIGSEGV, "crashed (139)"), (-signal.SIGINT, "was interrupted")])
def test_the_end_of_a_program_is_put_into_words(code, text):
    assert describe_end(code) == text


def the_process(words):
    """The one process whose command line has all the words, once it is there."""
    deadline = time.monotonic() + 60
    while time.monotonic() < deadline:
        for entry in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                command = (entry / "cmdline").read_bytes().decode(errors="replace")
            except OSError:
                continue  # ended meanwhile
            if all(word in command for word in words) and not command.split("\0")[0].endswith("sh"):
                return int(entry.name)
        time.sleep(0.02)
    raise AssertionError(f"no process has {words}")


def test_replay_command_reports_a_replay_that_was_killed(tmp_path):
    scenario = tmp_path / "long.csv"
    scenario.write_text(HEADER + "0,power_mw,2000\n31536000000,stop,service\n")
    with subprocess.Popen([ROOT / "scripts/replay.sh", scenario, tmp_path / "trace.csv"], stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True) as command:
        os.kill(the_process(["kelvane-replay.exe", str(scenario)]), signal.SIGKILL)
        text = command.communicate(timeout=120)[1]

    assert command.returncode == 128 + signal.SIGKILL
    assert text.splitlines()[-1] == "the replay program crashed (137): there is no trace of it"
