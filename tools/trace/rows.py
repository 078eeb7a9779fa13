"""Reads a trace (docs/replay.md) for the tools that explain it; what is malformed is named with its line."""

import csv
import re
import sys
from typing import NamedTuple

from tools.shared.file_kind import TRACE, TRACE_COLUMNS as COLUMNS, instead_of
from tools.shared.framework import is_write

LINE_LENGTH_MAX = 1 << 20
UNSIGNED = re.compile(r"[0-9]{1,15}")
MAYBE_UNSIGNED = re.compile(r"[0-9]{0,15}")
SIGNED = re.compile(r"-?[0-9]{1,15}")
DECIMAL = re.compile(r"-?[0-9]{1,15}(\.[0-9]{1,15})?")
ANY = re.compile(r".*", re.DOTALL)
NOTHING = re.compile("")

# What name, value and status of each kind of row look like.
FORMS = {
    "call": (re.compile(r"[A-Z_]+"), MAYBE_UNSIGNED, SIGNED),
    "primitive": (re.compile(r"[A-Z0-9_]+"), MAYBE_UNSIGNED, SIGNED),
    "sleep": (NOTHING, UNSIGNED, NOTHING),
    "log": (SIGNED, ANY, NOTHING),
    "processor": (re.compile(r"[a-z_]+"), DECIMAL, NOTHING),
}


class MalformedTrace(Exception):
    """Its text is FILE:LINE: reason."""


class Row(NamedTuple):
    line: int
    time_ms: int
    kind: str
    name: str
    value: str
    status: str


def read_trace(path):
    """The rows of a trace; there is at least one."""
    try:
        with open(path, newline="", encoding="utf-8", errors="replace") as file:
            rows = list(_rows(path, csv.reader(_whole_lines(path, file), strict=True)))
    except OSError as error:
        raise MalformedTrace(f"{path}: cannot be read: {error.strerror}") from error
    if not rows:
        raise MalformedTrace(f"{path}:2: the trace has no rows")
    return rows


def _whole_lines(path, file):
    number = 0
    while line := file.readline(LINE_LENGTH_MAX):
        number += 1
        reason = _damage(line)
        if reason:
            raise MalformedTrace(f"{path}:{number}: {_no_head(path) if number == 1 else reason}")
        yield line


def _damage(line):
    if "\0" in line:
        return "a NUL byte: this is no text"
    if line[-1] in "\r\n":
        return None
    if len(line) == LINE_LENGTH_MAX:
        return f"the line is longer than {LINE_LENGTH_MAX} characters"
    return "the trace is cut off: its last line has no end"


def _no_head(path):
    return instead_of(path, TRACE) or f"not a trace: the first line must be {','.join(COLUMNS)}"


def _rows(path, reader):
    if _next_fields(path, reader) != COLUMNS:
        raise MalformedTrace(f"{path}:1: {_no_head(path)}")
    earlier_ms = 0
    while True:
        line = reader.line_num + 1
        fields = _next_fields(path, reader)
        if fields is None:
            return
        fault = _fault(fields, earlier_ms)
        if fault:
            raise MalformedTrace(f"{path}:{line}: {fault}")
        row = Row(line, int(fields[0]), *map(sys.intern, fields[1:]))
        earlier_ms = row.time_ms
        yield row


def _next_fields(path, reader):
    line = reader.line_num + 1
    try:
        return next(reader, None)
    except csv.Error as error:
        raise MalformedTrace(f"{path}:{line}: {_no_head(path) if line == 1 else error}") from error


def _fault(fields, earlier_ms):
    """What is wrong with a row, or None."""
    if len(fields) != len(COLUMNS):
        return f"{len(COLUMNS)} fields expected, {len(fields)} found"
    time_ms, kind, *rest = fields
    if not UNSIGNED.fullmatch(time_ms):
        return f'"{time_ms}" is no time in milliseconds'
    if int(time_ms) < earlier_ms:
        return f"the time {time_ms} is earlier than the row before"
    if kind not in FORMS:
        return f'unknown kind "{kind}"'
    for column, form, text in zip(COLUMNS[2:], FORMS[kind], rest):
        if not form.fullmatch(text):
            return f'"{text}" is no {column} of a {kind} row'
    if kind == "primitive" and is_write(rest[0]) and not rest[1]:
        return f"{rest[0]} without a value"
    return None
