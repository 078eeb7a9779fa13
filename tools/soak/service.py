"""tools.soak.service MINUTES OUT BUILD: the installed service under Wine, driven hard and watched for growth.

The service lives three lives of equal length; the first ends by a kill, the others by a stop. A life has three cycles
or more: scaling is switched on, for a quarter of a minute everything happens to it that can - storms of process starts,
slider, workload, power source, failures of the framework's core - and it is switched off, by the control value or by
standby. Then, at rest, it is measured. All is drawn from one seed.
"""

import pathlib
import random
import re
import statistics
import sys
import time

from tools.shared import framework
from tools.shared.process_figures import status_number, status_of
from tools.shared.random_seed import random_seed
from tools.shared.service_texts import CAPABILITY_CHECKED, TORN_DOWN
from tools.wine.service import HANDLE_COUNT, SCALING_ENDS_S, SCALING_STARTS_S, ServiceUnderWine, TimedOut

LIVES = 3
WORK_S = 15
STORM_STARTS_PER_S = 200
WARM_UP_CYCLES = 1  # buffers of the C library and of Wine are made in the first one
CYCLES_MIN = WARM_UP_CYCLES + 2  # the first and the last of the rest are compared
STOPPED_CLEANLY = {"STATE": 1, "WIN32_EXIT_CODE": 0, "CHECKPOINT": 3}

# What a measure may grow by between the beginning of a life and its end, beside what is deliberate.
GROWTH_MAX = {"private_kib": 768, "resident_kib": 1536, "descriptors": 2, "threads": 1, "handles": 4}
MEASURES = (*GROWTH_MAX, "changes")  # the last: of the control key
SHOWN = {"private_kib": "private KiB", "resident_kib": "resident KiB"}  # the others are shown by their names
# Handles that are kept by design: one for each change of the control key.
HANDLES_PER_CHANGE = 1
REFUSALS = (framework.CONNECT, "REGISTER_EVENT/44", framework.GET_WORKLOAD, framework.GET_POWER, framework.SET_CEILING,
            framework.SET_FLOOR, framework.SET_PL1)


class Failed(Exception):
    """The service did something that it must not do."""


class Tail:
    """The lines that a growing file has got since the last look."""

    def __init__(self, path):
        self._path, self._read = path, 0

    def lines(self):
        path = self._path()
        if path is None or not path.exists():
            return []
        if path.stat().st_size < self._read:
            self._read = 0
        with open(path, "rb") as file:
            file.seek(self._read)
            text = file.read()
        whole = text[:text.rfind(b"\n") + 1]
        self._read += len(whole)
        return whole.decode(errors="replace").splitlines()


class Counter:
    """How often lines of a file have matched, since the service started."""

    def __init__(self, path, patterns):
        self._tail = Tail(path)
        self._patterns = {name: re.compile(pattern) for name, pattern in patterns.items()}
        self.counts = dict.fromkeys(patterns, 0)

    def __getitem__(self, name):
        for line in self._tail.lines():
            for counted, pattern in self._patterns.items():
                self.counts[counted] += bool(pattern.search(line))
        return self.counts[name]


class Life:
    """The service from one start to its end."""

    def __init__(self, service, draw, totals):
        self.service, self.draw, self.totals = service, draw, totals
        self.samples = []
        self.control_changes = 0
        self.control = None
        service.clear_inputs()
        service.start()
        self.pid = service.process_id()
        self.trace = Counter(lambda: service.trace_file, {
            "starts": f",call,{framework.INIT},", "ends": f",call,{framework.DESTROY},",
            "steps": f",{framework.GET_WORKLOAD},"})
        self.log = Counter(service.diagnostic_log_file, {"torn down": TORN_DOWN})
        service.wait_for(lambda: self._told(CAPABILITY_CHECKED), SCALING_STARTS_S, "the capability check")
        self.write_control(0)

    def _told(self, message):
        return self.service.service_data().count(message) > self.totals["lives"]

    def write_control(self, value):
        """A value that is already there signals no change."""
        if value != self.control:
            self.service.write_control(value)
            self.control_changes += 1
            self.control = value

    def cycle(self):
        starts, torn_down = self.trace["starts"], self.log["torn down"]
        refused = self.draw.random() < 0.15
        self.service.clear_inputs()
        self.service.set_input("status", f"{framework.INIT}={1000 if refused else 0}")
        self.write_control(2)
        self._wait(lambda: self.trace["starts"] > starts, SCALING_STARTS_S, "scaling")
        if not refused:
            self._work()
            self._end_scaling()
        self._wait(lambda: self.log["torn down"] > torn_down, SCALING_ENDS_S, "the tear-down")
        self._calm()
        self.write_control(0)
        self.totals["refused starts" if refused else "runs of scaling"] += 1
        time.sleep(1)
        self.sample()

    def _work(self):
        storm = self.service.home / "storm.txt"
        storm.write_text(str(STORM_STARTS_PER_S), encoding="ascii")
        end = time.monotonic() + WORK_S
        while time.monotonic() < end:
            name, value = self._something()
            self.service.set_input(name, value)
            self.totals["inputs"] += 1
            self._expect_alive()
            time.sleep(self.draw.uniform(0.05, 0.4))
        storm.unlink()
        self.totals["seconds of storm"] += WORK_S
        self._calm()

    def _something(self):
        draw = self.draw
        return draw.choice((
            lambda: ("power_mw", draw.choice((700, 1500, 3000, 5500, 9000, 16000, draw.randrange(60000)))),
            lambda: ("power_mw", draw.randrange(20000)),
            lambda: ("clip_reasons", draw.choice((0, 0, framework.CLIP_BIT))),
            lambda: ("ac_line", draw.choice((0, 1, 255, "fail"))),
            lambda: ("event", f"106:{draw.randrange(120)}"),
            lambda: ("event", f"183:{draw.randrange(6)}"),
            lambda: ("event", draw.choice(("34:2", "44", "5", "6", "10000", "72:2354430170"))),
            lambda: ("status", f"{draw.choice(REFUSALS)}={draw.choice((0, 1000))}"),
        ))()

    def _calm(self):
        """Heals what was broken."""
        for operation in (framework.INIT, *REFUSALS):
            self.service.set_input("status", f"{operation}=0")
        self.service.set_input("clip_reasons", 0)

    def _end_scaling(self):
        ends = self.trace["ends"]
        if self.draw.random() < 0.33:
            self.service.fire_standby(506)
            self.service.fire_standby(507)
            self.totals["standbys"] += 1
        else:
            self.write_control(0)
        self._wait(lambda: self.trace["ends"] > ends, SCALING_ENDS_S, "the end of scaling")

    def end(self, killed):
        if killed:
            self.service.kill()
            self.service.write_control(0)
        else:
            self.service.stop(SCALING_ENDS_S)
            status = self.service.query()
            if {name: status[name] for name in STOPPED_CLEANLY} != STOPPED_CLEANLY:
                raise Failed(f"the service did not stop cleanly: {status}")
        self.totals["control steps"] += self.trace["steps"]
        self.totals["lives"] += 1

    # --- watching -----------------------------------------------------------------------------------------------------

    def _expect_alive(self):
        if self.service.process_id() != self.pid:
            raise Failed("the service's process has died")

    def _wait(self, condition, timeout, what):
        def came():
            self._expect_alive()
            return condition()
        self.service.wait_for(came, timeout, what)

    def sample(self):
        status = status_of(self.pid)
        self.samples.append({"private_kib": status_number(status, "RssAnon"),
                             "resident_kib": status_number(status, "VmRSS"),
                             "descriptors": len(list(pathlib.Path(f"/proc/{self.pid}/fd").iterdir())),
                             "threads": status_number(status, "Threads"),
                             "handles": self.service.handles(),
                             "changes": self.control_changes})

    def growth(self):
        """By measure: (at the beginning, at the end, what it grew by beside what is deliberate), as medians."""
        settled = self.samples[WARM_UP_CYCLES:]
        part = max(1, len(settled) // 3)
        first, last = settled[:part], settled[-part:]
        def median(samples, name):
            return statistics.median(sample[name] for sample in samples)
        kept = HANDLES_PER_CHANGE * (median(last, "changes") - median(first, "changes"))
        return {name: (median(first, name), median(last, name),
                       median(last, name) - median(first, name) - (kept if name == "handles" else 0))
                for name in GROWTH_MAX}


def cycle_row(number, samples):
    """The last sample of a life, in the columns of the table's head."""
    return f"{number:<6}{len(samples):5}" + "".join(f"{samples[-1][name]:14}" for name in MEASURES)


def soak(service, minutes, totals):
    """Lives, each with its end; returns them all."""
    draw = random.Random(totals["seed"])
    lives = []
    print(f"{'life':6}{'cycle':>5}" + "".join(f"{SHOWN.get(name, name):>14}" for name in MEASURES), flush=True)
    for number in range(LIVES):
        life = Life(service, draw, totals)
        lives.append(life)
        end = time.monotonic() + minutes * 60 / LIVES
        while time.monotonic() < end or len(life.samples) < CYCLES_MIN:
            life.cycle()
            print(cycle_row(number + 1, life.samples), flush=True)
        life.end(killed=number == 0)
    return lives


def report(lives, totals):
    """Prints the table; returns whether nothing has grown."""
    print(f"\n{'':22}{'first':>10}{'last':>10}{'growth':>10}{'at most':>10}")
    grown = False
    for number, life in enumerate(lives, 1):
        for name, (first, last, growth) in life.growth().items():
            too_much = growth > GROWTH_MAX[name]
            grown |= too_much
            print(f"life {number}  {SHOWN.get(name, name):14}{first:10g}{last:10g}{growth:10g}{GROWTH_MAX[name]:10}"
                  f"{'  GREW' if too_much else ''}")
    print()
    for name, number in totals.items():
        print(f"{name:22}{number:10}")
    print("growth of handles: beside one for each change of the control key, which is deliberate")
    return not grown


def main():
    if len(sys.argv) != 4:
        sys.exit("usage: tools.soak.service MINUTES OUT BUILD")
    minutes, (out, build) = int(sys.argv[1]), map(pathlib.Path, sys.argv[2:])
    totals = {"seed": random_seed(), "lives": 0, "runs of scaling": 0, "refused starts": 0,
              "standbys": 0, "control steps": 0, "inputs": 0, "seconds of storm": 0}
    with ServiceUnderWine(out / "service", build) as service:
        service.install_tool(HANDLE_COUNT)
        try:
            lives = soak(service, minutes, totals)
        except TimedOut as failure:  # tells what the service reports, too
            sys.exit(f"{failure}\nseed {totals['seed']}")
        except (Failed, AssertionError) as failure:
            sys.exit(f"{failure}\n{service.report()}\nseed {totals['seed']}")
        faults = service.core_faults()
    if not report(lives, totals) or faults:
        sys.exit("\n".join(["the service grew, or its core was told nonsense", *faults]))


if __name__ == "__main__":
    main()
