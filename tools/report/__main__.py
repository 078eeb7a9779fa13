"""The page of scripts/report.sh, which knows the plotting library's file and the folder of pages without a name.

The library goes into the page like all the rest: the page needs no other file and no network. With two traces the page
compares them. The same traces give the same bytes. Exit codes: 2 wrong usage, 3 a trace is malformed, 4 the page cannot
be written.
"""

import argparse
import pathlib
import sys

from tools.report.trace_page import Trace, page
from tools.shared.exit_codes import MALFORMED, NOT_WRITABLE
from tools.shared.file_names import dashed_files, print_names_as_they_are, refuse_line_feeds, told_apart
from tools.shared.new_file import NotWritable, write_whole
from tools.trace.rows import MalformedTrace


def name_of(file_name):
    return file_name.removesuffix(".csv").removesuffix(".trace")


def arguments():
    parser = argparse.ArgumentParser(prog="scripts/report.sh", description="Makes one HTML page of one or two traces.",
                                     usage="%(prog)s [-o PAGE.html] TRACE.csv [TRACE2.csv]", allow_abbrev=False)
    parser.add_argument("-o", dest="page", metavar="PAGE.html", help="the page's file; build/run/NAME.html by default")
    parser.add_argument("traces", nargs="+", metavar="TRACE.csv", help="a trace; two are compared")
    parser.add_argument("--library", required=True, help=argparse.SUPPRESS)
    parser.add_argument("--folder", required=True, type=pathlib.Path, help=argparse.SUPPRESS)
    given = parser.parse_args(dashed_files(sys.argv[1:], ("-o", "-h")))
    refuse_line_feeds([given.page or "", *given.traces])
    if len(given.traces) > 2:
        parser.error("one or two traces")
    if given.page and pathlib.Path(given.page).resolve() in [pathlib.Path(trace).resolve() for trace in given.traces]:
        parser.error("the page would overwrite a trace")
    return given


def main():
    print_names_as_they_are()
    given = arguments()
    names = told_apart(given.traces, name_of)
    path = given.page or given.folder / (".vs.".join(names).replace("/", "-") + ".html")
    try:
        made = page([Trace(trace, name) for trace, name in zip(given.traces, names)],
                    pathlib.Path(given.library).read_text(encoding="utf-8"))
    except MalformedTrace as fault:
        print(fault, file=sys.stderr)
        sys.exit(MALFORMED)
    try:
        given.folder.mkdir(parents=True, exist_ok=True)
        write_whole(path, made)
    except OSError as error:
        print(NotWritable(error.errno, error.strerror, str(path)), file=sys.stderr)
        sys.exit(NOT_WRITABLE)
    print(path)


if __name__ == "__main__":
    main()
