"""What the installed service takes under Wine; five minutes.

Beside it, at the same time, run two services that are as small as can be: one keeps the same pauses and does nothing
else, the other also makes the same calls into the framework's core (simulator/gauges/smallest_service.cpp). The
stand-ins live in the service's process, on threads that bear their names, which are left out; what they do on the
loop's thread, the second small service has done on its own.
"""

import shutil
import statistics
import threading
import time
from dataclasses import dataclass

from tools.bench.table import Row
from tools.shared.durations import HOUR_MS, MINUTE_MS
from tools.shared.process_figures import Memory, memory_of, taken_between, thread_ids_of, threads_of
from tools.shared.scenario import HEAD
from tools.shared.service_texts import CAPABILITY_CHECKED, PROCESS_WATCHER_STOPPED, TORN_DOWN
from tools.trace.rows import read_trace
from tools.wine.service import (EXECUTABLE, HANDLE_COUNT, SCALING_ENDS_S, SCALING_STARTS_S, SERVICE, ServiceUnderWine,
                                in_home)

STAND_INS = ("orqcore", "wevtapi", "wmi")
LOOP = "loop"
PAUSES, CALLS = "pauses", "calls"  # the two small services
SETTLES_S = 2
FIRST_IDLE_PAUSES_S = 9  # the first entry pauses for seven seconds, and the next probe follows
LIVES = 5
PHASE_S = 0.6  # five of them spread over the worker's poll
POLL_MS = 3000
REPLAY_MS = HOUR_MS
REPLAY_SETTLES_MS = MINUTE_MS


@dataclass(frozen=True)
class State:
    """A state of the service, and for how long it is measured."""
    name: str
    pauses: str  # what the small services call it
    has_loop: bool
    power_mw: int
    seconds: float  # whole rounds of the loop
    pauses_max: float = 0  # per second, by design: the loop's and the worker's poll


AT_REST = State("at rest", "rest", False, 3000, 15)
SCALING = State("scaling", "scaling", True, 3000, 48, 3.67)
ACTIVE_IDLE = State("Active Idle", "idle", True, 700, 56, 0.87)
SCALING_OFF = State("scaling off", "rest", False, 3000, 15)
STATES = (AT_REST, SCALING, ACTIVE_IDLE, SCALING_OFF)


@dataclass(frozen=True)
class Figures:
    """Of one process in one state; CPU in ms per minute, wake-ups per second."""
    cpu: float  # without the stand-ins
    wakeups: float
    memory: Memory
    threads: int
    handles: int
    loop_cpu: float | None = None
    loop_wakeups: float | None = None


def is_loop(thread):
    return thread.name == LOOP


def is_no_stand_in(thread):
    return thread.name not in STAND_INS


def figures(before, after, seconds, memory, handles):
    """From two looks at the threads."""
    own = taken_between(before, after, is_no_stand_in)
    loop = taken_between(before, after, is_loop) if any(map(is_loop, after.values())) else None
    return Figures(own.cpu_ms * 60 / seconds, own.switches / seconds, memory, len(after), handles,
                   loop.cpu_ms * 60 / seconds if loop else None, loop.switches / seconds if loop else None)


# --- the four states --------------------------------------------------------------------------------------------------

class Bench(ServiceUnderWine):
    """The service, and the small ones that it is weighed against."""

    def install_gauges(self):
        for tool in (HANDLE_COUNT, "service_times.exe"):
            self.install_tool(tool)
        for name in (PAUSES, CALLS):
            self.install_tool("smallest_service.exe", to=f"{name}.exe")
        self.calls_folder = self.home / "calls"
        self.calls_folder.mkdir()
        shutil.copy(self.stand_ins / "orqcore.dll", self.calls_folder)
        for state in {state.pauses for state in STATES}:
            for name, core in ((PAUSES, ""), (CALLS, in_home(r"calls\orqcore.dll"))):
                self.control_manager("create", f"{name} {state}", "binPath=", f"{in_home(name)}.exe {state} {core}")

    def times(self, request, name):
        """When a start or stop was asked for and when it was done, in ms since 1970."""
        asked, done = self.run(in_home("service_times.exe"), request, name).split()
        return float(asked), float(done)

    def bring_to(self, state):
        self.set_input("power_mw", state.power_mw)
        if state is SCALING:
            self.write_control(2)
            self.wait_for(self.writes, SCALING_STARTS_S, "the first write")
        elif state is ACTIVE_IDLE:
            self.wait_for_message(PROCESS_WATCHER_STOPPED, SCALING_ENDS_S)
            time.sleep(FIRST_IDLE_PAUSES_S)
        elif state is SCALING_OFF:
            self.write_control(0)
            self.wait_for_message(TORN_DOWN, SCALING_ENDS_S)
        time.sleep(SETTLES_S)

    def measure(self, state):
        """Figures of the service and of the small ones in a state, by name."""
        small = [PAUSES, CALLS] if state.has_loop else [PAUSES]
        for name in small:
            self.times("start", f"{name} {state.pauses}")
        self.bring_to(state)
        programs = {name: f"{name}.exe" for name in ("kelvane", *small)}
        found = self._watch(programs, state.seconds)
        for name in small:
            self.times("stop", f"{name} {state.pauses}")
        return found

    def _watch(self, programs, seconds):
        pids = {name: self._await_process(program) for name, program in programs.items()}
        before, began = {name: threads_of(pid) for name, pid in pids.items()}, time.monotonic()
        time.sleep(seconds)
        after, lasted = {name: threads_of(pid) for name, pid in pids.items()}, time.monotonic() - began
        self._expect_alive(pids)
        return {name: figures(before[name], after[name], lasted, memory_of(pids[name]), self.handles(program))
                for name, program in programs.items()}

    def _await_process(self, program=EXECUTABLE):
        self.wait_for(lambda: self.process_id(program), SCALING_STARTS_S, f"a process of {program}")
        return self.process_id(program)

    def _expect_alive(self, pids):
        ended = [name for name, pid in pids.items() if not thread_ids_of(pid)]
        if ended:
            raise AssertionError(f"{', '.join(ended)} ended while it was measured\n{self.report()}")

    # --- times --------------------------------------------------------------------------------------------------------

    def live_and_stop(self, phase_s):
        """(start to RUNNING, STOP to STOPPED, of that behind the end of the worker's poll), in ms, at rest."""
        asked, running = self.times("start", SERVICE)
        pid = self._await_process()
        time.sleep(SETTLES_S + phase_s)
        with Onlooker(pid) as onlooker:
            stop_asked, stopped = self.times("stop", SERVICE)
        self.wait_for(lambda: not self.process_id(), SCALING_ENDS_S, "the end of the service's process")
        return running - asked, stopped - stop_asked, stopped - onlooker.first_end_ms

    def live_and_scale(self, phase_s):
        """(value 2 to the first write, of that behind the pauses before the engine starts), in ms."""
        checks = self.service_data().count(CAPABILITY_CHECKED)
        self.start()
        self.wait_for(lambda: self.service_data().count(CAPABILITY_CHECKED) > checks, SCALING_STARTS_S,
                      "the capability check")
        time.sleep(SETTLES_S + phase_s)
        with Onlooker(self.process_id()) as onlooker:
            self.write_control(2)
            asked = now_ms()
            self.wait_for(self.writes, SCALING_STARTS_S, "the first write", every=0.001)
            written = now_ms()
        self.stop()
        self.write_control(0)
        return written - asked, written - onlooker.first_start_ms

    def small_start(self):
        """Start to RUNNING of a small service, in ms."""
        asked, running = self.times("start", f"{PAUSES} {AT_REST.pauses}")
        self.times("stop", f"{PAUSES} {AT_REST.pauses}")
        return running - asked


def now_ms():
    return time.time() * 1000


class Onlooker:
    """Notes when the first thread of a process has started and when the first one has ended, each millisecond."""

    def __init__(self, pid):
        self._pid, self._known = pid, thread_ids_of(pid)
        self._over = threading.Event()
        self._looking = threading.Thread(target=self._look)
        self.first_start_ms = self.first_end_ms = None

    def __enter__(self):
        self._looking.start()
        return self

    def __exit__(self, *_):
        self._over.set()
        self._looking.join()

    def _look(self):
        over = False
        while not over:
            over = self._over.wait(0.001)
            ids = thread_ids_of(self._pid)
            if self.first_start_ms is None and ids - self._known:
                self.first_start_ms = now_ms()
            if self.first_end_ms is None and self._known - ids:
                self.first_end_ms = now_ms()


# --- the rows ---------------------------------------------------------------------------------------------------------

def loop_rows(state, found):
    """Of the loop's thread alone; found: Figures by name."""
    service, pauses, calls = (found[name] for name in ("kelvane", PAUSES, CALLS))
    target = "<= 1.1 x" if state is SCALING else ""
    return [Row(f"{state.name}: CPU of the loop, beside pauses and calls", service.loop_cpu, "ms/min", calls.loop_cpu,
                target),
            Row(f"{state.name}: CPU of the loop, beside pauses alone", service.loop_cpu, "ms/min", pauses.loop_cpu,
                target),
            Row(f"{state.name}: CPU of the loop without calls, beside pauses alone",
                service.loop_cpu - (calls.loop_cpu - pauses.loop_cpu), "ms/min", pauses.loop_cpu, target),
            Row(f"{state.name}: wake-ups of the loop", service.loop_wakeups, "wake-ups/s", calls.loop_wakeups)]


def state_rows(state, found):
    """Of the whole process, beside the small service that does most of the same."""
    service, small = found["kelvane"], found[CALLS if state.has_loop else PAUSES]
    return [Row(f"{state.name}: CPU without stand-ins", service.cpu, "ms/min", small.cpu),
            Row(f"{state.name}: wake-ups without stand-ins", service.wakeups, "wake-ups/s", small.wakeups),
            Row(f"{state.name}: private memory", service.memory.whole, "KiB", small.memory.whole, "< 3 MiB"),
            Row(f"{state.name}: of it heaps and variables", service.memory.data, "KiB", small.memory.data, "< 3 MiB"),
            Row(f"{state.name}: threads", service.threads, "", small.threads),
            Row(f"{state.name}: handles", service.handles, "", small.handles)]


def pause_row(bench, state):
    """The loop's pauses, counted in virtual time, and the worker's polls."""
    scenario, trace = bench.home / "bench.csv", bench.home / "bench-trace.csv"
    scenario.write_text(f"{HEAD}0,power_mw,{state.power_mw}\n{REPLAY_MS},stop,service\n",
                        encoding="ascii")
    bench.run(str(bench.build / "kelvane-replay.exe"), in_home("bench.csv"), in_home("bench-trace.csv"))
    pauses = pauses_per_s(read_trace(trace)) + 1000 / POLL_MS
    return Row(f"{state.name}: pauses of loop and worker", pauses, "wake-ups/s",
               target=f"<= {state.pauses_max}")


def pauses_per_s(rows):
    """Of a replay's rows, between the first and the last pause behind its beginnings."""
    times = [row.time_ms for row in rows if row.kind == "sleep" and row.time_ms >= REPLAY_SETTLES_MS]
    return (len(times) - 1) * 1000 / (times[-1] - times[0])


def time_rows(bench):
    phases = [life * PHASE_S for life in range(LIVES)]
    starts, stops, after_poll, small_starts = zip(*((*bench.live_and_stop(phase), bench.small_start())
                                                    for phase in phases))
    switches, after_delay = zip(*map(bench.live_and_scale, phases))
    return [median_row("start to RUNNING", starts, small_starts),
            *parted_rows("value 2 to the first write", switches, after_delay),
            *parted_rows("STOP to STOPPED", stops, after_poll)]


def median_row(measure, times, beside=None):
    return Row(measure, statistics.median(times), "ms", statistics.median(beside) if beside else None)


def parted_rows(measure, times, own):
    """The whole and its two parts; own: what is left behind the pauses."""
    pauses = [whole - part for whole, part in zip(times, own)]
    return [median_row(measure, times), median_row(f"{measure}: the design's pauses", pauses),
            median_row(f"{measure}: the rest", own)]


def rows(build):
    """The table's lines; build: of the release preset."""
    size = Row(EXECUTABLE, (build / EXECUTABLE).stat().st_size / 1e6, "MB", target="< 1.3 MB")
    with Bench(build / "bench", build) as bench:
        bench.install_gauges()
        bench.start()
        found = {state: bench.measure(state) for state in STATES}
        bench.stop()
        looped = [state for state in STATES if state.has_loop]
        return [*(row for state in looped for row in loop_rows(state, found[state])),
                *(pause_row(bench, state) for state in looped),
                *(row for state in STATES for row in state_rows(state, found[state])),
                size, *time_rows(bench)]
