"""The parts of which a page is made, and the page around them."""

import html
import json
import pathlib
import string

PARTS = pathlib.Path(__file__).resolve().parent


def text(value):
    return html.escape(str(value))


def element(tag, content, **attributes):
    """An element around content that is HTML already."""
    inside = "".join(f' {name.rstrip("_")}="{text(value)}"' for name, value in attributes.items())
    return f"<{tag}{inside}>{content}</{tag}>"


def embedded(value):
    """JSON that no text inside can end early."""
    return json.dumps(value, separators=(",", ":"), allow_nan=False).replace("<", "\\u003c")


def filled(library, **parts):
    """The page, of parts that are HTML already."""
    return string.Template(_part("page.html")).substitute(
        **parts,
        style=_part("style.css"),
        library=library,
        timeline=_part("timeline.js"),
        script=_part("page.js"))


def _part(name):
    return (PARTS / name).read_text(encoding="utf-8")
