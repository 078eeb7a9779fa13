"""replay PROGRAM SCENARIO.csv TRACE.csv: runs the replay program under Wine with files of any name.

What Wine cannot name gets another name in a folder below build/, and messages show the user's own.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

from tools.shared import file_kind
from tools.shared.exit_codes import MALFORMED, NOT_WRITABLE, WRONG_USAGE
from tools.shared.file_names import print_names_as_they_are, refuse_line_feeds
from tools.shared.new_file import NotWritable, copy_whole
from tools.shared.program_end import SIGNAL_BASE, exit_on_signals
from tools.shared.project import BUILD, WINE_RUN
from tools.wine.file_names import wine_takes

KEEPS_TRACE = (0, 5)  # replayed, or the clock stood still


def say(text):
    print(text, file=sys.stderr)


def same_file(one, other):
    try:
        return os.path.samefile(one, other)
    except OSError:
        return False


def replay_under_other_names(program, scenario, trace):
    with tempfile.TemporaryDirectory(prefix="replay-", dir=BUILD) as folder:
        link, made = os.path.join(folder, "scenario.csv"), os.path.join(folder, "trace.csv")
        if os.path.isfile(scenario):
            os.symlink(os.path.realpath(scenario), link)
        else:
            copy(scenario, link)
        if wine_takes(trace):
            made = os.path.abspath(trace)
        done = subprocess.run([WINE_RUN, program, link, made], cwd=folder, stderr=subprocess.PIPE,
                              close_fds=False, check=False)
        said = done.stderr.replace(os.fsencode(link), os.fsencode(scenario))
        sys.stderr.buffer.write(said.replace(os.fsencode(made), os.fsencode(trace)))
        code = done.returncode if done.returncode >= 0 else SIGNAL_BASE - done.returncode
        if code in KEEPS_TRACE and os.path.dirname(made) == folder and not put(made, trace):
            return NOT_WRITABLE
    return code


def copy(source, target):
    """To and from whatever can be opened."""
    with open(source, "rb") as read, open(target, "wb") as written:
        shutil.copyfileobj(read, written)


def put(made, trace):
    try:
        copy_whole(made, trace)
        return True
    except NotWritable as error:
        say(f"{trace}: the trace cannot be written: {error.strerror}")
        return False


def main():
    program, *names = sys.argv[1:]
    print_names_as_they_are()
    names = names[1:] if names[:1] == ["--"] else names
    if len(names) != 2:
        os.execv(WINE_RUN, [WINE_RUN, program, *names])  # tells its usage
    refuse_line_feeds(names)
    scenario, trace = names
    other = file_kind.instead_of(scenario, file_kind.SCENARIO)
    if other or not os.access(scenario, os.R_OK) or pathlib.Path(scenario).is_dir():
        say(f"{scenario}:1: {other or 'the file cannot be read'}")
        return MALFORMED
    if all(map(wine_takes, names)):
        os.execv(WINE_RUN, [WINE_RUN, program, *names])
    if same_file(scenario, trace):
        say(f"the trace would overwrite the scenario {scenario}")
        return WRONG_USAGE
    return replay_under_other_names(program, scenario, trace)


if __name__ == "__main__":
    exit_on_signals()
    sys.exit(main())
