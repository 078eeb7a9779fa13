"""Writes samples as a scenario, and adds up what it holds."""

import itertools

from tools.importer.log import Sample
from tools.shared.framework import CLIP_BIT
from tools.shared.scenario import HEAD

CLIPPED = f"{CLIP_BIT:#x}"
INTERVAL_MS = 1000  # of a log with a single moment that does not tell


class Totals:
    """What a scenario holds; each sample counts for the time until the next."""

    def __init__(self):
        self.samples = 0
        self.duration_ms = 0
        self.energy_uj = 0
        self.peak_mw = 0
        self.clipped_ms = None
        self.battery_ms = None
        self.steps_ms = None  # shortest and longest time between samples

    def add(self, sample, hold_ms):
        self.duration_ms += hold_ms
        self.energy_uj += sample.power_mw * hold_ms
        self.peak_mw = max(self.peak_mw, sample.power_mw)
        if sample.clipped is not None:
            self.clipped_ms = (self.clipped_ms or 0) + hold_ms * sample.clipped
        if sample.on_mains is not None:
            self.battery_ms = (self.battery_ms or 0) + hold_ms * (not sample.on_mains)

    def add_step(self, step_ms):
        shortest, longest = self.steps_ms or (step_ms, step_ms)
        self.steps_ms = (min(shortest, step_ms), max(longest, step_ms))


def write_scenario(samples, comments, report, out):
    """`comments` is asked when the first sample is there. Without any sample nothing is written."""
    totals = Totals()
    sample, told = None, {}
    for following in moments(samples, totals):
        if sample is None:
            out.write(HEAD)
            out.writelines(f"# {comment}\n" for comment in comments())
        else:
            step_ms = following.time_ms - sample.time_ms
            totals.add(sample, step_ms)
            totals.add_step(step_ms)
        write_changes(following, told, out)
        sample = following
    if sample is not None:
        # The shortest step is the recorder's interval: no pause, and no line that was passed over, lies in it.
        last_ms = report.interval_ms or min(totals.steps_ms or [INTERVAL_MS])
        totals.add(sample, last_ms)
        out.write(f"{sample.time_ms + last_ms},stop,service\n")
    out.flush()
    return totals


def moments(samples, totals):
    """Samples of one moment, of a recorder that is faster than its clock, become one: their mean power, clipped if one
    of them is, and the power source of the last."""
    for time_ms, group in itertools.groupby(samples, key=lambda sample: sample.time_ms):
        power_mw, count, clipped, on_mains = 0, 0, None, None
        for sample in group:
            power_mw += sample.power_mw
            count += 1
            clipped = sample.clipped if not clipped else clipped
            on_mains = sample.on_mains if sample.on_mains is not None else on_mains
        totals.samples += count
        yield Sample(time_ms, round(power_mw / count), clipped, on_mains)


def write_changes(sample, told, out):
    values = {"power_mw": sample.power_mw,
              "clip_reasons": None if sample.clipped is None else CLIPPED if sample.clipped else 0,
              "ac_line": None if sample.on_mains is None else int(sample.on_mains)}
    for name, value in values.items():
        if value is not None and told.get(name) != value:
            told[name] = value
            out.write(f"{sample.time_ms},{name},{value}\n")
