"""The page of scripts/report.sh, which knows the plotting library's file and the folder of pages without a name.

The library goes into the page like all the rest: the page needs no other file and no network. With two traces the page
compares them. The same traces give the same bytes. Exit codes: 2 wrong usage, 3 a trace is malformed, 4 the page cannot
be written.
"""

import argparse
import html
import json
import pathlib
import string
import sys

from tools.shared.durations import duration
from tools.shared.exit_codes import MALFORMED, NOT_WRITABLE
from tools.shared.file_names import dashed_files, print_names_as_they_are, refuse_line_feeds, shown, told_apart
from tools.shared.new_file import NotWritable, write_whole
from tools.trace import comparison
from tools.trace.messages import LANES
from tools.trace.replay import Replay
from tools.trace.rows import MalformedTrace, read_trace
from tools.trace.series import series
from tools.trace.totals import totals

PARTS = pathlib.Path(__file__).resolve().parent
TILES = ("time", "power", "ceiling", "full share", "bursts", "clips")
# From which mean power of a step in W which ceiling is aimed at, before the workload and a battery change it.
TIERS = [(0, 1200), (1.6, 1800), (2.2, 2500), (3, 3000), (4, 3600), (5, 4200), (6, 4800), (10.5, 5400)]

EXPLANATION = (
    "Power is what the processor package drew. The ceiling is the performance preference that the service allowed "
    "(10000: unrestricted), PL1 the power limit that it set. The shaded bands behind the power are tiers: the number "
    "at their right is the ceiling that a step of such power aims at. Below the ceiling are the marks: what "
    "happened, and what the service made of it.")
COMPARISON = " Both traces are drawn over each other: A solid and filled, B dashed and hollow."
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


def name_of(file_name):
    return file_name.removesuffix(".csv").removesuffix(".trace")


def text(value):
    return html.escape(str(value))


def element(tag, content, **attributes):
    """An element around content that is HTML already."""
    inside = "".join(f' {name.rstrip("_")}="{text(value)}"' for name, value in attributes.items())
    return f"<{tag}{inside}>{content}</{tag}>"


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


def embedded(value):
    """JSON that no text inside can end early."""
    return json.dumps(value, separators=(",", ":"), allow_nan=False).replace("<", "\\u003c")


def data_of(traces):
    first_difference_ms = None
    if len(traces) > 1:
        found = comparison.first_difference(traces[0].rows, traces[1].rows)
        first_difference_ms = found and found.time_ms
    return {"traces": [trace.series for trace in traces], "tiers": TIERS, "firstDifference": first_difference_ms,
            "lanes": [{"key": key, "label": lane.label} for key, lane in LANES.items()]}


def page(traces, library):
    names = [trace.name for trace in traces]
    heading = names[0] if len(traces) == 1 else f"{names[0]} compared with {names[1]}"
    parts = [f"{duration(trace.replay.end_ms)}, {len(trace.replay.steps)} control steps" for trace in traces]
    subtitle = ["Power and limits over time: " + parts[0]] if len(traces) == 1 else \
        [f"{'AB'[index]} {trace.path}: {part}" for index, (trace, part) in enumerate(zip(traces, parts))]
    return string.Template(_part("page.html")).substitute(
        title=text(heading) + " - Kelvane report",
        heading=text(heading),
        subtitle="<br>".join(map(text, subtitle)),
        explanation=text(EXPLANATION + (COMPARISON if len(traces) > 1 else "")),
        tiles=tiles(traces),
        difference=difference_section(*traces) if len(traces) > 1 else "",
        totals=totals_table(traces),
        note="" if all(trace.replay.tells_decisions for trace in traces) else NO_DECISIONS,
        lanes=lanes_list(traces),
        data=embedded(data_of(traces)),
        style=_part("style.css"),
        library=library,
        timeline=_part("timeline.js"),
        script=_part("page.js"))


def _part(name):
    return (PARTS / name).read_text(encoding="utf-8")


def arguments():
    parser = argparse.ArgumentParser(prog="scripts/report.sh", description="Makes one HTML page of one or two traces.",
                                     usage="%(prog)s [-o PAGE.html] TRACE.csv [TRACE2.csv]", allow_abbrev=False)
    parser.add_argument("-o", dest="page", metavar="PAGE.html", help="the page's file; build/run/NAME.html by default")
    parser.add_argument("traces", nargs="+", metavar="TRACE.csv", help="a trace; two are compared")
    parser.add_argument("--library", required=True, help=argparse.SUPPRESS)
    parser.add_argument("--folder", required=True, type=pathlib.Path, help=argparse.SUPPRESS)
    given = parser.parse_args(dashed_files(sys.argv[1:], ("-o", "-h")))
    refuse_line_feeds([given.page or "", *given.traces])
    if len(given.traces) > 2:
        parser.error("one or two traces")
    if given.page and pathlib.Path(given.page).resolve() in [pathlib.Path(trace).resolve() for trace in given.traces]:
        parser.error("the page would overwrite a trace")
    return given


def main():
    print_names_as_they_are()
    given = arguments()
    names = told_apart(given.traces, name_of)
    path = given.page or given.folder / (".vs.".join(names).replace("/", "-") + ".html")
    try:
        made = page([Trace(trace, name) for trace, name in zip(given.traces, names)],
                    pathlib.Path(given.library).read_text(encoding="utf-8"))
    except MalformedTrace as fault:
        print(fault, file=sys.stderr)
        sys.exit(MALFORMED)
    try:
        given.folder.mkdir(parents=True, exist_ok=True)
        write_whole(path, made)
    except OSError as error:
        print(NotWritable(error.errno, error.strerror, str(path)), file=sys.stderr)
        sys.exit(NOT_WRITABLE)
    print(path)


if __name__ == "__main__":
    main()
