"""The lines of the table of costs."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Row:
    """One line of the table."""
    measure: str               # what
    value: float
    unit: str                  # "ms/min", "wake-ups/s", "KiB", ...
    beside: float | None = None   # the same figure of the smallest thing that does the same, measured in the same run
    target: str = ""           # "<= 1.1 x", "< 3 MiB"
