"""Turns a trace into what the report draws: curves, decisions and marks.

Every curve is a step curve: a value holds until the next point. So repeated values are left out without loss; a curve
that is still too long keeps the first, lowest, highest and last point of each slice of time. Marks and writes are never
thinned out.
"""

import itertools

from tools.shared.framework import CLIP_BIT, GET_CLIP_REASONS, GET_WORKLOAD, SET_CEILING, SET_PL1
from tools.trace.messages import (CLIP, DECISION, DECISION_LEVEL, DETAIL, FAILURE, IDLE, IDLE_STEP, LANES, PL1_WRITTEN,
                                  STEP_TIER, WORKLOAD, understand)

CURVE_POINTS = 20000  # several times what the widest screen shows
DECISIONS = 20000
# What ends an instant, within which writes and messages explain each other.
BETWEEN_INSTANTS = (GET_WORKLOAD, GET_CLIP_REASONS)
PROCESSOR_SCALE = {"demand_core_ms": 1e-3, "served_core_ms": 1e-2, "clock_permille": 0.1, "power_mw": 1e-3,
                   "average_mw": 1e-3}  # to core seconds, cores, percent, W, W


def steps_of(points):
    """Without the points that repeat the value before them."""
    return [point for index, point in enumerate(points) if index == 0 or point[1] != points[index - 1][1]]


def thinned(points, limit=CURVE_POINTS):
    """At most about `limit` points, extremes kept."""
    points = steps_of(points)
    if len(points) <= limit:
        return points
    slice_ms = (points[-1][0] - points[0][0] + 1) / (limit / 4)
    kept = []
    for _, group in itertools.groupby(points, lambda point: int((point[0] - points[0][0]) / slice_ms)):
        group = list(group)
        known = [index for index, point in enumerate(group) if point[1] is not None] or [0]
        lowest, highest = (extreme(known, key=lambda index: group[index][1] or 0) for extreme in (min, max))
        chosen = {0, lowest, highest, len(group) - 1}
        kept += [group[index] for index in sorted(chosen)]
    return kept


def curve(points, end_ms, digits=2):
    """A thinned curve that reaches to the trace's end."""
    points = thinned(points)
    if points and points[-1][0] < end_ms:
        points = points + [(end_ms, points[-1][1])]
    return [(time_ms, value if value is None else round(value, digits)) for time_ms, value in points]


class Timeline:
    """Reads rows once and keeps what is to be drawn."""

    def __init__(self, rows):
        self.tracker = []
        self.target = []
        self.decisions = []  # (time_ms, ceiling, title, text, whether it wrote)
        self.limits = []  # (time_ms, PL1 in W, title, text)
        self.marks = []
        self.ceiling = 0
        self.clip_reasons = 0
        self.workload = None
        self.refusals = {}  # name: the mark of a refusal that lasts
        self.clipped = self.idle = None  # marks that last
        self.instant = []
        self.reads_workload = not any(row.kind == "log" and row.name == DECISION_LEVEL for row in rows)
        for row in rows:
            self._take(row)
        self._end_instant()
        self._close(rows[-1].time_ms)

    # --- rows -------------------------------------------------------------------------------------------------------

    def _take(self, row):
        if row.kind == "sleep" or row.name in BETWEEN_INSTANTS:
            self._end_instant()
        if row.kind == "log":
            self.instant.append((row, *understand(row.name, row.value)))
            self._message(row, *self.instant[-1][1:])
        elif row.kind in ("primitive", "call"):
            self._answer(row)
            if row.kind == "primitive":
                self._primitive(row)

    def _primitive(self, row):
        if row.name == GET_CLIP_REASONS:
            self._clip(row.time_ms, int(row.value or 0))
        elif row.name == GET_WORKLOAD and self.reads_workload and row.value:
            self._workload_is(row.time_ms, row.value, f"{GET_WORKLOAD} delivered {row.value}")
        elif row.name in (SET_CEILING, SET_PL1):
            self.instant.append((row, None, None))

    def _answer(self, row):
        """A refusal lasts until the same name is taken again."""
        what = f"{row.name} {row.value}".strip() if row.kind == "call" else row.name
        if row.status == "0":
            self.refusals.pop(what, None)
            return
        mark = self.refusals.get(what)
        if mark is None:
            mark = self._mark(FAILURE, row.time_ms, f"{what} is refused", f"status {row.status}", count=0)
            self.refusals[what] = mark
        mark["end"] = row.time_ms
        mark["count"] += 1

    def _clip(self, time_ms, reasons):
        self.clip_reasons = reasons
        if not reasons & CLIP_BIT:
            self.clipped = None
            return
        if self.clipped is None:
            self.clipped = self._mark(CLIP, time_ms, "The processor is clipped", f"clip reasons {reasons:#x}", count=0)
        self.clipped["end"] = time_ms
        self.clipped["count"] += 1

    def _message(self, row, meaning, found):
        if meaning.title == IDLE_STEP:
            self._idle_step(row)
        elif meaning.kind in LANES:
            self._mark(meaning.kind, row.time_ms, meaning.title, row.value)
        if meaning.title != IDLE_STEP and (meaning.kind == IDLE or meaning.title == STEP_TIER):
            self._end_idle(row.time_ms)
        if meaning.title == STEP_TIER:
            self.target.append((row.time_ms, int(found["PerfRange"])))
            self._workload_is(row.time_ms, found["workload"], row.value)
        if "average" in found:
            self.tracker.append((row.time_ms, int(found["average"]) / 1000))

    def _idle_step(self, row):
        if self.idle is None:
            self.idle = self._mark(IDLE, row.time_ms, IDLE_STEP, row.value, count=0)
        self.idle["count"] += 1
        self.idle["end"] = row.time_ms

    def _end_idle(self, time_ms):
        if self.idle:
            self.idle["end"] = time_ms
            self.idle = None

    def _workload_is(self, time_ms, workload, text):
        if self.workload not in (None, workload):
            self._mark(WORKLOAD, time_ms, f"Workload class {self.workload} becomes {workload}", text)
        self.workload = workload

    def _close(self, end_ms):
        self._end_idle(end_ms)

    def _mark(self, lane, time_ms, title, text, **more):
        """A mark of its own, or one with the same lane's at this time."""
        last = next((mark for mark in reversed(self.marks[-8:]) if mark["lane"] == lane), None)
        if last and last["time"] == time_ms and not more and "count" not in last:
            last["texts"].append((title, text))
            return last
        self.marks.append({"lane": lane, "time": time_ms, "texts": [(title, text)], **more})
        return self.marks[-1]

    # --- what explains a write --------------------------------------------------------------------------------------

    def _end_instant(self):
        told = set()
        for index, (row, meaning, _) in enumerate(self.instant):
            if meaning is None:
                told.add(self._write(index, row))
        for index, (row, meaning, _) in enumerate(self.instant):
            if meaning and index not in told and (meaning.kind == DECISION or meaning.title == IDLE_STEP):
                if meaning.title != PL1_WRITTEN:
                    self.decisions.append((row.time_ms, self.ceiling, meaning.title, row.value, False))
        self.instant = []

    def _write(self, index, row):
        """Keeps a write with the message that explains it; returns the message's index."""
        explained = self._explaining(index)
        title, text = self._without_message(row) if explained is None else (
            self.instant[explained][1].title, self.instant[explained][0].value)
        if row.status != "0":
            title = f"Refused with status {row.status}: {title}"
        if row.name == SET_PL1:
            self.limits.append((row.time_ms, int(row.value) / 1000, title, text))
            return explained
        if row.status == "0":
            self.ceiling = int(row.value)
        self.decisions.append((row.time_ms, self.ceiling, title, text, True))
        return explained

    def _explaining(self, index):
        before = [at for at in range(index) if self.instant[at][1]]
        if before and self.instant[before[-1]][1].announces:
            return before[-1]
        for at in range(index + 1, len(self.instant)):
            meaning = self.instant[at][1]
            if meaning and meaning.kind not in (DETAIL, FAILURE):
                return at
        return None

    def _without_message(self, row):
        if row.name == SET_CEILING and self.clip_reasons & CLIP_BIT:
            return "The sample is clipped: full performance at once", f"clip reasons {self.clip_reasons:#x}"
        if row.name == SET_CEILING and self.idle:
            return "Power is back in Active Idle: the tier's target at once", ""
        return "The trace holds no message for this write", ""


def thinned_decisions(decisions):
    """Those that wrote nothing make room first."""
    quiet = [decision for decision in decisions if not decision[4]]
    surplus = len(decisions) - DECISIONS
    if surplus <= 0 or not quiet:
        return decisions
    stride = max(2, -(-len(quiet) // max(1, len(quiet) - surplus)))
    kept = set(map(id, quiet[::stride]))
    return [decision for decision in decisions if decision[4] or id(decision) in kept]


def series(name, rows, replay):
    """What the page's script draws of one trace."""
    timeline = Timeline(rows)
    texts = {}

    def number(text):
        return texts.setdefault(text, len(texts))

    end_ms = replay.end_ms
    decisions = [(time_ms, ceiling, number(title), number(text), int(wrote))
                 for time_ms, ceiling, title, text, wrote in thinned_decisions(timeline.decisions)]
    limits = [(time_ms, value, number(title), number(text)) for time_ms, value, title, text in timeline.limits]
    marks = [{**mark, "texts": [(number(title), number(text)) for title, text in mark["texts"]]}
             for mark in timeline.marks]
    return {
        "name": name, "end": end_ms,
        "power": curve([(time_ms, mw if mw is None else mw / 1000) for time_ms, mw in replay.power_mw], end_ms),
        "stepPower": curve([(step.time_ms, step.mean_power_mw() / 1000 if step.power_mw else None)
                            for step in replay.steps], end_ms),
        "tracker": [(time_ms, round(watts, 2)) for time_ms, watts in timeline.tracker],
        "target": curve(timeline.target, end_ms, 0),
        "ceiling": curve([(time_ms, ceiling) for time_ms, ceiling, _ in replay.changes], end_ms, 0),
        "pl1": curve([(time_ms, pl1_mw / 1000) for time_ms, _, pl1_mw in replay.changes], end_ms),
        "processor": {name: curve([(time_ms, value * scale) for time_ms, value in replay.processor[name]], end_ms)
                      for name, scale in PROCESSOR_SCALE.items() if name in replay.processor},
        "decisions": decisions, "limits": limits, "marks": marks, "texts": list(texts),
    }
