"""What the planter was asked for."""

import argparse
import dataclasses
import pathlib
import re
import sys

from tools.mutate import project

USAGE = "usage: scripts/mutate.sh [--part I/N] [--changed | FOLDER|FILE...]"


@dataclasses.dataclass
class Choice:
    files: dict
    part: tuple | None
    changed: bool


class Parser(argparse.ArgumentParser):
    def error(self, message):
        print(f"{message}\n{USAGE}", file=sys.stderr)
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
    parser.add_argument("names", nargs="*")
    parsed = parser.parse_args(arguments)
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
