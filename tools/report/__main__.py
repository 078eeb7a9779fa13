"""The page of scripts/report.sh, which knows the plotting library's file and the folder of pages without a name.

It shows a trace, two traces, or a diagnostic log.

The library goes into the page like all the rest: the page needs no other file and no network. With two traces the page
compares them. The same files give the same bytes. Exit codes: 2 wrong usage, 3 a file is malformed, 4 the page cannot
be written.
"""

import argparse
import functools
import os
import pathlib
import sys

from tools.report.log_page import LOG_NAME, LogPage, MalformedLog, log_in, made_of
from tools.report.trace_page import Trace, page
from tools.shared.exit_codes import MALFORMED, NOT_WRITABLE
from tools.shared.file_kind import DIAGNOSTIC_LOG, kind_of
from tools.shared.file_names import dashed_files, print_names_as_they_are, refuse_line_feeds, told_apart
from tools.shared.new_file import NotWritable, write_whole
from tools.trace.rows import MalformedTrace


LOG_SUFFIX = ".log"


def name_of(file_name):
    return file_name.removesuffix(".csv").removesuffix(".trace").removesuffix(LOG_SUFFIX)


def arguments():
    parser = argparse.ArgumentParser(prog="scripts/report.sh", allow_abbrev=False,
                                     description="Makes one HTML page of one or two traces, or of a diagnostic log.",
                                     usage="%(prog)s [-o PAGE.html] TRACE.csv [TRACE2.csv] | LOG")
    parser.add_argument("-o", dest="page", metavar="PAGE.html", help="the page's file; build/run/NAME.html by default")
    parser.add_argument("traces", nargs="+", metavar="TRACE.csv", help="a trace, or two to compare; or a log")
    parser.add_argument("--library", required=True, help=argparse.SUPPRESS)
    parser.add_argument("--folder", required=True, type=pathlib.Path, help=argparse.SUPPRESS)
    given = parser.parse_args(dashed_files(sys.argv[1:], ("-o", "-h")))
    refuse_line_feeds([given.page or "", *given.traces])
    given.traces = [log_in(trace) for trace in given.traces]
    if len(given.traces) > 2:
        parser.error("one or two traces")
    if len(given.traces) > 1 and any(kind_of(trace) == DIAGNOSTIC_LOG for trace in given.traces):
        parser.error("a diagnostic log is not compared: give it alone")
    if given.page and pathlib.Path(given.page).resolve() in [pathlib.Path(trace).resolve() for trace in given.traces]:
        parser.error("the page would overwrite a trace")
    return given


def page_of(paths, names, library_file):
    if os.path.isdir(paths[0]):
        raise MalformedLog(f"{paths[0]}: cannot be read: this is a folder without a {LOG_NAME}")
    if paths[0].endswith(LOG_SUFFIX) and os.path.isfile(paths[0]) and not os.path.getsize(paths[0]):
        raise MalformedLog(f"{paths[0]}:1: the log is empty: scaling was not switched on since the service started")
    if kind_of(paths[0]) == DIAGNOSTIC_LOG:
        make = functools.partial(made_of, LogPage(paths[0], names[0]))
    else:
        make = functools.partial(page, [Trace(path, name) for path, name in zip(paths, names)])
    return make(pathlib.Path(library_file).read_text(encoding="utf-8"))


def main():
    print_names_as_they_are()
    given = arguments()
    names = told_apart(given.traces, name_of)
    path = given.page or given.folder / (".vs.".join(names).replace("/", "-") + ".html")
    try:
        made = page_of(given.traces, names, given.library)
    except (MalformedTrace, MalformedLog) as fault:
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
