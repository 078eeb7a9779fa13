"""importer LOG > SCENARIO.csv: turns a recorder's log into a scenario (docs/import.md).

Recognises the format by the log's head, writes the scenario sample by sample, and sums up on standard error.
"""

import contextlib
import itertools
import os
import stat
import sys

from tools.importer import hwinfo, powerstat, turbostat
from tools.importer.log import Report, numbered_lines
from tools.importer.scenario import write_scenario
from tools.shared.durations import duration
from tools.shared.exit_codes import MALFORMED, NOT_WRITABLE, WRONG_USAGE

FORMATS = (hwinfo, turbostat, powerstat)
IMPORTED = 0


def main(arguments):
    messages = sys.stderr or open(os.devnull, "w", encoding="ascii")
    if len(arguments) != 1:
        print("usage: scripts/import.sh LOG > SCENARIO.csv", file=messages)
        return WRONG_USAGE
    report = Report(arguments[0], messages)
    if sys.stdout is None:
        report.say("standard output: it is closed")
        return NOT_WRITABLE
    try:
        file = open(arguments[0], encoding="utf-8-sig", errors="replace")
    except OSError as error:
        report.tell(1, f"the log cannot be read: {error.strerror}")
        return MALFORMED
    with file:
        if is_output(file):
            report.say(f"{arguments[0]}: the scenario would overwrite its log")
            return WRONG_USAGE
        return import_log(file, report, sys.stdout)


def is_output(file):
    log, output = os.fstat(file.fileno()), os.fstat(sys.stdout.fileno())
    return stat.S_ISREG(log.st_mode) and os.path.samestat(log, output)


@contextlib.contextmanager
def whole_output(out):
    """What fails or is interrupted leaves no half of a scenario in a file."""
    before = os.fstat(out.fileno())
    try:
        yield
    except BaseException:
        if stat.S_ISREG(before.st_mode):
            os.ftruncate(out.fileno(), before.st_size)
            os.lseek(out.fileno(), before.st_size, os.SEEK_SET)
        os.dup2(os.open(os.devnull, os.O_WRONLY), out.fileno())  # for what is left in its buffer
        raise


def import_log(file, report, out):
    form, lines = recognise(numbered_lines(file, report))
    if form is None:
        report.tell(1, "neither a " + " nor a ".join(form.NAME for form in FORMATS))
        return MALFORMED
    try:
        with whole_output(out):
            totals = write_scenario(form.samples(lines, report), lambda: origin(form, report), report, out)
    except OSError as error:
        report.say(f"standard output: {error.strerror}")
        return NOT_WRITABLE
    if not totals.samples:
        report.tell(1, f"this {form.NAME} holds no sample")
        return MALFORMED
    sum_up(form, report, totals)
    return IMPORTED


def recognise(lines):
    for number, text in lines:
        for form in FORMATS:
            if form.HEAD.search(text):
                return form, itertools.chain([(number, text)], lines)
    return None, ()


def plain(text):
    """On one line, in ASCII."""
    return text.encode("unicode_escape").decode("ascii")


def origin(form, report):
    return (f"imported from {plain(os.path.basename(report.name))}, a {form.NAME}",
            plain(f"power_mw from {report.facts['power from']}; clip_reasons from {report.facts['clipping from']}"))


def share(part_ms, totals):
    return "not in the log" if part_ms is None else f"{100 * part_ms / totals.duration_ms:.1f}% of the time"


def sum_up(form, report, totals):
    steps = " to ".join(f"{step_ms / 1000:.3f}" for step_ms in dict.fromkeys(totals.steps_ms or ()))
    facts = {
        "format": form.NAME,
        "samples": totals.samples,
        "duration": duration(totals.duration_ms, digits=3) + (f", a sample every {steps} s" if steps else ""),
        "mean power": f"{totals.energy_uj / totals.duration_ms / 1000:.3f} W",
        "peak power": f"{totals.peak_mw / 1000:.3f} W",
        "clipped": share(totals.clipped_ms, totals),
        "on battery": share(totals.battery_ms, totals),
        **{label: plain(text) for label, text in report.facts.items()},
        **report.passed_over,
        "bad lines": report.bad_lines,
    }
    width = max(map(len, facts)) + 3
    for label, value in facts.items():
        report.say(f"{label:{width}}{value}")


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
