"""tools.soak.year DAYS OUT COMMAND...: days of a laptop through the scaling loop in virtual time, watched for growth.

Draws the scenario (tools/shared/laptop_days.py), replays it in one run with the trace thrown away, and prints what it
took. COMMAND is the replay program.
"""

import pathlib
import random
import statistics
import subprocess
import sys
import threading
import time

from tools.shared import laptop_days
from tools.shared.process_figures import status_number, status_of
from tools.shared.program_end import describe_end
from tools.shared.random_seed import random_seed

GROWTH_MAX_KIB = 256
YEAR_DAYS = 365
WARM_UP = 0.2  # share of the run in which buffers and the scenario are made
SAMPLE_S = 0.05
SAMPLES_MIN = 30  # in each third; a run that ends before is too short to tell


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
            return status_number(status_of(self._process.pid), "RssAnon")
        except OSError:
            return None

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
    laptop_days.write_scenario(scenario, days, random.Random(seed))
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
    growth_text = "unknown" if growth is None else format(growth, "g")
    print(f"simulated             {days:10} days\ntook                  {took_s:10.1f} s\n"
          f"simulated per second  {days * 24 / took_s:10.1f} hours\n"
          f"private memory        {max(memory.samples_kib, default=0):10} KiB at most\n"
          f"growth                {growth_text:>10} KiB, at most {GROWTH_MAX_KIB}\n"
          f"seed                  {seed:10}")
    if exit_code != 0:
        sys.exit(f"the replay {describe_end(exit_code)}")
    if growth is None and days >= YEAR_DAYS:
        sys.exit("the replay ended too soon to tell growth")
    if growth is not None and growth > GROWTH_MAX_KIB:
        sys.exit("the replay grew")


if __name__ == "__main__":
    main()
