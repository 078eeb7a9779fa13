"""gcc's analyzer over everything that the release build compiles but kelvanectl.

The analyzer was made for C, and what it says of C++ is often wrong, always in the same few ways. Those findings are let
pass by kind, file and number for the versions of Debian 12 and 13; fewer than listed is a fault as well.
"""

import collections
import json
import os
import pathlib
import re
import shlex
import subprocess
from concurrent.futures import ThreadPoolExecutor

from tools.shared.project import ROOT

COMMANDS = pathlib.Path(os.environ["KELVANE_BUILD"]).parent / "release/compile_commands.json"

FALSE_ALARMS = {
    "new that throws gives no null": r"(use|dereference) of possibly-NULL 'operator new\(\d+\)'",
    "a function writes its result where its caller says": r"use of uninitialized value '<unknown>'",
    "destructors and exceptions are not followed": r"leak of '(<unknown>|<anonymous>|operator new)",
    "vector and optional build in memory that they have": r"dereference of (possibly-)?NULL '__(cur|dest)'",
}

# By kind and file: how many version 12 finds, and version 14.
PASSED = {
    "a function writes its result where its caller says": {
        "diagnostics/ansi_text.cpp": (2, 2),
        "diagnostics/log_file.cpp": (2, 1),
        "diagnostics/service_data.cpp": (1, 1),
        "engine/engine.cpp": (4, 4),
        "engine/event_sink.cpp": (10, 9),
        "engine/standby_watcher.cpp": (8, 4),
        "simulator/formats/scenario.cpp": (4, 5),
        "simulator/gauges/handle_count.cpp": (4, 4),
        "simulator/platform/process_event.cpp": (1, 0),
        "simulator/replay/measures.cpp": (5, 4),
        "simulator/replay/new_file.cpp": (3, 3),
        "simulator/replay/recorded_log.cpp": (2, 2),
        "simulator/standins/live_inputs.cpp": (3, 5),
        "simulator/standins/process_watch.cpp": (1, 1),
        "simulator/standins/wbem_services.cpp": (2, 2),
        "simulator/standins/wevtapi_dll.cpp": (4, 2),
        "state/state.cpp": (1, 1),
    },
    "destructors and exceptions are not followed": {
        "diagnostics/diagnostic_log.cpp": (1, 1),
        "engine/engine.cpp": (1, 0),
        "engine/event_sink.cpp": (2, 2),
        "service/capability_check.cpp": (1, 1),
        "simulator/platform/process_event.cpp": (1, 0),
        "simulator/replay/replay.cpp": (1, 1),
        "simulator/replay/replay_command.cpp": (2, 2),
        "simulator/standins/process_watch.cpp": (2, 1),
        "simulator/standins/wmi_dll.cpp": (3, 3),
    },
    "new that throws gives no null": {
        "diagnostics/diagnostic_log.cpp": (1, 0),
        "engine/event_sink.cpp": (1, 0),
        "framework/core_library.cpp": (1, 0),
        "simulator/platform/process_event.cpp": (2, 0),
        "simulator/platform/simulated_core.cpp": (1, 0),
        "simulator/replay/replay.cpp": (1, 0),
        "simulator/standins/orqcore_dll.cpp": (1, 0),
    },
    "vector and optional build in memory that they have": {
        "simulator/formats/csv.cpp": (2, 0),
        "simulator/formats/scenario.cpp": (2, 0),
        "simulator/replay/measures.cpp": (2, 0),
    },
}
VERSIONS = ("12", "14")
# It is full of records with texts in them, each of which is a false alarm, and the headers of its libraries take the
# analyzer longer than all other sources together.
LEFT_OUT = "kelvanectl/"
# Sources at which the analyzer itself crashes.
CRASHES = {"12": set(), "14": {"simulator/platform/process_event.cpp"}}


def name_of(entry):
    return str(pathlib.Path(entry["file"]).relative_to(ROOT))


def version_of(entry):
    """The compiler's major version."""
    run = subprocess.run([shlex.split(entry["command"])[0], "-dumpversion"], capture_output=True, text=True, check=True)
    return re.match(r"\d+", run.stdout)[0]


def findings(entry):
    command = shlex.split(entry["command"])
    command[command.index("-o") + 1] = os.devnull
    run = subprocess.run([*command, "-fanalyzer", "-Wno-error", "-fdiagnostics-plain-output"], cwd=entry["directory"],
                         capture_output=True, text=True, timeout=600)
    name = name_of(entry)
    assert run.returncode == 0, f"{name} does not compile:\n{run.stderr}"
    texts = re.findall(r"warning: (.*) \[-Wanalyzer-", run.stderr.replace("\u2018", "'").replace("\u2019", "'"))
    return collections.Counter((name, kind_of(text)) for text in texts)


def kind_of(text):
    return next((kind for kind, start in FALSE_ALARMS.items() if re.match(start, text)), text)


def test_the_analyzer_finds_nothing_but_its_false_alarms():
    entries = [entry for entry in json.loads(COMMANDS.read_text()) if entry["file"].endswith(".cpp")]
    assert len(entries) > 50
    version = version_of(entries[0])
    looked_at = [entry for entry in entries
                 if name_of(entry) not in CRASHES[version] and not name_of(entry).startswith(LEFT_OUT)]
    with ThreadPoolExecutor(2) as pool:
        found = sum(pool.map(findings, looked_at), collections.Counter())

    column = VERSIONS.index(version)
    passed = +collections.Counter({(name, kind): counts[column] for kind, files in PASSED.items()
                                   for name, counts in files.items()})
    assert (sorted((found - passed).items()), sorted((passed - found).items())) == ([], [])
