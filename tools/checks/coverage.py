"""tools.checks.coverage BUILD: which lines and branches of the product the unit tests reach, by gcovr; prints a table.

What they do not reach stands in UNREACHED with its reason. A place that is missing there, or is reached after all, is a
failure: exit code 1. Exit code 2: wrong usage.
"""

import collections
import json
import pathlib
import subprocess
import sys

from tools.shared.exit_codes import WRONG_USAGE
from tools.shared.project import ROOT

FOLDERS = ("controller", "diagnostics", "engine", "framework", "service", "state")

ONCE = "a second thread that waits while the first makes the object; the thread sanitizer's stress does that"
MIDWAY = "whether another thread is in the middle of a message just then; at most this many are missed"
KNOWN = "the service's own pieces are mostly literals, for which the compiler knows; tests call it with others"
NO_OTHER = "no other kind of exception can come from within; it would go on to the caller"

# (file, text of its line; no text for a whole file): how many branches, reason
UNREACHED = {
    ("controller/control_step.cpp", "switch (chooseBranch(loop)) {"): (1, "there is no fifth branch"),
    ("controller/scaling_loop.cpp", "if (sessionRetry >= maxConnectAttempts) return false;"):
        (1, "one attempt is the limit, so that the first failure is the last"),
    ("controller/up_branch.cpp", "switch (rise) {"): (1, "there is no sixth kind of rise"),
    ("controller/up_branch.cpp",
     "case Rise::twoFifths: loop.prefMax += loop.DeltaPkgpwr < 1000 && pkgPower < 4000 ? 1000 : 1500; break;"):
        (1, "from 4000 mW on, less than 1000 mW of rise is less than two fifths of what was before"),
    ("diagnostics/diagnostic_log.cpp", "};"): (3, ONCE),
    ("diagnostics/diagnostic_log.cpp", "static const auto& none = *new std::string(\"NONE\");"): (1, ONCE),
    ("diagnostics/diagnostic_log.cpp", "static DiagnosticLog& log = *new DiagnosticLog;"): (1, ONCE),
    ("diagnostics/diagnostic_log.h",
     "inline bool endsMessage(const char* text) { return std::string_view(asText(text)).ends_with('\\n'); }"):
        (3, KNOWN),
    ("diagnostics/diagnostic_log.h",
     "inline bool endsMessage(const std::string& text) { return text.ends_with('\\n'); }"): (1, KNOWN),
    ("diagnostics/diagnostic_log.h", "(insert(key, asText(pieces)), ...);"): (1, KNOWN),
    ("diagnostics/diagnostic_log.h", "dropThread(key);"):
        (1, "the service's own pieces can nearly always be had; tests have one that cannot"),
    ("diagnostics/diagnostic_log.h", "if (log.leavesNoTrace(level) && !(endsMessage(values) || ...)) return;"):
        (9, MIDWAY),
    ("diagnostics/log_file.cpp", "} catch (const std::runtime_error&) {"): (1, NO_OTHER),
    ("diagnostics/log_file.cpp", "} catch (const std::bad_alloc&) {"): (1, NO_OTHER),
    ("engine/engine.cpp", "engine.sink = new (std::nothrow) EventSink;"):
        (1, "want of memory; the walk over every failing call does that under Wine"),
    ("engine/engine.cpp", "if (!engine.sink || !engine.unsecuredApartment) {"):
        (1, "want of memory; the walk over every failing call does that under Wine"),
    ("engine/engine.cpp", "if (engine.stubSink && engine.services && g_wmiConnected == 1) {"):
        (1, "a start-up that went well has made both"),
    ("engine/event_sink.cpp", "} catch (const _com_error& error) {"): (1, NO_OTHER),
    ("engine/event_sink.cpp", "} catch (const _com_error&) {"): (1, NO_OTHER),
    ("engine/process_names.cpp", "g_trackedProcessIds[static_cast<std::size_t>(count)] = processId;"):
        (1, "the library's own check of the index, which the line before has made"),
    ("state/state.cpp", "static auto& name = *new GuardedName;"): (1, ONCE),
    ("framework/primitives.cpp", "std::copy_n(primitive.text, primitive.bytes, text);"): (1, "no command is empty"),
    ("service/main.cpp", ""): (1, "what the service control manager starts; the system tests run it under Wine"),
}


# Debian 13's compiler and gcovr 7 count templates line by line, and find one more branch at a function's end.
SINCE_GCOVR_7 = {("diagnostics/diagnostic_log.cpp", "}"): (1, ONCE)}
NOT_SINCE_GCOVR_7 = [("diagnostics/diagnostic_log.h", "dropThread(key);"),
                     ("framework/primitives.cpp", "std::copy_n(primitive.text, primitive.bytes, text);")]


def is_gcovr_5():
    version = subprocess.run(["gcovr", "--version"], capture_output=True, text=True, check=True).stdout
    return version.startswith("gcovr 5")


def listed():
    """What is not reached, as this system's tools count it."""
    if is_gcovr_5():
        return UNREACHED
    return {**{place: why for place, why in UNREACHED.items() if place not in NOT_SINCE_GCOVR_7}, **SINCE_GCOVR_7}


def measure(build):
    """By file: the lines that hold code, as gcovr's JSON has them (7 leaves the others out, 5 marks them)."""
    report = subprocess.run(
        ["gcovr", "--root", ROOT, build, "--filter", f"({'|'.join(FOLDERS)})/", "--exclude-throw-branches",
         "--exclude-unreachable-branches",
         *([] if is_gcovr_5() else ["--merge-mode-functions=separate"]), "--json"],
        cwd=ROOT, capture_output=True, text=True, check=True).stdout
    return {file["file"]: [line for line in file["lines"] if not line.get("gcovr/noncode")]
            for file in json.loads(report)["files"]}


def counts(lines):
    """Lines, lines reached, branches, branches taken."""
    branches = [branch for line in lines for branch in line["branches"]]
    return (len(lines), sum(line["count"] > 0 for line in lines),
            len(branches), sum(branch["count"] > 0 for branch in branches))


def unreached(files):
    """By place: how many branches are not taken; a line that is not reached counts once more."""
    found = collections.Counter()
    for name, lines in files.items():
        texts = (ROOT / name).read_text(encoding="ascii").splitlines()
        for line in lines:
            missing = (line["count"] == 0) + sum(branch["count"] == 0 for branch in line["branches"])
            if missing:
                found[name, texts[line["line_number"] - 1].strip()] += missing
    return found


def show(files):
    folders = collections.defaultdict(list)
    for name, lines in files.items():
        folders[name.split("/")[0]] += lines
    everything = [line for lines in files.values() for line in lines]
    print(f"{'':14}{'lines':>7}{'reached':>9}{'branches':>10}{'taken':>7}")
    for name, lines in [*sorted(folders.items()), ("all", everything)]:
        line_count, reached, branch_count, taken = counts(lines)
        print(f"{name:14}{line_count:7}{reached / line_count:9.1%}{branch_count:10}{taken / branch_count:7.1%}")


def not_compiled(files):
    """Sources that no test program holds; header files count where they are used."""
    sources = {str(path.relative_to(ROOT)) for folder in FOLDERS for path in (ROOT / folder).glob("*.cpp")}
    return {(name, ""): 1 for name in sources - files.keys()}


def main():
    if len(sys.argv) != 2 or not pathlib.Path(sys.argv[1]).is_dir():
        print("usage: tools.checks.coverage BUILD", file=sys.stderr)
        return WRONG_USAGE
    files = measure(sys.argv[1])
    show(files)
    found = {**unreached(files), **not_compiled(files)}
    unreached_here = listed()
    print("\nNot reached, or not in every way:")
    for place, (missing, reason) in unreached_here.items():
        print(f"  {': '.join(filter(None, place))} ({missing})\n      {reason}")
    fallen = [place for place, missing in found.items() if missing > unreached_here.get(place, (0,))[0]]
    # How threads meet differs from run to run.
    reached = [place for place, (missing, reason) in unreached_here.items()
               if found.get(place, 0) < missing and reason not in (ONCE, MIDWAY)]
    for name, text in sorted(fallen):
        print(f"coverage: {name}: no test reaches, or not in every way: {text}", file=sys.stderr)
    for name, text in sorted(reached):
        print(f"coverage: {name}: is reached in more ways than listed: {text}", file=sys.stderr)
    return 1 if fallen or reached else 0


if __name__ == "__main__":
    sys.exit(main())
