"""Any CSV log in which the user names the columns of time and power."""

import csv
import datetime
import re

from tools.importer.log import (NO_COLUMN, TIMES, Clock, Sample, Timeline, Unusable, columns_text, to_clock_ms,
                                to_number, to_power_mw, wrong_count)

NAME = "CSV log"
DELIMITERS = (",", ";", "\t", "|")
MILLIWATTS = re.compile(r"(?:\b|_)mW\b|_mw\b")
UNITS = {"W": 1, "mW": 1000}  # parts of a watt


class Columns:
    """What the user chose. The unit follows from the name of the power's column where it is not told."""

    NAME = NAME

    def __init__(self, time, power, unit=None):
        self.time, self.power = time, power
        self.unit = unit or ("mW" if MILLIWATTS.search(power) else "W")

    def samples(self, lines, report):
        head, delimiter, first = None, None, None
        times, timeline = Times(), Timeline()
        for number, text in lines:
            first = first or (number, text)
            if head is None:
                delimiter = next((d for d in DELIMITERS if self.are_in(names_in(text, d))), None)
                head = names_in(text, delimiter) if delimiter else None
                if head:
                    self.tell_facts(number, head, report)
                continue
            try:
                cells = cells_of(text, delimiter)
                if cells != head:
                    yield self.read_row(cells, head, times, timeline)
            except Unusable as unusable:
                report.bad_line(number, unusable)
        if head is None and first:
            cells = names_in(first[1])
            report.tell(first[0], f"no line has both columns {columns_text([self.time, self.power])}; here are "
                                  f"{columns_text(cells)}")

    def are_in(self, cells):
        return self.time in cells and self.power in cells

    def tell_facts(self, number, head, report):
        for name in (self.time, self.power):
            if head.count(name) > 1:
                report.tell_once(number, f"several columns are called {columns_text([name])}: the first counts")
        report.facts |= {"power from": f"{self.power}, in {self.unit}", "clipping from": NO_COLUMN,
                         "time from": self.time, "unused columns": str(len(head) - 2)}

    def read_row(self, cells, head, times, timeline):
        if len(cells) != len(head):
            raise wrong_count(len(cells), len(head))
        power_mw = to_power_mw(cells[head.index(self.power)], UNITS[self.unit])
        now_ms = times.read(cells[head.index(self.time)])
        time_ms = timeline.advance(now_ms)
        times.keep(now_ms)
        return Sample(time_ms, power_mw)


def cells_of(text, delimiter):
    try:
        return [cell.strip() for cell in next(csv.reader([text], delimiter=delimiter, skipinitialspace=True))]
    except csv.Error as error:
        raise Unusable(f"no CSV: {error}") from error


def names_in(text, delimiter=None):
    """The cells of what may be a head, and nothing of what is no CSV."""
    try:
        return cells_of(text, delimiter or max(DELIMITERS, key=text.count))
    except Unusable:
        return []


class Times:
    """Seconds, a time of day or a date and time, in milliseconds: what the first good row has, all have."""

    def __init__(self):
        self.reads = None
        self.chosen = None
        self.clock = Clock()

    def read(self, text):
        for reads in (self.chosen,) if self.chosen else (seconds_ms, to_clock_ms, date_time_ms):
            try:
                value_ms = reads(text)
            except Unusable as unusable:
                if self.chosen:
                    raise unusable
            else:
                self.reads = reads
                return self.clock.after_midnights(value_ms) if reads is to_clock_ms else value_ms
        raise Unusable(f"time {columns_text([text])} is neither seconds nor a time of day nor a date and time", TIMES)

    def keep(self, now_ms):
        """The row was a good one."""
        self.chosen = self.reads
        self.clock.last_ms = now_ms


def seconds_ms(text):
    return round(to_number(text, "time", TIMES) * 1000)


def date_time_ms(text):
    """ISO 8601. Without an offset it counts as UTC, so that no hour is missing or there twice."""
    try:
        moment = datetime.datetime.fromisoformat(text)
    except ValueError as error:
        raise Unusable(f"time {columns_text([text])} is no date and time", TIMES) from error
    moment = moment if moment.tzinfo else moment.replace(tzinfo=datetime.timezone.utc)
    return round(moment.timestamp() * 1000)
