"""An hour of work of each kind, as scenarios with jobs; the same seed gives the same bytes.

Work is in milliseconds of one core at full clock. Sizes and rates are those of everyday programs, in round figures;
what the comparison shows is the order of policies, which does not depend on them.
"""

import random

from tools.shared.durations import HOUR_MS
from tools.shared.scenario import HEAD

PROGRAMS = ("browser.exe", "mail.exe", "editor.exe", "viewer.exe", "chat.exe", "terminal.exe")


class Jobs:
    """Collects jobs in any order and puts them down in the order of time."""

    def __init__(self, seed):
        self.random = random.Random(seed)
        self.rows = []

    def add(self, time_ms, name, work_ms, cores, launch=False):
        if time_ms < HOUR_MS:
            suffix = ":launch" if launch else ""
            self.rows.append((int(time_ms), f"{name}:{max(1, round(work_ms))}:{cores}{suffix}"))

    def times(self, mean_gap_ms):
        """Moments of an hour with no memory of each other."""
        time_ms = self.random.expovariate(1 / mean_gap_ms)
        while time_ms < HOUR_MS:
            yield time_ms
            time_ms += self.random.expovariate(1 / mean_gap_ms)

    def launch(self, time_ms, least_ms, most_ms):
        self.add(time_ms, self.random.choice(PROGRAMS), self.random.uniform(least_ms, most_ms), 2, launch=True)


def background(jobs):
    """What runs when nobody does anything: a wake-up every two seconds, something larger every two minutes."""
    for time_ms in jobs.times(2000):
        jobs.add(time_ms, "wake-up", jobs.random.uniform(3, 15), 1)
    for time_ms in jobs.times(120_000):
        jobs.add(time_ms, "housekeeping", jobs.random.uniform(200, 1200), 1)


def typing(jobs):
    """Keys in bursts, each with a little work, and pages that load."""
    for start_ms in jobs.times(20_000):
        time_ms = start_ms
        for _ in range(jobs.random.randint(10, 60)):
            time_ms += jobs.random.uniform(80, 300)
            jobs.add(time_ms, "key", jobs.random.uniform(5, 30), 1)
    for time_ms in jobs.times(25_000):
        jobs.add(time_ms, "page", jobs.random.uniform(300, 1500), 2)


def idle(jobs):
    background(jobs)


def office(jobs):
    background(jobs)
    typing(jobs)
    for time_ms in jobs.times(240_000):
        jobs.launch(time_ms, 1500, 5000)


def launches(jobs):
    background(jobs)
    for time_ms in range(20_000, HOUR_MS, 40_000):
        jobs.launch(time_ms + jobs.random.uniform(-5000, 5000), 1500, 6000)


def mixed(jobs):
    office(jobs)
    for time_ms in jobs.times(360_000):
        jobs.add(time_ms, "build", jobs.random.uniform(60_000, 240_000), 6)


def video(jobs):
    background(jobs)
    for frame in range(HOUR_MS * 30 // 1000):
        jobs.add(frame * 1000 / 30, "frame", jobs.random.uniform(8, 14), 1)


KINDS = {"idle": idle, "office": office, "launches": launches, "mixed": mixed, "video": video}

# How the recording's power becomes work: as the thin laptop would draw it with one core busy at full clock
# (simulator/model/processor_model.h). What runs is not in the recording; a slice of work every 100 ms stands for it.
IDLE_MW = 800
CORE_MW = 8000
SLICE_MS = 100
LAUNCH_WORK_MS = 2000


def scenario(kind, seed, preset):
    """The text of one hour."""
    jobs = Jobs(f"{kind} {seed}")
    KINDS[kind](jobs)
    return text_of(sorted(jobs.rows), seed, preset, HOUR_MS)


def derived(powers, starts, end_ms, seed, preset):
    """The text of a recording (a scenario with power_mw and process_start), turned into work.

    powers, starts: [(time_ms, mW)] and [(time_ms, name)].
    """
    rows = []
    for (start_ms, power_mw), (next_ms, _) in zip(powers, powers[1:] + [(end_ms, 0)]):
        work_ms = max(0, power_mw - IDLE_MW) / CORE_MW * SLICE_MS
        rows += [(time, f"slice:{round(work_ms)}:2") for time in range(start_ms, next_ms, SLICE_MS) if work_ms >= 0.5]
    rows += [(time, f"{name}:{LAUNCH_WORK_MS}:2:launch") for time, name in starts]
    return text_of(sorted(rows, key=lambda row: row[0]), seed, preset, end_ms)


def quoted(text):
    """As a field of CSV, for the names of a recording's programs."""
    return '"' + text.replace('"', '""') + '"' if any(c in text for c in ',"\r\n') else text


def text_of(rows, seed, preset, end_ms):
    head = f"{HEAD}0,processor,{preset}\n0,seed,{seed}\n"
    return head + "".join(f"{time},job,{quoted(job)}\n" for time, job in rows) + f"{end_ms},stop,service\n"
