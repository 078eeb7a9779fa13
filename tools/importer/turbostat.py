"""turbostat's text log: in each interval a row that sums up the whole system, and one for each processor below it.

Only the summary's row counts. Where the log names the processors, that row has a dash in place of each number. Where it
does not (`--show PkgWatt`), the head is written before each interval and the summary's row is the first below it, or,
with `--Summary`, there are no other rows.
"""

import re
import typing

from tools.importer.log import NO_COLUMN, TIMES, Sample, Timeline, Unusable, quoted, to_number, to_power_mw, wrong_count
from tools.shared import file_kind

NAME = file_kind.TURBOSTAT
HEAD = file_kind.TURBOSTAT_HEAD
INTERVAL = re.compile(r"([0-9]{1,6}(?:\.[0-9]{1,9})?) sec")
INTERVAL_MS = 5000  # turbostat's own

POWER = "PkgWatt"
TIME = "Time_Of_Day_Seconds"
CLIP = "PKG_%"
CLIP_SHARE_MIN = 50.0  # percent of the interval in which the package was throttled
TOPOLOGY = ("Package", "Die", "Node", "L3", "Core", "CPU", "APIC", "X2APIC")
MEASURES = ("usec", "Avg_MHz", "Busy%", "%Busy", "Bzy_MHz", "TSC_MHz", "UncMHz", "IRQ", "NMI", "SMI", "IPC", "CoreThr",
            "CoreTmp", "PkgTmp", "CorWatt", "GFXWatt", "RAMWatt", "SysWatt", "Pkg_J", "Cor_J", "GFX_J", "RAM_J",
            "RAM_%", "GFXMHz", "GFXAMHz", "SAMMHz", "SAMAMHz", "CPUGFX%", "CPU%LPI", "SYS%LPI")
# Idle states: as the kernel counts them, and as the hardware does.
STATES = re.compile(r"(?:POLL|LPI|C[0-9]+\w*|S0i[0-9]+\w*)[%+-]?"
                    r"|(?:CPU|Mod)%c[0-9]+\w*|Pkg?%pc[0-9]+|GFX%rc6|SAM%mc6|(?:Totl|Any|GFX)%C0")
PACKAGE_ROWS = 2  # with all columns in an interval, where no row is numbered: the summary's and the package's
PACKAGE_ROWS_APART_S_MAX = 0.1  # the processors are read one after the other
UNDECIDED_ROWS_MAX = 1024


class Columns(typing.NamedTuple):
    names: list
    topology: list


class Row(typing.NamedTuple):
    number: int
    columns: Columns
    cells: list
    interval_ms: int

    def has_all_columns(self):
        return len(self.cells) == len(self.columns.names)


def samples(lines, report):
    timeline = Timeline()
    end_ms = 0  # of the rows so far; a row that is passed over takes its time too
    for row in summary_rows(rows_of(lines, report), report):
        start_ms, end_ms = end_ms, end_ms + row.interval_ms
        try:
            yield read_row(row, start_ms, timeline)
        except Unusable as unusable:
            report.bad_line(row.number, unusable)


def rows_of(lines, report):
    """Every row of numbers, and None for each head."""
    columns, interval_ms = None, INTERVAL_MS
    for number, text in lines:
        interval = INTERVAL.fullmatch(text.strip())
        cells = cells_of(text)
        if interval:
            interval_ms = report.interval_ms = round(float(interval[1]) * 1000)
        elif is_head(cells):
            columns = read_head(number, cells, report)
            yield None
        elif columns:
            yield Row(number, columns, cells, interval_ms)


def cells_of(text):
    """Cells lie between tabs and may be empty; old versions, and copies from a terminal, have blanks instead."""
    if "\t" not in text:
        return text.split()
    cells = [cell.strip() for cell in text.split("\t")]
    return cells[:-1] if cells[-1] == "" else cells


def is_head(cells):
    return any(name in cells for name in (POWER, "Pkg_J", "Avg_MHz", "Bzy_MHz"))


def read_head(number, cells, report):
    """Finds the columns; None without a package power."""
    if POWER not in cells:
        report.tell_once(number, f"no column {POWER} tells the package's power in W")
        return None
    known = {POWER, TIME, CLIP, *TOPOLOGY, *MEASURES}
    for cell in cells:
        if cell not in known and not STATES.fullmatch(cell):
            report.tell_once(number, f"unknown column {quoted(cell)} is passed over", "unknown columns")
    has_time = TIME in cells
    if not has_time and report.interval_ms is None:
        report.interval_ms = INTERVAL_MS
    report.facts |= {"power from": POWER, "clipping from": CLIP if CLIP in cells else NO_COLUMN,
                     "time from": TIME if has_time else f"the intervals, {INTERVAL_MS // 1000} s where none is told",
                     "unused columns": str(len(cells) - sum(name in cells for name in (POWER, TIME, CLIP)))}
    return Columns(cells, [index for index, cell in enumerate(cells) if cell in TOPOLOGY])


def summary_rows(rows, report):
    """Of each interval's rows the one that sums up. Where nothing else tells, the first interval decides."""
    first_only, undecided, is_first = None, [], True
    for row in rows:
        if row is None:
            if first_only is None and is_one_interval(undecided):
                first_only = True
                report.passed_over["rows of single processors"] += len(undecided) - 1
                del undecided[1:]
            yield from undecided
            undecided, is_first = [], True
        elif row.columns.topology:
            yield from summary_of_numbered(row, report)
        elif first_only is None:
            undecided.append(row)
            if sum(map(Row.has_all_columns, undecided)) > PACKAGE_ROWS or len(undecided) > UNDECIDED_ROWS_MAX:
                first_only = False
                yield from undecided
                undecided = []
        elif is_first or not first_only:
            is_first = False
            yield row
        else:
            report.passed_over["rows of single processors"] += 1
    yield from undecided


def is_one_interval(rows):
    rows = [row for row in rows if row.has_all_columns()]
    if len(rows) != PACKAGE_ROWS:
        return False
    try:
        times = [to_number(row.cells[row.columns.names.index(TIME)], TIME) for row in rows if TIME in row.columns.names]
    except Unusable:
        return False
    return not times or abs(times[1] - times[0]) <= PACKAGE_ROWS_APART_S_MAX


def summary_of_numbered(row, report):
    places = {row.cells[index] for index in row.columns.topology if index < len(row.cells)}
    if places and all(place.isdecimal() for place in places):
        report.passed_over["rows of single processors"] += 1
    else:
        yield row


def read_row(row, start_ms, timeline):
    names, cells = row.columns.names, row.cells
    if not row.has_all_columns():
        raise wrong_count(len(cells), len(names))
    for index in row.columns.topology:
        if cells[index] != "-":
            raise Unusable(f"{names[index]} {quoted(cells[index])} is neither a number nor a dash")
    values = dict(zip(names, cells))
    power_mw = to_power_mw(values[POWER])
    clipped = to_number(values[CLIP], CLIP) >= CLIP_SHARE_MIN if CLIP in values else None
    now_ms = round(to_number(values[TIME], TIME, TIMES) * 1000) if TIME in values else start_ms
    return Sample(timeline.advance(now_ms), power_mw, clipped)
