"""What the measuring of the service counts, and what it leaves out; no test here depends on how long anything takes."""

import pytest
from conftest import BUILD, STEP_S, run_tool

from tools.bench import service as bench_service
from tools.bench.service import ACTIVE_IDLE, CALLS, PAUSES, SCALING, STATES, Figures
from tools.shared import process_figures
from tools.shared.process_figures import Memory, Thread
from tools.trace.rows import Row

SCALING_ROUND = ["GET_SOC_WORKLOAD"] + ["GET_IA_CLIP_REASONS", "GET_RAPL_POWER"] * 10
IDLE_ROUND = ["GET_SOC_WORKLOAD"] + ["GET_IA_CLIP_REASONS", "GET_RAPL_POWER"] * 2

SMAPS = """\
00022000-00320000 rw-p 00000000 00:00 0
Anonymous:             7 kB
01620000-01622000 ---p 00000000 00:00 0
Anonymous:             0 kB
01622000-01920000 rw-p 00000000 00:00 0
Rss:                 990 kB
Anonymous:           972 kB
01920000-01950000 rw-p 00000000 00:00 0
Anonymous:            64 kB
01950000-01d20000 ---p 00000000 00:00 0
Anonymous:             0 kB
01d20000-01d30000 rw-p 00000000 00:00 0
Anonymous:             5 kB
140001000-1400ea000 r-xp 00000000 00:00 0
Anonymous:           932 kB
5575a0000000-5575a0090000 rw-p 00000000 00:00 0                          [heap]
Anonymous:           576 kB
7fd03af71000-7fd03b2cb000 rw-p 000d0000 fe:00 14885261                   /usr/lib/libc.so.6
Anonymous:           120 kB
"""


def found_in(state, **changes):
    """Figures of the three services in a state."""
    loop = {"loop_cpu": 20.0, "loop_wakeups": 3.3} if state.has_loop else {}
    service = Figures(**{"cpu": 22.0, "wakeups": 4.0, "memory": Memory(9000, 4000, 1000, 700), "threads": 11,
                         "handles": 66, **loop, **changes})
    small = Figures(11.0, 4.1, Memory(3000, 1000, 500, 400), 4, 30, *([10.0, 3.3] if state.has_loop else []))
    calls = Figures(20.0, 4.2, Memory(4000, 2000, 500, 450), 5, 38, *([19.0, 3.4] if state.has_loop else []))
    return {"kelvane": service, PAUSES: small, CALLS: calls}


def sleeps(*times):
    return [Row(2, time, "sleep", "", "300", "") for time in times]


def test_time_of_a_thread_is_read_in_nanoseconds():
    thread = process_figures.parse_thread("loop\n", "1234567 89 12\n", "Name:\tloop\nvoluntary_ctxt_switches:\t42\n"
                                          "nonvoluntary_ctxt_switches:\t7\n")

    assert thread == Thread("loop", 1234567, 42)


def test_a_process_that_is_not_there_has_no_threads():
    assert process_figures.threads_of(2**22 + 1) == {}


def test_this_process_has_the_thread_that_asks():
    assert sum(thread.cpu_ns > 0 for thread in process_figures.threads_of("self").values()) >= 1
    assert process_figures.memory_of("self").whole > 0


def test_memory_is_told_apart_by_what_it_is():
    memory = process_figures.parse_memory(SMAPS)

    assert memory == Memory(stacks=972, images=932, host=576 + 120, data=7 + 64 + 5)
    assert memory.whole == 2676


def test_threads_of_stand_ins_are_left_out_and_a_thread_that_is_new_counts_whole():
    before = {1: Thread("kelvane.exe", 1000000, 10), 2: Thread("wmi", 0, 0), 3: Thread("ended", 9000000, 9)}
    after = {1: Thread("kelvane.exe", 4000000, 15), 2: Thread("wmi", 8000000, 80), 4: Thread("loop", 2000000, 20)}

    figures = bench_service.figures(before, after, 30, Memory(), 50)

    assert figures == Figures(cpu=10.0, wakeups=25 / 30, memory=Memory(), threads=3, handles=50, loop_cpu=4.0,
                              loop_wakeups=20 / 30)


def test_a_process_without_a_loop_has_no_figures_of_it():
    figures = bench_service.figures({}, {1: Thread("kelvane.exe", 4000000, 15)}, 30, Memory(), 50)

    assert (figures.loop_cpu, figures.loop_wakeups) == (None, None)


@pytest.mark.parametrize("state", STATES, ids=lambda state: state.name)
def test_each_state_has_its_lines(state):
    rows = bench_service.state_rows(state, found_in(state))

    small = (20.0, 4.2, 6950, 450, 5, 38) if state.has_loop else (11.0, 4.1, 4900, 400, 4, 30)
    assert {row.measure.split(":")[0] for row in rows} == {state.name}
    assert [(row.value, row.beside) for row in rows] == list(zip((22.0, 4.0, 14700, 700, 11, 66), small))


def test_the_four_states_are_measured():
    assert {state.name for state in STATES} == {"at rest", "scaling off", "Active Idle", "scaling"}
    assert [state.name for state in STATES if state.has_loop] == ["scaling", "Active Idle"]


def test_calls_are_taken_off_as_the_small_services_differ():
    rows = bench_service.loop_rows(SCALING, found_in(SCALING))

    assert [(row.value, row.beside, row.target) for row in rows] == [
        (20.0, 19.0, "<= 1.1 x"), (20.0, 10.0, "<= 1.1 x"), (11.0, 10.0, "<= 1.1 x"), (3.3, 3.4, "")]


def test_pauses_are_counted_behind_the_first_minute():
    rows = sleeps(0, 200, 60000, 60300, 60600, 65600) + [Row(2, 60100, "log", "2", "text", "")]

    assert bench_service.pauses_per_s(rows) == 3 / 5.6


def test_a_time_is_shown_with_its_two_parts_as_medians():
    rows = bench_service.parted_rows("stop", [1000, 3000, 2000], [10, 40, 20])

    assert [(row.measure, row.value) for row in rows] == [("stop", 2000), ("stop: the design's pauses", 1980),
                                                          ("stop: the rest", 20)]


@pytest.mark.parametrize("arguments, told", [((), "usage: tools.bench.service_alone BUILD"), (("a", "b"), "usage"),
                                             (("/nowhere",), "there is no kelvane.exe in /nowhere")])
def test_wrong_usage_is_told(arguments, told):
    run = run_tool("bench.service_alone", *arguments)

    assert run.returncode == 1
    assert run.stderr.startswith(told)


def last_round(folder):
    """The calls of the last whole step in a core's trace; none before there is one."""
    lines = (folder / "trace.csv").read_text(encoding="ascii").splitlines()[:-1]
    names = [line.split(",")[2] for line in lines]
    begins = [at for at, name in enumerate(names) if name == "GET_SOC_WORKLOAD"]
    return names[begins[-2]:begins[-1]] if len(begins) > 2 else []


def loops_of(pid):
    return sum(bench_service.is_loop(thread) for thread in process_figures.threads_of(pid).values())


def test_the_small_service_makes_the_calls_that_the_loop_makes():
    with bench_service.Bench(BUILD / "system" / "small-service", BUILD) as bench:
        bench.install_gauges()
        bench.start()

        for state, calls in ((SCALING, SCALING_ROUND), (ACTIVE_IDLE, IDLE_ROUND)):
            bench.times("start", f"{CALLS} {state.pauses}")
            bench.bring_to(state)
            for folder in (bench.core_folder, bench.calls_folder):
                bench.wait_for(lambda: last_round(folder) == calls, STEP_S, f"the calls while {state.name} in {folder}")
            assert [loops_of(bench.process_id(name)) for name in ("kelvane.exe", "calls.exe")] == [1, 1]
            bench.times("stop", f"{CALLS} {state.pauses}")

        asked, done = bench.times("stop", bench_service.SERVICE)
        assert done > asked > 0
        with pytest.raises(AssertionError, match="ended with 1"):
            bench.times("start", "nobody")
        with pytest.raises(AssertionError, match="ended with 2"):
            bench.run(r"C:\kv\calls.exe", "sleeping")
        bench.wait_for(lambda: bench.process_id("calls.exe") is None, STEP_S, "the end of the small service")
