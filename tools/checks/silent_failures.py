"""tools.checks.silent_failures TESTING: ends with 0 when each failed test of ctest's last run failed without a word.

TESTING is ctest's folder of that name. Wine's loader now and then ends before the program that it is to run: seen once
in some thousand starts on a busy machine, with exit code 1 after 20 ms. A test program that began has printed
something.
"""

import pathlib
import re
import sys

TEST = re.compile(r"^\d+/\d+ Testing: (?P<name>.*?)\n.*?^Output:\n-+\n(?P<output>.*?)<end of output>\n(?P<rest>.*?)"
                  r"(?=^\d+/\d+ Testing: |\Z)", re.M | re.S)


def failures(log):
    """Name and output of each test that failed."""
    return [(test["name"], test["output"].strip()) for test in TEST.finditer(log) if "\nTest Failed.\n" in test["rest"]]


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: tools.checks.silent_failures TESTING")
    folder = pathlib.Path(sys.argv[1]) / "Temporary"
    failed = failures((folder / "LastTest.log").read_text(encoding="utf-8", errors="replace"))
    counted = (folder / "LastTestsFailed.log").read_text(encoding="utf-8").count("\n")
    if len(failed) != counted or any(output for _, output in failed):
        sys.exit(1)
    for name, _ in failed:
        print(f"Wine did not start: {name}")


if __name__ == "__main__":
    main()
