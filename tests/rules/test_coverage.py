"""What counts as a fall of coverage."""

import sys

import pytest

from tools.checks import coverage
from tools.shared.project import ROOT

FILE = "service/main.cpp"
TEXTS = (ROOT / FILE).read_text(encoding="ascii").splitlines()


def line(number, count, *branches):
    return {"line_number": number, "count": count, "branches": [{"count": taken} for taken in branches]}


@pytest.fixture(name="run")
def fixture_run(monkeypatch, capsys, tmp_path):
    def run(lines, listed):
        monkeypatch.setattr(coverage, "measure", lambda build: {FILE: lines})
        monkeypatch.setattr(coverage, "not_compiled", lambda files: {})
        monkeypatch.setattr(coverage, "UNREACHED", listed)
        monkeypatch.setattr(sys, "argv", ["coverage.py", str(tmp_path)])
        return coverage.main(), capsys.readouterr()

    return run


def test_lines_and_branches_are_counted(run):
    status, out = run([line(1, 2), line(2, 1, 1, 0)], {(FILE, TEXTS[1].strip()): (1, "never so")})

    assert status == 0
    assert "service             2   100.0%         2  50.0%\n" in out.out
    assert f"  {FILE}: {TEXTS[1].strip()} (1)\n      never so\n" in out.out


@pytest.mark.parametrize("lost", [line(1, 0), line(1, 3, 3, 0)])
def test_a_place_that_is_not_listed_is_a_fall(run, lost):
    status, out = run([lost, line(2, 1, 1)], {})

    assert status == 1
    assert f"coverage: {FILE}: no test reaches, or not in every way: {TEXTS[0].strip()}" in out.err


def test_one_branch_more_at_a_listed_place_is_a_fall(run):
    status, _ = run([line(1, 1, 0, 0, 1)], {(FILE, TEXTS[0].strip()): (1, "one of them")})

    assert status == 1


@pytest.mark.parametrize("now", [line(1, 1, 1), line(1, 1, 1, 0)])
def test_a_listed_place_that_is_reached_in_more_ways_is_told(run, now):
    status, out = run([now], {(FILE, TEXTS[0].strip()): (2, "no more")})

    assert status == 1
    assert "is reached in more ways than listed" in out.err


@pytest.mark.parametrize("reason", [coverage.ONCE, coverage.MIDWAY])
def test_how_threads_meet_may_differ(run, reason):
    status, _ = run([line(1, 1, 1)], {(FILE, TEXTS[0].strip()): (1, reason)})

    assert status == 0


def test_a_source_that_no_test_program_holds_is_not_reached():
    missing = coverage.not_compiled({"service/service_host.cpp": []})

    assert missing[FILE, ""] == 1
    assert ("service/service_host.cpp", "") not in missing
