"""HWiNFO64's CSV log: a column for each sensor, a row for each poll.

The columns of one computer are never those of another, names may be there twice, and the head is written again at the
log's end, followed by a row with the sensors' names.
"""

import csv
import datetime
import functools
import re
import typing

from tools.importer.log import (NO_COLUMN, TIMES, Sample, Timeline, Unusable, columns_text, quoted, to_clock_ms,
                                to_number, to_power_mw, wrong_count)
from tools.shared import file_kind
from tools.shared.durations import DAY_MS

NAME = file_kind.HWINFO
HEAD = file_kind.HWINFO_HEAD

# The package's power, by the first of these names that is there: the processor's own account before the board's.
POWER_NAMES = ("cpu package power", "cpu package power (smu)", "cpu ppt")
CHARGE_NAME = "charge rate"  # negative while the battery is discharged

CLIPS, NO_EFFECT = True, False
CORE = r"(?:[pe]-)?core(?: \d+)?"
# Whether a reason stands for the processor clipped by a power limit. The first row that fits counts.
REASONS = tuple((re.compile(pattern), effect) for pattern, effect in (
    (r"ia: package-level rapl/pbm pl1", CLIPS),
    (r"ia: package-level rapl/pbm pl2(?:,\s*pl3)?", CLIPS),
    (rf"(?:{CORE}|package/ring|package|cpu) power limit exceeded(?: \(avg\))?", CLIPS),
    # of other parts of the package
    (r"(?:gt|ring): package-level rapl/pbm pl(?:1|2(?:,\s*pl3)?)", NO_EFFECT),
    # any reason at all, turbo limits included
    (r"(?:ia|gt|ring) limit reasons", NO_EFFECT),
    # heat, current, turbo
    (r"(?:ia|gt|ring): (?:prochot|thermal event|residency state regulation|running average thermal limit"
     r"|vr thermal alert|vr tdc|electrical design point/other.*|max turbo limit|turbo attenuation \(mct\)"
     r"|thermal velocity boost)", NO_EFFECT),
    (rf"(?:{CORE}|package/ring|package|cpu) (?:thermal throttling|critical temperature)(?: \(avg\))?", NO_EFFECT),
    (r"thermal throttling \((?:htc|prochot cpu|prochot ext)\)", NO_EFFECT),
    # the graphics card
    (r"(?:gpu )?performance limit(?:er)? - .*", NO_EFFECT),
))
# Yes/No columns of these words are reasons too, known or not; others are a drive's warnings and the like.
REASON_WORDS = re.compile(r"^(?:ia|gt|ring)\b|limit|throttl|prochot")

# Positions of year, month and day in a date.
DATE_ORDERS = ((2, 1, 0), (2, 0, 1), (0, 1, 2))


class Columns(typing.NamedTuple):
    count: int
    power: int
    clips: list
    charges: list


def samples(lines, report):
    columns, delimiter, after_head = None, ",", False
    calendar, timeline = Calendar(), Timeline()
    for number, text in lines:
        head = HEAD.match(text)
        try:
            if head:
                delimiter = head[1]
                columns = read_head(number, cells_of(text, delimiter), report)
            elif columns:
                cells = cells_of(text, delimiter)
                if after_head and not any(cells[:2]):
                    report.passed_over["rows of sensor names"] += 1
                else:
                    yield read_row(cells, columns, calendar, timeline)
        except Unusable as unusable:
            report.bad_line(number, unusable)
        after_head = bool(head)


def cells_of(text, delimiter):
    """A quote that is never closed spoils its own line only, so each line is a file to the CSV reader."""
    try:
        cells = [cell.strip() for cell in next(csv.reader([text], delimiter=delimiter))]
    except csv.Error as error:
        raise Unusable(f"no CSV: {error}") from error
    return cells[:-1] if cells[-1] == "" else cells


def name_and_unit(cell):
    name, _, unit = cell.rpartition("[")
    return name.strip().lower(), unit.removesuffix("]").strip().lower()


def read_head(number, cells, report):
    """Finds the columns; None without a package power."""
    powers, clips, charges, known = [], [], [], []
    for index, cell in enumerate(cells[2:], 2):
        name, unit = name_and_unit(cell)
        effect = reason_effect(name) if unit == "yes/no" else None
        if unit == "w" and name in POWER_NAMES:
            powers.append((POWER_NAMES.index(name), index))
        elif unit == "w" and name == CHARGE_NAME:
            charges.append(index)
        elif effect is CLIPS:
            clips.append(index)
        elif effect is NO_EFFECT:
            known.append(cell)
        elif unit == "yes/no" and REASON_WORDS.search(name):
            report.tell_once(number, f"unknown limit reason {quoted(cell)} is passed over", "unknown limit reasons")
    if not powers:
        others = [cell for cell in cells[2:] if name_and_unit(cell)[1] in ("w", "mw")]
        choice = f"; choose by --time {columns_text(cells[1:2])} and --power one of {columns_text(others)}"
        report.tell_once(number, "no column tells the package's power in W, such as CPU Package Power [W]" +
                         (choice if others else ""))
        return None
    power = min(powers)[1]
    unused = len(cells) - 3 - len(clips) - len(charges) - len(known)
    report.facts |= {"power from": cells[power], "clipping from": listed(cells[index] for index in clips),
                     "without effect": listed(known), "unused columns": str(unused)}
    return Columns(len(cells), power, clips, charges)


def reason_effect(name):
    return next((effect for pattern, effect in REASONS if pattern.fullmatch(name)), None)


def listed(names):
    """Each name once, in the log's order."""
    return "; ".join(dict.fromkeys(names)) or NO_COLUMN


def read_row(cells, columns, calendar, timeline):
    if len(cells) != columns.count:
        raise wrong_count(len(cells), columns.count)
    power_mw = to_power_mw(cells[columns.power])
    answers = [to_answer(cells[index]) for index in columns.clips]
    charges = [to_number(cells[index], "charge rate") for index in columns.charges if cells[index]]
    clock_ms = to_clock_ms(cells[1])
    day, dates = calendar.day_of(cells[0])
    time_ms = timeline.advance(day * DAY_MS + clock_ms)
    calendar.keep(day, dates)
    return Sample(time_ms, power_mw, any(answers) if answers else None, min(charges) >= 0 if charges else None)


def to_answer(text):
    answer = text.lower()
    if answer not in ("yes", "no"):
        raise Unusable(f"limit reason {quoted(text)} is neither Yes nor No")
    return answer == "yes"


class Calendar:
    """Counts days. Whether 11/12 is in November or in December is never asked: of all orders of day, month and year in
    which two dates make sense, the one that puts them nearest to each other counts."""

    def __init__(self):
        self.day = 0
        self.dates = None

    def day_of(self, text):
        """The date's day, and what `keep` needs if the row is a good one."""
        dates = to_dates(text)
        if self.dates is None or dates == self.dates:
            return self.day, dates
        steps = [dates[order] - self.dates[order] for order in dates if order in self.dates]
        if not steps:
            raise Unusable(f"date {quoted(text)} does not follow the one before", TIMES)
        return self.day + min(steps, key=abs), dates

    def keep(self, day, dates):
        self.day, self.dates = day, dates


@functools.lru_cache(maxsize=16)
def to_dates(text):
    """The day's number in each order in which the date makes sense."""
    parts = [int(part) for part in re.findall(r"[0-9]{1,4}", text[:20])]
    dates = {}
    for order in DATE_ORDERS if len(parts) == 3 else ():
        year, month, day = (parts[position] for position in order)
        try:
            dates[order] = datetime.date(year + 2000 * (year < 100), month, day).toordinal()
        except ValueError:
            pass
    if not dates:
        raise Unusable(f"date {quoted(text)} is no date", TIMES)
    return dates
