"""python3 -m tools NAME [ARGUMENT...]: the package or module of that name in this folder; how the scripts start it.

However it is interrupted, it ends by way of its with blocks, with 130. A file that cannot be written is named with the
reason.
"""

import runpy
import sys

from tools.shared.exit_codes import NOT_WRITABLE
from tools.shared.new_file import NotWritable
from tools.shared.program_end import exit_on_signals


def main():
    exit_on_signals()
    name, *sys.argv[1:] = sys.argv[1:]
    try:
        runpy.run_module(f"tools.{name}", run_name="__main__", alter_sys=True)
    except NotWritable as fault:
        print(fault, file=sys.stderr)
        sys.exit(NOT_WRITABLE)


if __name__ == "__main__":
    main()
