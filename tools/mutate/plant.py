"""Writes a file with all its faults in it, each behind a switch, and each on a line of its own."""

import dataclasses
import re

from tools.mutate.source import SWITCH

COMPANION = "_kv"


@dataclasses.dataclass
class Site:
    """A stretch of the text, and what is written around it or in its place."""
    start: int
    end: int
    text: str | None = None  # stands in its place, without a fault
    constant: object = None  # the constant that it defines
    expressions: list = dataclasses.field(default_factory=list)  # faults that replace it
    dropped: list = dataclasses.field(default_factory=list)      # faults that leave the statement out
    early: list = dataclasses.field(default_factory=list)        # (fault, text): another statement runs before it
    declares: bool = False  # and must not get a scope of its own
    children: list = dataclasses.field(default_factory=list)


def sites_of(file):
    sites = {}

    def site(start, end):
        return sites.setdefault((start, end), Site(start, end))

    for constant in file.constants:
        site(constant.start, end_of(constant, file.text)).constant = constant
    for start, end in file.references:
        site(start, end).text = file.text[start:end] + COMPANION + "()"
    for start, end in file.linkage:
        site(start, end).text = "static"
    for fault in file.faults:
        if not fault.planted:
            continue
        if fault.form in ("expression", "condition"):
            site(fault.start, fault.end).expressions.append(fault)
        elif fault.form == "drop":
            site(fault.start, fault.end).dropped.append(fault)
        else:
            site(fault.start, fault.end).early.append((fault, file.text[fault.second[0]:fault.second[1]]))
            site(fault.start, fault.end).declares = fault.form == "early"
            site(*fault.second).dropped.append(fault)
    return sites.values()


def end_of(constant, text):
    return constant.end + re.match(r"\s*;", text[constant.end:]).end()


def tree_of(file):
    """The whole file as a site, with the others within each other; of two that overlap, the first is kept."""
    root = Site(0, len(file.text))
    within = [root]
    for site in sorted(sites_of(file), key=lambda site: (site.start, -site.end)):
        while within[-1].end <= site.start and len(within) > 1:
            within.pop()
        if site.end <= within[-1].end:
            within[-1].children.append(site)
            within.append(site)
    return root


class Planted:
    """The text of a file with its faults, and which of them each of its lines has."""

    def __init__(self, file):
        self.file = file
        # A variable that starts with a fault in it is no longer initialised by the compiler.
        self.text = re.sub(r"\bconstinit ", "", self.inside(tree_of(file)))
        self.lines = self.text.split("\n")

    def faults_at(self, line):
        """The numbers of the faults in a line, counted from 1."""
        text = self.lines[line - 1] if 0 < line <= len(self.lines) else ""
        return {int(number) for number in re.findall(rf"{SWITCH}\((\d+)\)", text)}

    def inside(self, site, start=None, end=None):
        """What lies in a site, or from start to end in it, with its children planted."""
        at = site.start if start is None else start
        end = site.end if end is None else end
        parts = []
        for child in site.children:
            if at <= child.start and child.end <= end:
                parts += [self.file.text[at:child.start], self.around(child)]
                at = child.end
        return "".join(parts) + self.file.text[at:end]

    def around(self, site):
        if site.constant:
            return self.file.text[site.start:site.end] + self.companion(site)
        text = self.inside(site) if site.text is None else site.text
        if site.expressions:
            if any(fault.form == "condition" for fault in site.expressions):
                text = f"static_cast<bool>({text})"
            choices = "".join(f"\n{SWITCH}({fault.number}) ? ({fault.replacement}) :" for fault in site.expressions)
            text = f"({choices}\n{text})"
        if site.dropped or site.early:
            text = self.statement(site, text)
        return text

    @staticmethod
    def statement(site, text):
        early = "".join(f"\nif ({SWITCH}({fault.number})) {{ {other} }}\n" for fault, other in site.early)
        if site.dropped:
            skipped = " ||".join(f"\n{SWITCH}({fault.number})" for fault in site.dropped)
            text = f"if (!({skipped}\n)) {text}"
        return early + text if site.declares else f"{{ {early}{text} }}"

    def companion(self, site):
        """The function that code calls instead of reading the constant, which stays for what has to be constant."""
        constant, text = site.constant, self.file.text
        head = f"\nstatic const auto& {constant.name}{COMPANION}() {{"
        if constant.name_start in self.file.pinned:
            return f"{head} return {constant.name}; }}"
        if constant.literal:
            literal = next((child for child in site.children if (child.start, child.end) == constant.literal), None)
            return f"{head} return {self.around(literal) if literal else constant.name}; }}"
        kind = re.sub(r"\b(constexpr|inline|static)\b\s*", "", text[constant.start:constant.name_start])
        value = self.inside(site, constant.name_start + len(constant.name), constant.end)
        return f"{head} static {kind}planted{value}; return planted; }}"
