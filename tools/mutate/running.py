"""Runs the unit tests against each fault: those that reach it, each in a process of its own, until one fails."""

import asyncio
import collections
import math
import os
import re
import shutil
import struct
import sys
import time

from tools.mutate import processes, project
from tools.mutate.building import cores

WALL_LIMIT = 10  # seconds that a test may take with a fault in it
SPACE = 4 << 30  # bytes of address space, so that a fault does not take the machine's memory
FILE_SIZE = 64 << 20
HUNG = re.compile(rb"\(not over after |\(SIGXCPU\)")
RECENT = 3  # that many of the tests that saw faults of the same file last go first


class Baseline:
    """What the tests do without a fault: which of them reach which fault, and how long the longest takes."""

    def __init__(self):
        self.reaching = collections.defaultdict(lambda: collections.defaultdict(list))  # fault, program: tests
        self.longest = 0.0  # seconds of processor time

    def add(self, program, test, record):
        size = 8 + self.count
        for at in range(0, len(record), size):
            used, = struct.unpack_from("<q", record, at)
            self.longest = max(self.longest, used / 1e6)
        marks = {match.start() - 8 for at in range(0, len(record), size)
                 for match in re.finditer(b"\x01", record[at:at + size]) if match.start() >= 8}
        for fault in marks:
            self.reaching[fault][program].append(test)

    count = 0


def environment(**more):
    temporary = project.OUT / "tmp"
    temporary.mkdir(exist_ok=True)
    return {**{name: value for name, value in os.environ.items() if not name.startswith(("KELVANE_", "GTEST_"))},
            "TMPDIR": str(temporary), **more}


async def call(arguments, **more):
    return await processes.call(arguments, env=environment(**more))


async def measure(programs, count):
    """The baseline of the programs, which have to pass."""
    baseline = Baseline()
    baseline.count = count + 1
    for name, program in programs.items():
        folder = project.OUT / "reached" / name
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        code, output = await call([program, f"--time-limit={WALL_LIMIT * 6}"], KELVANE_REACHED=str(folder))
        if code != 0:
            raise RuntimeError(f"{name} fails without a fault:\n{output.decode(errors='replace')}")
        for path in folder.iterdir():
            baseline.add(name, path.name.replace("%", "/"), path.read_bytes())
    return baseline


class Run:
    """The verdicts on faults."""

    def __init__(self, programs, baseline):
        self.programs, self.baseline = programs, baseline
        self.caught, self.hung, self.survivors, self.unreached = [], [], [], []
        self.recent = collections.defaultdict(list)  # file, program: tests
        processor = math.ceil(1 + 5 * baseline.longest)
        self.limits = ["prlimit", f"--cpu={processor}:{processor + 1}", f"--as={SPACE}", f"--fsize={FILE_SIZE}", "--"]

    async def judge(self, faults, deadline=None):
        """Judges them in their order; those that the deadline forbids are returned."""
        waiting = collections.deque(faults)
        done, begin = 0, time.monotonic()

        async def work():
            nonlocal done
            while waiting and (deadline is None or time.monotonic() < deadline):
                fault = waiting.popleft()
                await self.judge_one(fault)
                done += 1
                if done % 100 == 0 and sys.stderr.isatty():
                    print(f"{done} of {len(faults)} faults, {time.monotonic() - begin:.0f} s", file=sys.stderr)

        workers = [asyncio.ensure_future(work()) for _ in range(cores())]
        try:
            await asyncio.gather(*workers)
        finally:
            for worker in workers:
                worker.cancel()
            await asyncio.gather(*workers, return_exceptions=True)
        return list(waiting)

    async def judge_one(self, fault):
        reaching = self.baseline.reaching.get(fault.number, {})
        if not reaching:
            self.unreached.append(fault)
            self.survivors.append(fault)
            return
        first = project.LIKELIEST.get(fault.file.split("/")[0], ())
        for program in sorted(reaching, key=lambda name: (name not in first, len(reaching[name]))):
            tests = reaching[program]
            recent = [test for test in self.recent[fault.file, program] if test in tests]
            for chosen in filter(None, (recent, [test for test in tests if test not in recent])):
                output = await self.try_tests(fault, program, chosen)
                if output is not None:
                    (self.hung if HUNG.search(output) else self.caught).append(fault)
                    return
        self.survivors.append(fault)

    async def try_tests(self, fault, program, tests):
        """What the program says, if a test fails."""
        code, output = await call(
            [*self.limits, self.programs[program], f"--gtest_filter={':'.join(tests)}", "--gtest_fail_fast",
             "--jobs=1", f"--time-limit={WALL_LIMIT}"], KELVANE_FAULT=str(fault.number))
        if code == 0:
            return None
        failed = re.findall(rb"^\[  FAILED  \] (\S+) \(", output, re.M)
        if failed:
            self.remember(fault.file, program, failed[-1].decode())
        return output

    def remember(self, file, program, test):
        tests = self.recent[file, program]
        if test in tests:
            tests.remove(test)
        tests.insert(0, test)
        del tests[RECENT:]
