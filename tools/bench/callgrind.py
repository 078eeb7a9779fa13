"""What callgrind counted, without what the program called in others' names.

Callgrind writes, for each function, what its own lines took, and for each call of another what that took with all that
it called in turn.
"""

import re
from collections import Counter

NAMED = re.compile(r"\((\d+)\)(?: (.+))?$")


def read(path):
    """What was counted in all, and what each caller's calls of each callee took."""
    names, own, calls = {}, 0, Counter()

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
            if in_call:
                calls[caller, callee] += cost
            else:
                own += cost
            in_call = False
    return own, calls


def reached_without(calls, outside):
    """The functions that are called by nobody, or by such a one and are not outside themselves, and so on."""
    reached = {caller for caller, _ in calls} - {callee for _, callee in calls}
    while more := {callee for caller, callee in calls if caller in reached and not outside.match(callee)} - reached:
        reached |= more
    return reached


def instructions(path, outside):
    """All that was counted in the file, but the calls of functions whose name `outside` matches."""
    total, calls = read(path)
    inside = reached_without(calls, outside)
    return total - sum(cost for (caller, callee), cost in calls.items() if caller in inside and outside.match(callee))
