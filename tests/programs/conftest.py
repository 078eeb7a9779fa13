"""What the tests of programs share: commands as a user calls them, and the installed service in a Wine prefix.

KELVANE_REPLAY and KELVANE_POLICY name the programs to test, words separated by blanks; the replay program is by default
scripts/replay.sh.
"""

import os
import pathlib
import re
import shlex
import subprocess

import pytest

from tools.shared.project import ROOT
from tools.wine.service import ServiceUnderWine

BUILD = pathlib.Path(os.environ.get("KELVANE_BUILD", ROOT / "build" / "debug"))
REPLAY = shlex.split(os.environ.get("KELVANE_REPLAY", shlex.quote(str(ROOT / "scripts/replay.sh"))))
VERSION = "1.0.11406.42226"
PRODUCT = "Tarvo(R) Kelvane"
HEADER = "time_ms,input,value\n"

# What scaling writes when it is switched on for the first time in a process.
SCALING_ON = [("SET_RAPL_POWER_LIMIT_1", 37000), ("SET_RAPL_POWER_LIMIT_1", 17000),
              ("SET_PERF_PREFERENCE_MAX", 1200), ("SET_PERF_PREFERENCE_MIN", 0)]
# What it writes when it is switched off: the processor gets its limits back.
LIMITS_RESTORED = [("SET_PERF_PREFERENCE_MIN", 0),
                   ("SET_PERF_PREFERENCE_MAX", 10000), ("SET_RAPL_POWER_LIMIT_1", 17000)]
# The worker polls every three seconds and then waits two more before it starts the engine.
SCALING_STARTS_S = 20
STEP_S = 12
POLL_S = 3


class Kelvane(ServiceUnderWine):
    """The service with the few sentences in which the tests speak."""

    def calls(self, name):
        return [row for row in self.trace() if row["name"] == name]

    def switch_on(self):
        starts = len(self.calls("SESSION_CONNECT"))
        self.write_control(2)
        self.wait_for(lambda: len(self.calls("SESSION_CONNECT")) > starts, SCALING_STARTS_S, "a session")

    def start_to_wait(self):
        """Started, and waiting for the control value."""
        self.start()
        self.wait_for_service_data("Capability key is present")

    def start_scaling(self, scenario=None):
        """Scaling, by the rows of a scenario if they are given."""
        if scenario:
            self.set_scenario(HEADER + scenario)
        self.start_to_wait()
        self.switch_on()
        self.wait_for_writes(SCALING_ON, STEP_S)

    def wait_for_service_data(self, message, count=1):
        self.wait_for(lambda: self.service_data().count(message) >= count, STEP_S, f"the service data {message!r}")

    def wait_for_event_text(self, text):
        self.wait_for(lambda: text in self.event_texts(), STEP_S, f"the event text {text!r}")

    def wait_for_restored_limits(self):
        self.wait_for(lambda: self.writes()[-3:] == LIMITS_RESTORED and self.calls("SESSION_DESTROY"), STEP_S,
                      "the restored limits")


def run_command(*words, cwd=ROOT, timeout=600, **environment):
    """A command as a user calls it, with nothing to read."""
    return subprocess.run([str(word) for word in words], cwd=cwd, env={**os.environ, **environment},
                          stdin=subprocess.DEVNULL, capture_output=True, encoding="utf-8", timeout=timeout, check=False)


def run_tool(name, *arguments):
    """A tool as the scripts start it."""
    return run_command("bash", "-c", 'source "$0" && run_tool "$@"', ROOT / "scripts/common.sh", name, *arguments)


def replay(scenario, trace, cwd=ROOT):
    return run_command(*REPLAY, scenario, trace, cwd=cwd, timeout=120)


def run_package(*arguments, **options):
    return run_command(ROOT / "scripts/package.sh", *arguments, **options)


@pytest.fixture(name="kelvane")
def installed_service(request):
    """Installed and not started; everything of it ends with the test."""
    name = re.sub(r"\W+", "-", request.node.name)
    with Kelvane(BUILD / "system" / name, BUILD) as service:
        yield service


# --- imported logs ----------------------------------------------------------------------------------------------------

class Imported:
    def __init__(self, done, name):
        self.code, self.text = done.returncode, done.stdout.decode("ascii")
        self.rows = [row for row in self.text.splitlines()[1:] if not row.startswith("#")]
        messages = done.stderr.decode("ascii").splitlines()
        self.complaints = [line.removeprefix(f"{name}:") for line in messages if line.startswith(f"{name}:")]
        self.facts = dict(re.split(" {3,}", line, maxsplit=1) for line in messages if "   " in line)


def run_import(*arguments, cwd, **options):
    return subprocess.run([ROOT / "scripts/import.sh", *map(str, arguments)], cwd=cwd, stdin=subprocess.DEVNULL,
                          stderr=subprocess.PIPE, timeout=120, check=False, **({"stdout": subprocess.PIPE} | options))


@pytest.fixture(name="imported")
def import_and_replay(tmp_path):
    """An import of a log, whose scenario the replay program must accept."""
    def call(content, name="log.txt"):
        (tmp_path / name).write_bytes(content if isinstance(content, bytes) else content.encode())
        done = run_import(name, cwd=tmp_path)
        if done.returncode == 0:
            (tmp_path / "scenario.csv").write_bytes(done.stdout)
            replayed = replay("scenario.csv", "trace.csv", cwd=tmp_path)
            assert (replayed.returncode, replayed.stderr) == (0, "")
        return Imported(done, name)
    return call


def powers(result):
    return [row for row in result.rows if ",power_mw," in row]
