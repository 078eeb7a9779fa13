"""The long runs, made short: what they do to the service, and that they tell growth from what is deliberate."""

import pytest
from conftest import REPLAY, STEP_S, run_tool

from tools.soak import service as soak_service
from tools.soak import year as soak_year

AT_REST = {"private_kib": 17000, "resident_kib": 31000, "descriptors": 39, "threads": 8, "handles": 54, "changes": 3}


def life_of(samples):
    """A life that was measured so; nothing of it runs."""
    life = object.__new__(soak_service.Life)
    life.samples = samples
    return life


def samples(**growth_per_cycle):
    """Of ten cycles, each measure growing by so much from each to the next."""
    return [{name: first + cycle * growth_per_cycle.get(name, 0) for name, first in AT_REST.items()}
            for cycle in range(10)]


def test_a_handle_for_each_change_of_the_control_key_is_no_growth(capsys):
    life = life_of(samples(changes=2, handles=2))

    assert soak_service.report([life], {"lives": 1})

    assert life.growth()["handles"] == (58, 70, 0)
    assert "GREW" not in capsys.readouterr().out


@pytest.mark.parametrize("name, per_cycle", [("handles", 1), ("private_kib", 200), ("resident_kib", 300),
                                             ("descriptors", 1), ("threads", 1)])
def test_a_measure_that_grows_with_each_cycle_is_told(capsys, name, per_cycle):
    life = life_of(samples(**{name: per_cycle}))

    assert not soak_service.report([life], {"lives": 1})

    shown = soak_service.SHOWN.get(name, name)
    assert [line[8:22].strip() for line in capsys.readouterr().out.splitlines() if "GREW" in line] == [shown]


def test_a_cycle_is_a_row_of_the_table():
    assert soak_service.cycle_row(2, samples()) == (
        "2        10         17000         31000            39             8            54             3")


def test_what_the_first_cycle_makes_is_no_growth():
    measured = samples()
    measured[0] = {name: 0 for name in AT_REST}

    assert soak_service.report([life_of(measured)], {"lives": 1})


def growth_of_year(samples_kib):
    memory = object.__new__(soak_year.Memory)
    memory.samples_kib = samples_kib
    return memory.growth_kib()


def test_growth_of_a_year_is_that_behind_its_warm_up():
    warming_up = list(range(0, 4000, 100))

    assert growth_of_year(warming_up + [4000] * 160) == 0
    assert growth_of_year(warming_up + [4000 + 2 * sample for sample in range(160)]) == 214
    assert growth_of_year([4000] * 111) is None


def test_a_simulated_day_prints_its_figures(tmp_path):
    done = run_tool("soak.year", 1, tmp_path, *REPLAY)

    assert done.returncode == 0, done.stderr
    assert done.stdout.startswith("simulated                      1 days\n")
    assert (tmp_path / "year.csv").read_text().splitlines()[-1] == "86400000,stop,scaling"


def test_a_replay_that_fails_is_a_failure(tmp_path):
    done = run_tool("soak.year", 1, tmp_path, "/usr/bin/false")

    assert done.returncode == 1
    assert "the replay ended with 1" in done.stderr


def test_a_storm_of_process_starts_reaches_the_service(kelvane):
    kelvane.start_scaling("0,power_mw,3000\n")
    written = len(kelvane.writes())

    (kelvane.home / "storm.txt").write_text("200", encoding="ascii")

    kelvane.wait_for_writes([("SET_PERF_PREFERENCE_MAX", 10000)], STEP_S, after=written)
    assert "storm.exe" not in [name for name, _ in kelvane.told_processes()]


def test_handles_of_the_service_can_be_counted(kelvane):
    kelvane.install_tool("handle_count.exe")
    kelvane.start_to_wait()
    before = kelvane.handles()

    for value in (1, 3, 4):
        kelvane.write_control(value)

    kelvane.wait_for(lambda: kelvane.handles() == before + 3, STEP_S,
                     "three handles more")
