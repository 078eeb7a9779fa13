"""How a long trace is thinned out."""

from report_page import DOWN, log, primitive, write_trace

from tools.trace.replay import Replay
from tools.trace.rows import read_trace
from tools.trace.series import series, thinned


def series_of(path, rows):
    rows = read_trace(write_trace(path, rows))
    replay = Replay()
    replay.read(rows)
    return series("trace", rows, replay)


def test_repeated_values_are_left_out_and_nothing_else():
    points = [(0, 5), (1, 5), (2, None), (3, None), (4, 5), (5, 6), (6, 6)]

    assert thinned(points) == [(0, 5), (2, None), (4, 5), (5, 6)]


def test_a_slice_of_time_keeps_its_first_lowest_highest_and_last_point():
    # Two slices of 50 points; each falls to a low and climbs to a peak of its own.
    points = [(time, 100 + time % 2) for time in range(100)]
    points[20], points[30], points[60], points[70] = (20, 7), (30, 900), (60, 800), (70, 3)

    kept = thinned(points, limit=8)

    assert kept == [(0, 100), (20, 7), (30, 900), (49, 101), (50, 100), (60, 800), (70, 3), (99, 101)]


def test_a_gap_survives_the_thinning_of_what_surrounds_it():
    points = [(time, None if time == 50 else time % 3) for time in range(100)]

    assert (50, None) in thinned(points, limit=8)


def test_decisions_that_wrote_nothing_make_room_for_those_that_did(tmp_path):
    rows = []
    for number in range(25000):
        time_ms = 1000 * number
        rows += [primitive(time_ms, "GET_SOC_WORKLOAD", 0), log(time_ms, DOWN)]
        if number % 10 == 0:
            rows += [primitive(time_ms, "SET_PERF_PREFERENCE_MAX", 1200 + number // 10),
                     log(time_ms, " ** delayed Restore ==")]

    decisions = series_of(tmp_path / "day.csv", rows)["decisions"]

    writes = [decision for decision in decisions if decision[4]]
    assert [ceiling for _, ceiling, *_ in writes] == list(range(1200, 3700))
    assert 5000 < len(decisions) <= 20000
    assert decisions == sorted(decisions, key=lambda decision: decision[0])
