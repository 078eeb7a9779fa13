"""What the system tests share: the installed service in a Wine prefix of its own."""

import os
import pathlib
import re
import subprocess

import pytest

from tools.shared.project import ROOT
from tools.wine.service import ServiceUnderWine

BUILD = pathlib.Path(os.environ.get("KELVANE_BUILD", ROOT / "build" / "debug"))

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

    def start_scaling(self):
        self.start()
        self.wait_for_service_data("Capability key is present")
        self.switch_on()
        self.wait_for_writes(SCALING_ON, STEP_S)

    def wait_for_service_data(self, message, count=1):
        self.wait_for(lambda: self.service_data().count(message) >= count, STEP_S, f"the service data {message!r}")

    def wait_for_event_text(self, text):
        self.wait_for(lambda: text in self.event_texts(), STEP_S, f"the event text {text!r}")

    def wait_for_restored_limits(self):
        self.wait_for(lambda: self.writes()[-3:] == LIMITS_RESTORED and self.calls("SESSION_DESTROY"), STEP_S,
                      "the restored limits")


def run_tool(name, *arguments):
    """A tool as the scripts start it."""
    command = ["bash", "-c", 'source "$0" && run_tool "$@"', ROOT / "scripts/common.sh", name, *map(str, arguments)]
    return subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=120, check=False)


@pytest.fixture(name="kelvane")
def installed_service(request):
    """Installed and not started; everything of it ends with the test."""
    name = re.sub(r"\W+", "-", request.node.name)
    with Kelvane(BUILD / "system" / name, BUILD) as service:
        yield service
