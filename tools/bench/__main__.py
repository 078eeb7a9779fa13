"""bench.sh [--native]: the table of costs, printed and kept in docs/cost.md."""

import argparse
import subprocess
import sys

from tools.bench import native, service
from tools.shared.project import ROOT
from tools.wine.prefix import exit_on_signals

PAGE = ROOT / "docs/cost.md"
BEGIN, END = "<!-- the table of scripts/bench.sh -->\n", "<!-- its end -->\n"
HEAD = ("measure", "value", "unit", "smallest", "ratio", "target")
COUNTED = ("instructions", "allocations", "bytes", "wake-ups/s", "MB")


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


def keep(text):
    before, rest = PAGE.read_text(encoding="ascii").split(BEGIN)
    _, after = rest.split(END)
    PAGE.write_text(before + BEGIN + text + END + after, encoding="ascii")


def main():
    parser = argparse.ArgumentParser(prog="scripts/bench.sh", description=__doc__)
    parser.add_argument("--native", action="store_true", help="what is measured on Linux alone; docs/cost.md stays")
    options = parser.parse_args()
    exit_on_signals()
    try:
        rows = native.rows(ROOT / "build")
        if not options.native:
            rows += service.rows(ROOT / "build/release")
    except (AssertionError, RuntimeError, subprocess.SubprocessError) as error:
        sys.exit(f"bench.sh: {error}")
    print(table(rows), end="")
    if not options.native:
        keep(table(rows))


if __name__ == "__main__":
    main()
