"""What callgrind counted, without what the program called in others' names.

Callgrind writes, for each function, what its own lines took, and for each call of another what that took with all that
it called in turn.
"""

import re

NAMED = re.compile(r"\((\d+)\)(?: (.+))?$")


def instructions(path, outside):
    """All that was counted in the file, but the calls from other functions to those whose name `outside` matches."""
    names, total, left_out = {}, 0, 0

    def name(text):
        number, given = NAMED.match(text).groups()
        return names.setdefault(number, given)

    caller = callee = None
    in_call = False
    for line in path.read_text(encoding="utf-8").splitlines():
        key, _, value = line.partition("=")
        if key == "fn":
            caller = name(value)
        elif key == "cfn":
            callee = name(value)
        elif key == "calls":
            in_call = True
        elif re.match(r"[+\-*\d]", line):
            cost = int(line.split()[1])
            if not in_call:
                total += cost
            elif outside.match(callee) and not outside.match(caller):
                left_out += cost
            in_call = False
    return total - left_out
