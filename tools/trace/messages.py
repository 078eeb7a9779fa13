"""What each message of the diagnostic log means: the table by which decisions, marks and details are told apart.

The table is diagnostics/meanings.csv. A text there is the whole message, with escapes as in C++; {name} stands for a
number, {name*} for anything. Every message that the service can write has a row, and only one.
"""

import csv
import functools
import re
from typing import NamedTuple

from tools.shared.project import ROOT

MEANINGS = ROOT / "diagnostics/meanings.csv"

# Levels of the log, as they stand in a row.
DEBUG_LEVEL = "0"
UNKNOWN_LEVEL = "1"
DECISION_LEVEL = "2"  # the running service's log holds no message of this level
WARNING_LEVEL = "3"
ERROR_LEVEL = "4"

# Titles by which messages are found.
STEP_TIER = "The step's power and tier"
IDLE_STEP = "Active Idle"
AFTER_BURST = "Restore after a burst"
PL1_WRITTEN = "PL1 is written; the message tells the controller's own value"

# Kinds that are no lane of the timeline. A decision is about the ceiling or PL1 and is shown with the curves.
DECISION = "decision"
DETAIL = "detail"


class Lane(NamedTuple):
    """A kind of mark, and what it says."""
    label: str
    meaning: str


LANES = {
    "run": Lane("Start and stop", "Scaling starts, or ends and gives the limits back."),
    "start": Lane("Process start", "A program started, or the loop looked at a start."),
    "burst": Lane("Burst", "A start came with more power: full performance is held for a few steps (PIDC)."),
    "restore": Lane("Restore", "After a burst or a start the ceiling returns to what the power asks for."),
    "clip": Lane("Clip", "The processor reported that a limit clips it, and the ceiling steps up."),
    "hold": Lane("Hold", "Full performance was reached without a start; a countdown to its end begins."),
    "idle": Lane("Active Idle", "Nearly no power: the ceiling rests at 1200, and the loop looks every few seconds."),
    "slider": Lane("Power slider", "The user moved the power slider or chose another power scheme."),
    "workload": Lane("Workload", "The framework classified the workload anew."),
    "standby": Lane("Standby", "The machine enters standby."),
    "failure": Lane("Failure", "The framework refused a command, or an error was logged."),
    "other": Lane("Other message", "A message that this report does not know."),
}


class Meaning(NamedTuple):
    kind: str
    title: str
    announces: bool = False  # stands before the writes that it explains; all others stand behind them
    action: str = ""  # what to do about it
    scaling: str = ""  # what it says about scaling: one of the words below, if anything


RUN, START, BURST, RESTORE, CLIP, HOLD, IDLE, SLIDER, WORKLOAD, STANDBY, FAILURE = list(LANES)[:-1]

# Of a log: the engine starts, scaling is on, a standby is about to end it, it is off, the engine has ended with the
# service, a start has failed, the engine has ended and can start again.
STARTING, ON, ASLEEP, OFF, SERVICE_STOP, FAILED, COMPLETE = SCALING = (
    "starting", "on", "standby", "off", "service-stop", "failed", "complete")

LEVELS = {"debug": DEBUG_LEVEL, "info": DECISION_LEVEL, "warning": WARNING_LEVEL, "error": ERROR_LEVEL}


class Known(NamedTuple):
    """A row of the table."""
    text: str
    level: str
    meaning: Meaning

    def start(self):
        """What every such message begins with."""
        return self.text.split("{")[0]

    def is_whole(self):
        return "{" not in self.text


def _read_table():
    with open(MEANINGS, newline="", encoding="ascii") as file:
        return [Known(row["text"].encode().decode("unicode_escape"), LEVELS[row["level"]],
                      Meaning(row["kind"], row["meaning"], row["announces"] == "yes", row["action"], row["scaling"]))
                for row in csv.DictReader(file, strict=True)]


def _compiled(pattern):
    parts = re.split(r"\{(\w+\*?)\}", pattern)
    text = "".join(re.escape(part) if index % 2 == 0 else
                   f"(?P<{part.rstrip('*')}>{'.*' if part.endswith('*') else '-?[0-9]+'})"
                   for index, part in enumerate(parts))
    return re.compile(text, re.DOTALL)


MESSAGES = _read_table()
TABLE = [(known.start(), _compiled(known.text), known) for known in MESSAGES]


@functools.lru_cache(maxsize=65536)
def understand(level, text):
    """(meaning, numbers and names in the text) of a message."""
    for start, pattern, known in TABLE:
        if text.startswith(start):
            found = pattern.fullmatch(text)
            if found:
                return known.meaning, found.groupdict()
    return Meaning(FAILURE if level == ERROR_LEVEL else "other", "Message"), {}
