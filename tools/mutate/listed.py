"""tests/survivors.txt: the faults that no test can see, and why."""

import dataclasses


@dataclasses.dataclass
class Entry:
    key: str
    line: int
    reason: str


class BadList(Exception):
    """What is wrong with the file."""


def read(path):
    """By key: the entries. An indented line is one; the line above that is not gives the reason of those below it."""
    entries, reason = {}, ""
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        text = line.strip()
        if not text or line.startswith("#"):
            continue
        if not line.startswith(" "):
            if " | " in text:
                raise BadList(f"{path}:{number}: an entry is to be indented: {text}")
            reason = text.removesuffix(":")
        elif not reason:
            raise BadList(f"{path}:{number}: no reason is given for: {text}")
        elif text in entries:
            raise BadList(f"{path}:{number}: stands here twice: {text}")
        else:
            entries[text] = Entry(text, number, reason)
    return entries


def compare(entries, planted, judged, survivors, files):
    """Complaints about the list, and the survivors that it does not have. `files`: those that were planted."""
    complaints = []
    planted_keys = {fault.key for fault in planted}
    survivor_keys = {fault.key for fault in survivors}
    judged_keys = {fault.key for fault in judged}
    for key, entry in entries.items():
        if key.split(" | ")[0] in files and key not in planted_keys:
            complaints.append(f"line {entry.line}: no such fault is planted: {key}")
        elif key in judged_keys - survivor_keys:
            complaints.append(f"line {entry.line}: is caught now, take it off the list: {key}")
    unknown = [fault for fault in survivors if fault.key not in entries]
    return complaints, unknown


def outside(entries, product):
    """Entries about files that there are not."""
    return [f"line {entry.line}: no such file: {key}" for key, entry in entries.items()
            if key.split(" | ")[0] not in product]
