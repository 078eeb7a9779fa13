"""Policies on the simulated processor: what one run measures, and what scripts/compare.sh makes of many."""

import csv
import os
import re
import shlex

import pytest
from conftest import HEADER, ROOT, replay, run_command

COMMAND = shlex.split(os.environ.get(
    "KELVANE_POLICY", f"{ROOT}/cmake/wine-run.sh {ROOT}/build/release/kelvane-policy.exe"))
OUT = ROOT / "build" / "compare"

# One core at full clock for 6 s, on the thin laptop: 0.8 W idle, 8 W more while it works.
ONE_CORE = HEADER + "0,processor,thin-laptop\n0,job,steady:6000:1\n20000,stop,service\n"


class Measured:
    def __init__(self, folder):
        with open(folder / "totals.csv", newline="", encoding="ascii") as file:
            self.totals = {row["measure"]: float(row["value"]) for row in csv.DictReader(file)}
        with open(folder / "jobs.csv", newline="", encoding="utf-8") as file:
            self.jobs = list(csv.DictReader(file))
        with open(folder / "trace.csv", newline="", encoding="utf-8") as file:
            self.trace = list(csv.DictReader(file))

    def writes(self):
        return [(row["name"], int(row["value"])) for row in self.trace if row["name"].startswith("SET_")]

    def served(self):
        return sum(int(row["value"]) for row in self.trace if row["name"] == "served_core_ms")


def run_policy(*arguments, cwd):
    return run_command(*COMMAND, *arguments, cwd=cwd, timeout=120)


def measure(policy, scenario, folder):
    (folder / "scenario.csv").write_text(scenario, encoding="utf-8")
    done = run_policy(policy, "scenario.csv", ".", cwd=folder)
    assert done.returncode == 0, done.stderr
    return Measured(folder)


def compare(*arguments):
    return run_command(ROOT / "scripts/compare.sh", *arguments, timeout=800)


def test_energy_and_work_of_a_constant_load_add_up(tmp_path):
    measured = measure("always-10000", ONE_CORE, tmp_path)

    assert measured.totals["served_core_ms"] == pytest.approx(6000)
    assert measured.totals["unfinished_core_ms"] == pytest.approx(0)
    assert measured.totals["energy_mj"] == pytest.approx(20 * 800 + 6 * 8000)
    assert measured.totals["full_with_nothing_to_do_ms"] == 14000
    assert float(measured.jobs[0]["done_ms"]) == pytest.approx(6000)
    assert measured.served() == 6000


def test_at_a_low_ceiling_the_same_work_takes_longer_and_less_energy(tmp_path):
    measured = measure("fixed-1200", ONE_CORE, tmp_path)

    clock = 0.2 + 0.8 * 0.12 ** 0.5
    core_mw = 2000 * clock + 6000 * clock ** 3
    assert float(measured.jobs[0]["done_ms"]) == pytest.approx(6000 / clock)
    assert measured.totals["energy_mj"] == pytest.approx(20 * 800 + 6 / clock * core_mw)
    assert measured.writes() == [("SET_RAPL_POWER_LIMIT_1", 17000), ("SET_PERF_PREFERENCE_MAX", 1200)]


def test_ondemand_is_at_full_performance_after_a_hundred_milliseconds(tmp_path):
    measured = measure("ondemand", ONE_CORE, tmp_path)

    assert measured.writes()[1:3] == [("SET_PERF_PREFERENCE_MAX", 0), ("SET_PERF_PREFERENCE_MAX", 10000)]
    # 100 ms at a fifth of full clock, 20 core-ms, then full clock
    assert float(measured.jobs[0]["done_ms"]) == pytest.approx(100 + 5980)


def test_conservative_climbs_by_steps_of_500_and_comes_down_again(tmp_path):
    measured = measure("conservative", ONE_CORE, tmp_path)

    ceilings = [value for name, value in measured.writes() if name == "SET_PERF_PREFERENCE_MAX"]
    assert ceilings == [*range(0, 10001, 500), *range(9500, -1, -500)]


def test_the_oracle_is_at_full_performance_from_the_first_tick_to_the_last(tmp_path):
    measured = measure("oracle", ONE_CORE, tmp_path)

    ceilings = [(int(row["time_ms"]), int(row["value"])) for row in measured.trace
                if row["name"] == "SET_PERF_PREFERENCE_MAX"]
    assert ceilings == [(0, 10000), (6000, 0)]
    assert measured.totals["full_with_nothing_to_do_ms"] == 0


def test_the_oracle_asks_no_more_of_a_short_job_than_thirty_milliseconds(tmp_path):
    measured = measure("oracle", HEADER + "0,job,frame:18:1\n1000,stop,service\n", tmp_path)

    assert float(measured.jobs[0]["done_ms"]) == pytest.approx(30, abs=0.01)  # 0.6 of full clock


def test_a_start_reaches_the_ceiling_within_the_watchers_second_under_the_service(tmp_path):
    launch = HEADER + "0,job,steady:30000:1\n8000,job,editor.exe:20000:2:launch\n60000,stop,service\n"

    measured = measure("service", launch, tmp_path)

    editor = measured.jobs[1]
    assert (editor["name"], editor["launch"]) == ("editor.exe", "1")
    assert 0 <= int(editor["ceiling_first_ms"]) <= 1010
    assert float(editor["done_ms"]) >= 10000


def test_a_launch_that_never_sees_full_performance_has_no_time_for_it(tmp_path):
    measured = measure("fixed-1200", HEADER + "0,job,editor.exe:1000:1:launch\n9000,stop,service\n", tmp_path)

    assert measured.jobs[0]["ceiling_first_ms"] == "" and measured.jobs[0]["ceiling_held_ms"] == ""


def test_a_job_that_is_not_done_has_no_end(tmp_path):
    measured = measure("always-10000", HEADER + "0,job,steady:6000:1\n2000,stop,service\n", tmp_path)

    assert measured.jobs[0]["done_ms"] == ""
    assert measured.totals["unfinished_core_ms"] == pytest.approx(4000)


def test_the_service_under_a_policys_name_gives_the_trace_of_the_replay(tmp_path):
    measure("service", ONE_CORE, tmp_path)

    assert replay("scenario.csv", "replay.csv", cwd=tmp_path).returncode == 0
    assert (tmp_path / "replay.csv").read_bytes() == (tmp_path / "trace.csv").read_bytes()


@pytest.mark.parametrize("arguments, code, complaint", [
    ((), 2, "usage: kelvane-policy POLICY SCENARIO.csv FOLDER"),
    (("schedutil", "scenario.csv", "."), 2, "unknown policy schedutil"),
    (("oracle", "power.csv", "."), 3, "power.csv:1: the scenario has no job and no processor"),
    (("oracle", "missing.csv", "."), 3, "missing.csv:1: the file cannot be read"),
    (("oracle", "scenario.csv", "missing"), 4, "the trace cannot be written"),
])
def test_wrong_usage_and_wrong_files_are_told(tmp_path, arguments, code, complaint):
    (tmp_path / "scenario.csv").write_text(ONE_CORE)
    (tmp_path / "power.csv").write_text(HEADER + "0,power_mw,1000\n")

    done = run_policy(*arguments, cwd=tmp_path)

    assert done.returncode == code
    assert complaint in done.stderr


def test_the_documents_show_what_the_comparison_prints():
    done = compare()

    assert done.returncode == 0, done.stderr
    page = (ROOT / "docs/control.md").read_text(encoding="ascii")
    kept = page.split("<!-- table -->\n")[1].split("<!-- end of table -->")[0]
    assert kept == (OUT / "table.md").read_text(encoding="ascii")
    assert len(kept.splitlines()) == 2 + 6 * 6
    hashes = (ROOT / "docs/control-hashes.txt").read_text(encoding="ascii")
    assert hashes == (OUT / "hashes.txt").read_text(encoding="ascii")
    assert len(hashes.splitlines()) == (5 * 5 + 1) * 6
    assert (OUT / "scatter.svg").stat().st_size > 10000


def test_own_scenarios_and_recordings_can_be_compared(tmp_path):
    (tmp_path / "steady.csv").write_text(ONE_CORE)
    (tmp_path / "evening.csv").write_text(HEADER + "0,power_mw,4800\n60000,stop,service\n")

    done = compare(tmp_path / "steady.csv", tmp_path / "evening.csv")

    assert done.returncode == 0, done.stderr
    # 16 J + 48 J for 6 core-s; half a core of work in each of 600 slices is 30 core-s for 48 J + 240 J
    assert re.search(r"\| steady \| always-10000 \| 10\.667 \|", done.stdout)
    assert re.search(r"\| evening \(derived\) \| always-10000 \| 9\.600 \|", done.stdout)


def test_a_malformed_scenario_is_told_with_its_line(tmp_path):
    (tmp_path / "bad.csv").write_text(HEADER + "0,job,a:1\n")

    done = compare(tmp_path / "bad.csv")

    assert done.returncode == 3
    assert done.stderr.startswith(f"{tmp_path}/bad.csv:2: job is NAME:WORK_MS:CORES")
