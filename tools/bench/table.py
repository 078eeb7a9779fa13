"""The table of costs, and its lines."""

import operator
import re
from dataclasses import dataclass

HEAD = ("measure", "value", "unit", "smallest", "ratio", "target", "met")
COUNTED = ("instructions", "allocations", "bytes", "wake-ups/s", "MB")
TARGET = re.compile(r"(?:(<=|<|>=) )?([\d.,]+)(?: (x|MiB|MB))?")
COMPARISONS = {None: operator.le, "<=": operator.le, "<": operator.lt, ">=": operator.ge}


@dataclass(frozen=True)
class Row:
    """One line of the table."""
    measure: str               # what
    value: float
    unit: str                  # "ms/min", "wake-ups/s", "KiB", ...
    beside: float | None = None   # the same figure of the smallest thing that does the same, measured in the same run
    target: str = ""           # "<= 1.1 x", "< 3 MiB", "0"


def figure(value):
    if value is None:
        return ""
    return f"{value:,.0f}" if value == round(value) or abs(value) >= 100 else f"{value:.3g}"


def columns(row):
    ratio = f"{row.value / row.beside:.2f}" if row.beside else ""
    return (row.measure, figure(row.value), row.unit, figure(row.beside), ratio, row.target, met(row))


def met(row):
    """Whether the target is met, in a word; nothing where there is none."""
    if not row.target:
        return ""
    comparison, limit, unit = TARGET.fullmatch(row.target).groups()
    value = {"x": lambda: row.value / row.beside, "MiB": lambda: row.value / 1024}.get(unit, lambda: row.value)()
    return "yes" if COMPARISONS[comparison](value, float(limit.replace(",", ""))) else "no"


def is_noise(row):
    """Whether the figure would be another one in the next run."""
    return not row.beside and row.unit not in COUNTED


def table(rows):
    """The rows in Markdown: counts and ratios first."""
    lines = [HEAD, *map(columns, sorted(rows, key=is_noise))]
    widths = [max(map(len, column)) for column in zip(*lines)]
    left = [0, 2, 5, 6]  # words; the rest are figures
    rule = ["-" * (width + 2) if at in left else "-" * (width + 1) + ":" for at, width in enumerate(widths)]

    def padded(line):
        return (f" {text:<{width}} " if at in left else f" {text:>{width}} "
                for at, (text, width) in enumerate(zip(line, widths)))

    head, *body = ("|" + "|".join(padded(line)) + "|\n" for line in lines)
    return "".join([head, "|" + "|".join(rule) + "|\n", *body])
