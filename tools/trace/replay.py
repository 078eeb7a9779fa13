"""What happened in a trace: its control steps, the limits that came into force, and counts."""

import collections

from tools.shared import framework
from tools.trace.messages import DECISION_LEVEL, IDLE_STEP, STEP_TIER, understand

IN_IDLE = "idle"


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
        if self.ceiling >= framework.FULL_PERFORMANCE:
            self.full_ms += time_ms - self.end_ms
        self.end_ms = time_ms

    def _primitive(self, row):
        name = row.name
        if name == framework.GET_WORKLOAD:
            self.steps.append(Step(self.end_ms))
        elif name == framework.GET_POWER:
            self._power(int(row.value) if row.value else None)
        elif name == framework.GET_CLIP_REASONS and row.value:
            self.clipped_samples += bool(int(row.value) & framework.CLIP_BIT)
        elif framework.is_write(name):
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
        if name == framework.SET_CEILING:
            self.ceiling = value
        elif name == framework.SET_PL1:
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
