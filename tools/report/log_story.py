"""What a diagnostic log tells about scaling: its runs, why each ended, and what it needs to go on.

The log is silent about a start that was turned away. It shows at the next stop, whose last line is then missing.
"""

import dataclasses

from tools.trace.log_entries import Entry
from tools.trace.messages import ASLEEP, COMPLETE, FAILED, OFF, ON, SERVICE_STOP, STARTING, understand

AT_ONCE_S = 10  # an engine that ends so soon after its start had no session

BY_VALUE, BY_STANDBY, BY_SERVICE, BY_FAILURE, UNKNOWN = (
    "control value", "standby", "service stop", "failed start", "unknown")

NO_SESSION = "The framework's core gave no session"
REINSTALL = "Reinstall the framework, then switch scaling off and on"
RESTART = "Restart the service, then write 0, then 2"
SWITCH_ON = "Write 0, then 2"


@dataclasses.dataclass
class Run:
    """One run of the engine, as far as the log has it."""
    begin: Entry | None = None
    on: Entry | None = None
    standby: Entry | None = None
    end: Entry | None = None
    reason: str = ""  # one of those above, once it has ended
    detail: str = ""  # about the reason
    action: str = ""
    complete: bool = False  # the engine has ended: it can be started again, unless the service ended too

    def first(self):
        return self.begin or self.on or self.standby or self.end

    def seconds_on(self, last_second):
        """How long scaling was on, also where it still is at the log's end; None where it never was, or is not told."""
        if not self.on or self.reason == BY_FAILURE or (self.reason == UNKNOWN and not self.end):
            return None
        return max(0, (self.end.second if self.end else last_second) - self.on.second)

    def turned_away(self):
        """A start came while this run lasted; the engine then never runs again."""
        return self.reason in (BY_VALUE, BY_STANDBY) and not self.complete


class Story:
    """Reads the entries once."""

    def __init__(self, entries):
        self.runs = []
        self.standbys = []
        for entry in entries:
            meaning, _ = understand(entry.level, entry.text)
            if meaning.scaling:
                self._take(entry, meaning)

    def last(self):
        return self.runs[-1] if self.runs else None

    def _take(self, entry, meaning):
        if meaning.scaling == STARTING:
            self._begin(begin=entry)
        elif meaning.scaling == ON:
            run = self.last()
            if run is None or run.on or run.reason:
                run = self._begin()
            run.on = entry
        elif meaning.scaling == COMPLETE:
            self._complete(entry)
        else:
            self._end(entry, meaning)

    def _begin(self, **known):
        """A run that goes on has lost its end."""
        run = self.last()
        if run and not run.reason:
            run.reason, run.detail = UNKNOWN, "the log does not tell its end, but a new start"
        self.runs.append(Run(**known))
        return self.runs[-1]

    def _open(self):
        run = self.last()
        return run if run and not run.reason else self._begin()

    def _end(self, entry, meaning):
        run = self.last()
        if meaning.scaling == SERVICE_STOP and run and run.reason:
            run.complete = True
        elif meaning.scaling == FAILED and run and run.reason:
            return  # an error of the tear-down
        else:
            self._end_run(self._open(), entry, meaning)

    def _end_run(self, run, entry, meaning):
        if meaning.scaling == ASLEEP:
            self.standbys.append(entry)
            run.standby = entry
            return
        run.end = entry
        if meaning.scaling == OFF:
            run.reason = BY_STANDBY if run.standby else BY_VALUE
        elif meaning.scaling == SERVICE_STOP:
            run.reason = BY_SERVICE
        else:
            run.reason, run.detail, run.action = BY_FAILURE, meaning.title, meaning.action

    def _complete(self, entry):
        run = self.last()
        if run is None:
            return  # the log's beginning is missing
        run.complete = True
        if run.reason:
            return
        run.end = entry
        if run.on and 0 <= entry.second - run.on.second <= AT_ONCE_S:
            run.reason, run.detail, run.action = BY_FAILURE, NO_SESSION, REINSTALL
        else:
            run.reason, run.detail = UNKNOWN, "scaling ended without its last line, as it does when memory runs out"


# --- in words -----------------------------------------------------------------------------------------------------

def how_it_ended(run):
    """(why, what more there is to say) of a run."""
    if not run.reason:
        return ("still on", "when the log ends") if run.on else (
            UNKNOWN, "a start was under way when the log ends, or it hangs")
    if run.turned_away():
        return run.reason, "a start that came meanwhile was turned away: no later one succeeds"
    return run.reason, run.detail


@dataclasses.dataclass
class State:
    """Where scaling stands at the log's end."""
    word: str
    sentence: str
    action: str


def state_of(story, when):
    """`when` makes a text of an entry's time."""
    run = story.last()
    if run is None:
        return State("off", "Scaling was not switched on since the service started.", SWITCH_ON)
    if not run.reason:
        return _state_of_open(run, when)
    since = f"since {when(run.end)}" if run.end else "at the log's end"
    if run.turned_away():
        return State("off", f"Scaling is off {since}, and cannot be switched on: while it ran, a start was turned away,"
                            " of which the log has no line of its own.", RESTART)
    why = {BY_VALUE: "the control value became another one than 2", BY_STANDBY: "the machine entered standby",
           BY_SERVICE: "the service was stopped", BY_FAILURE: f"its start failed. {run.detail}"}.get(
               run.reason, "why is not told")
    action = {BY_STANDBY: "After wake-up write 0, then 2", BY_SERVICE: "Start the service, then write 0, then 2"}
    return State("off", f"Scaling is off {since}: {why}.", run.action or action.get(run.reason, SWITCH_ON))


def _state_of_open(run, when):
    if not run.on:
        return State("unknown", f"A start began at {when(run.first())}, and the log ends before it was done.",
                     "Look again ten seconds later. If the log has not grown: restart the service")
    if run.standby:
        return State("unknown", f"Scaling is on since {when(run.on)}. The machine entered standby at"
                                f" {when(run.standby)}, and the log ends before scaling did.", SWITCH_ON)
    return State("on", f"Scaling is on since {when(run.on)}, unless the service was ended by force since then: of that "
                       "a log has no line.", "")
