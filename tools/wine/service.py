"""The unmodified service, installed in a Wine prefix of its own and run by Wine's service control manager.

    with ServiceUnderWine(build / "system" / "standby", build) as service:
        service.start()
        service.write_control(2)
        service.wait_for_writes([("SET_RAPL_POWER_LIMIT_1", 37000), ...], timeout=15)

What is true of Wine here, and shapes this module:

- The first programs of a prefix hand their standard error on to every service. So the prefix is booted with boot.log as
  its standard error, and there the texts that a service sends to the event log are found.
- The process watcher sees every process of the prefix, so the tools that steer the service are copies with names of
  their own, which the WMI stand-in is told not to see. Programs are started by their full path; a bare name would start
  start.exe first.
- A copy of one of Wine's programs still carries a mark, and Wine then runs its own program of the copy's name, if it
  has one. The same holds for a library that is called like one of Wine's, hence wmilocator.dll.
- `sc stop` returns while the service is still stopping, and the control manager goes on calling a killed service
  running. So states are polled, and the process itself is looked for in /proc.
- A registry key that is written with the same data again signals no change.
- wevtapi.dll is taken from the folder of the executable, without an override. The WMI locator is taken from the
  registry, the framework core from the folder below system32.
"""

import atexit
import csv
import os
import pathlib
import re
import shutil
import signal
import subprocess
import time

from tools.shared.framework import is_write
from tools.wine.prefix import (COMMAND_TIMEOUT_S, WINE, Program, boot_prefix, claim_folder, end_prefix, leave_folder,
                               make_prefix, prefix_in, processes_of, wine_environment)

SERVICE = "Tarvo(R) Kelvane"
EXECUTABLE = "kelvane.exe"
HOME = r"C:\kv"
HANDLE_COUNT = "handle_count.exe"
SCALING_STARTS_S = SCALING_ENDS_S = 40  # at most: two polls and a delay, on a machine with other work
TOOLS = ("reg", "sc")
START_TRIES = 3
STATES = {1: "STOPPED", 2: "START_PENDING", 3: "STOP_PENDING", 4: "RUNNING"}
CONTROL_KEY = r"HKLM\SYSTEM\CurrentControlSet\Services\LITSSVC\IC\KV"
CAPABILITY_KEY = r"HKLM\SOFTWARE\Tarvo\KV"
DRIVER_KEYS = (r"HKLM\SYSTEM\CurrentControlSet\Services\orq_acpi", r"HKLM\SYSTEM\CurrentControlSet\Services\orq_cpu")
LOCATOR_KEY = r"HKLM\Software\Classes\CLSID\{4590F811-1D3A-11D0-891F-00AA004B2E24}\InprocServer32"


class TimedOut(AssertionError):
    """What was waited for did not come."""


def in_home(name):
    """The path of a file of C:\\kv, as programs of the prefix know it."""
    return rf"{HOME}\{name}"


class ServiceUnderWine:
    """One prefix with the service installed; nothing of it is left after close()."""

    def __init__(self, folder, build):
        """folder: what the folder's name begins with, which is there until close(). build: holds kelvane.exe and
        standins/."""
        self.build = pathlib.Path(build).resolve()
        self.folder, self._lock = claim_folder(pathlib.Path(folder).resolve())
        self.prefix = prefix_in(self.folder)
        self.drive = self.prefix / "drive_c"
        self.home = self.drive / "kv"  # the executable, wevtapi.dll with its steering files, wmilocator.dll
        self.core_folder = self.drive / "windows/system32/Tarvo/ORQ"  # orqcore.dll with its files
        self.trace_file = self.core_folder / "trace.csv"
        self.inputs_file = self.core_folder / "inputs.csv"
        self.stand_ins = self.build / "standins"
        self.boot_log = self.folder / "boot.log"
        self.service_data_file = self.drive / "windows/KVServicedata.txt"
        self._programs = []

    def __enter__(self):
        try:
            self.open()
        except BaseException:
            self.close()
            raise
        return self

    def __exit__(self, *_):
        self.close()

    # --- making and ending ------------------------------------------------------------------------------------------

    def open(self):
        """Makes the prefix and installs everything; the service is not started, the control value is 0."""
        atexit.register(self.close)
        make_prefix(self.prefix)
        self._copy_files()
        self._boot()
        self._import_registry()
        self._install()

    def reboot(self):
        """Ends everything in the prefix and starts it anew, with the services that start by themselves."""
        end_prefix(self.prefix)
        self._boot()

    def _boot(self):
        boot_prefix(self.prefix, self.boot_log)

    def _install(self):
        """What an installation of the service provides."""
        shutil.copy(self.build / EXECUTABLE, self.home)
        shutil.copy(self.stand_ins / "wevtapi.dll", self.home)
        self.registry("add", CAPABILITY_KEY, "/v", "Capability", "/t", "REG_DWORD", "/d", "0", "/f")
        self.control_manager("create", SERVICE, "binPath=", in_home(EXECUTABLE))

    def close(self):
        """Ends every process of the prefix, and takes it away. May be called again."""
        for program in self._programs:
            program.end()
        self._programs.clear()
        if self._lock is not None:
            leave_folder(self.folder, self._lock)
            self._lock = None
        atexit.unregister(self.close)

    def _copy_files(self):
        self.core_folder.mkdir(parents=True)
        (self.home / "programs").mkdir(parents=True)
        shutil.copy(self.stand_ins / "wmilocator.dll", self.home)
        shutil.copy(self.stand_ins / "orqcore.dll", self.core_folder)
        for tool in TOOLS:
            self._copy_program(tool, self.home / f"steer_{tool}.exe")
        for tool in TOOLS:
            self._hide(f"steer_{tool}.exe")

    def _hide(self, program):
        """The process watcher does not see programs of this name."""
        with open(self.home / "unseen.txt", "a", encoding="ascii") as file:
            file.write(f"{program}\n")

    def install_tool(self, name, to=None):
        """Copies a program of the build to C:\\kv, under another name if wanted, unseen by the process watcher."""
        to = to or name
        shutil.copy(self.stand_ins / name, self.home / to)
        self._hide(to)

    def _copy_program(self, name, path):
        """Copies one of Wine's own programs, without the mark in it."""
        program = (self.drive / f"windows/system32/{name}.exe").read_bytes()
        path.write_bytes(program.replace(b"Wine builtin DLL", bytes(16), 1))

    def _import_registry(self):
        def section(key, *values):
            return f"[{key.replace('HKLM', 'HKEY_LOCAL_MACHINE')}]\r\n" + "".join(v + "\r\n" for v in values) + "\r\n"

        text = "Windows Registry Editor Version 5.00\r\n\r\n"
        text += section(CONTROL_KEY, '"CurrentSetting"=dword:00000000')
        text += "".join(section(key) for key in DRIVER_KEYS)
        text += section(LOCATOR_KEY, f'@="{in_home("wmilocator.dll")}"'.replace("\\", r"\\"))
        (self.home / "install.reg").write_text(text, encoding="ascii", newline="")
        self.registry("import", in_home("install.reg"))

    # --- programs of the prefix -------------------------------------------------------------------------------------

    def run(self, *command, check=True):
        """Runs a program of the prefix to its end and returns what it wrote. The first part is a full path."""
        for _ in range(START_TRIES if check else 1):
            done = subprocess.run([WINE, *command], env=wine_environment(self.prefix), stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=COMMAND_TIMEOUT_S,
                                  check=False)
            # Otherwise Wine may not have started it (tools/checks/silent_failures.py).
            if done.returncode != 1 or done.stdout:
                break
        text = done.stdout.decode(errors="replace").replace("\r\n", "\n")
        if check and done.returncode != 0:
            raise AssertionError(f"{' '.join(command)} ended with {done.returncode}: {text}")
        return text

    def registry(self, *arguments, check=True):
        return self.run(in_home("steer_reg.exe"), *arguments, check=check)

    def control_manager(self, *arguments, check=True):
        return self.run(in_home("steer_sc.exe"), *arguments, check=check)

    def start_program(self, name):
        """Starts a program that the process watcher sees under this name. It lives until end() or close()."""
        path = self.home / "programs" / name
        if not path.exists():
            self._copy_program("cmd", path)
        self._programs.append(Program([WINE, in_home(rf"programs\{name}")], wine_environment(self.prefix)))
        return self._programs[-1]

    # --- the service's states ---------------------------------------------------------------------------------------

    def query(self):
        """What the control manager tells: the numbers of STATE, WIN32_EXIT_CODE, CHECKPOINT and the rest, by name.

        Nothing when it does not know the service, or, which is rare, does not answer while the service stops.
        """
        text = self.control_manager("query", SERVICE, check=False)
        return {name: int(number, 0) for name, number in re.findall(r"^\s*(\w+)\s*: (0x[0-9a-f]+|\d+)", text, re.M)}

    def state(self):
        return STATES.get(self.query().get("STATE"), "unknown")

    def process_id(self, program=EXECUTABLE):
        """The id of the service's process on the host, or of another program's, or None."""
        for pid, command in processes_of(self.prefix).items():
            if program in command:
                return pid
        return None

    def handles(self, program=EXECUTABLE):
        """How many handles a program has open; install_tool(HANDLE_COUNT) comes first."""
        return int(self.run(in_home(HANDLE_COUNT), program))

    def start(self, timeout=15):
        """Starts the service and waits until it runs. The trace of an earlier start is removed."""
        self.trace_file.unlink(missing_ok=True)
        self.control_manager("start", SERVICE)
        self.wait_for_state("RUNNING", timeout)
        self.wait_for(lambda: self.process_id() is not None, timeout, "the service's process")

    def request_stop(self):
        self.control_manager("stop", SERVICE)

    def stop(self, timeout=15):
        """Stops the service and waits until the control manager calls it stopped and its process is gone."""
        self.request_stop()
        self.wait_for_state("STOPPED", timeout)
        self.wait_for(lambda: self.process_id() is None, timeout, "the end of the service's process")

    def kill(self):
        """Kills the service's process; the control manager goes on calling it running."""
        os.kill(self.process_id(), signal.SIGKILL)
        self.wait_for(lambda: self.process_id() is None, 10, "the end of the killed process")

    # --- what steers it ---------------------------------------------------------------------------------------------

    def write_control(self, data, kind="REG_DWORD", value="CurrentSetting"):
        self.registry("add", CONTROL_KEY, "/v", value, "/t", kind, "/d", str(data), "/f")

    def delete_control(self, value="CurrentSetting"):
        self.registry("delete", CONTROL_KEY, "/v", value, "/f")

    def delete_key(self, key):
        self.registry("delete", key, "/f")

    def capability(self):
        """The number that the service has published, or None."""
        text = self.registry("query", CAPABILITY_KEY, "/v", "Capability", check=False)
        found = re.search(r"REG_DWORD\s+(0x[0-9a-f]+)", text)
        return int(found[1], 16) if found else None

    def set_scenario(self, text):
        """What the framework core plays from the first Init of the next start on; header included."""
        (self.core_folder / "scenario.csv").write_text(text, encoding="utf-8")

    def set_input(self, name, value):
        """Changes an input of the framework core at once, and for every later start."""
        with open(self.inputs_file, "a", encoding="utf-8") as file:
            file.write(f"{name},{value}\n")

    def clear_inputs(self):
        self.inputs_file.unlink(missing_ok=True)

    def fire_standby(self, event_id):
        """506 or 507 to every subscription of the running service; returns when the entry was taken."""
        entry = self.home / "event.txt"
        (self.home / "event.new").write_text(str(event_id), encoding="ascii")
        (self.home / "event.new").rename(entry)
        self.wait_for(lambda: not entry.exists(), 10, "a subscription that takes the event")

    def fail_subscriptions(self, error):
        """Later subscriptions fail with this last error; None: they succeed again."""
        order = self.home / "fail.txt"
        if error is None:
            order.unlink(missing_ok=True)
        else:
            order.write_text(str(error), encoding="ascii")

    # --- what it leaves behind --------------------------------------------------------------------------------------

    def trace(self):
        """The rows of the trace so far, as dictionaries by column; only whole lines."""
        text = _text(self.trace_file)
        return list(csv.DictReader(text[:text.rfind("\n") + 1].splitlines()))

    def writes(self):
        """Of it the writes to the processor, as (name, value)."""
        return [(row["name"], int(row["value"])) for row in self.trace() if is_write(row["name"])]

    def told_processes(self):
        """(name, id) of each process that the process watcher was told of."""
        return [(name, int(pid)) for name, pid in re.findall(r"(.*):(\d+)\n", _text(self.home / "told.txt"))]

    def core_faults(self):
        """What the framework core could not make sense of in its files."""
        return _text(self.core_folder / "error.txt").splitlines()

    def event_texts(self):
        """The texts that were sent to the system event log, in order."""
        strings = re.findall(r'err:eventlog:ReportEventW L"(.*)"', _text(self.boot_log))
        return [text for text in strings if text != SERVICE]

    def service_data(self):
        """The messages of the service data file, without their times."""
        return [line.split(",", 1)[1] for line in _text(self.service_data_file).splitlines()]

    def diagnostic_log_file(self):
        found = list((self.drive / "users").glob("*/AppData/Roaming/KelvanneApp/logs/KelvanneApp.log"))
        return found[0] if found else None

    def diagnostic_log(self):
        """(level, message) of each line of the log."""
        file = self.diagnostic_log_file()
        return re.findall(r"\[[^\]]*\]\[(\w+)\] (.*)", _text(file)) if file else []

    def messages(self):
        return [message for _, message in self.diagnostic_log()]

    # --- waiting ----------------------------------------------------------------------------------------------------

    def wait_for(self, condition, timeout, what, every=0.05):
        """Polls until the condition is true; fails with everything that is known after the time-out."""
        deadline = time.monotonic() + timeout
        while not condition():
            if time.monotonic() > deadline:
                raise TimedOut(f"waited {timeout} s in vain for {what}\n{self.report()}")
            time.sleep(every)

    def wait_for_state(self, state, timeout):
        self.wait_for(lambda: self.state() == state, timeout, f"the state {state}")

    def wait_for_writes(self, expected, timeout, after=0):
        """Until these writes, in this order, have followed the first `after` ones, others between them or not."""
        def came():
            writes = iter(self.writes()[after:])
            return all(write in writes for write in expected)
        self.wait_for(came, timeout, f"the writes {expected} behind the first {after}")

    def wait_for_message(self, text, timeout, count=1):
        self.wait_for(lambda: self.messages().count(text) >= count, timeout, f"the log message {text!r}, {count} times")

    def report(self):
        """Everything that helps to understand a failure."""
        log = self.diagnostic_log_file()
        parts = {"control manager": self.control_manager("query", SERVICE, check=False),
                 "processes": "\n".join(f"{pid} {text}" for pid, text in processes_of(self.prefix).items()),
                 "trace, last rows": "\n".join(_text(self.trace_file).splitlines()[-40:]),
                 "diagnostic log, end": _text(log)[-4000:] if log else "none",
                 "service data": _text(self.service_data_file),
                 "event log": "\n".join(self.event_texts()),
                 "processes told of": "\n".join(name for name, _ in self.told_processes()),
                 "core faults": "\n".join(self.core_faults())}
        return "\n".join(f"--- {name}\n{text}" for name, text in parts.items())


def _text(path):
    try:
        return path.read_bytes().decode("utf-8", errors="replace").replace("\r\n", "\n")
    except OSError:
        return ""
