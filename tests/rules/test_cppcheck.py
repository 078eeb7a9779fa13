"""cppcheck over everything that the release build compiles. Each finding that is let pass stands here with its reason;
one that is no longer found is a finding itself."""

import os
import pathlib
import re
import subprocess

from tools.shared.project import ROOT

COMMANDS = pathlib.Path(os.environ["KELVANE_BUILD"]).parent / "release/compile_commands.json"

PASSED = {
    # A short loop that reads like its description beats an algorithm and a lambda.
    "useStlAlgorithm": [
        "controller/restore.cpp", "controller/workload.cpp", "framework/core_library.cpp",
        "simulator/formats/scenario.cpp", "simulator/model/processor_model.cpp", "simulator/replay/policies.cpp"],
    # A flag that is the watcher's, and a count that all threads read: a write that changes nothing costs them
    # something.
    "duplicateConditionalAssign": ["controller/control_step.cpp", "diagnostics/diagnostic_log.cpp"],
    # An accessor's name is the best one for what it gives, too.
    "shadowFunction": ["diagnostics/diagnostic_log.cpp", "diagnostics/log_file.cpp"],
    # Callers hand over texts that they put together.
    "passedByValue": ["diagnostics/service_data.cpp"],
}
# What versions after Debian 12's 2.10 say in addition.
PASSED_SINCE_2_11 = {
    "useStlAlgorithm": ["simulator/formats/demand.cpp"],
    # Windows gives the callback's type.
    "constParameterCallback": ["simulator/platform/crash_exit.cpp"],
}
# Which of their checks ran, which is no finding.
REPORTS_SINCE_2_11 = ["checkersReport"]


def suppressions():
    version = subprocess.run(["cppcheck", "--version"], capture_output=True, text=True, check=True).stdout
    major, minor = map(int, re.findall(r"\d+", version)[:2])
    tables, reports = [PASSED], []
    if (major, minor) >= (2, 11):
        tables, reports = [PASSED, PASSED_SINCE_2_11], REPORTS_SINCE_2_11
    return [*reports, *(f"{kind}:{ROOT / name}" for table in tables for kind, names in table.items() for name in names)]


def test_there_is_something_to_check():
    assert COMMANDS.read_text().count('"file"') > 50


def test_cppcheck_finds_nothing_else():
    passed = [f"--suppress={suppression}" for suppression in suppressions()]
    check = subprocess.run(
        ["cppcheck", "--platform=win64", "--library=windows", "--std=c++20", "--quiet", "-j2",
         "--enable=warning,style,performance,portability,information", "--error-exitcode=1",
         f"--project={COMMANDS}", "--template={file}:{line}: {id}: {message}", *passed],
        capture_output=True, text=True, timeout=600)
    assert check.stderr == "" and check.returncode == 0
