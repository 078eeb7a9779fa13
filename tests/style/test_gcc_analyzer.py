"""gcc's analyzer over everything that the release build compiles.

g++ 12's analyzer was made for C, and what it says of C++ is often wrong, always in the same few ways. Those findings
are let pass by kind and file; an entry for which nothing is found any more is a fault as well.
"""

import json
import os
import pathlib
import re
import shlex
import subprocess
from concurrent.futures import ThreadPoolExecutor

ROOT = pathlib.Path(__file__).resolve().parents[2]
COMMANDS = pathlib.Path(os.environ["KELVANE_BUILD"]).parent / "release/compile_commands.json"

FALSE_ALARMS = {
    "new that throws gives no null": r"(use|dereference) of possibly-NULL 'operator new\(\d+\)'",
    "a function writes its result where its caller says": r"use of uninitialized value '<unknown>'",
    "destructors and exceptions are not followed": r"leak of '(<unknown>|<anonymous>|operator new)",
    "vector and optional build in memory that they have": r"dereference of (possibly-)?NULL '__(cur|dest)'",
}

PASSED = {
    "a function writes its result where its caller says": [
        "diagnostics/ansi_text.cpp", "diagnostics/log_file.cpp", "diagnostics/service_data.cpp",
        "engine/event_sink.cpp", "engine/standby_watcher.cpp", "engine/state.cpp", "simulator/handle_count.cpp",
        "simulator/live_inputs.cpp", "simulator/measures.cpp", "simulator/process_event.cpp",
        "simulator/process_watch.cpp", "simulator/recorded_log.cpp", "simulator/scenario.cpp", "simulator/trace.cpp",
        "simulator/wbem_services.cpp", "simulator/wevtapi_dll.cpp",
    ],
    "destructors and exceptions are not followed": [
        "diagnostics/diagnostic_log.cpp", "engine/engine.cpp", "engine/event_sink.cpp",
        "service/capability_check.cpp", "simulator/process_event.cpp", "simulator/process_watch.cpp",
        "simulator/replay.cpp", "simulator/replay_command.cpp", "simulator/wmi_dll.cpp",
    ],
    "new that throws gives no null": [
        "diagnostics/diagnostic_log.cpp", "engine/event_sink.cpp", "framework/core_library.cpp",
        "simulator/orqcore_dll.cpp", "simulator/process_event.cpp", "simulator/replay.cpp",
        "simulator/simulated_core.cpp",
    ],
    "vector and optional build in memory that they have": [
        "simulator/csv.cpp", "simulator/measures.cpp", "simulator/scenario.cpp",
    ],
}


def findings(entry):
    command = shlex.split(entry["command"])
    command[command.index("-o") + 1] = os.devnull
    run = subprocess.run([*command, "-fanalyzer", "-Wno-error", "-fdiagnostics-plain-output"], cwd=entry["directory"],
                         capture_output=True, text=True, timeout=600)
    name = str(pathlib.Path(entry["file"]).relative_to(ROOT))
    assert run.returncode == 0, f"{name} does not compile:\n{run.stderr}"
    texts = re.findall(r"warning: (.*) \[-Wanalyzer-", run.stderr.replace("\u2018", "'").replace("\u2019", "'"))
    return {(name, kind_of(text)) for text in texts}


def kind_of(text):
    return next((kind for kind, start in FALSE_ALARMS.items() if re.match(start, text)), text)


def test_the_analyzer_finds_nothing_but_its_false_alarms():
    entries = [entry for entry in json.loads(COMMANDS.read_text()) if entry["file"].endswith(".cpp")]
    assert len(entries) > 50
    with ThreadPoolExecutor(2) as pool:
        found = set().union(*pool.map(findings, entries))

    passed = {(name, kind) for kind, names in PASSED.items() for name in names}
    assert (sorted(found - passed), sorted(passed - found)) == ([], [])
