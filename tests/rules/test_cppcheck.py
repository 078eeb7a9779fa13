"""cppcheck over everything that the release build compiles. Each finding that is let pass stands here with its reason;
one that is no longer found is a finding itself."""

import os
import pathlib
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]
COMMANDS = pathlib.Path(os.environ["KELVANE_BUILD"]).parent / "release/compile_commands.json"

PASSED = {
    # A short loop that reads like its description beats an algorithm and a lambda.
    "useStlAlgorithm": [
        "controller/workload.cpp", "framework/core_library.cpp", "simulator/replay/policies.cpp",
        "simulator/model/processor_model.cpp", "simulator/formats/scenario.cpp"],
    # A flag that is the watcher's, and a count that all threads read: a write that changes nothing costs them something.
    "duplicateConditionalAssign": ["controller/control_step.cpp", "diagnostics/diagnostic_log.cpp"],
    # An accessor's name is the best one for what it gives, too.
    "shadowFunction": ["diagnostics/diagnostic_log.cpp", "diagnostics/log_file.cpp"],
    # Callers hand over texts that they put together.
    "passedByValue": ["diagnostics/service_data.cpp"],
    # The log as such is not constant, whatever is asked of it.
    "constVariable": ["engine/engine.cpp"],
    # The product that is shifted has 64 bits.
    "shiftTooManyBits": ["simulator/formats/demand.cpp"],
}


def test_there_is_something_to_check():
    assert COMMANDS.read_text().count('"file"') > 50


def test_cppcheck_finds_nothing_else():
    passed = [f"--suppress={kind}:{ROOT / name}" for kind, names in PASSED.items() for name in names]
    check = subprocess.run(
        ["cppcheck", "--platform=win64", "--library=windows", "--std=c++20", "--quiet", "-j2",
         "--enable=warning,style,performance,portability,information", "--error-exitcode=1",
         f"--project={COMMANDS}", "--template={file}:{line}: {id}: {message}", *passed],
        capture_output=True, text=True, timeout=600)
    assert check.stderr == "" and check.returncode == 0
