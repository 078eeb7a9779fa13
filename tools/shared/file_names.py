"""What commands do about the names of files, which may hold every byte but a slash and NUL, and how they show them."""

import os
import pathlib
import sys

from tools.shared.exit_codes import WRONG_USAGE


def refuse_line_feeds(names):
    """Every message names its file on one line, so the commands end at a name that takes several."""
    for name in names:
        if "\n" in str(name):
            print(f"a file name with a line feed in it is not taken: {shown(name)}", file=sys.stderr)
            sys.exit(WRONG_USAGE)


def shown(name):
    """For pages, pictures and tables: what is no character of a text becomes visible."""
    text = os.fsencode(str(name)).decode("utf-8", "backslashreplace")
    return "".join(c if c.isprintable() else c.encode("unicode_escape").decode("ascii") for c in text)


def print_names_as_they_are():
    """A name that is no UTF-8 goes to the standard streams with the bytes that it has."""
    for stream in filter(None, (sys.stdout, sys.stderr)):
        stream.reconfigure(errors="surrogateescape")


def dashed_files(arguments, options):
    """The arguments, with a file that begins with a dash, but is none of the options, as a path."""
    return [os.path.join(".", argument) if argument.startswith("-") and argument not in options and
            os.path.lexists(argument) else argument for argument in arguments]


def told_apart(paths, name_of):
    """A short name for each path: what name_of makes of its last part, behind as many of its folders as it takes."""
    places = [pathlib.Path(os.path.abspath(path)).parts for path in paths]
    parts = list(dict.fromkeys(places))
    names = [name_of(own[-1]) for own in parts]
    for depth in range(1, max(map(len, parts), default=0)):
        twins = {name for name in names if names.count(name) > 1}
        if not twins:
            break
        names = [os.path.join(*own[-1 - depth:-1], name_of(own[-1])) if name in twins and depth < len(own) else name
                 for own, name in zip(parts, names)]
    # Of one folder, as x.csv and x.txt are.
    names = [own[-1] if names.count(name) > 1 else name for own, name in zip(parts, names)]
    return [names[parts.index(place)] for place in places]
