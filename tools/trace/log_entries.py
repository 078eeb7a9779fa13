"""Reads a diagnostic log (docs/working.md), however it was copied; lines that belong to no entry are counted."""

import calendar
import functools
import re
import time
from typing import NamedTuple

from tools.shared.file_kind import encoding_of
from tools.trace.messages import ERROR_LEVEL, LEVELS, UNKNOWN_LEVEL, is_known

# An entry is two lines: the line break inside the first brackets belongs to the format.
STAMP = re.compile(r"\[(\w{3} \w{3} [ \d]\d \d\d:\d\d:\d\d \d{4})")
MESSAGE = re.compile(r"\]\[([A-Z]+)\] (.*)", re.DOTALL)
LINE_LENGTH_MAX = 1 << 16


class Entry(NamedTuple):
    line: int
    second: int  # of the wall clock where the log was written, as if that were UTC
    level: str
    text: str


class Log(NamedTuple):
    entries: list
    passed_over: int  # lines that belong to no entry


@functools.lru_cache(maxsize=1024)
def second_of(stamp):
    """None for what is no time."""
    try:
        return calendar.timegm(time.strptime(stamp))
    except (ValueError, OverflowError):
        return None


def read_log(path):
    with open(path, "rb") as file:
        content = file.read()
    return log_of(content.decode(encoding_of(content), "replace"))


def log_of(text):
    lines = text.replace("\r\n", "\n").removesuffix("\n").split("\n")
    entries, passed_over, number = [], 0, 0
    while number < len(lines):
        entry = _entry_at(lines, number)
        if entry is None:
            passed_over += 1
            number += 1
            continue
        number += 2
        entry, number = _with_further_lines(entry, lines, number)
        entries.append(entry)
    return Log(entries, passed_over if text else 0)


def _entry_at(lines, number):
    head = STAMP.fullmatch(lines[number])
    message = MESSAGE.fullmatch(lines[number + 1]) if head and number + 1 < len(lines) else None
    second = second_of(head[1]) if message and len(message[2]) <= LINE_LENGTH_MAX else None
    if second is None:
        return None
    return Entry(number + 1, second, LEVELS.get(message[1].lower(), UNKNOWN_LEVEL), _with_its_blank(message[2]))


def _with_its_blank(text):
    """Some texts end in a blank, which many a program takes off."""
    return text + " " if not is_known(text) and is_known(text + " ") else text


def _with_further_lines(entry, lines, number):
    """Some errors hold a text of Windows with line feeds; what follows any other entry belongs to none."""
    end = number
    while end < len(lines) and not STAMP.match(lines[end]):
        end += 1
    whole = "\n".join([entry.text, *lines[number:end]])
    if end > number and entry.level == ERROR_LEVEL and is_known(whole):
        return entry._replace(text=whole), end
    return entry, number
