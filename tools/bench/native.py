"""What the service's code takes on Linux: instructions and allocations, by tests/bench/, and the replay's speed.

Instructions are callgrind's, in the build `native-bench`; what stands for the framework and for Windows is left out
(tools/bench/callgrind.py). Each thing is done a hundred times and more, behind a warm-up, and the mean told.
"""

import pathlib
import random
import re
import subprocess
import tempfile
import time
from dataclasses import dataclass

from tools.bench import callgrind
from tools.bench.table import Row
from tools.shared import laptop_days
from tools.shared.project import WINE_RUN

DRIVER = "native-bench"
TIMEOUT_S = 60
# The framework's core, WMI, Sleep, the power source; and the stand-ins of simulator/linux/.
OUTSIDE = re.compile(r"kelvane::(simulator|bench::outside)::"
                     r"|\(anonymous namespace\)::|(Sys|Variant|WideChar|MultiByte)\w+\(")

STEPS = {"quiet-step": "quiet", "idle-step": "in Active Idle", "ramp-step": "every other one follows a ramp",
         "clip-step": "every other one is clipped", "process-start-step": "every other one takes a process start"}

REPLAY_DAYS = 10
REPLAY_TRIES = 3
WRITE_BYTES = 1024 * 1024  # as the replay writes its trace


@dataclass(frozen=True)
class Cost:
    """Of one step, sample, message, start."""
    instructions: float
    allocations: float


def cost(native, thing):
    """What the driver in the build folder `native` does under that name."""
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder, "callgrind.out")
        run = subprocess.run(["valgrind", "-q", "--tool=callgrind", "--instr-atstart=no", f"--callgrind-out-file={out}",
                              native / DRIVER, thing], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
                             timeout=TIMEOUT_S, check=False)
        if run.returncode != 0:
            raise RuntimeError(f"{thing}: {run.stderr}")
        units, allocations = map(int, run.stderr.split()[-2:])
        return Cost(callgrind.instructions(out, OUTSIDE) / units, allocations / units)


def heap_over_day(native):
    """Bytes that are allocated after the first hour of a simulated day, and after the last."""
    run = subprocess.run([native / DRIVER, "day"], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
                         timeout=TIMEOUT_S, check=True)
    return tuple(map(int, run.stderr.split()[-2:]))


def count_rows(native):
    def instructions(thing):
        return cost(native, thing).instructions

    for thing, kind in STEPS.items():
        target = "<= 15,000" if thing == "quiet-step" else "<= 40,000"
        yield Row(f"control step: {kind}", instructions(thing), "instructions", instructions(f"least-{thing}"), target)
    yield Row("power ramp probe: a sample", instructions("sample"), "instructions", instructions("least-sample"))
    yield Row("log message, dropped", instructions("dropped-message"), "instructions")
    yield Row("log message, written", instructions("written-message"), "instructions",
              instructions("least-written-message"))
    yield Row("notification of a start, in a list", instructions("listed-start"), "instructions", None, "<= 2,000")
    yield Row("notification of a start, in no list", instructions("acting-start"), "instructions",
              instructions("least-start"), "<= 2,000")
    yield Row("from notification to write", instructions("start-to-write"), "instructions", instructions("least-start"),
              "<= 2,000")
    for thing, measure, target in (("quiet-step", "control step: quiet", "<= 15"),
                                   ("sample", "power ramp probe: a sample", "0"),
                                   ("dropped-message", "log message, dropped", "0")):
        yield Row(measure, cost(native, thing).allocations, "allocations", None, target)
    first, last = heap_over_day(native)
    yield Row("heap, from simulated hour 1 to 24", last - first, "bytes", None, "0")


def fastest_s(command, out):
    """The shortest of some runs, each of which writes `out` anew."""
    def took():
        out.unlink(missing_ok=True)
        began = time.monotonic()
        subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, check=True)
        return time.monotonic() - began

    return min(took() for _ in range(REPLAY_TRIES))


def replay_rows(build):
    folder = build / "bench"
    folder.mkdir(parents=True, exist_ok=True)
    scenario, trace, zeros = folder / "days.csv", folder / "trace.csv", folder / "zeros"
    laptop_days.write_scenario(scenario, REPLAY_DAYS, random.Random(1))
    programs = {"on Linux": [build / "native-bench/kelvane-replay"],
                "under Wine": [WINE_RUN, build / "release/kelvane-replay.exe"]}
    try:
        for place, program in programs.items():
            took_s = fastest_s([*program, scenario, trace], trace)
            size = trace.stat().st_size
            dd_s = fastest_s(["dd", "if=/dev/zero", f"of={zeros}", f"bs={WRITE_BYTES}", "iflag=count_bytes",
                              f"count={size}"], zeros)
            yield Row(f"replay {place}: simulated time", REPLAY_DAYS * 24 / took_s, "hours/s", None, ">= 200")
            yield Row(f"replay {place}: trace, beside dd", size / took_s / 1e6, "MB/s", size / dd_s / 1e6)
    finally:
        for file in (trace, zeros):
            file.unlink(missing_ok=True)


def rows(build):
    return [*count_rows(build / "native-bench"), *replay_rows(build)]
