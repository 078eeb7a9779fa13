"""Puts the messages of the running service's diagnostic log into its trace, as `log` rows.

The trace counts milliseconds since the first Init; the log's lines carry the wall clock's seconds. Two messages are
written within milliseconds of a row of the trace, and anchor one clock to the other: the loop's first message follows
INIT, and the last one of its stop path follows SESSION_DESTROY. Each of them stands directly behind its row. An anchor
tells the distance between the clocks to within a second, so the middle is off by half a second at most, and by less the
more anchors there are. All other messages are put in the middle of their second, in the log's order and not past an
anchor: so they are off by half a second at most, and by as much again as the distance is.

The live trace's `processor` rows are written when the model is next looked at, which may be behind a later row. Here
all rows are put into the order of their times.
"""

import bisect
import csv
import io

from tools.shared.framework import DESTROY, INIT
from tools.shared.service_texts import LOOP_STARTS, LOOP_STOPS
from tools.trace.log_entries import log_of

ANCHORS = {LOOP_STARTS: INIT, LOOP_STOPS: DESTROY}


def anchored(entries, rows):
    """The number of the row behind which an entry belongs, by the entry's number."""
    found, after = {}, 0
    for number, (_, _, text) in enumerate(entries):
        name = ANCHORS.get(text)
        row = next((at for at in range(after, len(rows)) if rows[at][1:3] == ["call", name]), None) if name else None
        if row is not None:
            found[number], after = row, row + 1
    return found


def distance_ms(entries, rows, anchors):
    """From the trace's zero to the wall clock's, as well as all anchors together tell it."""
    least = [1000 * entries[entry][0] - int(rows[row][0]) for entry, row in anchors.items()]
    return (max(least) + min(least) + 1000) // 2


def places_of(entries, rows, anchors):
    """The log rows, by the number of trace rows that stand before them."""
    times = [int(row[0]) for row in rows]
    distance = distance_ms(entries, rows, anchors)
    behind = {}
    place, earlier_ms = 0, 0
    for number, (second, level, text) in enumerate(entries):
        if number in anchors:
            place, time_ms = anchors[number] + 1, times[anchors[number]]
        else:
            limit = next((row for entry, row in anchors.items() if entry > number), len(rows))
            latest_ms = times[limit] if limit < len(rows) else float("inf")
            time_ms = min(max(1000 * second + 500 - distance, earlier_ms), latest_ms)
            place = min(max(bisect.bisect_right(times, time_ms), place), limit)
        earlier_ms = time_ms
        behind.setdefault(place, []).append([time_ms, "log", level, text, ""])
    return behind


def merged(trace, log):
    """The trace's text in order, with the log's messages in it; without them when nothing anchors them."""
    head, *rows = csv.reader(io.StringIO(trace, newline=""), strict=True)
    rows.sort(key=lambda row: int(row[0]))
    entries = [(entry.second, entry.level, entry.text) for entry in log_of(log).entries]
    anchors = anchored(entries, rows)
    behind = places_of(entries, rows, anchors) if anchors else {}
    text = io.StringIO()
    writer = csv.writer(text, lineterminator="\n")
    writer.writerow(head)
    for place in range(len(rows) + 1):
        writer.writerows(behind.get(place, []))
        writer.writerows(rows[place:place + 1])
    return text.getvalue()
