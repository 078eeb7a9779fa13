"""tools.bench.service_alone BUILD: what the installed service takes under Wine, printed and not kept; five minutes."""

import pathlib
import sys

from tools.bench.service import rows
from tools.wine.service import EXECUTABLE


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: tools.bench.service_alone BUILD")
    build = pathlib.Path(sys.argv[1])
    if not (build / EXECUTABLE).is_file():
        sys.exit(f"there is no {EXECUTABLE} in {build}")
    for row in rows(build):
        beside = "" if row.beside is None else f"{row.beside:10.2f}"
        print(f"{row.measure:70}{row.value:10.2f} {row.unit:11}{beside:>10}  {row.target}")


if __name__ == "__main__":
    main()
