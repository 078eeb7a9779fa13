"""What a whole trace comes to: the figures of the summary and of the report."""

from typing import Callable, NamedTuple

from tools.shared.durations import duration
from tools.trace.messages import AFTER_BURST, BURST, CLIP, IDLE_STEP

PROCESSOR_ROW_S = 0.1  # a row of each quantity comes that often


class Total(NamedTuple):
    """One figure of a whole trace. `value` is None when the trace cannot tell it."""
    label: str
    value: float | None
    show: Callable[[float], str]

    def text(self):
        return "not in this trace" if self.value is None else self.show(self.value)


def in_unit(unit, digits=2):
    return lambda value: f"{value:.{digits}f} {unit}"


def mean_over_time(points, end_ms):
    """Of values that hold until the next point; where there is none (None), nothing is counted."""
    ends = [time_ms for time_ms, _ in points[1:]] + [end_ms]
    spans = [(until_ms - time_ms, value) for (time_ms, value), until_ms in zip(points, ends) if value is not None]
    total_ms = sum(ms for ms, _ in spans)
    return sum(ms * value for ms, value in spans) / total_ms if total_ms else None


def highest(points):
    return max((value for _, value in points if value is not None), default=None)


def full_share(replay):
    return 100 * replay.full_ms / replay.end_ms if replay.end_ms else 0.0


def totals(replay):
    """What the whole trace comes to, by key, in the order in which it is shown."""
    def told(what):
        return replay.messages[what] if replay.tells_decisions else None

    watts = [(time_ms, mw if mw is None else mw / 1000) for time_ms, mw in replay.power_mw]
    ceilings = [(time_ms, ceiling or None) for time_ms, ceiling, _ in replay.changes]
    writes = {name: Total(f"of them {name}", count, str) for name, count in sorted(replay.writes.items())}
    processor = replay.processor
    simulated = {} if not processor else {
        "energy": Total("energy drawn", sum(mw for _, mw in processor["power_mw"]) * PROCESSOR_ROW_S / 1000,
                        in_unit("J", 1)),
        "work": Total("work done", sum(ms for _, ms in processor["served_core_ms"]) / 1000, in_unit("core s")),
    }
    return {
        "time": Total("time", replay.end_ms, duration),
        "steps": Total("control steps", len(replay.steps), str),
        "idle": Total("of them in Active Idle", told(IDLE_STEP), str),
        "power": Total("mean power", mean_over_time(watts, replay.end_ms), in_unit("W")),
        "peak": Total("highest power", highest(watts), in_unit("W")),
        **simulated,
        "ceiling": Total("mean ceiling", mean_over_time(ceilings, replay.end_ms), "{:.0f}".format),
        "full": Total("at full performance", replay.full_ms, duration),
        "full share": Total("share of the time", full_share(replay), "{:.1f}%".format),
        "writes": Total("writes to processor", sum(replay.writes.values()), str),
        **writes,
        "bursts": Total("process-start bursts", told(BURST), str),
        "restores": Total("restores after a burst", told(AFTER_BURST), str),
        "clips": Total("clips", told(CLIP), str),
        "clipped": Total("clipped samples", replay.clipped_samples, str),
        "refused": Total("refused by the framework", replay.refused, str),
    }
