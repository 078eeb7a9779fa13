"""A file that is written beside its place, and takes it when it is whole.

Until then, and when something fails or interrupts, what stood at the place stays there and nothing else is left.
"""

import contextlib
import itertools
import os
import pathlib

NUMBERS = itertools.count()


class NotWritable(OSError):
    """A file that could not be written as a whole; filename is the place."""

    def __str__(self):
        return f"{self.filename}: cannot be written: {self.strerror}"


@contextlib.contextmanager
def new_file(place, mode="w", **options):
    """Yields a file that is open for writing, as open(place, mode, **options) would."""
    beside = pathlib.Path(os.path.realpath(place)).with_name(f".kelvane-{os.getpid()}-{next(NUMBERS)}.new")
    try:
        if is_no_file(place):
            with open(place, mode, **options) as file:
                yield file
            return
        with open(beside, mode.replace("w", "x"), **options) as file:
            yield file
        os.replace(beside, os.path.realpath(place))
    except OSError as error:
        if error.filename not in (None, str(beside), str(place)):
            raise  # another file's
        raise NotWritable(error.errno, error.strerror, str(place)) from error
    finally:
        with contextlib.suppress(OSError):
            beside.unlink()


def is_no_file(place):
    """Whether something is there that a file cannot take the place of: a folder, /dev/null."""
    return os.path.exists(place) and not os.path.isfile(place)


def write_whole(place, text, encoding="utf-8"):
    with new_file(place, encoding=encoding) as file:
        file.write(text)


def copy_whole(source, place):
    """The bytes of one file at another place."""
    content = pathlib.Path(source).read_bytes()
    with new_file(place, "wb") as file:
        file.write(content)
