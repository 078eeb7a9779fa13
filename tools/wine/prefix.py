"""Wine prefixes: made, started and ended, with everything that runs in them.

A prefix lies in a folder that belongs to one program: the lock on it is the program's, and goes with it. So it can be
told what a killed one has left, with all that runs there, and the next one takes that away.
"""

import contextlib
import fcntl
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time

from tools.shared.project import ROOT

WINE = "/usr/lib/wine/wine64"
WINE_SERVER = "/usr/lib/wine/wineserver"
COMMAND_TIMEOUT_S = 60
BOOT_TRIES = 3


def wine_environment(prefix):
    environment = {name: value for name, value in os.environ.items() if not name.startswith("WINE")}
    environment.update(WINEPREFIX=str(prefix), WINEDEBUG="-all,err+eventlog", WINEDLLOVERRIDES="mscoree=;mshtml=",
                       LC_ALL="C.UTF-8")
    return environment


def processes_of(prefix):
    """The ids of all live processes that run in a prefix, with their command lines."""
    mark = f"WINEPREFIX={prefix}".encode()
    found = {}
    for entry in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if mark in (entry / "environ").read_bytes().split(b"\0"):
                command = (entry / "cmdline").read_bytes().decode(errors="replace")
                if command:  # a process that has ended and waits to be collected has none
                    found[int(entry.name)] = command
        except OSError:
            pass  # ended, or another user's
    return found


def end_prefix(prefix):
    """Ends every program of a prefix, and returns when none is left."""
    if not prefix.exists():
        return
    subprocess.run([WINE_SERVER, "-k"], env=wine_environment(prefix), stdin=subprocess.DEVNULL,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=COMMAND_TIMEOUT_S, check=False)
    deadline = time.monotonic() + 10
    while left := [pid for pid in processes_of(prefix) if pid != os.getpid()]:
        if time.monotonic() > deadline:
            for pid in left:
                with contextlib.suppress(ProcessLookupError):
                    os.kill(pid, signal.SIGKILL)
        time.sleep(0.02)


def boot_prefix(prefix, log):
    """Starts a prefix's server, which stays until end_prefix, and its background processes; log: a path, added to.

    On a busy machine Wine does not always come up, so a boot that fails is tried again. A session of their own keeps
    the programs from a Ctrl-C that is meant for the program that looks on.
    """
    for tries_left in reversed(range(BOOT_TRIES)):
        with open(log, "ab") as output:
            statuses = [subprocess.run(command, env=wine_environment(prefix), stdin=subprocess.DEVNULL, stdout=output,
                                       stderr=output, timeout=180, check=False, start_new_session=True).returncode
                        for command in ([WINE_SERVER, "-p"], [WINE, "wineboot"])]
        if statuses == [0, 0]:
            return
        end_prefix(prefix)
        if not tries_left:
            raise RuntimeError(f"Wine does not start ({statuses}):\n{pathlib.Path(log).read_text(errors='replace')}")


def make_prefix(prefix):
    subprocess.run([ROOT / "cmake/wine-prefix.sh", prefix], stdin=subprocess.DEVNULL, check=True)


def claim_folder(stem):
    """A new folder whose name begins with that of `stem`, and its lock."""
    stem.parent.mkdir(parents=True, exist_ok=True)
    with open(stem.parent / "claims.lock", "w", encoding="ascii") as claims:
        fcntl.flock(claims, fcntl.LOCK_EX)
        for left in stem.parent.glob(f"{stem.name}-*"):
            lock = try_lock(left) if left.is_dir() else None
            if lock is not None:
                leave_folder(left, lock)
        folder = pathlib.Path(tempfile.mkdtemp(prefix=f"{stem.name}-", dir=stem.parent))
        return folder, try_lock(folder)


def try_lock(folder):
    """The lock, or None when another program has it."""
    lock = os.open(folder, os.O_RDONLY)
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        os.close(lock)
        return None
    return lock


def leave_folder(folder, lock):
    """Ends the prefix in it, and takes it away."""
    end_prefix(prefix_in(folder))
    shutil.rmtree(folder)
    os.close(lock)


def prefix_in(folder):
    return folder / "wine"


class Program:
    """A process of the prefix that lives until end() is called."""

    def __init__(self, command, environment):
        self._process = subprocess.Popen(command, env=environment, stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                         stderr=subprocess.DEVNULL)

    def end(self):
        if self._process.poll() is None:
            self._process.stdin.close()
            try:
                self._process.wait(5)
            except subprocess.TimeoutExpired:
                self._process.kill()
                self._process.wait()
