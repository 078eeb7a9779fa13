"""tools.soak.year DAYS OUT COMMAND...: days of a laptop through the scaling loop in virtual time, watched for growth.

Draws the scenario day by day - a night with little to do, a day of work with programs, slider, power source and classes
of workload - replays it in one run with the trace thrown away, and prints what it took. COMMAND is the replay program.
"""

import pathlib
import random
import re
import statistics
import subprocess
import sys
import threading
import time

from tools.shared.program_end import describe_end
from tools.shared.random_seed import random_seed
from tools.wine.prefix import exit_on_signals

MINUTE_MS = 60 * 1000
HOUR_MS = 60 * MINUTE_MS
DAY_MS = 24 * HOUR_MS
WORK_HOURS = range(7, 22)
GROWTH_MAX_KIB = 256
YEAR_DAYS = 365
WARM_UP = 0.2  # share of the run in which buffers and the scenario are made
SAMPLE_S = 0.05
SAMPLES_MIN = 30  # in each third; a run that ends before is too short to tell


def day(draw, start_ms):
    """The rows of one day."""
    for hour in range(24):
        lines = 12 if hour in WORK_HOURS else 2
        for time_ms in sorted(draw.randrange(HOUR_MS) for _ in range(lines)):
            name, value = at_work(draw) if hour in WORK_HOURS else ("power_mw", draw.randrange(500, 2000))
            yield start_ms + hour * HOUR_MS + time_ms, name, value


def at_work(draw):
    return draw.choice((
        lambda: ("power_mw", draw.choice((700, 1500, 2500, 4500, 5500, 8000, 16000))),
        lambda: ("power_mw", draw.randrange(20000)),
        lambda: ("clip_reasons", draw.choice((0, 0, 0, 0x400))),
        lambda: ("ac_line", draw.randrange(2)),
        lambda: ("event", f"106:{draw.randrange(101)}"),
        lambda: ("event", f"183:{draw.randrange(5)}"),
        lambda: ("process_start", f"{draw.choice(('editor.exe', 'svchost.exe', 'OneDrive.exe'))}:{draw.randrange(4, 99999)}"),
    ))()


def write_scenario(path, days, draw):
    with open(path, "w", encoding="ascii") as file:
        file.write("time_ms,input,value\n")
        for number in range(days):
            file.writelines(f"{time_ms},{name},{value}\n" for time_ms, name, value in day(draw, number * DAY_MS))
        file.write(f"{days * DAY_MS},stop,scaling\n")


class Memory(threading.Thread):
    """Samples the private memory of a process until it ends. (Wine's loader becomes the program that it starts.)"""

    def __init__(self, process):
        super().__init__()
        self._process = process
        self.samples_kib = []

    def run(self):
        while self._process.poll() is None:
            size = self._size()
            if size:
                self.samples_kib.append(size)
            time.sleep(SAMPLE_S)

    def _size(self):
        try:
            text = pathlib.Path(f"/proc/{self._process.pid}/status").read_text(encoding="ascii")
        except OSError:
            return None
        found = re.search(r"^RssAnon:\s+(\d+)", text, re.M)
        return int(found[1]) if found else None

    def growth_kib(self):
        """Between the medians of the first and the last third, warm-up left out; None for a run too short to tell."""
        settled = self.samples_kib[int(WARM_UP * len(self.samples_kib)):]
        part = len(settled) // 3
        if part < SAMPLES_MIN:
            return None
        return statistics.median(settled[-part:]) - statistics.median(settled[:part])


def main():
    if len(sys.argv) < 4:
        sys.exit("usage: tools.soak.year DAYS OUT COMMAND...")
    days, out, command = int(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3:]
    out.mkdir(parents=True, exist_ok=True)
    seed = random_seed()
    scenario = out / "year.csv"
    write_scenario(scenario, days, random.Random(seed))
    began = time.monotonic()
    with subprocess.Popen([*command, str(scenario), "/dev/null"], stdin=subprocess.DEVNULL) as process:
        memory = Memory(process)
        memory.start()
        try:
            exit_code = process.wait()
        except BaseException:
            process.kill()
            raise
        finally:
            memory.join()
    took_s = time.monotonic() - began
    growth = memory.growth_kib()
    print(f"simulated             {days:10} days\ntook                  {took_s:10.1f} s\n"
          f"simulated per second  {days * 24 / took_s:10.1f} hours\n"
          f"private memory        {max(memory.samples_kib, default=0):10} KiB at most\n"
          f"growth                {'unknown' if growth is None else format(growth, 'g'):>10} KiB, at most {GROWTH_MAX_KIB}\n"
          f"seed                  {seed:10}")
    if exit_code != 0:
        sys.exit(f"the replay {describe_end(exit_code)}")
    if growth is None and days >= YEAR_DAYS:
        sys.exit("the replay ended too soon to tell growth")
    if growth is not None and growth > GROWTH_MAX_KIB:
        sys.exit("the replay grew")


if __name__ == "__main__":
    exit_on_signals()
    main()
