"""The replay program as a user calls it: exit codes, messages, and the trace's bytes."""

import os
import pathlib
import re

import pytest
from conftest import HEADER, REPLAY, replay, run_command

# Ends in the middle of start-up, so that the whole trace can be written out.
NO_FRAMEWORK = HEADER + "0,status,INIT=3000\n"
NO_FRAMEWORK_TRACE = (
    b"time_ms,kind,name,value,status\n"
    b"0,call,INIT,,3000\n"
    b"0,log,0,KV scaling is started : ,\n"
    b'0,log,0," KV Start MS/CS is initializing the ORQ, Scaling is stopped ",\n'
)

# Three steps with a write each.
RISING = HEADER + "0,power_mw,2000\n2000,power_mw,2900\n5000,power_mw,4000\n8000,stop,scaling\n"


def complaint_of(done, code):
    """The one line on standard error, of a run that ended with this code and said nothing else."""
    [line] = done.stderr.splitlines()
    assert (done.returncode, done.stdout) == (code, "")
    return line


@pytest.fixture(name="scenario")
def scenario_file(tmp_path):
    path = tmp_path / "scenario.csv"
    path.write_text(RISING)
    return path


@pytest.fixture(name="trace")
def trace_file(tmp_path):
    return tmp_path / "trace.csv"


@pytest.mark.parametrize("arguments", [[], ["scenario.csv"], ["scenario.csv", "trace.csv", "more"]])
def test_wrong_number_of_arguments_is_wrong_usage(tmp_path, scenario, trace, arguments):
    done = run_command(*REPLAY, *arguments, cwd=tmp_path)

    assert (done.returncode, done.stdout) == (2, "")
    assert re.search("usage: (kelvane-replay|scripts/replay.sh) SCENARIO.csv TRACE.csv\n$", done.stderr)
    assert not trace.exists()
    assert scenario.read_text() == RISING


@pytest.mark.parametrize("folder, relative", [
    ("in", True), ("in", False), ("with a blank", False), ("L\u00fcfter", False), ("\u6e2c\u5b9a", False),
    ("it's (100%) & more", False)])
def test_replayed_scenario_leaves_its_trace_and_says_nothing(tmp_path, folder, relative):
    (tmp_path / folder).mkdir()
    (tmp_path / folder / f"{folder}.csv").write_text(NO_FRAMEWORK)
    base = pathlib.Path(os.pardir) if relative else tmp_path

    done = replay(base / folder / f"{folder}.csv", base / folder / f"{folder} trace.csv", cwd=tmp_path / folder)

    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")
    assert (tmp_path / folder / f"{folder} trace.csv").read_bytes() == NO_FRAMEWORK_TRACE


def test_trace_holds_what_reached_the_processor(tmp_path, scenario, trace):
    done = replay(scenario, trace, cwd=tmp_path)

    rows = trace.read_text().splitlines()
    assert done.returncode == 0
    assert [row for row in rows if ",primitive,SET_PERF_PREFERENCE_MAX," in row] == [
        "0,primitive,SET_PERF_PREFERENCE_MAX,1200,0",
        "2000,primitive,SET_PERF_PREFERENCE_MAX,1800,0",
        "5000,primitive,SET_PERF_PREFERENCE_MAX,2800,0",
        "8000,primitive,SET_PERF_PREFERENCE_MAX,3200,0",
        "8000,primitive,SET_PERF_PREFERENCE_MAX,1200,0",
        "8000,primitive,SET_PERF_PREFERENCE_MAX,10000,0",
    ]
    assert rows[-1] == "8000,log,0,Stop is called from the registry ,"
    assert b"\r" not in trace.read_bytes()


def test_older_trace_is_replaced_as_a_whole(tmp_path, scenario, trace):
    scenario.write_text(NO_FRAMEWORK)
    trace.write_text("an older trace\n" * 1000)

    assert replay(scenario, trace, cwd=tmp_path).returncode == 0

    assert trace.read_bytes() == NO_FRAMEWORK_TRACE


@pytest.mark.parametrize("content, line, reason", [
    (b"", 1, ""),
    (b"time,input,value\n", 1, "time_ms,input,value"),
    (HEADER.encode() + b"0,power_mw,1500\n\n# comment\n0,fan_rpm,1\n", 5, "fan_rpm"),
    (HEADER.encode() + b"5,power_mw,1\r\n4,power_mw,1\r\n", 3, "falls"),
    (HEADER.encode() + b'0,power_mw,"1500\n0,power_mw,1\n', 2, "quote"),
    (bytes(range(256)), 1, ""),
    (HEADER.encode() + bytes(range(256)), 2, ""),
])
def test_malformed_scenario_is_told_with_its_line_and_leaves_no_trace(tmp_path, scenario, trace, content, line, reason):
    scenario.write_bytes(content)

    complaint = complaint_of(replay("scenario.csv", "trace.csv", cwd=tmp_path), 3)

    assert complaint.startswith(f"scenario.csv:{line}: ") and reason in complaint
    assert not trace.exists()


@pytest.mark.parametrize("name", ["missing.csv", ".", "no/such/folder.csv"])
def test_scenario_that_cannot_be_read_is_told_and_leaves_no_trace(tmp_path, trace, name):
    complaint = complaint_of(replay(name, "trace.csv", cwd=tmp_path), 3)

    assert complaint.startswith(f"{name}:1: ")
    assert not trace.exists()


def test_complaint_shows_the_path_as_it_was_given(tmp_path):
    path = tmp_path / "L\u00fcfter 1.csv"
    path.write_text(HEADER + "0,stop,now\n")

    assert complaint_of(replay(path, "trace.csv", cwd=tmp_path), 3).startswith(f"{path}:2: ")


@pytest.mark.parametrize("name", ["missing/trace.csv", "folder", "/dev/full"])
def test_trace_that_cannot_be_written_is_told(tmp_path, scenario, name):
    (tmp_path / "folder").mkdir()

    assert complaint_of(replay(scenario, name, cwd=tmp_path), 4).startswith(f"{name}: ")
    assert not (tmp_path / "missing").exists()


def test_malformed_scenario_is_told_before_an_unwritable_trace(tmp_path, scenario):
    scenario.write_text("")

    assert replay(scenario, "missing/trace.csv", cwd=tmp_path).returncode == 3


def test_clock_that_stands_still_ends_the_run_and_keeps_the_trace(tmp_path, scenario, trace):
    scenario.write_text(HEADER + "0,power_mw,1500\n600,status,GET_IA_CLIP_REASONS=1000\n700,stop,service\n")

    assert "stands still" in complaint_of(replay(scenario, trace, cwd=tmp_path), 5)
    rows = trace.read_text().splitlines()
    assert sum(row.startswith("600,primitive,") for row in rows) == 100000
    assert rows[-1] == "600,primitive,GET_IA_CLIP_REASONS,,1000"


@pytest.mark.parametrize("trace_name", ["scenario.csv", "./scenario.csv", "link.csv", "hard.csv",
                                        "folder/../scenario.csv"])
def test_trace_never_overwrites_its_scenario(tmp_path, scenario, trace_name):
    (tmp_path / "folder").mkdir()
    (tmp_path / "link.csv").symlink_to(scenario)
    (tmp_path / "hard.csv").hardlink_to(scenario)

    assert "overwrite" in complaint_of(replay(scenario, trace_name, cwd=tmp_path), 2)
    assert scenario.read_text() == RISING
