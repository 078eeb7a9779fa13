"""The table of costs, and its lines."""

from dataclasses import dataclass

HEAD = ("measure", "value", "unit", "smallest", "ratio", "target")
COUNTED = ("instructions", "allocations", "bytes", "wake-ups/s", "MB")


@dataclass(frozen=True)
class Row:
    """One line of the table."""
    measure: str               # what
    value: float
    unit: str                  # "ms/min", "wake-ups/s", "KiB", ...
    beside: float | None = None   # the same figure of the smallest thing that does the same, measured in the same run
    target: str = ""           # "<= 1.1 x", "< 3 MiB"


def figure(value):
    if value is None:
        return ""
    return f"{value:,.0f}" if value == round(value) or abs(value) >= 100 else f"{value:.3g}"


def columns(row):
    ratio = f"{row.value / row.beside:.2f}" if row.beside else ""
    return (row.measure, figure(row.value), row.unit, figure(row.beside), ratio, row.target)


def is_noise(row):
    """Whether the figure would be another one in the next run."""
    return not row.beside and row.unit not in COUNTED


def table(rows):
    """The rows in Markdown: counts and ratios first."""
    lines = [HEAD, *map(columns, sorted(rows, key=is_noise))]
    widths = [max(map(len, column)) for column in zip(*lines)]
    left = [0, 2, 5]  # words; the rest are figures
    rule = ["-" * (width + 2) if at in left else "-" * (width + 1) + ":" for at, width in enumerate(widths)]

    def padded(line):
        return (f" {text:<{width}} " if at in left else f" {text:>{width}} "
                for at, (text, width) in enumerate(zip(line, widths)))

    head, *body = ("|" + "|".join(padded(line)) + "|\n" for line in lines)
    return "".join([head, "|" + "|".join(rule) + "|\n", *body])
