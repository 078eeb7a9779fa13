"""Each scenario's trace is the one that was kept: a change of the controller shows, whether it was meant or not.

A golden trace says what the program did, not that it was right. It lies in tests/golden, whole or, where it has 2,500
rows and more, as its SHA-256. After a change that is meant, with its reason in the commit:

    scripts/replay.sh scenarios/NAME.csv tests/golden/NAME.csv
"""

import hashlib

import pytest
from conftest import ROOT, replay

GOLDEN = ROOT / "tests/golden"
SCENARIOS = sorted(ROOT.glob("scenarios/*.csv"))
WHOLE_ROWS_MAX = 2500


def long_ones():
    """The hash of each long trace, by its name."""
    lines = (GOLDEN / "long.sha256").read_text(encoding="ascii").splitlines()
    return {name: digest for digest, name in (line.split() for line in lines)}


def test_each_scenario_has_a_golden_trace_and_no_trace_is_left_over():
    kept = {path.name for path in GOLDEN.glob("*.csv")} | long_ones().keys()

    assert kept == {path.name for path in SCENARIOS}
    assert len(kept) > 5


@pytest.mark.parametrize("scenario", SCENARIOS, ids=lambda path: path.stem)
def test_trace_of_a_scenario_is_the_golden_one(scenario, tmp_path):
    done = replay(scenario, tmp_path / "trace.csv")
    assert done.returncode == 0, done.stderr
    found = (tmp_path / "trace.csv").read_bytes()

    digest = long_ones().get(scenario.name)
    if digest is None:
        # Split, so that a difference is shown by its rows.
        assert found.split(b"\n") == (GOLDEN / scenario.name).read_bytes().split(b"\n")
    else:
        assert found.count(b"\n") >= WHOLE_ROWS_MAX
        assert hashlib.sha256(found).hexdigest() == digest
