"""The main of the test programs on Linux, by programs of tests that pass and fail in every way."""

import os
import pathlib
import re
import signal
import subprocess
import time

import pytest

PROGRAMS = [pathlib.Path(os.environ["KELVANE_BUILD"]) / "tests" / name for name in ("forking_cases", "exec_cases")]


@pytest.fixture(name="program", params=PROGRAMS, ids=lambda path: path.name)
def fixture_program(request):
    return request.param


def run(program, *arguments, **environment):
    done = subprocess.run([program, *arguments], env={**os.environ, **environment}, capture_output=True, text=True,
                          timeout=60, check=False)
    return done.returncode, done.stdout, done.stderr


def is_alive(process):
    try:
        return pathlib.Path(f"/proc/{process}/stat").read_text().rsplit(")", 1)[1].split()[0] != "Z"
    except FileNotFoundError:
        return False


def is_gone(process):
    end = time.monotonic() + 10
    while is_alive(process) and time.monotonic() < end:
        time.sleep(0.01)
    return not is_alive(process)


def test_every_test_finds_fresh_static_state(program):
    code, out, _ = run(program, "--gtest_filter=Good.*Fresh*")

    assert code == 0
    assert "] 2 tests ran." in out and "[  PASSED  ] 2 tests.\n" in out and "FAILED" not in out


@pytest.mark.parametrize("test, reason, output", [
    ("Fails", "exit code 1", "sums differ"),
    ("Throws", "exit code 1", "thrown inside"),
    ("Aborts", "SIGABRT", "last words"),
    ("IsKilled", "SIGKILL", "[ RUN      ] Bad.IsKilled"),
    ("LeavesWithCode5", "exit code 5", "[ RUN      ] Bad.LeavesWithCode5"),
    ("LeavesAsIfAllWereWell", "ended in the middle", "[ RUN      ] Bad.LeavesAsIfAllWereWell"),
    ("IsSkipped", "skipped", "not here"),
    ("DISABLED_IsNotRun", "disabled", ""),
])
def test_what_goes_wrong_is_a_failure_with_its_reason_and_output(program, test, reason, output):
    code, out, _ = run(program, f"--gtest_filter=Bad.{test}:Good.FindsFreshStaticState")

    assert code == 1
    assert out.endswith(f"] 2 tests ran. ({re.findall('([0-9]+) ms total', out)[-1]} ms total)\n[  PASSED  ] 1 tests.\n"
                        f"[  FAILED  ] 1 tests, listed below:\n[  FAILED  ] Bad.{test} ({reason})\n")
    assert output in out


def test_a_disabled_test_can_be_run(program):
    code, out, _ = run(program, "--gtest_filter=Bad.DISABLED_*", "--gtest_also_run_disabled_tests")

    assert code == 0 and "[  PASSED  ] 1 tests." in out


def test_only_a_started_program_has_its_process_from_before_main():
    assert [run(program, "--gtest_filter=Process.*")[0] for program in PROGRAMS] == [1, 0]


def test_a_test_that_is_out_of_time_ends_with_all_its_processes(program):
    code, out, _ = run(program, "--gtest_filter=Endless.Hangs", "--time-limit=0.5")

    assert code == 1
    assert "[  FAILED  ] Endless.Hangs (not over after 0.5 s)\n" in out
    assert is_gone(re.search("started ([0-9]+)", out)[1])


def test_the_time_limit_can_come_from_the_environment(program):
    assert "(not over after 0.25 s)" in run(program, "--gtest_filter=Endless.Hangs", KELVANE_TIME_LIMIT="0.25")[1]


def test_what_a_test_leaves_behind_ends_with_it(program, tmp_path):
    note = tmp_path / "note"
    code, _, _ = run(program, "--gtest_filter=Endless.Leaves*", KELVANE_NOTE=str(note))

    assert code == 0
    assert is_gone(note.read_text())


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_a_signal_ends_the_program_and_its_tests(program, number):
    with subprocess.Popen([program, "--gtest_filter=Endless.Hangs"], stdout=subprocess.PIPE) as process:
        children = pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/children")
        while not (found := children.read_text().split()):
            time.sleep(0.01)
        process.send_signal(number)
        assert process.wait(timeout=10) == -number
    assert is_gone(found[0])


def total(out):
    return int(re.search(r"\((\d+) ms total\)", out)[1])


def test_several_run_at_once(program):
    one = total(run(program, "--gtest_filter=Good.Takes*", "--jobs=1")[1])
    two = total(run(program, "--gtest_filter=Good.Takes*", KELVANE_JOBS="2")[1])

    assert one >= 1400
    assert two < 1400


def test_the_first_failure_can_be_the_last(program):
    code, out, _ = run(program, "--gtest_filter=Bad.*", "--gtest_fail_fast", "--jobs=1")

    assert code == 1
    assert "Bad.Fails (exit code 1)" in out and "Bad.Throws" not in out


def test_a_pattern_chooses_tests_by_their_full_names(program):
    code, out, _ = run(program, KELVANE_TESTS=r"^Good\.FindsI")

    assert code == 0
    assert "[  PASSED  ] 1 tests." in out


def test_a_program_without_a_chosen_test_says_so_and_passes(program):
    assert run(program, KELVANE_TESTS="Elsewhere") == (
        0, "None of the tests that were asked for is in this program.\n", "")


def test_tests_are_listed_as_ever(program):
    code, out, _ = run(program, "--gtest_list_tests", "--gtest_filter=Endless.*")

    assert (code, out.splitlines()[-3:]) == (0, ["Endless.", "  Hangs", "  LeavesAProcessBehind"])


@pytest.mark.parametrize("argument", ["--jobs=none", "--jobs=0", "--time-limit=-1", "--other=1", "text"])
def test_wrong_arguments_are_refused(program, argument):
    code, out, error = run(program, argument)

    assert code == 2 and out == "" and argument.split("=")[-1] in error
