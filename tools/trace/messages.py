"""What each message of the diagnostic log means: the table by which decisions, marks and details are told apart.

A pattern is the message's exact text; {name} stands for a number, {name*} for any text. Every message that the service
can write has a row, and only one.
"""

import functools
import re
from typing import NamedTuple

from tools.shared.service_texts import LOOP_STARTS, LOOP_STOPS, PROCESS_WATCHER_STOPPED, TORN_DOWN

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


RUN, START, BURST, RESTORE, CLIP, HOLD, IDLE, SLIDER, WORKLOAD, STANDBY, FAILURE = list(LANES)[:-1]

MESSAGES = {
    # --- the loop's start and end
    LOOP_STARTS: Meaning(RUN, "Scaling starts"),
    " KV Start MS/CS is initializing the ORQ, Scaling is stopped ":
        Meaning(FAILURE, "The framework does not initialise"),
    "pkg power data is : {pkgPower}": Meaning(DETAIL, "First power reading"),
    "OrqCore pkgPower SessionExecute failed": Meaning(FAILURE, "Power cannot be read"),
    "workload classification is success : ": Meaning(DETAIL, "Events are registered"),
    "OrqCore workload classification SessionExecute failed": Meaning(FAILURE, "Events are not registered"),
    " ** Default Init Pref =={prefMax}": Meaning(DECISION, "Default ceiling"),
    LOOP_STOPS: Meaning(RUN, "Scaling is switched off"),
    "KV Windows service is stopped ": Meaning(RUN, "The loop ends with the service"),
    # --- a control step, in its order
    "workload classification is failed : {workload}": Meaning(FAILURE, "The workload has no class"),
    " * Increase tempPwr =={pwr} * pp =={pp} * deltaloop =={delta} * ppd_dash =={ppd} * i =={i}":
        Meaning(DECISION, "Power climbs within the step: up at once"),
    " * Reset tempPwr =={pwr} * pp =={pp} * prefMax =={prefMax} * i =={i}":
        Meaning(DECISION, "The climb was short: back to the step's ceiling"),
    " *** PIDx 5 Active Idle PerfRange = {PerfRange}  prefMax=  {prefMax}  pkgPower=  {pkgPower}":
        Meaning(IDLE, IDLE_STEP, announces=True),
    " *** PIDx 5 Active Idle exit PerfRange = {PerfRange}  prefMax=  {prefMax}  pkgPower=  {pkgPower}":
        Meaning(IDLE, "Active Idle ends", announces=True),
    " ** PIDx 5 PID ON test ": Meaning(DETAIL, "Power is back: process starts would count again"),
    " **** New pkgPower =={pkgPower} prefMax = {prefMax} PerfRange = {PerfRange} tempPerfRange = {temp}"
    " g_workload = {workload}": Meaning(DETAIL, STEP_TIER),
    " *** PIDx 7 NewPIDAvgPwr =={average} pkgPower = {pkgPower} prefMax = {prefMax}":
        Meaning(DETAIL, "Above its average: at least the tier's target"),
    " *** PIDx 3 reset WLC Change prefMax =={prefMax} pkgPower = {pkgPower} *WLC ==: {workload}":
        Meaning(WORKLOAD, "The workload changed: the ceiling starts anew"),
    " ** delayed Restore ==": Meaning(RESTORE, "Power still rises: the restore waits a step"),
    " * Perf Restored ** PerfRange ={PerfRange} ** NewPID ={NewPID} ** prefMax ={prefMax}":
        Meaning(RESTORE, AFTER_BURST),
    " * Kv_opt =={option} ** PID_Change ==: {change} ** g_powerSlider =: {slider} ** exitCount =: {count}":
        Meaning(DETAIL, "Status"),
    " ** NewPID = {NewPID} ** AC Mode = {ac} ** PostPID = {PostPID} ** Clip Count =={clips} ** Avg Pwr=={mean}":
        Meaning(DETAIL, "Status"),
    " *** Mode change avg pwr reset kv_opt = {option}kv_off_f = {off}": Meaning(DETAIL, "Statistics start anew"),
    " **** PIDx- 0 PIC *Pkg power = {pkgPower} *Perf Max = {prefMax} *pkgPowerPrev = {previous} *pName = {name*}"
    " *WLC ==: {workload} *noOfPids ==: {count}": Meaning(START, "The loop looks at the start"),
    " * PIDx 3 PID Restored ** PerfRange ={PerfRange} ** prefMax ={prefMax}":
        Meaning(RESTORE, "Restore after a start without a burst"),
    " **** PID_Change reset to 0 pkgPower = {pkgPower} * prefMax  = {prefMax} * PrevPerf = {PrevPerf}"
    " * PID_Change = {change}": Meaning(START, "The start came to nothing"),
    # --- its four branches
    " ******** PIDx- -1 Clip error PrefMax =={prefMax}": Meaning(CLIP, "Clip together with a process start: a pause"),
    " ****** PIDx- -1 Clip error Step Up Pref =={prefMax}": Meaning(CLIP, "Clip: the ceiling steps up"),
    " ******* Max Perf Reset set {case} =={count}": Meaning(HOLD, "Full performance for some steps"),
    " ******* Max Perf Reset set {case} exitCount =={count}": Meaning(HOLD, "Full performance for some steps"),
    " ******* Max Perf Reset Not set {case} =={count}": Meaning(HOLD, "Full performance without an end in sight"),
    " ******* Max Perf Reset Not done ==": Meaning(HOLD, "Full performance without an end in sight"),
    " *** PIDx 4 WLC Change prefMax =={prefMax} PwrPause = {pause} *WLC ==: {workload}":
        Meaning(WORKLOAD, "The workload changed: a low ceiling steps up"),
    " **** PIDx- 1 PIDC Pkg power = {pkgPower} *exitCount = {count} *prev_exitCount ==: {previous}"
    " *tempPerfRange = {temp} *WLC ==: {workload}": Meaning(BURST, "Burst: full performance is held"),
    " **** PIDx- 1 Down Pkg power = {pkgPower} *Perf Max = {prefMax} *DeltaPkgpwr = {delta}"
    " *PerfRange ==: {PerfRange} *tempPerfRange = {temp} PwrPause = {pause} *WLC ==: {workload}":
        Meaning(DECISION, "Power steady or down"),
    " **** PIDx- 2 PIDC Pkg power = {pkgPower} *Perf Max = {prefMax} *DeltaPkgpwr ==: {delta} *Xf ==: {xf}"
    " *exitCount = {count} *prev_exitCount ==: {previous} *WLC ==: {workload}":
        Meaning(BURST, "Burst on rising power: full performance is held"),
    " **** PIDx- 2 Up   Pkg power = {pkgPower} *Perf Max = {prefMax} *DeltaPkgpwr ==: {delta} *Xf ==: {xf}"
    " *NewPIDAvgPwr = {average} *PerfRange ==: {PerfRange} *WLC ==: {workload}": Meaning(DECISION, "Power up"),
    " *** PIDx 6 No change in PrefMax, within least range = {count} ** incnttype = {type}":
        Meaning(DECISION, "No change"),
    # --- limits
    " **** Current CPU PL1 == : {cpuPL1}":
        Meaning(DECISION, PL1_WRITTEN),
    "PL1 level reset : {limit}": Meaning(RUN, "The limits are given back"),
    "OrqCore CpuPowerLimit1 SessionExecute failed": Meaning(FAILURE, "PL1 is refused"),
    "OrqCore setPerfmax SessionExecute failed : first 2 times expeted in MS/startup":
        Meaning(FAILURE, "The ceiling is refused"),
    # --- framework events
    "workload classification EVENT Register": Meaning(DETAIL, "Registered"),
    "Powerscheme classification EVENT Register": Meaning(DETAIL, "Registered"),
    "Powerslider classification EVENT Register": Meaning(DETAIL, "Registered"),
    "UnregisterEvents() called": Meaning(DETAIL, "Events are unregistered"),
    "Event powerSlider type ={position}": Meaning(SLIDER, "The power slider moves"),
    "powerScheme type = {scheme}data.Data1 ={data}": Meaning(SLIDER, "Another power scheme"),
    "Log verbosity changed to{verbosity}": Meaning(DETAIL, "Log verbosity"),
    "Participant suspended": Meaning(STANDBY, "The participant is suspended"),
    "Participant resumed": Meaning(STANDBY, "The participant is resumed"),
    "Disconnected": Meaning(FAILURE, "The framework has gone"),
    # --- the watchers
    " Starting pName = {name*}PID{id}": Meaning(START, "A program starts", announces=True),
    PROCESS_WATCHER_STOPPED: Meaning(DETAIL, "The process watcher is stopped"),
    "CancelAsyncCall call skipped with NULL pointer check ={rest*}": Meaning(DETAIL, "There was no process watcher"),
    "Failed to get Name:{code*}": Meaning(FAILURE, "A start without a name"),
    "Failed to get TargetInstance in apObjArray[i]:{code*}": Meaning(FAILURE, "A start without an object"),
    "Failed to get IID_IWbemClassObject in TargetInstance:{code*}": Meaning(FAILURE, "A start without an object"),
    "caught _com_error:{text*}": Meaning(FAILURE, "The process watcher failed"),
    "caught Description:{text*}": Meaning(FAILURE, "The process watcher failed"),
    "caught ErrorMessage:{text*}": Meaning(FAILURE, "The process watcher failed"),
    "Entering MS-506 ": Meaning(STANDBY, "The machine enters standby"),
    "The subscription callback was notified that event records are missing":
        Meaning(FAILURE, "Standby events are missing"),
    "The subscription callback received the following Win32 error": Meaning(FAILURE, "No standby events"),
    "SubscriptionCallback is failed with out ERROR_SUCCESS ":
        Meaning(STANDBY, "A standby event was taken, in spite of the text"),
    "SubscriptionCallback: Unknown action": Meaning(FAILURE, "A standby event of no known kind"),
    # --- the engine, around the loop
    "Logger file is{path*}": Meaning(DETAIL, "The log's file"),
    "\n Initialized logger ": Meaning(DETAIL, "The log is open"),
    "processidCapture started": Meaning(DETAIL, "The process watcher starts"),
    "Connected to ROOT\\CIMV2 WMI namespace": Meaning(DETAIL, "Connected to WMI"),
    "KV Windows Service is stopped": Meaning(DETAIL, "The engine ends"),
    TORN_DOWN: Meaning(DETAIL, "The engine is torn down"),
    "Start function Exception occurre ": Meaning(FAILURE, "The engine failed"),
    "Catch...start function Exception occurre ": Meaning(FAILURE, "The engine failed"),
    "Failed to initialize COM library. Error code = 0x{code*}": Meaning(FAILURE, "No process watcher"),
    "Failed to initialize security. Error code = 0x{code*}": Meaning(FAILURE, "No process watcher"),
    "Failed to create IWbemLocator object.{code*}": Meaning(FAILURE, "No process watcher"),
    "ConnectServer is failed pLoc with NULL": Meaning(FAILURE, "No process watcher"),
    "Could not connect. Error code = 0x{code*}": Meaning(FAILURE, "No process watcher"),
    "CoSetProxyBlanket psvc with NULL": Meaning(FAILURE, "No process watcher"),
    "Could not set proxy blanket. Error code = 0x{code*}": Meaning(FAILURE, "No process watcher"),
    "CreateObjectStub psink or pStubUnk with NULL": Meaning(FAILURE, "No process watcher"),
    "CreateObjectStub psink with NULL": Meaning(FAILURE, "No process watcher"),
    "ExecNotificationQueryAsync failed with NULL": Meaning(FAILURE, "No process watcher"),
    "ExecNotificationQueryAsync failedwith = 0x%X{code*}": Meaning(FAILURE, "No process watcher"),
    "Channel was not found{channel*}": Meaning(FAILURE, "No standby watcher"),
    "The query is not valid{query*}": Meaning(FAILURE, "No standby watcher"),
    "EvtSubscribe failed with{error*}": Meaning(FAILURE, "No standby watcher"),
}


def _compiled(pattern):
    parts = re.split(r"\{(\w+\*?)\}", pattern)
    text = "".join(re.escape(part) if index % 2 == 0 else
                   f"(?P<{part.rstrip('*')}>{'.*' if part.endswith('*') else '-?[0-9]+'})"
                   for index, part in enumerate(parts))
    return re.compile(text, re.DOTALL)


TABLE = [(pattern.split("{")[0], _compiled(pattern), meaning) for pattern, meaning in MESSAGES.items()]


@functools.lru_cache(maxsize=65536)
def understand(level, text):
    """(meaning, numbers and names in the text) of a message."""
    for start, pattern, meaning in TABLE:
        if text.startswith(start):
            found = pattern.fullmatch(text)
            if found:
                return meaning, found.groupdict()
    return Meaning(FAILURE if level == ERROR_LEVEL else "other", "Message"), {}
