"""A page of docs/ keeps what a tool has printed, between two marks."""

from tools.shared.new_file import write_whole


def keep(page, begin, end, text):
    """Puts the text in place of what stands between the marks."""
    before, rest = page.read_text(encoding="ascii").split(begin)
    _, after = rest.split(end)
    write_whole(page, before + begin + text + end + after, encoding="ascii")
