"""Which names of files a Windows program under Wine takes as Linux has them.

Windows reads some characters in a way of its own, calls devices by names that files have on Linux, and does not tell
small letters from capital ones: `Trace.csv` would be written over `trace.csv`. And it is Wine's server that opens
files, to which /dev/stdin is another one.
"""

import os
import re

LENGTH_MAX = 240
SPECIAL = re.compile(r'[\x00-\x1f\x7f<>:"|?*\\]')
DEVICE = re.compile(r"(?:con|prn|aux|nul|conin\$|conout\$|com.|lpt.) *(?:\.|$)", re.IGNORECASE)
OF_A_PROCESS = re.compile(r"/dev/(?:fd/|std)|/proc/self/")


def wine_takes(path):
    """Whether a file, or a place for one, is the same to both."""
    absolute = os.path.abspath(path)
    if OF_A_PROCESS.match(absolute) or len(absolute) > LENGTH_MAX:
        return False
    return all(map(_is_plain, absolute.split("/"))) and _has_no_twin(absolute)


def _is_plain(part):
    return is_utf8(part) and not SPECIAL.search(part) and not part.endswith((" ", ".")) and not DEVICE.match(part)


def is_utf8(text):
    return not any("\ud800" <= c <= "\udfff" for c in text)


def _has_no_twin(path):
    """Of a name that is not there yet, whether it is not there in other letters either."""
    if os.path.lexists(path):
        return True
    folder, name = os.path.split(path)
    try:
        return name.casefold() not in map(str.casefold, os.listdir(folder))
    except OSError:
        return False
