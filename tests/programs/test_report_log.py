"""scripts/report.sh with a diagnostic log: what is made of its entries, and the page as a reader sees it."""

import time

import pytest
from report_page import Page, headless_browser, made, report

from tools.report.log_page import span
from tools.report.log_story import Story, how_it_ended, state_of
from tools.trace.log_entries import log_of

NOON = 1795262400  # of Saturday, 21 November 2026
BEGIN, ON = "processidCapture started", "KV scaling is started : "
STOP, DONE = "Stop is called from the registry ", "Kiostot registry: Stop KV completed"
SLEEP, NO_CORE = "Entering MS-506 ", " KV Start MS/CS is initializing the ORQ, Scaling is stopped "
LOOP_ENDED, ENGINE_ENDED = "KV Windows service is stopped ", "KV Windows Service is stopped"
NO_WMI = ("ERROR", "Could not connect. Error code = 0x")
LOST = ("ERROR", "Disconnected")
NAMELESS = ("ERROR", "Failed to get Name:-2147217406")
HOSTILE = '</script><script>window.broken = 1</script><img src=x onerror="window.broken = 1"> ${title} \u2028'


def entry(second, text):
    """An entry so many seconds after noon."""
    level, text = text if isinstance(text, tuple) else ("DEBUG", text)
    return f"[{time.asctime(time.gmtime(NOON + second))}\n][{level}] {text}\n"


def log(*entries):
    return "".join(entry(second, text) for second, text in entries)


def story(*entries):
    return Story(log_of(log(*entries)).entries)


def endings(*entries):
    return [how_it_ended(run)[0] for run in story(*entries).runs]


def state(*entries):
    return state_of(story(*entries), lambda at: at.second % 43200)


STARTED = [(0, BEGIN), (2, ON)]
RUN = [*STARTED, (100, STOP), (101, DONE)]

# --- why scaling ended ----------------------------------------------------------------------------------------------


@pytest.mark.parametrize("entries, reason", [
    (RUN, "control value"),
    ([*STARTED, (90, SLEEP), (100, STOP), (101, DONE)], "standby"),
    ([*STARTED, (100, LOOP_ENDED), (100, ENGINE_ENDED)], "service stop"),
    ([(0, BEGIN), (1, NO_WMI)], "failed start"),
    ([*STARTED, (2, NO_CORE), (3, DONE)], "failed start"),
    ([*STARTED, (3, DONE)], "failed start"),
    ([*STARTED, (100, DONE)], "unknown"),
    ([*STARTED, (-3600, DONE)], "unknown"),  # the clock was set back
    ([*STARTED, (100, BEGIN), (102, ON), (110, STOP), (111, DONE)], "unknown"),
    ([*STARTED, (100, ON), (110, STOP), (111, DONE)], "unknown"),
    (STARTED, "still on"),
    ([(0, BEGIN)], "unknown"),
    ([(100, STOP), (101, DONE)], "control value"),
    # What comes behind the end changes nothing about it.
    ([*STARTED, (90, STOP), (91, SLEEP), (92, DONE)], "control value"),
    ([*RUN[:3], (100, ENGINE_ENDED)], "control value"),
    ([*STARTED, (100, STOP), (101, ("ERROR", "Start function Exception occurre "))], "control value"),
])
def test_why_a_run_ended(entries, reason):
    assert endings(*entries)[0] == reason


def test_each_run_has_its_own_standby():
    later = [(second + 200, text) for second, text in RUN]
    assert endings(*STARTED, (90, SLEEP), (100, STOP), (101, DONE), *later) == ["standby", "control value"]


def test_a_start_that_was_turned_away_shows_at_the_stop():
    turned_away, served = story(*STARTED, (100, STOP)).runs[0], story(*RUN).runs[0]

    assert turned_away.turned_away() and not served.turned_away()
    assert "turned away" in how_it_ended(turned_away)[1]
    assert not story(*STARTED, (100, STOP), (101, ENGINE_ENDED)).runs[0].turned_away()


def test_how_long_scaling_was_on():
    def seconds(*entries):
        return [run.seconds_on(NOON + 500) for run in story(*entries).runs]

    assert seconds(*RUN) == [98]
    assert seconds(*STARTED) == [498]
    assert seconds(*STARTED, (2, NO_CORE)) == [None]
    assert seconds((0, BEGIN), (1, NO_WMI)) == [None]
    assert seconds(*STARTED, (100, BEGIN)) == [None, None]


# --- where it stands, and what it needs -----------------------------------------------------------------------------

@pytest.mark.parametrize("entries, word, action", [
    ([], "off", "Write 0, then 2"),
    (STARTED, "on", ""),
    (RUN, "off", "Write 0, then 2"),
    ([*STARTED, (90, SLEEP), (100, STOP), (101, DONE)], "off", "After wake-up write 0, then 2"),
    ([*STARTED, (90, SLEEP)], "unknown", "Write 0, then 2"),
    ([*STARTED, (100, STOP)], "off", "Restart the service, then write 0, then 2"),
    ([*STARTED, (100, LOOP_ENDED)], "off", "Start the service, then write 0, then 2"),
    ([(0, BEGIN)], "unknown", "Look again ten seconds later. If the log has not grown: restart the service"),
    ([*STARTED, (2, NO_CORE), (2, DONE)], "off", "Reinstall the framework, then switch scaling off and on"),
    ([*STARTED, (3, DONE)], "off", "Reinstall the framework, then switch scaling off and on"),
    ([(0, BEGIN), (1, NO_WMI)], "off", "Is the WMI service (Winmgmt) running? Then restart the service: after a failed"
                                       " start it tries no second one"),
])
def test_where_scaling_stands_and_what_it_needs(entries, word, action):
    told = state(*entries)

    assert (told.word, told.action) == (word, action)
    assert told.sentence.endswith(".")


# --- reading --------------------------------------------------------------------------------------------------------

@pytest.mark.parametrize("damage, passed_over", [
    (lambda text: text, 0),
    (lambda text: text.replace("\n", "\r\n"), 0),
    (lambda text: text.removesuffix("\n"), 0),
    (lambda text: text.replace(" \n", "\n"), 0),  # an editor took the blanks at the ends of lines
    (lambda text: "garbage\n" + text, 1),
    (lambda text: text.replace("[Sat Nov 21 12:01:40", "g\0rbage\n\n[Sat Nov 21 12:01:40"), 2),
    (lambda text: text + "[Sat Nov 21 12:01:42 2026\n", 1),
    (lambda text: text + "[Sat Nov 21 12:01:42 2026\n][DEBUG", 2),
    (lambda text: text + "[Sat Nov 99 12:01:42 2026\n][DEBUG] x\n", 2),
])
def test_damaged_lines_are_counted_and_leave_the_rest_as_it_is(damage, passed_over):
    read = log_of(damage(log(*RUN)))

    assert [entry.text for entry in read.entries] == [text for _, text in RUN]
    assert read.passed_over == passed_over


def test_an_error_may_hold_line_feeds():
    read = log_of(log((0, ("ERROR", "caught Description:one\n\ntwo [line]")), (1, STOP)))

    assert [entry.text for entry in read.entries] == ["caught Description:one\n\ntwo [line]", STOP]
    assert [entry.line for entry in read.entries] == [1, 5]
    assert read.passed_over == 0


def test_spans_are_told_in_two_units():
    assert [span(seconds) for seconds in (0, 59, 61, 3600, 90061)] == ["0 s", "59 s", "1 min 1 s", "1 h 0 min",
                                                                      "1 d 1 h"]


# --- the page -------------------------------------------------------------------------------------------------------

@pytest.fixture(scope="module", name="driver")
def browser_for_all_tests(tmp_path_factory):
    with headless_browser(tmp_path_factory.mktemp("browser")) as driver:
        yield driver


@pytest.fixture(name="opened")
def page_of_log(driver, tmp_path):
    def call(*entries, more="", encoding="utf-8", **options):
        (tmp_path / "KelvanneApp.log").write_text(log(*entries) + more, encoding=encoding)
        return Page(driver, made(tmp_path / "page.html", tmp_path / "KelvanneApp.log"), **options)
    return call


FIELD = [*STARTED, (60, NAMELESS), (61, NAMELESS), (100, STOP), (101, DONE),
         (200, BEGIN), (202, ON), (260, SLEEP), (262, STOP), (263, DONE),
         (300, BEGIN), (302, ON), (302, NO_CORE), (303, DONE),
         (400, BEGIN), (402, ON), (450, LOST), (500, "a riddle"), (700, STOP)]


def tiles(page):
    return {row[0]: row[1] for row in page.run(
        "return [...document.querySelectorAll('.tile')].map(tile => tile.innerText.split(/\\n+/))")}


def test_the_page_tells_when_scaling_was_on_and_why_it_ended(opened):
    page = opened(*FIELD, more="half a line")

    assert page.text("h1") == "KelvanneApp"
    assert page.text(".subtitle") == ("Diagnostic log of the service: 20 entries, 21 Nov 2026 12:00:00 to "
                                      "21 Nov 2026 12:11:40")
    assert page.rows("#runs")[1:] == [
        ["1", "12:00:00", "12:01:40", "1 min 38 s", "control value"],
        ["2", "12:03:20", "12:04:22", "1 min 0 s", "standby"],
        ["3", "12:05:00", "12:05:02", "never on",
         "failed start: The framework's core cannot be loaded or initialised; scaling has ended"],
        ["4", "12:06:40", "12:11:40", "4 min 58 s",
         "control value: a start that came meanwhile was turned away: no later one succeeds"]]
    assert tiles(page) == {"at the log's end": "scaling is off", "scaling was on for": "7 min 36 s",
                           "times scaling was on": "3", "failed starts": "1", "standbys": "1", "errors to act on": "2"}
    assert "cannot be switched on" in page.text("#state") and "Restart the service" in page.text("#state")
    notes = page.text("ul.note")
    assert "Power, ceiling, PL1 and the controller's decisions are not in a log" in notes
    assert "Lines that belong to no entry and were passed over: 1." in notes
    assert page.console() == [] and page.requests() == []


def test_errors_stand_by_kind_with_what_to_do(opened):
    page = opened(*FIELD)

    rows = [[cell.split("\n")[0] for cell in row] for row in page.rows("#errors")[1:]]
    assert rows == [
        ["1", "The framework's core cannot be loaded or initialised; scaling has ended",
         "Reinstall the framework, then switch scaling off and on", "12:05:02"],
        ["1", "The framework ended the session", "Switch scaling off and on", "12:07:30"],
        ["2", "One process start could not be read", "Nothing", "12:01:00 to 12:01:01"]]


def test_the_timeline_has_a_bar_for_each_time_of_scaling(opened):
    page = opened(*FIELD)

    bars = [[at / 1000 - NOON for at in bar[:2]] for bar in page.series("Scaling on (time)")]
    assert bars == [[2, 100], [202, 262], [402, 700]]
    assert [at / 1000 - NOON for at, _ in page.series("Standby")] == [260]
    assert page.text("#shown") == "11:59:46 to 12:11:54, the whole log"
    told = page.hover("Standby", page.series("Standby")[0])
    assert "12:04:20" in told and "Entering MS-506" in told


def test_every_entry_is_listed_with_its_meaning(opened):
    marks = opened(*FIELD).open_marks()

    assert ("12:01:00", "No action", "One process start could not be read, 2 times\nFailed to get Name:-2147217406") \
        in marks
    assert ("12:08:20", "Other message", "Message\na riddle") in marks
    assert ("12:00:02", "Scaling on", "Scaling is on for 1 min 38 s\ncontrol value") in marks


def test_the_time_is_zoomed_and_reset(opened):
    page = opened(*FIELD)

    page.press("+")
    page.wait(lambda: "whole" not in page.text("#shown"), "a zoom")
    assert page.text("#shown") == "12:02:48 to 12:08:52"
    page.click("reset")

    page.wait(lambda: page.text("#shown") == "11:59:46 to 12:11:54, the whole log", "the reset")


def test_a_log_of_several_days_tells_the_days(opened):
    page = opened(*STARTED, (90000, STOP), (90001, DONE))

    assert page.rows("#runs")[1][1:4] == ["21 Nov 2026 12:00:00", "22 Nov 2026 13:00:00", "1 d 0 h"]
    assert page.text("#shown").startswith("21 Nov 11:")


@pytest.mark.parametrize("entries", [[(0, "a riddle")], STARTED, [(0, LOST)]])
def test_a_log_of_one_moment_has_a_page(opened, entries):
    page = opened(*entries)

    assert page.console() == []
    assert page.open_marks()


def test_a_clock_that_was_set_back_is_told(opened):
    page = opened((3600, BEGIN), (3602, ON), (10, STOP), (11, DONE))

    assert "set back" in page.text("ul.note")
    assert page.rows("#runs")[1] == ["1", "13:00:00", "12:00:10", "0 s", "control value"]


def test_a_hostile_entry_is_shown_as_text(opened):
    page = opened(*STARTED, (50, ("ERROR", HOSTILE)))

    assert "An error that this report does not know" in page.text("#errors")
    assert "<img src=x" in page.text("#errors")
    page.open_marks()
    assert page.run("return window.broken") is None
    assert page.run("return document.querySelectorAll('img').length") == 0
    assert page.console() == [] and page.requests() == []


@pytest.mark.parametrize("encoding", ["utf-8-sig", "utf-16", "cp1252"])
def test_a_log_in_any_encoding_is_read(opened, encoding):
    page = opened((0, "Logger file isC:\\J\u00fcrgen\\KelvanneApp.log"), *STARTED, encoding=encoding)

    assert any("J\u00fcrgen" in mark[2] for mark in page.open_marks())


@pytest.mark.parametrize("dark, width", [(False, 360), (True, 1920)])
def test_the_page_fits_narrow_and_wide_windows(opened, dark, width):
    page = opened(*FIELD, width=width, dark=dark)

    assert page.run("return document.documentElement.scrollWidth") <= width


# --- the command ----------------------------------------------------------------------------------------------------

def test_a_folder_with_the_log_in_it_will_do(tmp_path):
    (tmp_path / "from-a-pc").mkdir()
    (tmp_path / "from-a-pc/KelvanneApp.log").write_text(log(*RUN))

    done = report("-o", "page.html", "from-a-pc", cwd=tmp_path)

    assert (done.returncode, done.stdout, done.stderr) == (0, "page.html\n", "")


@pytest.mark.parametrize("content, complaint", [
    ("[Sat Nov 21 12:00:00 2026\n", ":1: this is no diagnostic log of the service: it has no whole entry\n"),
    ("", ":1: the log is empty: scaling was not switched on since the service started\n"),
])
def test_a_log_of_which_nothing_can_be_understood_is_refused(tmp_path, content, complaint):
    (tmp_path / "a.log").write_text(content)

    done = report("-o", "page.html", "a.log", cwd=tmp_path)

    assert (done.returncode, done.stdout, done.stderr) == (3, "", "a.log" + complaint)
    assert not (tmp_path / "page.html").exists()


def test_logs_are_not_compared(tmp_path):
    (tmp_path / "a.log").write_text(log(*RUN))

    done = report("-o", "page.html", "a.log", "a.log", cwd=tmp_path)

    assert done.returncode == 2 and "give it alone" in done.stderr
