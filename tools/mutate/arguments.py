"""What the planter was asked for."""

import argparse
import dataclasses
import pathlib
import re
import sys

from tools.mutate import project

USAGE = """usage: scripts/mutate.sh [--part I/N] [--changed | FOLDER|FILE...]

Plants one fault at a time in the product's code, runs the native unit tests that reach it, and tells which faults none
of them sees. Those that are known stand in tests/survivors.txt. Without a folder or file: everything.

  --changed    only files that differ from the main branch, for at most 60 seconds
  --part I/N   of the faults the Ith of N parts, always the same

example: scripts/mutate.sh controller/tiers.cpp framework
exit codes: 0 no surprise, 1 an unknown survivor or a wrong entry in the list, 2 wrong usage, 130 Ctrl-C"""


@dataclasses.dataclass
class Choice:
    files: dict
    part: tuple | None
    changed: bool


class Parser(argparse.ArgumentParser):
    def error(self, message):
        print(f"{message}\n\n{USAGE}", file=sys.stderr)
        sys.exit(2)


def part_of(text):
    match = re.fullmatch(r"(\d+)/(\d+)", text)
    if not match or not 1 <= int(match[1]) <= int(match[2]):
        raise argparse.ArgumentTypeError(f"no part: {text}")
    return int(match[1]), int(match[2])


def chosen_files(names, product):
    """Those of the product that are named, or lie in a folder that is."""
    chosen = {}
    for name in names:
        path = pathlib.Path(name).resolve()
        relative = str(path.relative_to(project.ROOT)) if path.is_relative_to(project.ROOT) else name
        found = {file: path for file, path in product.items() if file == relative or file.startswith(relative + "/")}
        if not found:
            raise ValueError(f"neither a folder nor a file of the product: {name}")
        chosen.update(found)
    return chosen


def read(arguments):
    parser = Parser(add_help=False)
    parser.add_argument("--part", type=part_of)
    parser.add_argument("--changed", action="store_true")
    parser.add_argument("-h", "--help", action="store_true")
    parser.add_argument("names", nargs="*")
    parsed = parser.parse_args(arguments)
    if parsed.help:
        print(USAGE)
        sys.exit(0)
    product = project.product_files()
    if parsed.changed and parsed.names:
        parser.error("--changed names its files itself")
    if parsed.changed:
        changed = project.changed_files()
        return Choice({name: path for name, path in product.items() if name in changed}, parsed.part, True)
    try:
        return Choice(chosen_files(parsed.names, product) if parsed.names else product, parsed.part, False)
    except ValueError as error:
        parser.error(str(error))
        raise
