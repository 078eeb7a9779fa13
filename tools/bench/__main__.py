"""bench.sh [--native]: the table of costs, printed and kept in docs/cost.md."""

import argparse
import subprocess
import sys

from tools.bench import native, service
from tools.bench.table import table
from tools.shared.kept_page import keep
from tools.shared.project import BUILD, ROOT

PAGE = ROOT / "docs/cost.md"
BEGIN, END = "<!-- the table of scripts/bench.sh -->\n", "<!-- its end -->\n"


def main():
    parser = argparse.ArgumentParser(prog="scripts/bench.sh", description=__doc__)
    parser.add_argument("--native", action="store_true", help="what is measured on Linux alone; docs/cost.md stays")
    options = parser.parse_args()
    try:
        rows = native.rows(BUILD)
        if not options.native:
            rows += service.rows(BUILD / "release")
    except (AssertionError, RuntimeError, subprocess.SubprocessError) as error:
        sys.exit(f"bench.sh: {error}")
    print(table(rows), end="")
    if not options.native:
        keep(PAGE, BEGIN, END, table(rows))


if __name__ == "__main__":
    main()
