#!/usr/bin/python3
"""summarize.py TRACE.csv DATA: prints what a replay did, minute by minute and in total.

Writes what the picture shows to DATA, in two blocks: seconds and mean power in W for each control step; seconds, ceiling
and PL1 in W for each change of a limit.
"""

import collections
import csv
import re
import sys

FULL_PERFORMANCE = 10000
IDLE = "idle"


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
        self.changes = []  # (time_ms, ceiling, PL1 in mW) as they came into force
        self.write_times = []
        self.writes = collections.Counter()
        self.messages = collections.Counter()
        self.has_log = False  # a trace of the running service has none
        self.full_ms = 0
        self.end_ms = 0
        self.ceiling = 0
        self.pl1_mw = 0

    def read(self, rows):
        for row in rows:
            self._advance(int(row["time_ms"]))
            if row["kind"] == "primitive":
                self._primitive(row)
            elif row["kind"] == "log":
                self.has_log = True
                self._message(row["value"])

    def _advance(self, time_ms):
        if self.ceiling >= FULL_PERFORMANCE:
            self.full_ms += time_ms - self.end_ms
        self.end_ms = time_ms

    def _primitive(self, row):
        name = row["name"]
        if name == "GET_SOC_WORKLOAD":
            self.steps.append(Step(self.end_ms))
        elif name == "GET_RAPL_POWER" and self.steps and row["value"]:
            self.steps[-1].power_mw.append(int(row["value"]))
        elif name.startswith("SET_"):
            self._write(name, int(row["value"]), row["status"])

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

    def _message(self, text):
        if self.steps:
            tier = re.match(r" \*{4} New pkgPower ==.* PerfRange = (\d+) tempPerfRange", text)
            if tier:
                self.steps[-1].tier = tier.group(1)
            elif text.startswith(" *** PIDx 5 Active Idle PerfRange"):
                self.steps[-1].tier = IDLE
        for label in ("PIDC", "Perf Restored", "Clip error", "Active Idle PerfRange"):
            self.messages[label] += label in text


MINUTE_MS = 60000


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


def print_totals(replay):
    writes = ", ".join(f"{name} {count}" for name, count in sorted(replay.writes.items()))
    share = 100 * replay.full_ms / replay.end_ms if replay.end_ms else 0.0
    print()
    print(f"time                  {duration(replay.end_ms)}")
    idle = f", of them {replay.messages['Active Idle PerfRange']} in Active Idle" if replay.has_log else ""
    print(f"control steps         {len(replay.steps)}{idle}")
    print(f"writes to processor   {sum(replay.writes.values())} ({writes})")
    print(f"at full performance   {duration(replay.full_ms)}, {share:.1f}% of the time")
    if replay.has_log:
        print(f"bursts and restores   {replay.messages['PIDC']} process-start bursts, "
              f"{replay.messages['Perf Restored']} restores, {replay.messages['Clip error']} clips")


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
        sys.exit("usage: summarize.py TRACE.csv DATA")
    replay = Replay()
    with open(sys.argv[1], newline="", encoding="utf-8", errors="replace") as trace:
        replay.read(csv.DictReader(trace))
    if replay.steps:
        print_minutes(replay)
    else:
        print("no control step was made: the loop ended during its start-up")
    print_totals(replay)
    write_data(sys.argv[2], replay)


if __name__ == "__main__":
    main()
