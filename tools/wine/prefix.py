"""Wine prefixes: made, started and ended, with everything that runs in them.

New prefixes share the files of one template by hard links. The registry's own files are rewritten in place, and so are
copies.
"""

import contextlib
import fcntl
import os
import pathlib
import shutil
import signal
import subprocess
import time

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


def template_prefix(folder):
    """A prefix that was booted once and lies still."""
    folder.mkdir(parents=True, exist_ok=True)
    template = folder / "wine-template"
    with open(folder / "wine-template.lock", "w", encoding="ascii") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if not (template / "system.reg").exists():
            growing = folder / "wine-template.new"
            end_prefix(growing)
            shutil.rmtree(growing, ignore_errors=True)
            growing.mkdir()
            try:
                boot_prefix(growing, folder / "wine-template.log")
            finally:
                end_prefix(growing)
            growing.rename(template)
    return template


def clone_prefix(template, prefix):
    prefix.mkdir(parents=True)
    subprocess.run(["cp", "-al", template / "drive_c", prefix], check=True)
    rest = [template / "dosdevices", template / ".update-timestamp", *template.glob("*.reg")]
    subprocess.run(["cp", "-a", *rest, prefix], check=True)


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
