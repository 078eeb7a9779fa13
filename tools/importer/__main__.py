"""importer [--time COLUMN --power COLUMN [--unit mW|W]] LOG > SCENARIO.csv: a recorder's log as a scenario.

Recognises the format by the log's head, unless the user names columns of a CSV log (docs/import.md). Writes the
scenario sample by sample, and sums up on standard error.
"""

import argparse
import contextlib
import io
import itertools
import os
import stat
import sys

from tools.importer import chosen, hwinfo, powerstat, turbostat
from tools.importer.log import Report, columns_text, numbered_lines
from tools.importer.scenario import write_scenario
from tools.shared import file_kind
from tools.shared.durations import duration
from tools.shared.exit_codes import MALFORMED, NOT_WRITABLE, WRONG_USAGE
from tools.shared.file_names import dashed_files, print_names_as_they_are, refuse_line_feeds

FORMATS = (hwinfo, turbostat, powerstat)
IMPORTED = 0


def arguments_of(words):
    parser = argparse.ArgumentParser(
        prog="scripts/import.sh", usage="%(prog)s [--time COLUMN --power COLUMN [--unit mW|W]] LOG > SCENARIO.csv",
        description="Turns a recorder's log into a scenario.", allow_abbrev=False)
    parser.add_argument("--time", metavar="COLUMN", help="of a CSV log: seconds, a time of day, or a date and time")
    parser.add_argument("--power", metavar="COLUMN", help="of a CSV log: the package's power")
    parser.add_argument("--unit", choices=chosen.UNITS, help="of the power; by its column's name, else W")
    parser.add_argument("log", metavar="LOG")
    given = parser.parse_args(dashed_files(words, ("-h", "--help", "--time", "--power", "--unit")))
    if (given.time is None) != (given.power is None) or (given.unit and not given.power):
        parser.error("--time and --power are needed together")
    refuse_line_feeds([given.log])
    return given


def main(words):
    print_names_as_they_are()
    given = arguments_of(words)
    report = Report(given.log, sys.stderr or open(os.devnull, "w", encoding="ascii"))
    if sys.stdout is None:
        report.say("standard output: it is closed")
        return NOT_WRITABLE
    try:
        file = open(given.log, "rb", buffering=file_kind.HEAD_BYTES)
        encoding = file_kind.encoding_of(file.peek())
    except OSError as error:
        report.tell(1, f"the log cannot be read: {error.strerror}")
        return MALFORMED
    with file:
        if is_output(file):
            report.say(f"{given.log}: the scenario would overwrite its log")
            return WRONG_USAGE
        form = chosen.Columns(given.time, given.power, given.unit) if given.power is not None else None
        return import_log(io.TextIOWrapper(file, encoding, errors="replace"), form, report, sys.stdout)


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


def import_log(file, form, report, out):
    lines = numbered_lines(file, report)
    if form is None:
        form, first, lines = recognise(lines)
    if form is None:
        report.tell(1, file_kind.instead_of(report.name, "recorder's log") or no_format(first))
        return MALFORMED
    try:
        with whole_output(out):
            totals = write_scenario(form.samples(lines, report), lambda: origin(form, report), report, out)
    except OSError as error:
        report.say(f"standard output: {error.strerror}")
        return NOT_WRITABLE
    report.tell_rest()
    if not totals.samples:
        report.tell(1, f"this {form.NAME} holds no sample")
        return MALFORMED
    sum_up(form, report, totals)
    return IMPORTED


def recognise(lines):
    """(format or None, first line, the lines from its head on)"""
    first = ""
    for number, text in lines:
        first = first or text
        for form in FORMATS:
            if form.HEAD.search(text):
                return form, first, itertools.chain([(number, text)], lines)
    return None, first, ()


def no_format(first):
    """Where it may be CSV all the same, with the names that can be chosen from."""
    cells = chosen.names_in(first)
    choice = f"; of a CSV log choose columns by --time and --power: {columns_text(cells)}" if len(cells) > 1 else ""
    return "neither a " + " nor a ".join(form.NAME for form in FORMATS) + choice


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
