"""The page of a diagnostic log: when scaling was on, why it ended, and what the errors ask for."""

import collections
import os
import time

from tools.report.elements import element, embedded, filled, text
from tools.report.log_story import BY_FAILURE, Story, how_it_ended, state_of
from tools.shared.file_kind import DIAGNOSTIC_LOG
from tools.shared.file_names import shown
from tools.trace.log_entries import read_log
from tools.trace.messages import DETAIL, ERROR_LEVEL, FAILURE, LANES, RUN, STANDBY, Lane, understand

LOG_NAME = "KelvanneApp.log"
GROUPED_S = 10  # entries of one meaning that follow each other within this time are one mark

NOTHING_TO_DO = "None"
SCALING, HARMLESS, OTHER = "on", "detail", "other"
LOG_LANES = {
    SCALING: Lane("Scaling on", "From the start of scaling to its end."),
    RUN: LANES[RUN],
    FAILURE: Lane("Failure", "A start failed, or an error was logged about which something is to be done."),
    STANDBY: LANES[STANDBY],
    HARMLESS: Lane("No action", "Entries about which nothing is to be done, errors among them."),
    OTHER: LANES[OTHER],
}

EXPLANATION = (
    "What the service wrote since it was started, each entry with its meaning: when scaling was on, why it ended, and "
    "what the errors ask for.")
HINT = (
    "Hover or tap: the entries of that moment. Zoom: the buttons, the bar below the lanes, Ctrl + wheel, a pinch, or "
    "the keys + and -. Move: drag, or the arrow keys.")
NOT_TOLD = (
    "Power, ceiling, PL1 and the controller's decisions are not in a log: the service never writes them.",
    "The log begins anew with each start of the service, so it covers one run of the service at most.",
    "A start of scaling that is turned away leaves no line. It shows at the next stop alone: \"Stop is called from the "
    "registry\" without \"Kiostot registry: Stop KV completed\" behind it.",
    "A service that is ended by force, and a machine that loses power, leave no line.",
    "Times are those of the PC's own clock, to a second.",
)


class MalformedLog(Exception):
    """Its text is FILE:LINE: reason."""


class LogPage:
    """A log with all that the page shows of it."""

    def __init__(self, path, name):
        self.path = shown(path)
        self.name = shown(name)
        try:
            self.log = read_log(path)
        except OSError as error:
            raise MalformedLog(f"{path}: cannot be read: {error.strerror}") from error
        if not self.log.entries:
            raise MalformedLog(f"{path}:1: this is no {DIAGNOSTIC_LOG}: it has no whole entry")
        self.seconds = [entry.second for entry in self.log.entries]
        self.story = Story(self.log.entries)
        self.errors = errors_by_kind(self.log.entries)
        self.marks = marks_of(self)
        self.several_days = min(self.seconds) // 86400 != max(self.seconds) // 86400

    def when(self, entry):
        return moment(entry.second, self.several_days)


def moment(second, with_day=True):
    return time.strftime("%d %b %Y %H:%M:%S" if with_day else "%H:%M:%S", time.gmtime(second))


def span(seconds):
    """How long, in its two largest units."""
    parts = [(seconds // 86400, "d"), (seconds // 3600 % 24, "h"), (seconds // 60 % 60, "min"), (seconds % 60, "s")]
    first = next((index for index, (value, _) in enumerate(parts) if value), len(parts) - 1)
    return " ".join(f"{value} {unit}" for value, unit in parts[first:first + 2])


# --- errors -------------------------------------------------------------------------------------------------------

def errors_by_kind(entries):
    """[(meaning, entries)]: those that ask for something first."""
    kinds = collections.OrderedDict()
    for entry in entries:
        meaning, _ = understand(entry.level, entry.text)
        if entry.level == ERROR_LEVEL or meaning.kind == FAILURE:
            kinds.setdefault((meaning.title, meaning.action), (meaning, []))[1].append(entry)
    return sorted(kinds.values(), key=lambda kind: kind[0].action == NOTHING_TO_DO)


def asks_for_something(meaning):
    return meaning.action != NOTHING_TO_DO


def action_of(meaning):
    return "Nothing" if meaning.action == NOTHING_TO_DO else meaning.action or "Not known here: keep the log"


def title_of(meaning, entry):
    return "An error that this report does not know" if meaning.title == "Message" and entry.level == ERROR_LEVEL \
        else meaning.title


def errors_table(page):
    if not page.errors:
        return element("p", "The log holds no error.")
    rows = []
    for meaning, entries in page.errors:
        first = entries[0]
        times = " to ".join(dict.fromkeys((page.when(first), page.when(entries[-1]))))
        what = element("div", text(title_of(meaning, first))) + element("code", text(shown(first.text)))
        rows.append(row(len(entries), (what,), text(action_of(meaning)), text(times),
                        quiet=not asks_for_something(meaning)))
    return table("errors", ("Count", "What", "What to do", "When"), rows)


# --- runs of scaling ----------------------------------------------------------------------------------------------

def runs_table(page):
    if not page.story.runs:
        return element("p", "The log tells of no start of scaling.")
    rows = []
    for number, run in enumerate(page.story.runs, 1):
        on_for = run.seconds_on(page.seconds[-1])
        why, more = how_it_ended(run)
        reason = element("strong", text(why)) + (text(f": {more}") if more else "")
        rows.append(row(number, text(page.when(run.first())), text(page.when(run.end) if run.end else ""),
                        text("never on" if on_for is None and run.reason == BY_FAILURE else
                             "not told" if on_for is None else span(on_for)), reason))
    return table("runs", ("", "Start", "End", "On for", "Why it ended"), rows)


def row(number, *cells, quiet=False):
    inside = element("td", number, class_="number") + "".join(
        element("td", cell if isinstance(cell, str) else "".join(cell)) for cell in cells)
    return element("tr", inside, **({"class_": "quiet"} if quiet else {}))


def table(name, heads, rows):
    head = "".join(element("th", text(title), scope="col", **({"class_": "number"} if index == 0 else {}))
                   for index, title in enumerate(heads))
    return element("div", element("table", element("thead", element("tr", head)) +
                                  element("tbody", "\n".join(rows)), id=name), class_="scroll", tabindex=0)


# --- the timeline -------------------------------------------------------------------------------------------------

def lane_of(entry, meaning):
    if meaning.action == NOTHING_TO_DO:
        return HARMLESS
    return meaning.kind if meaning.kind in LOG_LANES and meaning.kind != DETAIL else \
        FAILURE if entry.level == ERROR_LEVEL else HARMLESS


def marks_of(page):
    """Bars of scaling, and a mark for each entry; alike ones in a row share one."""
    marks, latest = [], {}
    for run in page.story.runs:
        on_for = run.seconds_on(page.seconds[-1])
        if on_for is not None:
            marks.append({"lane": SCALING, "time": 1000 * run.on.second, "end": 1000 * (run.on.second + on_for),
                          "texts": [(f"Scaling is on for {span(on_for)}", ": ".join(filter(None, how_it_ended(run))))]})
    for entry in page.log.entries:
        meaning, _ = understand(entry.level, entry.text)
        lane, said = lane_of(entry, meaning), (title_of(meaning, entry), shown(entry.text))
        mark = latest.get(lane)
        if mark and mark["texts"][-1][0] == said[0] and 0 <= entry.second - mark["end"] // 1000 <= GROUPED_S:
            mark.update(end=1000 * entry.second, count=mark.get("count", 1) + 1)
            continue
        latest[lane] = {"lane": lane, "time": 1000 * entry.second, "end": 1000 * entry.second, "texts": [said]}
        marks.append(latest[lane])
    return sorted(marks, key=lambda mark: mark["time"])


def data_of(page):
    texts = {}

    def number(said):
        return texts.setdefault(said, len(texts))

    marks = [{**mark, "texts": [(number(title), number(said)) for title, said in mark["texts"]]}
             for mark in page.marks]
    first, last = 1000 * min(page.seconds), 1000 * max(page.seconds)
    edge = max(2000, (last - first) // 50)
    trace = {"name": page.name, "end": last + edge, "power": [], "stepPower": [], "tracker": [], "target": [],
             "ceiling": [], "pl1": [], "processor": {}, "decisions": [], "limits": [], "marks": marks,
             "texts": list(texts)}
    return {"traces": [trace], "tiers": [], "firstDifference": None, "what": "log", "calendar": True,
            "begin": first - edge, "severalDays": page.several_days,
            "lanes": [{"key": key, "label": lane.label} for key, lane in LOG_LANES.items()]}


# --- the page -----------------------------------------------------------------------------------------------------

def tiles(page):
    told = [on_for for run in page.story.runs if (on_for := run.seconds_on(page.seconds[-1])) is not None]
    figures = {
        "at the log's end": {"on": "scaling is on", "off": "scaling is off"}.get(state(page).word, "not known"),
        "scaling was on for": span(sum(told)),
        "times scaling was on": len(told),
        "failed starts": sum(run.reason == BY_FAILURE for run in page.story.runs),
        "standbys": len(page.story.standbys),
        "errors to act on": sum(len(entries) for meaning, entries in page.errors if asks_for_something(meaning)),
    }
    return "\n".join(element("div", element("p", text(label)) + element("strong", text(value)), class_="tile")
                     for label, value in figures.items())


def state(page):
    return state_of(page.story, page.when)


def state_section(page):
    now = state(page)
    parts = [element("h2", "At the log's end"), element("p", text(now.sentence))]
    if now.action:
        parts.append(element("p", element("strong", "To go on: ") + text(now.action) + "."))
    return element("section", "\n".join(parts), class_="difference" + (" none" if now.word == "on" else ""), id="state")


def notes(page):
    told = list(NOT_TOLD)
    if page.log.passed_over:
        told.append(f"Lines that belong to no entry and were passed over: {page.log.passed_over}.")
    if any(later < earlier for earlier, later in zip(page.seconds, page.seconds[1:])):
        told.append("The PC's clock was set back while the log was written: entries before and after may overlap.")
    return element("ul", "".join(element("li", text(note)) for note in told), class_="note")


def section(title, name, content):
    return f'<section aria-labelledby="{name}">{element("h2", title, id=name)}{content}</section>'


def lanes_list(page):
    seen = {mark["lane"] for mark in page.marks}
    return "\n".join(element("div", element("dt", text(lane.label), style=f"color: var(--{key})") +
                             element("dd", text(lane.meaning))) for key, lane in LOG_LANES.items() if key in seen)


def made_of(page, library):
    entries = len(page.log.entries)
    return filled(
        library,
        title=text(page.name) + " - Kelvane report",
        heading=text(page.name),
        subtitle=text(f"Diagnostic log of the service: {entries} {'entry' if entries == 1 else 'entries'}, "
                      f"{moment(page.seconds[0])} to {moment(page.seconds[-1])}"),
        explanation=text(EXPLANATION),
        tiles=tiles(page),
        before=state_section(page),
        hint=text(HINT),
        after=section("Scaling on and off", "runs-heading", runs_table(page)) +
        section("Errors", "errors-heading", errors_table(page)) +
        section("What a log does not tell", "notes-heading", notes(page)),
        lanes=lanes_list(page),
        data=embedded(data_of(page)))


def log_in(path):
    """The log itself where a folder that holds one is given."""
    inside = os.path.join(path, LOG_NAME)
    return inside if os.path.isfile(inside) else path
