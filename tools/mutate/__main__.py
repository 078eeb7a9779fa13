"""Plants faults, runs tests against them, and compares the survivors with the list of those that are known."""

import asyncio
import collections
import shutil
import signal
import sys
import time

from tools.mutate import arguments, building, listed, project, running
from tools.shared.exit_codes import INTERRUPTED
from tools.shared.new_file import write_whole

LIST = project.ROOT / "tests/survivors.txt"
CHANGED_LIMIT = 60  # seconds


def within_part(fault, part):
    return part is None or fault.part % part[1] == part[0] - 1


def count(faults):
    return collections.Counter(fault.file.split("/")[0] for fault in faults)


def show_table(columns):
    print(f"{'':14}" + "".join(f"{title:>13}" for title in columns))
    counted = {title: count(faults) for title, faults in columns.items()}
    for folder in (*sorted(project.FOLDERS), "all"):
        numbers = (sum(found.values()) if folder == "all" else found[folder] for found in counted.values())
        print(f"{folder:14}" + "".join(f"{number:13}" for number in numbers))


def tell(text, begin):
    print(f"{time.monotonic() - begin:4.0f} s: {text}", file=sys.stderr, flush=True)


def find(choice, begin):
    commands = project.compile_commands()
    files, units = building.find_faults(commands, choice.files)
    compiler = building.Compiler(files, units, commands)
    tell(f"{len(compiler.faults)} faults found; {len(compiler.units)} sources are compiled with them", begin)
    return compiler


async def examine(choice, compiler, begin):
    """The faults that were planted and those that were not, and the verdicts on those that were judged."""
    await compiler.run()
    programs = await compiler.link()
    tell("the test programs run without a fault", begin)
    planted = [fault for fault in compiler.faults if fault.planted]
    left = [fault for fault in compiler.faults if not fault.planted]
    run = running.Run(programs, await running.measure(programs, len(compiler.faults)))
    asked = [fault for fault in planted if within_part(fault, choice.part)]
    if choice.changed:
        asked.sort(key=lambda fault: fault.part)
    tell(f"they run with one of {len(asked)} faults at a time", begin)
    late = await run.judge(asked, begin + CHANGED_LIMIT if choice.changed else None)
    return planted, left, asked, late, run


def report(choice, outcome, begin):
    planted, left, asked, late, run = outcome
    late_numbers = {fault.number for fault in late}
    judged = [fault for fault in asked if fault.number not in late_numbers]
    entries = listed.read(LIST)
    complaints, unknown = listed.compare(entries, planted, judged, run.survivors, choice.files)
    complaints += listed.outside(entries, project.product_files())
    unknown_numbers = {fault.number for fault in unknown}
    unreached = {fault.number for fault in run.unreached}
    for fault in sorted(unknown, key=lambda fault: fault.number):
        note = " (no test reaches it)" if fault.number in unreached else ""
        print(f"{fault.file}:{fault.line}: {fault.function}: {fault.old} -> {fault.new}{note}")
    for complaint in complaints:
        print(f"tests/survivors.txt, {complaint}")
    show_table({"planted": planted, "not planted": left, "tried": judged, "caught": run.caught, "hung": run.hung,
                "known": [fault for fault in run.survivors if fault.number not in unknown_numbers],
                "unknown": unknown})
    if late:
        print(f"Time was up: {len(judged)} of {len(asked)} faults were tried.")
    print(f"{time.monotonic() - begin:.0f} seconds")
    keep(run)
    return 1 if unknown or complaints else 0


def keep(run):
    """The keys of all survivors, to build the list from."""
    lines = [f"    {fault.key}\n" for fault in sorted(run.survivors, key=lambda fault: fault.number)]
    write_whole(project.OUT / "survivors.txt", "".join(lines))


def main():
    choice = arguments.read(sys.argv[1:])
    for number in (signal.SIGINT, signal.SIGTERM):  # also where a shell in the background has the first ignored
        signal.signal(number, signal.default_int_handler)
    begin = time.monotonic()
    project.OUT.mkdir(parents=True, exist_ok=True)
    try:
        return report(choice, asyncio.run(examine(choice, find(choice, begin), begin)), begin)
    except (RuntimeError, listed.BadList) as error:
        print(error, file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return INTERRUPTED
    finally:
        shutil.rmtree(project.OUT / "tmp", ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
