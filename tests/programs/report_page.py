"""A report in a headless browser, in the words of its tests; and the traces that they are made of."""

import contextlib
import csv
import json
import os
import pathlib
import time

from conftest import ROOT, run_command
from selenium import webdriver
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

from tools.trace.rows import COLUMNS

SETTLE_S = 10
CHART = "const chart = echarts.getInstanceByDom(document.getElementById('chart'));"

STARTS = " Starting pName = NAPID4120"
BURST = " **** PIDx- 2 PIDC Pkg power = 6000 *Perf Max = 10000 *DeltaPkgpwr ==: 4000 *Xf ==: 400 *exitCount = 3" \
        " *prev_exitCount ==: -1 *WLC ==: 0"
RESTORED = " * Perf Restored ** PerfRange =2500 ** NewPID =2 ** prefMax =3000"
DOWN = " **** PIDx- 1 Down Pkg power = 2500 *Perf Max = 3000 *DeltaPkgpwr = 3500 *PerfRange ==: 2500" \
       " *tempPerfRange = 1800 PwrPause = 0 *WLC ==: 0"
CLIP = " ****** PIDx- -1 Clip error Step Up Pref ==5000"
IDLE = " *** PIDx 5 Active Idle PerfRange = 1800  prefMax=  5000  pkgPower=  900"
IDLE_EXIT = " *** PIDx 5 Active Idle exit PerfRange = 1800  prefMax=  1200  pkgPower=  1700"
SLIDER = "Event powerSlider type =25"
STANDBY = "Entering MS-506 "
STOPPED = "Stop is called from the registry "


def log(time_ms, text, level=2):
    return [time_ms, "log", level, text, ""]


def primitive(time_ms, name, value, status=0):
    return [time_ms, "primitive", name, value, status]


def step(time_ms, workload, power_mw):
    """What a step's report on power and tier looks like."""
    return log(time_ms, f" **** New pkgPower =={power_mw} prefMax = 1200 PerfRange = 2500 tempPerfRange = 1800"
                        f" g_workload = {workload}")


# One thing of each kind, ten seconds apart. Full performance from 10 to 30 s, in all 25% of 80 s.
STORY = [
    [0, "call", "INIT", "", 0],
    log(0, "KV scaling is started : ", 0),
    primitive(0, "SET_RAPL_POWER_LIMIT_1", 17000),
    log(0, " **** Current CPU PL1 == : 17000"),
    primitive(0, "SET_PERF_PREFERENCE_MAX", 1200),
    log(0, " ** Default Init Pref ==1200"),
    primitive(0, "GET_SOC_WORKLOAD", 0),
    primitive(0, "GET_IA_CLIP_REASONS", 0),
    primitive(0, "GET_RAPL_POWER", 2000),
    log(10000, STARTS),
    primitive(10000, "SET_PERF_PREFERENCE_MAX", 10000),
    [10000, "sleep", "", 300, ""],
    primitive(20000, "GET_SOC_WORKLOAD", 0),
    primitive(20000, "GET_RAPL_POWER", 6000),
    step(20000, 0, 6000),
    log(20000, BURST),
    primitive(30000, "GET_SOC_WORKLOAD", 0),
    primitive(30000, "GET_RAPL_POWER", 2500),
    step(30000, 0, 2500),
    log(30000, RESTORED),
    primitive(30000, "SET_PERF_PREFERENCE_MAX", 3000),
    log(30000, DOWN),
    primitive(40000, "GET_SOC_WORKLOAD", 0),
    primitive(40000, "GET_IA_CLIP_REASONS", 0x402),
    step(40000, 4, 2500),
    primitive(40000, "SET_PERF_PREFERENCE_MAX", 5000),
    log(40000, CLIP),
    primitive(50000, "GET_SOC_WORKLOAD", 0),
    primitive(50000, "GET_IA_CLIP_REASONS", 0),
    primitive(50000, "GET_RAPL_POWER", 900),
    log(50000, IDLE),
    primitive(50000, "SET_PERF_PREFERENCE_MAX", 1200),
    [50000, "sleep", "", 5000, ""],
    primitive(55000, "GET_SOC_WORKLOAD", 0),
    log(55000, IDLE_EXIT),
    primitive(55000, "SET_PERF_PREFERENCE_MAX", 1700),
    [55000, "sleep", "", 5000, ""],
    log(60000, SLIDER),
    primitive(65000, "GET_RAPL_POWER", "", 2600),
    log(70000, STANDBY, 0),
    log(80000, STOPPED, 0),
]


def write_trace(path, rows):
    with open(path, "w", newline="", encoding="utf-8") as file:
        csv.writer(file, lineterminator="\n").writerows([COLUMNS, *rows])
    return path


def report(*arguments, cwd=ROOT):
    return run_command(ROOT / "scripts/report.sh", *arguments, cwd=cwd)


def made(page, *traces):
    result = report("-o", page, *traces)
    assert result.returncode == 0, result.stderr
    assert result.stdout == f"{page}\n"
    return page


@contextlib.contextmanager
def headless_browser(folder):
    """Chromium with nothing but itself: no network, no profile, no updates."""
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    quiet = ("headless=new", "disable-gpu", "disable-dev-shm-usage", "no-first-run", "disable-background-networking",
             "disable-component-update", "disable-default-apps", "disable-extensions", "disable-sync",
             "no-proxy-server", "force-device-scale-factor=1", "host-resolver-rules=MAP * ~NOTFOUND",
             f"user-data-dir={folder}")
    for switch in (*quiet, *(["no-sandbox"] if os.geteuid() == 0 else [])):
        options.add_argument(f"--{switch}")
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    service = webdriver.chrome.service.Service("/usr/bin/chromedriver",
                                               env={**os.environ, "HOME": str(folder), "TMPDIR": str(folder)})
    driver = webdriver.Chrome(service=service, options=options)
    driver.set_page_load_timeout(60)
    try:
        yield driver
    finally:
        driver.quit()


class Page:
    """An open report."""

    def __init__(self, driver, path, width=1300, dark=False):
        self.driver = driver
        driver.get("about:blank")
        self._clear_logs()
        metrics = {"width": width, "height": 1400, "deviceScaleFactor": 1, "mobile": False}
        scheme = [{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}]
        driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", metrics)
        driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": scheme})
        driver.get(pathlib.Path(path).resolve().as_uri())
        self.wait(lambda: self.run("return document.querySelectorAll('#chart canvas').length"), "the timeline")

    def _clear_logs(self):
        for kind in ("browser", "performance"):
            self.driver.get_log(kind)

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def chart(self, expression):
        return self.run(f"{CHART} return {expression};")

    def wait(self, condition, what):
        end = time.monotonic() + SETTLE_S
        while not condition():
            assert time.monotonic() < end, f"waited in vain for {what}"
            time.sleep(0.05)

    def console(self):
        return [entry["message"] for entry in self.driver.get_log("browser")]

    def requests(self):
        """Addresses of all that the page asked for, itself excepted."""
        messages = [json.loads(entry["message"])["message"] for entry in self.driver.get_log("performance")]
        asked = [message["params"]["request"]["url"] for message in messages
                 if message["method"] == "Network.requestWillBeSent"]
        return [address for address in asked if address != self.driver.current_url and not address.startswith("data:")]

    def series(self, name):
        """The points of a curve, or of a kind of mark."""
        found = [series["data"] for series in self.chart("chart.getOption().series") if series["name"] == name]
        assert len(found) == 1, name
        return found[0]

    def titles(self):
        return [title["text"] for title in self.chart("chart.getOption().title")]

    def rows(self, selector):
        """The texts of a table's cells."""
        return self.run("return [...document.querySelectorAll(arguments[0] + ' tr')].map("
                        "row => [...row.cells].map(cell => cell.innerText.trim()))", selector)

    def text(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector).text

    def hover(self, series, point):
        """Moves the mouse to a point of a series; returns what the tip says."""
        x, y = self.run(
            f"{CHART} const index = chart.getOption().series.findIndex(series => series.name === arguments[0]);"
            "document.getElementById('chart').scrollIntoView();"
            "return chart.convertToPixel({ seriesIndex: index }, arguments[1]);", series, point)
        box = self.driver.find_element(By.ID, "chart")
        left, up = box.size["width"] / 2, box.size["height"] / 2
        mouse = ActionChains(self.driver, duration=20)
        for distance in (3, 0):
            mouse.move_to_element_with_offset(box, round(x - left + distance), round(y - up))
        mouse.perform()
        self.wait(lambda: self.run("return !!document.querySelector('.tip')"), "the tip")
        return self.run("return document.querySelector('.tip').innerText")

    def press(self, key):
        self.driver.find_element(By.ID, "chart").send_keys(key)

    def click(self, act):
        self.driver.find_element(By.CSS_SELECTOR, f"[data-act={act}]").click()

    def turn_wheel(self, by):
        """With Ctrl, over the power."""
        box = self.driver.find_element(By.ID, "chart")
        down = self.chart("chart.getOption().grid[0].top") + 50 - box.size["height"] // 2
        origin = webdriver.common.actions.wheel_input.ScrollOrigin.from_element(box, 0, down)
        mouse = ActionChains(self.driver).key_down(Keys.CONTROL).scroll_from_origin(origin, 0, by)
        mouse.key_up(Keys.CONTROL).perform()

    def shown(self):
        """The part of the time that the axis shows, in seconds."""
        zoom = self.chart("chart.getOption().dataZoom[0]")
        return round(zoom["startValue"] / 1000, 1), round(zoom["endValue"] / 1000, 1)

    def wait_until_shown(self, expected):
        self.wait(lambda: self.shown() == expected, f"the time {expected}, not {self.shown()}")

    def open_marks(self):
        """(time, lane, text) of each mark in the list."""
        self.run("document.querySelectorAll('#marks details').forEach(details => { details.open = true; })")
        self.wait(lambda: self.rows("#marks"), "the list of marks")
        return [tuple(row) for row in self.rows("#marks")]
