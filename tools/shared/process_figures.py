"""What a running process takes, as the host tells it in /proc."""

import pathlib
import re
from dataclasses import dataclass

NS_PER_MS = 1e6
HOST_ADDRESSES = 1 << 46  # Wine puts what belongs to the Windows program below, its own libraries lie above
GUARD_BYTES_MAX = 16 * 1024  # what lies below a thread's stack, unreadable


@dataclass(frozen=True)
class Thread:
    """What a thread has taken since its start."""
    name: str
    cpu_ns: int
    switches: int  # how often it went to sleep of its own will


def parse_thread(name, schedstat, status):
    """From the texts of comm, schedstat and status; time in ticks, as in stat, is far too coarse here."""
    return Thread(name.strip(), int(schedstat.split()[0]), status_number(status, "voluntary_ctxt_switches"))


def status_of(pid):
    return pathlib.Path(f"/proc/{pid}/status").read_text(encoding="ascii", errors="replace")


def status_number(status, name):
    """A number of a text of status, or None."""
    found = re.search(rf"^{name}:\s+(\d+)", status, re.M)
    return int(found[1]) if found else None


def threads_of(pid):
    """The live threads, by their ids; none when there is no such process."""
    found = {}
    for thread_id in thread_ids_of(pid):
        folder = pathlib.Path(f"/proc/{pid}/task/{thread_id}")
        try:
            texts = [(folder / name).read_text(encoding="utf-8", errors="replace")
                     for name in ("comm", "schedstat", "status")]
        except OSError:
            continue  # has ended
        found[thread_id] = parse_thread(*texts)
    return found


def thread_ids_of(pid):
    try:
        return {int(entry.name) for entry in pathlib.Path(f"/proc/{pid}/task").iterdir()}
    except OSError:
        return set()


@dataclass(frozen=True)
class Taken:
    """CPU and sleeps of some threads between two looks."""
    cpu_ms: float
    switches: int


def taken_between(before, after, counts):
    """By those threads of two looks, as threads_of gives them, that counts(thread) is true of."""
    taken = [(thread, before.get(number, Thread(thread.name, 0, 0)))
             for number, thread in after.items() if counts(thread)]
    return Taken(sum(now.cpu_ns - then.cpu_ns for now, then in taken) / NS_PER_MS,
                 sum(now.switches - then.switches for now, then in taken))


@dataclass(frozen=True)
class Memory:
    """Anonymous memory, by what it is, in KiB."""
    stacks: int = 0
    images: int = 0  # program files, which Wine copies where Windows shares them
    host: int = 0    # of Wine itself
    data: int = 0    # the rest: the program's heaps, and variables of all that it has loaded

    @property
    def whole(self):
        return self.stacks + self.images + self.host + self.data


def parse_memory(smaps):
    """From the text of smaps. A thread's stack is known by the small guard right below it."""
    kib = {"stacks": 0, "images": 0, "host": 0, "data": 0}
    guard_end = kind = None
    for line in smaps.splitlines():
        if head := re.match(r"([0-9a-f]+)-([0-9a-f]+) (....) \S+ \S+ \S+ *(.*)$", line):
            begin, end = int(head[1], 16), int(head[2], 16)
            kind = _kind_of(begin, head[3], head[4], guard_end)
            is_guard = head[3].startswith("---") and end - begin <= GUARD_BYTES_MAX
            guard_end = end if is_guard else None
        elif anonymous := re.match(r"Anonymous:\s+(\d+) kB", line):
            kib[kind] += int(anonymous[1])
    return Memory(**kib)


def _kind_of(begin, permissions, name, guard_end):
    if begin >= HOST_ADDRESSES or name.startswith("["):
        return "host"
    if not permissions.startswith("rw"):
        return "images"
    return "stacks" if begin == guard_end else "data"


def memory_of(pid):
    return parse_memory(pathlib.Path(f"/proc/{pid}/smaps").read_text(encoding="utf-8", errors="replace"))
