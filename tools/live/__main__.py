"""tools.live BUILD OUT: the installed service under Wine's service control manager, switched as its users switch it.

Shows a line for each control step with what can be seen from outside, tells what is done to the service, and at the end
what the service has left behind. About 90 seconds. BUILD holds the programs and gets the prefix, OUT the logs and the
trace.
"""

import pathlib
import sys
import time

from tools.live.log_rows import merged
from tools.shared import framework
from tools.shared.new_file import copy_whole, write_whole
from tools.shared.scenario import HEAD
from tools.shared.service_texts import TORN_DOWN
from tools.wine.service import ServiceUnderWine

START_WORK_MS = 4000  # of a program that starts, on two cores


def scenario():
    """A thin laptop at office work: pages and keys all along, a build that clips, on battery from the middle on.

    What the programs that start have to do comes with them, when they do (start_program).
    """
    rows = [(0, "processor,thin-laptop"), (0, "ac_line,1"), (18000, "job,build:40000:6"), (27000, "ac_line,0"),
            (54000, "ac_line,1")]
    rows += [(time_ms, "job,page:900:2") for time_ms in range(1500, 90000, 5500)]
    rows += [(time_ms, "job,key:20:1") for time_ms in range(0, 90000, 230)]
    return HEAD + "".join(f"{time_ms},{row}\n" for time_ms, row in sorted(rows))


class Steps:
    """Reads the growing trace and prints a line for each control step that has ended."""

    def __init__(self, service, scenario):
        self.service = service
        self.power_source = self._power_sources(scenario)
        self.read = 0
        self.ceiling = self.pl1_mw = None
        self.scaling = False
        self.stepping = False  # what is read before the first step belongs to the start-up
        self.started_programs = 0
        self._begin_step()

    @staticmethod
    def _power_sources(scenario):
        rows = [row.split(",") for row in scenario.splitlines()[1:]]
        sources = {"0": "battery", "1": "mains"}
        return [(int(time_ms), sources[value]) for time_ms, name, value in rows if name == "ac_line"]

    def _begin_step(self):
        self.power_mw = []
        self.clips = 0

    def follow(self):
        rows = self.service.trace()
        for row in rows[self.read:]:
            self._take(row)
        self.read = len(rows)

    def _take(self, row):
        name, value = row["name"], row["value"]
        if name in (framework.GET_WORKLOAD, framework.DISCONNECT):
            if self.stepping:
                self._print_step(int(row["time_ms"]))
            self.stepping = name == framework.GET_WORKLOAD
            self._begin_step()
        if name == framework.CONNECT:
            self.scaling = True
        elif name == framework.DISCONNECT:
            self.scaling = False
            say("scaling is off: the limits were restored, the session is closed")
        elif name == framework.GET_POWER and value:
            self.power_mw.append(int(value))
        elif name == framework.GET_CLIP_REASONS and value:
            self.clips += bool(int(value) & framework.CLIP_BIT)
        elif name == framework.SET_CEILING:
            self.ceiling = int(value)
            if self.ceiling == framework.FULL_PERFORMANCE:
                print(f"{seconds(row):7.1f} s   ceiling {self.ceiling}")
        elif name == framework.SET_PL1:
            self.pl1_mw = int(value)
            print(f"{seconds(row):7.1f} s   PL1 {self.pl1_mw / 1000:g} W")

    def _print_step(self, time_ms):
        if self.power_mw and self.scaling:
            source = [source for since, source in self.power_source if since <= time_ms][-1]
            mean_w = sum(self.power_mw) / len(self.power_mw) / 1000
            print(f"{time_ms / 1000:7.1f} s   {mean_w:5.2f} W   clips {self.clips:2}   ceiling {self.ceiling or 0:5}   "
                  f"PL1 {(self.pl1_mw or 0) / 1000:4.1f} W   {source:7}   starts {self.started_programs}   scaling on",
                  flush=True)


def seconds(row):
    return int(row["time_ms"]) / 1000


def say(text):
    print(f"--- {text}", flush=True)


def watch(steps, duration_s):
    """Shows steps for a while."""
    end = time.monotonic() + duration_s
    while time.monotonic() < end:
        steps.follow()
        time.sleep(0.1)
    sys.stdout.flush()


def watch_until(steps, condition, timeout_s, what):
    """Shows steps until something has happened."""
    end = time.monotonic() + timeout_s
    while not condition():
        if time.monotonic() > end:
            sys.exit(f"{what} did not come within {timeout_s} s\n{steps.service.report()}")
        watch(steps, 0.1)


def start_program(steps, name):
    say(f"a program starts: {name}")
    steps.service.set_input("job", f"{name}:{START_WORK_MS}:2")
    steps.service.start_program(name)
    steps.started_programs += 1


def switch(service, value):
    say(f"the control value becomes {value}: scaling {'on' if value == 2 else 'off'}")
    service.write_control(value)


def act(service):
    """The service's 90 seconds."""
    steps = Steps(service, scenario())
    say("the service starts; scaling waits for the control value")
    service.start()
    time.sleep(1)  # the watcher of the control value is one of the first things that the service starts
    switch(service, 2)
    watch_until(steps, lambda: steps.scaling, 20, "scaling")
    watch(steps, 14)
    start_program(steps, "editor.exe")
    watch(steps, 12)
    start_program(steps, "compiler.exe")
    watch(steps, 8)
    switch(service, 0)
    watch_until(steps, lambda: not steps.scaling, 20, "the end of scaling")
    watch_until(steps, lambda: TORN_DOWN in service.messages(), 10, "the tear-down")
    switch(service, 2)
    watch_until(steps, lambda: steps.scaling, 20, "scaling")
    watch(steps, 9)
    say("the machine enters standby: event 506")
    service.fire_standby(506)
    watch_until(steps, lambda: not steps.scaling, 20, "the end of scaling")
    watch(steps, 1)
    say("the service stops")
    service.stop()
    steps.follow()


def keep(service, out):
    """Copies what the service left behind to OUT, the log's messages also into the trace, and tells where it lies."""
    trace = service.trace_file.read_text(encoding="utf-8")
    log = service.diagnostic_log_file().read_text(encoding="utf-8", errors="replace")
    write_whole(out / "service.trace.csv", merged(trace, log))
    files = {"diagnostic log": (service.diagnostic_log_file(), "service.log"),
             "service data file": (service.service_data_file, "service.data.txt")}
    print()
    for name, (path, kept) in files.items():
        copy_whole(path, out / kept)
        print(f"{name:18} build/run/{kept}, in the prefix {path.relative_to(service.drive)}")
    print("\n  ".join(["sent to the event log:", *(service.event_texts() or ["nothing"])]))


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: tools.live BUILD OUT")
    build, out = map(pathlib.Path, sys.argv[1:])
    out.mkdir(parents=True, exist_ok=True)
    say("making a Wine prefix and installing the service")
    with ServiceUnderWine(build / "live", build) as service:
        service.set_scenario(scenario())
        act(service)
        keep(service, out)


if __name__ == "__main__":
    main()
