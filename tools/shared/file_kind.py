"""What kind a file is, of those that the commands read, by its first lines; and which command is for it."""

import codecs
import os
import re
import stat

from tools.shared.scenario import HEAD as SCENARIO_HEAD

HEAD_BYTES = 1 << 16

TRACE_COLUMNS = ["time_ms", "kind", "name", "value", "status"]
# The heads of recorders' logs; what stands before them may be of any kind.
HWINFO_HEAD = re.compile(r'^"?Date"?([,;])"?Time"?(?:\1|$)')
TURBOSTAT_HEAD = re.compile(r"^turbostat version|^[0-9.]+ sec$|(?:^|\s)(?:PkgWatt|Pkg_J|Bzy_MHz|Avg_MHz)(?:\s|$)")
POWERSTAT_HEAD = re.compile(r"^\s*Time\s.*\sWatts(?:\s|$)|^Running for [0-9.]+ seconds")

SCENARIO, TRACE, DIAGNOSTIC_LOG = "scenario", "trace", "diagnostic log of the service"
HWINFO, TURBOSTAT, POWERSTAT = "HWiNFO64 CSV log", "turbostat log", "powerstat log"

# By its first line, as far as it goes.
FIRST_LINES = (
    (SCENARIO, re.compile(re.escape(SCENARIO_HEAD.strip()) + "$")),
    (TRACE, re.compile(",".join(TRACE_COLUMNS) + "$")),
)
LOG_STAMP = re.compile(r"\[\w{3} \w{3} [ \d]\d \d\d:\d\d:\d\d \d{4}$")
ANY_LINE = ((HWINFO, HWINFO_HEAD), (TURBOSTAT, TURBOSTAT_HEAD), (POWERSTAT, POWERSTAT_HEAD),
            (DIAGNOSTIC_LOG, LOG_STAMP))

IMPORT = "scripts/import.sh makes a scenario of it"
USES = {SCENARIO: "scripts/run.sh --replay plays it", TRACE: "scripts/report.sh shows it", HWINFO: IMPORT,
        TURBOSTAT: IMPORT, POWERSTAT: IMPORT,
        DIAGNOSTIC_LOG: "scripts/report.sh explains it"}

UTF_16_MARKS = (codecs.BOM_UTF16_LE, codecs.BOM_UTF16_BE)


def head_of(path):
    """The first bytes of an ordinary file; none of what can be read only once, or not at all."""
    try:
        if not stat.S_ISREG(os.stat(path).st_mode):
            return b""
        with open(path, "rb") as file:
            return file.read(HEAD_BYTES)
    except OSError:
        return b""


def encoding_of(head):
    """As its first bytes tell: without a mark, what is no UTF-8 is taken for Windows' Western European."""
    if head.startswith(UTF_16_MARKS):
        return "utf-16"
    try:
        codecs.getincrementaldecoder("utf-8")().decode(head)
        return "utf-8-sig"
    except UnicodeDecodeError:
        return "cp1252"


def kind_of(path):
    """One of the kinds above, or None."""
    head = head_of(path)
    lines = head.decode(encoding_of(head), "replace").splitlines()
    for kind, pattern in FIRST_LINES:
        if lines and pattern.match(lines[0].rstrip()):
            return kind
    return next((kind for line in lines for kind, pattern in ANY_LINE if pattern.search(line)), None)


def instead_of(path, wanted):
    """Why a file is none of the kind that is wanted, where it can be told; or None."""
    kind = kind_of(path)
    if kind not in (None, wanted):
        return f"this is a {kind}, not a {wanted}: {USES[kind]}"
    head = head_of(path)
    if head.startswith(UTF_16_MARKS):
        return f"this is UTF-16; a {wanted} is UTF-8"
    return "a NUL byte: this is no text" if b"\0" in head.partition(b"\n")[0] else None
