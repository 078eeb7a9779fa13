"""scripts/report.sh: the page as a reader sees it, in headless Chromium, and the command as a user calls it."""

import re

import pytest
from conftest import replay
from report_page import (BURST, CLIP, DOWN, IDLE, IDLE_EXIT, RESTORED, ROOT, SLIDER, STARTS, STOPPED, STORY,
                         Page, headless_browser, log, made, primitive, report, step, write_trace)
from selenium.webdriver.common.keys import Keys

MIB = 1 << 20


@pytest.fixture(scope="module", name="driver")
def browser_for_all_tests(tmp_path_factory):
    with headless_browser(tmp_path_factory.mktemp("browser")) as driver:
        yield driver


@pytest.fixture(scope="module", name="story_file")
def page_of_the_story(tmp_path_factory):
    folder = tmp_path_factory.mktemp("story")
    return made(folder / "story.html", write_trace(folder / "story.trace.csv", STORY))


@pytest.fixture(name="opened")
def page_of_traces(driver, tmp_path):
    """Opens the page of one trace, or of two, given by their rows and file names."""
    def call(*traces, names=("a.trace.csv", "b.trace.csv")):
        files = [write_trace(tmp_path / name, rows) for name, rows in zip(names, traces)]
        return Page(driver, made(tmp_path / "page.html", *files))
    return call


@pytest.fixture(name="story")
def opened_story(driver, story_file):
    return Page(driver, story_file)


@pytest.fixture(scope="module", name="office")
def trace_of_a_real_laptop(tmp_path_factory):
    trace = tmp_path_factory.mktemp("office") / "office-laptop.trace.csv"
    assert replay(ROOT / "scenarios/office-laptop.csv", trace).returncode == 0
    return trace


# --- the page -------------------------------------------------------------------------------------------------------

def test_a_page_of_a_real_trace_loads_without_an_error_and_asks_for_nothing(driver, office, tmp_path):
    page = Page(driver, made(tmp_path / "office.html", office))

    assert page.console() == []
    assert page.requests() == []
    assert page.text("h1") == "office-laptop"
    assert page.text(".subtitle") == "Power and limits over time: 24 min 32.0 s, 465 control steps"
    marks = page.open_marks()
    assert len([mark for mark in marks if mark[1] == "Burst"]) == 6
    starts = office.read_text(encoding="utf-8").count(" Starting pName = ")
    assert starts > 30
    assert sum(mark[2].count("A program starts") for mark in marks) == starts


def test_every_kind_of_mark_stands_at_its_time_with_its_message(story):
    assert story.open_marks() == [
        ("0:00.0", "Start and stop", "Scaling starts\nKV scaling is started :"),
        ("0:10.0", "Process start", f"A program starts\n{STARTS}"),
        ("0:20.0", "Burst", f"Burst on rising power: full performance is held\n{BURST}"),
        ("0:30.0", "Restore", f"Restore after a burst\n{RESTORED}"),
        ("0:40.0", "Clip", "The processor is clipped\nclip reasons 0x402"),
        ("0:40.0", "Workload", f"Workload class 0 becomes 4\n{step(0, 4, 2500)[3]}"),
        ("0:40.0", "Clip", f"Clip: the ceiling steps up\n{CLIP}"),
        ("0:50.0", "Active Idle", f"Active Idle\n{IDLE}"),
        ("0:55.0", "Active Idle", f"Active Idle ends\n{IDLE_EXIT}"),
        ("1:00.0", "Power slider", f"The power slider moves\n{SLIDER}"),
        ("1:05.0", "Failure", "GET_RAPL_POWER is refused\nstatus 2600"),
        ("1:10.0", "Standby",
         "The machine enters standby; scaling ends, and does not come back by itself\nEntering MS-506"),
        ("1:20.0", "Start and stop",
         "Scaling is switched off, and the limits are restored\nStop is called from the registry"),
    ]


def test_marks_are_drawn_in_the_lane_of_their_kind(story):
    lanes = ["Start and stop", "Process start", "Burst", "Restore", "Clip", "Active Idle", "Power slider", "Workload",
             "Standby", "Failure"]
    axis = story.chart("chart.getOption().yAxis.find(axis => axis.inverse)")
    assert axis["min"] == -1 and axis["max"] == len(lanes)
    assert story.series("Burst") == [[20000, lanes.index("Burst")]]
    assert story.series("Standby") == [[70000, lanes.index("Standby")]]
    assert story.series("Active Idle (time)") == [[50000, 55000, lanes.index("Active Idle")]]
    assert story.series("Start and stop") == [[0, 0], [80000, 0]]


def test_the_curves_show_what_was_drawn_and_allowed(story):
    assert story.series("power, samples") == [[0, 2], [20000, 6], [30000, 2.5], [50000, 0.9], [65000, None],
                                              [80000, None]]
    assert story.series("ceiling") == [[0, 0], [0, 1200], [10000, 10000], [30000, 3000], [40000, 5000], [50000, 1200],
                                       [55000, 1700], [80000, 1700]]
    assert story.series("PL1") == [[0, 17], [80000, 17]]
    assert story.series("tier's target") == [[20000, 2500], [80000, 2500]]
    assert story.titles() == ["Power, W", "Ceiling, preference 0 to 10000", "Marks", "PL1, W", "tier aims at"]


def test_a_value_holds_until_the_next_also_where_the_step_is_small(opened):
    rows = [primitive(0, "SET_PERF_PREFERENCE_MAX", 1800), primitive(4000, "SET_PERF_PREFERENCE_MAX", 1750),
            [9000, "sleep", "", 300, ""]]
    page = opened(rows)
    page.run("window.corners = []; const line = CanvasRenderingContext2D.prototype.lineTo;"
             "CanvasRenderingContext2D.prototype.lineTo = function (x, y) {"
             " corners.push([x, y]); line.call(this, x, y); }")

    page.press("+")
    page.wait(lambda: page.run("return corners.length"), "a new drawing")

    # The two corners of the step are less than a pixel apart, and both are drawn.
    upper, lower = page.chart("[1800, 1750].map(value => chart.convertToPixel({ gridIndex: 0 }, [4000, value]))")
    assert 0.5 < lower[1] - upper[1] < 1
    drawn = page.run("return corners")
    for corner in (upper, lower):
        assert [at for at in drawn if abs(at[0] - corner[0]) < 0.2 and abs(at[1] - corner[1]) < 0.2]


@pytest.mark.parametrize(("point", "message"), [([12000, 10000], STARTS), ([35000, 3000], DOWN), ([45000, 5000], CLIP),
                                                ([52000, 1200], IDLE), ([57000, 1700], IDLE_EXIT)])
def test_hovering_the_ceiling_tells_the_message_behind_it(story, point, message):
    told = story.hover("ceiling", point)

    assert message.strip() in told
    assert f"ceiling\t{point[1]}" in told


def test_hovering_a_mark_tells_its_message_and_no_other(story):
    told = story.hover("Burst", [20000, 2])

    assert BURST.strip() in told
    assert told.startswith("Burst\n") and "0:20.0" in told
    assert DOWN.strip() not in told


def test_hovering_a_lasting_mark_tells_it_anywhere_within(story):
    assert IDLE.strip() in story.hover("Active Idle (time)", [53000, 5])


def test_zooming_by_keys_and_its_reset(story):
    story.wait_until_shown((0, 80))

    story.press("+")
    story.wait_until_shown((20, 60))
    story.press(Keys.ARROW_RIGHT)
    story.wait_until_shown((30, 70))
    assert story.text("#shown") == "0:30.0 to 1:10.0"
    story.press("0")

    story.wait_until_shown((0, 80))
    assert story.text("#shown") == "0:00.0 to 1:20.0, the whole trace"


def test_zooming_by_buttons_and_its_reset(story):
    story.click("in")
    story.click("in")
    story.wait_until_shown((30, 50))
    story.click("left")
    story.wait_until_shown((25, 45))
    story.click("out")
    story.wait_until_shown((15, 55))
    story.click("reset")
    story.wait_until_shown((0, 80))


def test_zooming_by_the_wheel_brings_the_axes_along(story):
    story.turn_wheel(-300)

    story.wait(lambda: story.shown()[1] - story.shown()[0] < 79, "a zoom by the wheel")
    extents = story.chart("chart.getModel().getComponent('xAxis', 0).axis.scale.getExtent()")
    assert [round(value / 1000, 1) for value in extents] == list(story.shown())


def test_a_mark_of_the_list_leads_to_its_moment(story):
    story.open_marks()

    story.run("document.querySelectorAll('#marks button')[2].click()")

    story.wait_until_shown((5, 35))


def test_totals_are_those_of_the_trace(story):
    totals = {row[0]: row[1] for row in story.rows("#totals")[1:]}
    assert totals == {
        "time": "1 min 20.0 s", "control steps": "6", "of them in Active Idle": "1",
        # 2 W for 20 s, 6 W for 10 s, 2.5 W for 20 s, 0.9 W for 15 s; then power was not to be had.
        "mean power": "2.52 W", "highest power": "6.00 W",
        "mean ceiling": "4256",  # (12000 + 200000 + 30000 + 50000 + 6000 + 42500) / 80
        "at full performance": "0 min 20.0 s", "share of the time": "25.0%", "writes to processor": "7",
        "of them SET_PERF_PREFERENCE_MAX": "6", "of them SET_RAPL_POWER_LIMIT_1": "1", "process-start bursts": "1",
        "restores after a burst": "1", "clips": "1", "clipped samples": "1", "refused by the framework": "1"}


def test_the_bands_are_the_controllers_tiers(story):
    source = (ROOT / "controller/tiers.cpp").read_text(encoding="utf-8")
    rows = re.findall(r"^    \{ (?:std::numeric_limits<int>::min\(\)|(\d+)), (\d+), ", source, re.MULTILINE)
    assert len(rows) == 7
    expected = [[int(power or 0) / 1000, int(target)] for power, target in rows] + [[10.5, 5400]]
    assert story.run("return JSON.parse(document.getElementById('data').textContent).tiers") == expected


@pytest.mark.parametrize("width", [360, 700, 1920])
def test_the_page_fits_narrow_and_wide_windows(driver, story_file, width):
    page = Page(driver, story_file, width)

    assert page.run("return document.documentElement.scrollWidth") <= width
    assert page.run("return document.querySelector('#chart canvas').clientWidth") > 0.9 * min(width, 1720) - 40


def test_the_page_follows_the_readers_choice_of_light_and_dark(driver, story_file):
    def brightness(dark):
        page = Page(driver, story_file, dark=dark)
        colors = page.run("const style = getComputedStyle(document.body); return [style.backgroundColor, style.color]")
        return [sum(map(int, re.findall(r"\d+", color)[:3])) for color in colors]

    paper, ink = brightness(dark=False)
    assert paper > 600 > 200 > ink
    paper, ink = brightness(dark=True)
    assert paper < 200 < 600 < ink


# --- what a trace may hold ------------------------------------------------------------------------------------------

HOSTILE = ('</script><script>window.broken = 1</script><img src=x onerror="window.broken = 1"><!-- ${title} $title'
           " \u2028 &amp;")


def test_a_hostile_message_is_shown_as_text(opened):
    rows = [*STORY[:-1], log(75000, HOSTILE), STORY[-1]]
    page = opened(rows, names=["<b>&amp;.trace.csv"])

    marks = page.open_marks()

    told = page.hover("Other message", [75000, 10])
    assert [mark[1:] for mark in marks if mark[0] == "1:15.0"] == [("Other message", f"Message\n{HOSTILE}")]
    assert HOSTILE in told
    assert page.text("h1") == "<b>&amp;"
    assert page.run("return window.broken") is None
    assert page.run("return document.querySelectorAll('img, b').length") == 0
    assert page.console() == [] and page.requests() == []


def test_power_demand_and_clock_of_a_simulated_processor_have_panels(opened):
    values = {"demand_core_ms": 1500.0, "served_core_ms": 250.0, "clock_permille": 640, "power_mw": 9100.5,
              "average_mw": 4200}
    rows = [*STORY[:-1], *([75000, "processor", name, value, ""] for name, value in values.items()), STORY[-1]]
    page = opened(rows)

    assert page.series("power, every 100 ms") == [[75000, 9.1], [80000, 9.1]]
    assert page.series("average that PL1 acts on") == [[75000, 4.2], [80000, 4.2]]
    assert page.series("unfinished work") == [[75000, 1.5], [80000, 1.5]]
    assert page.series("work done") == [[75000, 2.5], [80000, 2.5]]  # 250 core ms in 100 ms
    assert page.series("clock") == [[75000, 64], [80000, 64]]
    assert page.titles()[3:7] == ["PL1 and the power that it acts on, W", "Unfinished work, core seconds",
                                  "Work done, cores at full clock", "Clock, % of full"]
    totals = {row[0]: row[1] for row in page.rows("#totals")[1:]}
    assert (totals["energy drawn"], totals["work done"]) == ("0.9 J", "0.25 core s")  # 9.1 W for a tenth of a second


def test_an_hour_with_processor_rows_stays_small_and_loses_no_mark_and_no_peak(opened, tmp_path):
    rows = [STORY[0], log(0, STORY[1][3], 0)]
    for tenth in range(36000):
        time_ms = 100 * tenth
        if tenth % 30 == 0:
            rows += [primitive(time_ms, "GET_SOC_WORKLOAD", 0), log(time_ms, DOWN)]
        if tenth % 300 == 0:
            rows += [log(time_ms, STARTS), primitive(time_ms, "SET_PERF_PREFERENCE_MAX", 2000 + tenth % 7)]
        power_mw = 48000 if tenth == 12345 else 3000 + tenth % 977
        rows += [primitive(time_ms, "GET_RAPL_POWER", power_mw)]
        rows += [[time_ms, "processor", name, power_mw + index, ""] for index, name in
                 enumerate(("demand_core_ms", "served_core_ms", "clock_permille", "power_mw", "average_mw"))]
    assert len(rows) > 218000
    page = opened(rows)

    assert (tmp_path / "page.html").stat().st_size < 10 * MIB
    assert len(page.series("Process start")) == 120
    assert len(page.series("writes")) == 120
    assert len(page.series("power, samples")) <= 20002
    assert [1234500, 48] in page.series("power, samples")
    assert page.console() == []


def test_a_trace_of_the_running_service_tells_what_it_cannot_know(opened):
    rows = [row for row in STORY if row[1] != "log" or row[2] != 2]
    page = opened(rows)

    totals = {row[0]: row[1] for row in page.rows("#totals")[1:]}
    assert totals["process-start bursts"] == totals["clips"] == totals["of them in Active Idle"] == "not in this trace"
    assert "holds no decisions" in page.text(".note")
    assert "The trace holds no message for this write" in page.hover("ceiling", [35000, 3000])
    assert [mark[:2] for mark in page.open_marks()] == [
        ("0:00.0", "Start and stop"), ("0:40.0", "Clip"), ("1:05.0", "Failure"), ("1:10.0", "Standby"),
        ("1:20.0", "Start and stop")]


# --- two traces -----------------------------------------------------------------------------------------------------

def changed_story():
    """The restore takes the ceiling to 4000, not 3000, and one write is missing."""
    rows = [row for row in STORY if row[:3] != [55000, "primitive", "SET_PERF_PREFERENCE_MAX"]]
    return [[30000, "primitive", "SET_PERF_PREFERENCE_MAX", 4000, 0] if row[:4] == [30000, "primitive",
            "SET_PERF_PREFERENCE_MAX", 3000] else row for row in rows]


def test_two_traces_tell_what_differs_first_and_by_how_much(opened):
    page = opened(STORY, changed_story(), names=["before.trace.csv", "after.trace.csv"])

    # The header is line 1, so the 21st row is line 22.
    assert "The first row that differs is number 21, at 0:30.000:" in page.text("#difference")
    assert page.rows("#difference table")[:2] == [["A", "line 22", "30000,primitive,SET_PERF_PREFERENCE_MAX,3000,0"],
                                                  ["B", "line 22", "30000,primitive,SET_PERF_PREFERENCE_MAX,4000,0"]]
    assert "The first write to the processor that differs is number 4, at 0:30.000:" in page.text("#difference")
    # 10 s at 4000 in place of 3000, 25 s at 1200 in place of 1700: 10000 - 12500 over 80 s.
    assert ("The ceilings differ for 0 min 35.0 s of the 1 min 20.0 s that the traces have in common (43.8%); on "
            "average B allows 31 less than A.") in page.text("#difference")
    totals = {row[0]: row[1:] for row in page.rows("#totals")}
    assert totals[""] == ["A before", "B after", "B - A", "change"]
    assert totals["writes to processor"] == ["7", "6", "-1", "-14.3%"]
    assert totals["mean ceiling"] == ["4256", "4225", "-31", "-0.7%"]
    assert totals["time"] == ["1 min 20.0 s", "1 min 20.0 s", "0 min 0.0 s", ""]
    assert [30000, 3000] in page.series("A ceiling") and [30000, 4000] in page.series("B ceiling")
    lines = page.chart("chart.getOption().series.flatMap(series => series.markLine ? series.markLine.data : [])")
    assert [line["xAxis"] for line in lines] == [30000] * 4  # in each panel
    told = page.hover("A ceiling", [35000, 3000])
    assert "A Power steady or down" in told and "A 3000" in told and "B 4000" in told
    assert page.console() == []


def test_a_trace_that_ends_early_differs_where_it_ends(opened):
    page = opened(STORY, STORY[:-1])

    assert page.rows("#difference table") == [["A", f"line {len(STORY) + 1}", f"80000,log,0,{STOPPED}".strip() + " ,"],
                                              ["B", "", "the trace has ended"]]
    assert "All writes to the processor are the same." in page.text("#difference")


def test_a_message_more_is_no_other_write(opened):
    page = opened(STORY, [STORY[0], log(0, HOSTILE), *STORY[1:]])

    assert page.rows("#difference table") == [["A", "line 3", "0,log,0,KV scaling is started : ,"],
                                              ["B", "line 3", f"0,log,2,{HOSTILE},"]]
    assert "All writes to the processor are the same." in page.text("#difference")


def test_equal_traces_are_called_equal(opened):
    page = opened(STORY, STORY)

    assert page.text("#difference") == f"No difference\nBoth traces hold the same {len(STORY)} rows."


# --- the command ----------------------------------------------------------------------------------------------------

def test_the_page_goes_to_the_run_folder_under_the_traces_name(tmp_path):
    page = ROOT / "build/run/report of a story.html"
    page.unlink(missing_ok=True)
    write_trace(tmp_path / "report of a story.trace.csv", STORY)

    result = report("report of a story.trace.csv", cwd=tmp_path)

    assert (result.returncode, result.stdout) == (0, f"{page}\n")
    assert page.read_text(encoding="utf-8").startswith("<!DOCTYPE html>")
    page.unlink()


def test_the_same_trace_gives_the_same_bytes(tmp_path, story_file):
    again = made(tmp_path / "again.html", write_trace(tmp_path / "story.trace.csv", STORY))

    assert again.read_bytes() == story_file.read_bytes()


def test_the_lock_file_names_no_host():
    assert "//" not in (ROOT / "tools/report/package-lock.json").read_text(encoding="utf-8")


HEADER = "time_ms,kind,name,value,status\n"


@pytest.mark.parametrize(("content", "complaint"), [
    ("", ":1: not a trace: the first line must be time_ms,kind,name,value,status"),
    ("time_ms,input,value\n", ":1: this is a scenario, not a trace: scripts/run.sh --replay plays it"),
    (HEADER, ":2: the trace has no rows"),
    (HEADER + "0,sleep,,300,\n0,sleep,,300\n", ":3: 5 fields expected, 4 found"),
    (HEADER + "\n", ":2: 5 fields expected, 0 found"),
    (HEADER + "soon,sleep,,300,\n", ':2: "soon" is no time in milliseconds'),
    (HEADER + "9,sleep,,300,\n8,sleep,,300,\n", ":3: the time 8 is earlier than the row before"),
    (HEADER + "0,nap,,300,\n", ':2: unknown kind "nap"'),
    (HEADER + "0,primitive,GET_RAPL_POWER,much,0\n", ':2: "much" is no value of a primitive row'),
    (HEADER + "0,primitive,SET_PERF_PREFERENCE_MAX,,0\n", ":2: SET_PERF_PREFERENCE_MAX without a value"),
    (HEADER + "0,call,INIT,,\n", ':2: "" is no status of a call row'),
    (HEADER + f"0,sleep,,{10 ** 25},\n", f':2: "{10 ** 25}" is no value of a sleep row'),
    (HEADER + "0,processor,power_mw,nan,\n", ':2: "nan" is no value of a processor row'),
    (HEADER + '0,log,2,"two\nlines",\n0,log,2,"open\n', ":4: unexpected end of data"),
])
def test_a_malformed_trace_is_named_with_its_line_and_makes_no_page(tmp_path, content, complaint):
    trace = tmp_path / "bad.csv"
    trace.write_text(content, encoding="utf-8")

    result = report("-o", tmp_path / "page.html", trace)

    assert (result.returncode, result.stderr, result.stdout) == (3, f"{trace}{complaint}\n", "")
    assert not (tmp_path / "page.html").exists()


@pytest.mark.parametrize("arguments, code, complaint", [
    (["none.csv"], 3, "none.csv: cannot be read: No such file or directory\n"),
    (["-o", "none/page.html", "story.csv"], 4, "none/page.html: cannot be written: No such file or directory\n")])
def test_a_file_that_cannot_be_read_or_written_is_named(tmp_path, arguments, code, complaint):
    write_trace(tmp_path / "story.csv", STORY)

    result = report(*arguments, cwd=tmp_path)

    assert (result.returncode, result.stderr.removeprefix(f"{tmp_path}/")) == (code, complaint)
