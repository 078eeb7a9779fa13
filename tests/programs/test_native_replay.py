"""The replay program that runs on Linux itself, with the sanitizers in it, is the one that runs under Wine."""

import os
import pathlib
import shlex
import subprocess

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
NATIVE = pathlib.Path(os.environ["KELVANE_BUILD"]).parent / "native-asan/kelvane-replay"
UNDER_WINE = shlex.split(os.environ["KELVANE_REPLAY"])


def replay(program, scenario, trace):
    run = subprocess.run([*program, scenario, trace.name], cwd=trace.parent, capture_output=True, text=True,
                         timeout=120)
    assert run.returncode == 0, run.stderr
    return trace.read_bytes()


def test_there_are_scenarios():
    assert len(list(ROOT.glob("scenarios/*.csv"))) > 5


@pytest.mark.parametrize("scenario", sorted(ROOT.glob("scenarios/*.csv")), ids=lambda path: path.stem)
def test_a_scenario_gives_the_same_bytes_natively_and_under_wine(scenario, tmp_path):
    native = replay([NATIVE], scenario, tmp_path / "native.csv")

    assert native == replay(UNDER_WINE, scenario, tmp_path / "wine.csv")
    assert native.count(b"\n") > 100
