"""tools.trace.summarize TRACE.csv DATA: prints what a replay did, minute by minute and in total.

Writes what the picture shows to DATA, in two blocks: seconds and mean power in W for each control step; seconds,
ceiling and PL1 in W for each change of a limit. The report takes its steps, limits and totals from here, too.
"""

import collections
import sys
from typing import Callable, NamedTuple

from tools.trace.rows import MalformedTrace, read_trace
from tools.trace.messages import AFTER_BURST, BURST, CLIP, IDLE_STEP, STEP_TIER, understand

FULL_PERFORMANCE = 10000
CLIP_BIT = 0x400
IN_IDLE = "idle"
DECISION_LEVEL = "2"  # the running service's log holds no message of this level
MALFORMED = 3


class Step:
    """One control step: from one workload read to the next."""

    def __init__(self, time_ms):
        self.time_ms = time_ms
        self.power_mw = []
        self.tier = None

    def mean_power_mw(self):
        return sum(self.power_mw) / len(self.power_mw) if self.power_mw else 0.0


class Replay:
    """What a trace tells: the steps, and totals that belong to none of them."""

    def __init__(self):
        self.steps = []
        self.power_mw = []  # (time_ms, value) of each reading; None where it failed
        self.changes = []  # (time_ms, ceiling, PL1 in mW) as they came into force
        self.write_times = []
        self.writes = collections.Counter()
        self.messages = collections.Counter()
        self.tells_decisions = False
        self.clipped_samples = 0
        self.refused = 0  # primitives and calls that the framework did not take
        self.full_ms = 0
        self.end_ms = 0
        self.ceiling = 0
        self.pl1_mw = 0
        self.processor = collections.defaultdict(list)  # quantity: [(time_ms, value)]

    def read(self, rows):
        for row in rows:
            self._advance(row.time_ms)
            if row.kind == "primitive":
                self._primitive(row)
            elif row.kind == "log":
                self._message(row.name, row.value)
            elif row.kind == "processor":
                self.processor[row.name].append((row.time_ms, float(row.value)))
            self.refused += row.status not in ("", "0")

    def _advance(self, time_ms):
        if self.ceiling >= FULL_PERFORMANCE:
            self.full_ms += time_ms - self.end_ms
        self.end_ms = time_ms

    def _primitive(self, row):
        name = row.name
        if name == "GET_SOC_WORKLOAD":
            self.steps.append(Step(self.end_ms))
        elif name == "GET_RAPL_POWER":
            self._power(int(row.value) if row.value else None)
        elif name == "GET_IA_CLIP_REASONS" and row.value:
            self.clipped_samples += bool(int(row.value) & CLIP_BIT)
        elif name.startswith("SET_"):
            self._write(name, int(row.value), row.status)

    def _power(self, power_mw):
        self.power_mw.append((self.end_ms, power_mw))
        if self.steps and power_mw is not None:
            self.steps[-1].power_mw.append(power_mw)

    def _write(self, name, value, status):
        self.writes[name] += 1
        self.write_times.append(self.end_ms)
        if status != "0":
            return
        if name == "SET_PERF_PREFERENCE_MAX":
            self.ceiling = value
        elif name == "SET_RAPL_POWER_LIMIT_1":
            self.pl1_mw = value
        self.changes.append((self.end_ms, self.ceiling, self.pl1_mw))

    def _message(self, level, text):
        self.tells_decisions |= level == DECISION_LEVEL
        meaning, numbers = understand(level, text)
        self.messages[meaning.kind] += 1
        self.messages[meaning.title] += 1
        if self.steps and meaning.title == IDLE_STEP:
            self.steps[-1].tier = IN_IDLE
        elif self.steps and meaning.title == STEP_TIER:
            self.steps[-1].tier = numbers["PerfRange"]


MINUTE_MS = 60000
PROCESSOR_ROW_S = 0.1  # a row of each quantity comes that often


def ceilings_by_minute(replay):
    """The ceilings that were in force at some time of each minute."""
    ceilings = collections.defaultdict(list)
    ends = [time_ms for time_ms, _, _ in replay.changes[1:]] + [replay.end_ms]
    for (time_ms, ceiling, _), end_ms in zip(replay.changes, ends):
        if end_ms > time_ms:
            for minute in range(time_ms // MINUTE_MS, (end_ms - 1) // MINUTE_MS + 1):
                ceilings[minute].append(ceiling)
    return ceilings


def print_minutes(replay):
    steps = collections.defaultdict(list)
    for step in replay.steps:
        steps[step.time_ms // MINUTE_MS].append(step)
    writes = collections.Counter(time_ms // MINUTE_MS for time_ms in replay.write_times)
    ceilings = ceilings_by_minute(replay)
    print("minute   mean power   ceiling        tier   writes")
    for minute in range(max(steps) + 1):
        powers = [power for step in steps[minute] for power in step.power_mw]
        mean = f"{sum(powers) / len(powers) / 1000:8.2f} W" if powers else "         -"
        allowed = ceilings[minute]
        ceiling = f"{min(allowed):5}-{max(allowed):<6}" if allowed else "    -       "
        tiers = collections.Counter(step.tier for step in steps[minute] if step.tier)
        tier = tiers.most_common(1)[0][0] if tiers else "-"
        print(f"{minute:6}   {mean}   {ceiling} {tier:>6}   {writes[minute]:6}")


def duration(ms):
    return f"{ms // 60000} min {ms % 60000 / 1000:.1f} s"


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


def print_totals(replay):
    figures = {key: total.text() for key, total in totals(replay).items()}
    writes = ", ".join(f"{name} {count}" for name, count in sorted(replay.writes.items()))
    print()
    print(f"time                  {figures['time']}")
    idle = f", of them {figures['idle']} in Active Idle" if replay.tells_decisions else ""
    print(f"control steps         {figures['steps']}{idle}")
    print(f"writes to processor   {figures['writes']} ({writes})")
    print(f"at full performance   {figures['full']}, {figures['full share']} of the time")
    if replay.tells_decisions:
        print(f"bursts and restores   {figures['bursts']} process-start bursts, "
              f"{figures['restores']} restores, {figures['clips']} clips")


def write_data(path, replay):
    power = [(step.time_ms, step.mean_power_mw()) for step in replay.steps] or [(0, 0.0)]
    limits = replay.changes or [(0, 0, 0)]
    with open(path, "w", encoding="ascii") as data:
        for time_ms, power_mw in power + [(replay.end_ms, power[-1][1])]:
            data.write(f"{time_ms / 1000} {power_mw / 1000}\n")
        data.write("\n\n")
        for time_ms, ceiling, pl1_mw in limits + [(replay.end_ms, *limits[-1][1:])]:
            data.write(f"{time_ms / 1000} {ceiling} {pl1_mw / 1000}\n")


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: tools.trace.summarize TRACE.csv DATA")
    replay = Replay()
    try:
        replay.read(read_trace(sys.argv[1]))
    except MalformedTrace as fault:
        print(fault, file=sys.stderr)
        sys.exit(MALFORMED)
    if replay.steps:
        print_minutes(replay)
    else:
        print("no control step was made: the loop ended during its start-up")
    print_totals(replay)
    write_data(sys.argv[2], replay)


if __name__ == "__main__":
    main()
