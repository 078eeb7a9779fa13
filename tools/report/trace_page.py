"""The page of a trace, or of two that are compared."""

from tools.report.elements import element, embedded, filled, text
from tools.shared.durations import duration
from tools.shared.file_names import shown
from tools.trace import comparison
from tools.trace.messages import LANES
from tools.trace.replay import Replay
from tools.trace.rows import read_trace
from tools.trace.series import series
from tools.trace.totals import totals

TILES = ("time", "power", "ceiling", "full share", "bursts", "clips")
# From which mean power of a step in W which ceiling is aimed at, before the workload and a battery change it.
TIERS = [(0, 1200), (1.6, 1800), (2.2, 2500), (3, 3000), (4, 3600), (5, 4200), (6, 4800), (10.5, 5400)]

EXPLANATION = (
    "Power is what the processor package drew. The ceiling is the performance preference that the service allowed "
    "(10000: unrestricted), PL1 the power limit that it set. The shaded bands behind the power are tiers: the number "
    "at their right is the ceiling that a step of such power aims at. Below the ceiling are the marks: what "
    "happened, and what the service made of it.")
COMPARISON = " Both traces are drawn over each other: A solid and filled, B dashed and hollow."
HINT = (
    "Hover or tap: the values and the message behind the decision. Zoom: the buttons, the bar below the curves, Ctrl + "
    "wheel, a pinch, or the keys + and -. Move: drag, or the arrow keys. A name above the curves hides its curve.")
NO_DECISIONS = (
    '<p class="note">The log of the running service holds no decisions, only its levels DEBUG, WARNING and ERROR, with '
    "times of one second. So some totals are missing, and marks from the log may stand up to a second off.</p>")


class Trace:
    """A trace with all that the page shows of it."""

    def __init__(self, path, name):
        self.path = shown(path)
        self.name = shown(name)
        self.rows = read_trace(path)
        self.replay = Replay()
        self.replay.read(self.rows)
        self.totals = totals(self.replay)
        self.series = series(self.name, self.rows, self.replay)


def tag(index):
    return element("span", "AB"[index], class_="tag " + ("first", "second")[index])


def tiles(traces):
    """The key figures."""
    shown = []
    for key in TILES:
        values = "".join(
            element("strong", (tag(index) + " " if len(traces) > 1 else "") + text(trace.totals[key].text()))
            for index, trace in enumerate(traces) if trace.totals[key].value is not None)
        if values:
            label = {"full share": "at full performance"}.get(key, traces[0].totals[key].label)
            shown.append(element("div", element("p", text(label)) + values, class_="tile"))
    return "\n".join(shown)


def totals_table(traces):
    heads = [""] + ([text(traces[0].name)] if len(traces) == 1 else
                    [tag(index) + " " + text(trace.name) for index, trace in enumerate(traces)] + ["B - A", "change"])
    rows = []
    for cells in comparison.totals_rows([trace.totals for trace in traces]):
        rows.append(element("tr", element("th", text(cells[0]), scope="row") +
                            "".join(element("td", text(cell), class_="number") for cell in cells[1:])))
    head = element("tr", "".join(element("th", name, scope="col", **({"class_": "number"} if name else {}))
                                 for name in heads))
    return element("table", element("thead", head) + element("tbody", "\n".join(rows)), id="totals")


def totals_section(traces):
    note = "" if all(trace.replay.tells_decisions for trace in traces) else NO_DECISIONS
    return ('<section aria-labelledby="totals-heading">\n<h2 id="totals-heading">Totals</h2>\n<div class="scroll">\n'
            f"{totals_table(traces)}\n</div>\n{note}\n</section>")


def difference_section(first, second):
    """What differs first, and for how long."""
    found = comparison.first_difference(first.rows, second.rows)
    if found is None:
        return element("section", element("h2", "No difference") +
                       element("p", f"Both traces hold the same {len(first.rows)} rows."),
                       class_="difference none", id="difference")
    command = comparison.first_difference(*(comparison.writes(trace.rows) for trace in (first, second)))
    parts = [element("h2", "What differs first"), element("p", text(found.sentence("row"))), rows_table(found)]
    if command is None:
        parts.append(element("p", "All writes to the processor are the same."))
    else:
        parts += [element("p", text(command.sentence("write to the processor"))), rows_table(command)]
    parts.append(element("p", text(comparison.by_how_much(first.replay, second.replay))))
    return element("section", "\n".join(parts), class_="difference", id="difference")


def rows_table(found):
    rows = []
    for index, row in enumerate((found.first, found.second)):
        cells = ["", "the trace has ended"] if row is None else [row.line, comparison.row_text(row)]
        rows.append(element("tr", element("th", tag(index), scope="row") +
                            element("td", f"line {cells[0]}" if cells[0] else "", class_="number") +
                            element("td", element("code", text(cells[1])))))
    return element("table", element("tbody", "".join(rows)))


def lanes_list(traces):
    seen = {mark["lane"] for trace in traces for mark in trace.series["marks"]}
    return "\n".join(element("div", element("dt", text(lane.label), style=f"color: var(--{key})") +
                             element("dd", text(lane.meaning))) for key, lane in LANES.items() if key in seen)


def data_of(traces):
    first_difference_ms = None
    if len(traces) > 1:
        found = comparison.first_difference(traces[0].rows, traces[1].rows)
        first_difference_ms = found and found.time_ms
    return {"traces": [trace.series for trace in traces], "tiers": TIERS, "firstDifference": first_difference_ms,
            "what": "trace", "begin": 0,
            "lanes": [{"key": key, "label": lane.label} for key, lane in LANES.items()]}


def page(traces, library):
    names = [trace.name for trace in traces]
    heading = names[0] if len(traces) == 1 else f"{names[0]} compared with {names[1]}"
    parts = [f"{duration(trace.replay.end_ms)}, {len(trace.replay.steps)} control steps" for trace in traces]
    subtitle = ["Power and limits over time: " + parts[0]] if len(traces) == 1 else \
        [f"{'AB'[index]} {trace.path}: {part}" for index, (trace, part) in enumerate(zip(traces, parts))]
    return filled(
        library,
        title=text(heading) + " - Kelvane report",
        heading=text(heading),
        subtitle="<br>".join(map(text, subtitle)),
        explanation=text(EXPLANATION + (COMPARISON if len(traces) > 1 else "")),
        tiles=tiles(traces),
        before=difference_section(*traces) if len(traces) > 1 else "",
        hint=text(HINT),
        after=totals_section(traces),
        lanes=lanes_list(traces),
        data=embedded(data_of(traces)))
