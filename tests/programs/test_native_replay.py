"""The replay program that runs on Linux itself, with the sanitizers in it, is the one that runs under Wine."""

import pytest
from conftest import BUILD, REPLAY, ROOT, run_command

NATIVE = BUILD.parent / "native-asan/kelvane-replay"


def trace_of(program, scenario, folder):
    done = run_command(*program, scenario, "trace.csv", cwd=folder, timeout=120)
    assert done.returncode == 0, done.stderr
    return (folder / "trace.csv").read_bytes()


def test_there_are_scenarios():
    assert len(list(ROOT.glob("scenarios/*.csv"))) > 5


@pytest.mark.parametrize("scenario", sorted(ROOT.glob("scenarios/*.csv")), ids=lambda path: path.stem)
def test_a_scenario_gives_the_same_bytes_natively_and_under_wine(scenario, tmp_path):
    native = trace_of([NATIVE], scenario, tmp_path)

    assert native == trace_of(REPLAY, scenario, tmp_path)
    assert native.count(b"\n") > 100
