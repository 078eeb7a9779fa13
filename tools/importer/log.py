"""What the readers of all formats share: a log's lines, their numbers and times, and what is told about them."""

import collections
import json
import re
import typing

from tools.shared.durations import DAY_MS
from tools.shared.file_names import shown

LINE_LENGTH_MAX = 1 << 18  # characters; a log with a thousand sensors has lines of some 60,000
NUMBER_MAX = 1e15
POWER_W_MAX = 2000  # no processor takes more
STEP_MS_MAX = 7 * DAY_MS  # a longer leap is a clock that was set, not a pause of the recorder
NO_COLUMN = "no column of the log"
NUMBER = re.compile(r"[+-]?[0-9]+(?:[.,][0-9]+)?")
CLOCK = re.compile(r"([0-9]{1,2}):([0-9]{1,2}):([0-9]{1,2})(?:[.,]([0-9]{1,6}))?")


MESSAGES_MAX = 10  # of a kind; the rest is counted
COLUMNS_SHOWN_MAX = 40

# Kinds of messages.
POWERS = "rows without a power value"
TIMES = "rows without a time that makes sense"
COUNTS = "rows of too many or too few columns"
OTHERS = "lines of no use"


class Unusable(Exception):
    """Why a line of the log is passed over."""

    def __init__(self, reason, kind=OTHERS):
        super().__init__(reason)
        self.kind = kind


def wrong_count(count, wanted):
    return Unusable(f"{count} columns in place of {wanted}", COUNTS)


class Sample(typing.NamedTuple):
    """What holds from a moment on, until the next sample. None: the log does not tell."""

    time_ms: int
    power_mw: int
    clipped: typing.Optional[bool] = None
    on_mains: typing.Optional[bool] = None


class Report:
    """Tells about lines as they are read, and gathers what the summary needs."""

    def __init__(self, name, stream):
        self.name = name
        self.stream = stream
        self.bad_lines = 0
        self.told = set()
        self.messages = collections.Counter()  # by kind
        self.facts = {}  # label: text, what the reader found in the log's head
        self.passed_over = collections.Counter()  # kind of thing that is no sample, and how often
        self.interval_ms = None  # between samples, where the log tells it apart from its times

    def say(self, text):
        try:
            print(text, file=self.stream)
        except OSError:
            pass  # the scenario is worth more than its messages

    def tell(self, number, reason, kind=None):
        self.messages[kind] += 1
        if kind is None or self.messages[kind] <= MESSAGES_MAX:
            self.say(f"{self.name}:{number}: {reason}")

    def tell_once(self, number, reason, kind=None):
        if reason not in self.told:
            self.told.add(reason)
            self.tell(number, reason, kind)

    def bad_line(self, number, unusable):
        self.bad_lines += 1
        self.tell(number, str(unusable), unusable.kind)

    def tell_rest(self):
        """How many messages of each kind were not shown."""
        for kind, count in self.messages.items():
            if kind is not None and count > MESSAGES_MAX:
                self.say(f"{self.name}: and {count - MESSAGES_MAX} more {kind}")


def numbered_lines(file, report):
    """The lines that hold something, with their numbers. No line takes more memory than LINE_LENGTH_MAX."""
    number = 0
    try:
        while text := file.readline(LINE_LENGTH_MAX):
            number += 1
            if len(text) == LINE_LENGTH_MAX and not text.endswith("\n"):
                report.bad_line(number, Unusable(f"the line is longer than {LINE_LENGTH_MAX} characters"))
                while text and not text.endswith("\n"):
                    text = file.readline(LINE_LENGTH_MAX)
            elif not text.isspace():
                yield number, text.rstrip("\n")
    except OSError as error:
        report.bad_line(number + 1, Unusable(f"the log cannot be read further: {error.strerror}"))


def quoted(text):
    """For messages: on one line, in plain ASCII, not too long."""
    return json.dumps(text if len(text) <= 60 else text[:60] + "...")


def columns_text(names):
    """Names that the user may want to type, as they stand in the log."""
    texts = ['"' + shown(name if len(name) <= 60 else name[:60] + "...") + '"' for name in names[:COLUMNS_SHOWN_MAX]]
    more = f" and {len(names) - COLUMNS_SHOWN_MAX} more" if len(names) > COLUMNS_SHOWN_MAX else ""
    return ", ".join(texts) + more


def to_number(text, what, kind=OTHERS):
    if not NUMBER.fullmatch(text):
        raise Unusable(f"{what} {quoted(text)} is not a number", kind)
    value = float(text.replace(",", "."))
    if abs(value) > NUMBER_MAX:
        raise Unusable(f"{what} {quoted(text)} is out of range", kind)
    return value


def to_power_mw(text, parts_of_a_watt=1):
    watts = to_number(text, "power", POWERS) / parts_of_a_watt
    if watts < 0:
        raise Unusable(f"power {quoted(text)} is negative", POWERS)
    if watts > POWER_W_MAX:
        raise Unusable(f"power {quoted(text)} is above {POWER_W_MAX} W", POWERS)
    return round(watts * 1000)


def to_clock_ms(text):
    """Milliseconds since midnight."""
    match = CLOCK.fullmatch(text)
    hour, minute, second = (int(group) for group in match.groups()[:3]) if match else (24, 0, 0)
    if hour > 23 or minute > 59 or second > 59:
        raise Unusable(f"time {quoted(text)} is no time of day", TIMES)
    return ((hour * 60 + minute) * 60 + second) * 1000 + round(float(f"0.{match[4] or 0}") * 1000)


class Timeline:
    """Milliseconds since the first sample."""

    def __init__(self):
        self.first_ms = None
        self.last_ms = None

    def advance(self, now_ms):
        if self.first_ms is None:
            self.first_ms = self.last_ms = now_ms
        step_ms = now_ms - self.last_ms
        if step_ms < 0:
            raise Unusable(f"time falls by {-step_ms / 1000:.3f} s", TIMES)
        if step_ms > STEP_MS_MAX:
            raise Unusable(f"time leaps by {step_ms / DAY_MS:.1f} days", TIMES)
        self.last_ms = now_ms
        return now_ms - self.first_ms


class Clock:
    """Times of day without dates: one that falls by more than half a day has passed midnight."""

    def __init__(self):
        self.last_ms = 0

    def after_midnights(self, clock_ms):
        now_ms = self.last_ms // DAY_MS * DAY_MS + clock_ms
        return now_ms + DAY_MS if self.last_ms - now_ms > DAY_MS // 2 else now_ms
