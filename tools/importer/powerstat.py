"""powerstat's text log: a head, a row with the time of day for each sample, and statistics below a line of dashes."""

import re

from tools.importer.log import (NO_COLUMN, Clock, Sample, Timeline, Unusable, quoted, to_clock_ms, to_power_mw,
                                wrong_count)
from tools.shared import file_kind

NAME = file_kind.POWERSTAT
HEAD = file_kind.POWERSTAT_HEAD
INTERVAL = re.compile(r"samples at ([0-9]{1,6}(?:\.[0-9]{1,6})?) second intervals")
BATTERY = "battery power measurements"
TIME, POWER = "Time", "Watts"
MEASURES = ("User", "Nice", "Sys", "Idle", "IO", "Run", "Ctxt/s", "IRQ/s", "Fork", "Exec", "Exit")


def samples(lines, report):
    names, on_mains, clock, timeline = None, None, Clock(), Timeline()
    report.facts["clipping from"] = NO_COLUMN
    for number, text in lines:
        words = text.split()
        interval = INTERVAL.search(text)
        if interval:
            report.interval_ms = round(float(interval[1]) * 1000)
        if BATTERY in text:
            on_mains = False
        elif words[0] == TIME and POWER in words:
            names = words
            read_head(number, names, on_mains, report)
        elif text.lstrip().startswith("---"):
            names = None  # what follows sums up
        elif names:
            try:
                yield read_row(words, names, on_mains, clock, timeline)
            except Unusable as unusable:
                report.bad_line(number, unusable)


def read_head(number, names, on_mains, report):
    for name in names:
        if name not in (TIME, POWER, *MEASURES):
            report.tell_once(number, f"unknown column {quoted(name)} is passed over", "unknown columns")
    whole = " (of the whole computer, measured at its battery)" if on_mains is False else ""
    report.facts |= {"power from": POWER + whole, "unused columns": str(len(names) - 2)}


def read_row(words, names, on_mains, clock, timeline):
    clock_ms = to_clock_ms(words[0])
    power = names.index(POWER)
    # Columns behind the power may have blanks in them.
    if len(words) < len(names) or (names[-1] == POWER and len(words) > len(names)):
        raise wrong_count(len(words), len(names))
    power_mw = to_power_mw(words[power].removesuffix("E"))  # E: estimated
    now_ms = clock.after_midnights(clock_ms)
    time_ms = timeline.advance(now_ms)
    clock.last_ms = now_ms
    return Sample(time_ms, power_mw, on_mains=on_mains)
