"""The scenarios that are given to the comparison: read, checked and named, each with a plain file for Wine."""

import csv
import io
import os
import re

from tools.control import workloads
from tools.shared.durations import DAY_MS
from tools.shared.file_kind import SCENARIO, instead_of
from tools.shared.file_names import shown, told_apart
from tools.shared.scenario import HEAD

LINE_LENGTH_MAX = 1 << 20
CONTROL = re.compile(rb"[\x00-\x08\x0b\x0c\x0e-\x1f\x7f]")
RECORDING_MS_MAX = 7 * DAY_MS  # its work is a row for each tenth of a second


class Malformed(ValueError):
    """Its text is FILE:LINE: reason, or FILE: reason."""


def given_work(paths, preset, folder):
    """{(name, seed): (file, path)} for scenarios with jobs, and for recordings turned into work; each file once."""
    texts = {path: text_of(path) for path in paths}
    names = told_apart(paths, lambda name: os.path.splitext(name)[0])
    work, used = {}, set()
    for number, (path, name) in enumerate(zip(paths, names)):
        place = os.path.abspath(path)
        if place not in used:
            used.add(place)
            file = folder / f"{number:02}.csv"
            derived = ",power_mw," in texts[path]
            text = workloads.derived(*recorded(path, texts[path]), 1, preset) if derived else texts[path]
            file.write_text(text, encoding="utf-8", newline="")
            work[unused(shown(name) + (" (derived)" if derived else ""), work), 1] = (file, path)
    return work


def unused(name, work):
    """Two recordings of one folder may have names that end up alike."""
    while (name, 1) in work:
        name += "'"
    return name


def text_of(path):
    try:
        with open(path, "rb") as file:
            content = file.read()
    except OSError as error:
        raise Malformed(f"{path}: cannot be read: {error.strerror}") from error
    lines = content.split(b"\n")
    if lines[0].rstrip().replace(b'"', b"").decode("ascii", "replace") != HEAD.strip():
        raise Malformed(f"{path}:1: {instead_of(path, SCENARIO) or first_line_wanted(content)}")
    for number, line in enumerate(lines, 1):
        if len(line) > LINE_LENGTH_MAX:
            raise Malformed(f"{path}:{number}: the line is longer than {LINE_LENGTH_MAX} bytes")
        if (found := CONTROL.search(line)) and not line.startswith(b"#"):
            raise Malformed(f"{path}:{number}: unexpected byte \\x{found[0].hex().upper()}")
        try:
            line.decode("utf-8")
        except UnicodeDecodeError as error:
            raise Malformed(f"{path}:{number}: byte {error.object[error.start]:#04x} is no UTF-8") from error
    return content.decode("utf-8")


def first_line_wanted(content):
    return ("" if content else "the file is empty; ") + f"the first line must be {HEAD.strip()}"


def recorded(path, text):
    """Powers, starts of programs and the end of a recording: [(time_ms, mW)], [(time_ms, name)], time_ms."""
    powers, starts, earlier_ms = [], [], 0
    for number, row in numbered_rows(path, text):
        try:
            time_ms, name, value = row
            time_ms = int(time_ms)
            if name == "power_mw":
                powers.append((time_ms, to_word(value)))
        except ValueError as fault:
            raise Malformed(f"{path}:{number}: {wrong_row(row)}") from fault
        if not earlier_ms <= time_ms <= RECORDING_MS_MAX:
            raise Malformed(f"{path}:{number}: " + ("time_ms falls" if time_ms < earlier_ms else
                                                    "a recording that is longer than seven days"))
        earlier_ms = time_ms
        if name == "process_start":
            starts.append((time_ms, value.rpartition(":")[0]))
    return powers, starts, earlier_ms


def to_word(text):
    number = int(text, 0)
    if not 0 <= number < 1 << 32:
        raise ValueError
    return number


def wrong_row(row):
    if len(row) != 3:
        return f"three columns are needed, {HEAD.strip()}, not {len(row)}"
    return f'"{shown(row[2] if row[0].isdecimal() else row[0])}" is not a number, or out of range'


def numbered_rows(path, text):
    """The rows below the head. Comments and blank lines are none."""
    lines = io.StringIO(text, newline="\n")
    reader = csv.reader(("\n" if line.startswith("#") else line for line in lines), strict=True)
    next(reader)
    while True:
        number = reader.line_num + 1
        try:
            row = next(reader, None)
        except csv.Error as error:
            raise Malformed(f"{path}:{number}: {error}") from error
        if row is None:
            return
        if any(cell.strip() for cell in row):
            yield number, row
