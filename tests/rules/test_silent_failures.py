"""Which failures ctest may try again: those of programs that Wine never started."""

import sys

import pytest

from tools.checks import silent_failures

PASSED = ("One.Passes", "Running main() from gmock_main.cc\n[  PASSED  ] 1 test.\n", "Passed")
SILENT = ("Two.IsNeverStarted", "", "Failed")
TOLD = ("Three.Fails", "Running main() from gmock_main.cc\n[  FAILED  ] Three.Fails\n", "Failed")


def logged(number, name, output, end):
    return (f"{number}/9 Testing: {name}\n{number}/9 Test: {name}\nCommand: \"x\"\nDirectory: y\n"
            f"\"{name}\" start time: Nov 21 15:00 UTC\nOutput:\n{'-' * 58}\n{output}<end of output>\n"
            f"Test time =   0.02 sec\n{'-' * 58}\nTest {end}.\n\"{name}\" end time: Nov 21 15:00 UTC\n\n")


@pytest.fixture(name="judge")
def fixture_judge(tmp_path, monkeypatch, capsys):
    def judge(*tests):
        folder = tmp_path / "Temporary"
        folder.mkdir()
        folder.joinpath("LastTest.log").write_text("Start testing: now\n" + "-" * 58 + "\n" + "".join(
            logged(number, *test) for number, test in enumerate(tests, 1)), encoding="utf-8")
        folder.joinpath("LastTestsFailed.log").write_text("".join(
            f"{number}:{test[0]}\n" for number, test in enumerate(tests, 1) if test[2] != "Passed"), encoding="utf-8")
        monkeypatch.setattr(sys, "argv", ["silent_failures.py", str(tmp_path)])
        try:
            silent_failures.main()
        except SystemExit as end:
            return end.code, capsys.readouterr().out
        return 0, capsys.readouterr().out

    return judge


def test_a_program_that_never_began_may_be_tried_again(judge):
    assert judge(PASSED, SILENT, PASSED) == (0, "Wine did not start: Two.IsNeverStarted\n")


@pytest.mark.parametrize("others", [(TOLD,), (SILENT, TOLD), (TOLD, SILENT, PASSED)])
def test_a_failure_with_a_word_is_final(judge, others):
    assert judge(PASSED, *others)[0] == 1


def test_a_failure_that_the_log_does_not_show_is_final(judge):
    assert judge(PASSED, SILENT, ("Four.TimesOut", "", "Timeout"))[0] == 1
