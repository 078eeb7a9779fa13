"""What differs between two traces: the first row, the first write to the processor, and by how much."""

import itertools
from typing import NamedTuple

from tools.shared.durations import MINUTE_MS, duration
from tools.shared.framework import is_write
from tools.trace.rows import Row


class Difference(NamedTuple):
    number: int  # counted from 1
    first: Row | None  # None: that trace has ended
    second: Row | None

    @property
    def time_ms(self):
        return min(row.time_ms for row in (self.first, self.second) if row)

    def sentence(self, what):
        return f"The first {what} that differs is number {self.number}, at {clock(self.time_ms)}:"


def clock(ms):
    minutes, ms = divmod(ms, MINUTE_MS)
    return f"{minutes}:{ms // 1000:02}.{ms % 1000:03}"


def row_text(row):
    """A row without its line, as it stands in the trace."""
    return ",".join((str(row.time_ms), row.kind, row.name, row.value, row.status))


def first_difference(first, second):
    """The first pair of rows that differ in more than their lines, or None."""
    for index, (one, other) in enumerate(itertools.zip_longest(first, second)):
        if one is None or other is None or one[1:] != other[1:]:
            return Difference(index + 1, one, other)
    return None


def writes(rows):
    return [row for row in rows if row.kind == "primitive" and is_write(row.name)]


def ceiling_difference(first, second):
    """(time in which both know a ceiling, time in which they differ, mean of B - A over the former), of two replays."""
    end_ms = min(first.end_ms, second.end_ms)
    times = sorted({time_ms for replay in (first, second) for time_ms, _, _ in replay.changes if time_ms < end_ms})
    known_ms = differ_ms = weighted = 0
    ceilings = [_ceiling_at(replay, times) for replay in (first, second)]
    for one, other, since_ms, until_ms in zip(*ceilings, times, times[1:] + [end_ms]):
        if one and other:
            known_ms += until_ms - since_ms
            differ_ms += (until_ms - since_ms) * (one != other)
            weighted += (until_ms - since_ms) * (other - one)
    return known_ms, differ_ms, weighted / known_ms if known_ms else 0.0


def _ceiling_at(replay, times):
    """The ceiling in force from each of the times on; 0 before the first."""
    changes = iter([*replay.changes, (float("inf"), 0, 0)])
    upcoming, ceiling = next(changes), 0
    for time_ms in times:
        while upcoming[0] <= time_ms:
            ceiling = upcoming[1]
            upcoming = next(changes)
        yield ceiling


def by_how_much(first, second):
    known_ms, differ_ms, mean = ceiling_difference(first, second)
    if not known_ms:
        return "The traces have no time in common in which both know a ceiling."
    return (f"The ceilings differ for {duration(differ_ms)} of the {duration(known_ms)} that the traces have in common "
            f"({100 * differ_ms / known_ms:.1f}%); on average B allows {abs(mean):.0f} "
            f"{'more' if mean >= 0 else 'less'} than A.")


def totals_rows(all_totals):
    """Label and text of each total; of two traces also the difference and the change in percent."""
    keys = list(dict.fromkeys(key for totals in all_totals for key in totals))
    order = {key: index for totals in all_totals for index, key in enumerate(totals)}
    for key in sorted(keys, key=order.get):
        found = [totals.get(key) for totals in all_totals]
        label = next(total.label for total in found if total)
        texts = [total.text() if total else "0" for total in found]
        yield [label, *texts, *(_change(found) if len(found) == 2 else [])]


def _change(found):
    values = [total.value if total else 0 for total in found]
    if None in values:
        return ["", ""]
    change = values[1] - values[0]
    show = next(total.show for total in found if total)
    sign = "+" if change > 0 else "-" if change < 0 else ""
    if show(change).endswith("%"):
        return [f"{sign}{abs(change):.1f} points", ""]
    percent = f"{100 * change / values[0]:+.1f}%" if values[0] and change else ""
    return [sign + show(abs(change)), percent]
