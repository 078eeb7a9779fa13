"""The table of messages, against the texts that the sources write; and the merging of a log into a trace."""

import csv
import io
import itertools
import re

import pytest
from conftest import ROOT, run_command

from tools.live import log_rows
from tools.trace.messages import (AFTER_BURST, DECISION, DECISION_LEVEL, DETAIL, ERROR_LEVEL, IDLE_STEP, LANES, LEVELS,
                                  MESSAGES, PL1_WRITTEN, SCALING, STEP_TIER, TABLE, understand)

LITERAL = re.compile(r'"((?:[^"\\]|\\.)*)"')


def call_arguments(source, start):
    """The arguments of a call, from behind its opening parenthesis; adjacent literals count as one."""
    arguments, depth, at, begin = [], 0, start, start
    while depth >= 0:
        literal = LITERAL.match(source, at)
        if literal:
            at = literal.end()
            continue
        depth += {"(": 1, ")": -1}.get(source[at], 0)
        if (source[at] == "," and depth == 0) or depth < 0:
            arguments.append(source[begin:at].strip())
            begin = at + 1
        at += 1
    return arguments


def sample(argument):
    """What an argument of logLine adds to the message: its text, or a number."""
    texts = LITERAL.findall(argument) if argument.startswith('"') else []
    return "".join(texts).encode().decode("unicode_escape") if texts else "7"


def sample_levels():
    """{message: its level} for each place of the sources that writes one whose text stands there."""
    levels = {}
    for folder in ("controller", "engine", "framework", "service"):
        for path in (ROOT / folder).glob("*.cpp"):
            source = path.read_text(encoding="utf-8")
            for call in re.finditer(r"\blogLine\(log(\w+),\s*(?=\")", source):
                levels["".join(map(sample, call_arguments(source, call.end())))] = LEVELS[call[1].lower()]
            tables = [text + ("" if text.endswith("done ==") else "7")
                      for text in re.findall(r'"( \*{7} Max Perf Reset [^"]*)"', source)]
            tables += re.findall(r'"([^"]* EVENT Register)"', source)
            levels.update(dict.fromkeys(tables, DECISION_LEVEL))
    return levels


def sample_messages():
    return sorted(sample_levels())


def test_the_sources_write_messages_to_check():
    assert len(sample_messages()) > 70
    assert " ******* Max Perf Reset set 6 ==7" in sample_messages()
    assert " * Reset tempPwr ==7 * pp ==7 * prefMax ==7 * i ==7" in sample_messages()


@pytest.mark.parametrize("message", sample_messages())
def test_every_message_of_the_sources_is_known(message):
    assert understand("2", message)[0].kind != "other"


def test_every_message_has_one_row_with_its_level():
    for message, level in sample_levels().items():
        assert [known.level for _, pattern, known in TABLE if pattern.fullmatch(message)] == [level], message


@pytest.mark.parametrize("text, pattern", [(known.text, pattern) for _, pattern, known in TABLE])
def test_every_row_is_a_message_of_the_sources(text, pattern):
    assert any(pattern.fullmatch(message) for message in sample_messages()), text


def test_a_written_message_is_known_by_its_beginning_alone():
    """As a program in C++ does it."""
    written = [known for known in MESSAGES if known.level != DECISION_LEVEL]
    assert len(written) > 30
    for message in (message for message, level in sample_levels().items() if level != DECISION_LEVEL):
        found = [known.text for known in written
                 if (message == known.text if known.is_whole() else message.startswith(known.start()))]
        assert len(found) == 1, message


def test_rows_say_what_the_programs_can_read():
    assert {known.meaning.kind for known in MESSAGES} <= {*LANES, DECISION, DETAIL}
    assert {known.meaning.scaling for known in MESSAGES} == {"", *SCALING}
    assert [known.text for known in MESSAGES if not known.meaning.title] == []
    assert [known.text for known in MESSAGES if known.level == ERROR_LEVEL and not known.meaning.action] == []
    titles = {known.meaning.title for known in MESSAGES}
    assert titles > {STEP_TIER, IDLE_STEP, AFTER_BURST, PL1_WRITTEN}


def rows_for_operators():
    """The table of docs/working.md: messages that are written; neighbours that mean the same share a row."""
    written = [known for known in MESSAGES if known.level != DECISION_LEVEL]
    for (title, action), alike in itertools.groupby(written, lambda known: (known.meaning.title, known.meaning.action)):
        texts = [f"`{known.start()}{'' if known.is_whole() else '...'}`" for known in alike]
        yield f"| {', '.join(texts)} | {title} |{' ' * bool(action)}{action} |"


def test_the_page_for_operators_has_the_same_table():
    page = (ROOT / "docs/working.md").read_text(encoding="utf-8")
    table = page.split("| line | meaning | what to do |\n|---|---|---|\n")[1].split("\n\n")[0].strip()

    assert table.split("\n") == list(rows_for_operators())


@pytest.mark.parametrize(("text", "kind", "found"), [
    (" * Perf Restored ** PerfRange =2500 ** NewPID =2 ** prefMax =-3", "restore",
     {"PerfRange": "2500", "NewPID": "2", "prefMax": "-3"}),
    (" Starting pName = a PID7 b.exePID4120", "start", {"name": "a PID7 b.exe", "id": "4120"}),
    (" **** PIDx- 0 PIC *Pkg power = 1 *Perf Max = 2 *pkgPowerPrev = 3 *pName = x\ny.exe *WLC ==: 4 *noOfPids ==: 5",
     "start",
     {"pkgPower": "1", "prefMax": "2", "previous": "3", "name": "x\ny.exe", "workload": "4", "count": "5"}),
    ("Disconnected", "failure", {}),
    # A text that only begins or ends like a message is none.
    ("Disconnected.", "other", {}),
    (" * Perf Restored ** PerfRange =2500 ** NewPID =2 ** prefMax =much", "other", {}),
])
def test_a_message_is_known_by_its_exact_text(text, kind, found):
    meaning, parts = understand("2", text)

    assert (meaning.kind, parts) == (kind, found)


def test_an_unknown_error_is_a_failure():
    assert understand("4", "never heard of")[0].kind == "failure"


# --- the header for programs in C++ ---------------------------------------------------------------------------------

HEAD = "text,level,kind,announces,scaling,meaning,action\n"


def header_of(folder, table):
    """What CMake makes of a table, and what it says."""
    (folder / "table.csv").write_text(table)
    (folder / "make.cmake").write_text(
        f"include({ROOT}/cmake/meanings.cmake)\n"
        "kelvane_meanings_header(${CMAKE_CURRENT_LIST_DIR}/table.csv ${CMAKE_CURRENT_LIST_DIR}/header.h)\n")
    done = run_command("cmake", "-P", folder / "make.cmake", cwd=folder)
    header = folder / "header.h"
    return header.read_text() if header.exists() else "", done.stderr


def test_quotes_commas_and_signs_of_cmake_reach_the_header(tmp_path):
    header, _ = header_of(tmp_path, HEAD + r"""
"a ""b"", [c];\\ $d {rest*}",error,failure,,service-stop,"x, ""y""; \z",[w];
left out,info,detail,,,m,
last,debug,detail,yes,,m,
""".lstrip())

    rows = [line.strip() for line in header.splitlines() if "ScalingSign::" in line]
    assert rows == [
        r'{ "a \"b\", [c];\\ $d ", false, "ERROR", ScalingSign::serviceStop, "x, \"y\"; \\z", "[w];" },',
        '{ "last", true, "DEBUG", ScalingSign::none, "m", "" },']


@pytest.mark.parametrize("table", [HEAD.replace("level", "grade"), HEAD + '"open,error,failure,,,m,a\n', HEAD + "a,b"])
def test_a_malformed_table_ends_the_build(tmp_path, table):
    header, complaint = header_of(tmp_path, table)

    assert header == "" and "table.csv" in complaint


# --- the live service's log -----------------------------------------------------------------------------------------

TRACE = """time_ms,kind,name,value,status
0,call,INIT,,0
700,primitive,GET_SOC_WORKLOAD,0,0
2400,primitive,SET_PERF_PREFERENCE_MAX,1200,0
5300,call,SESSION_DESTROY,,0
9100,call,INIT,,0
12000,primitive,GET_SOC_WORKLOAD,0,0
"""


def entry(second, text, level="DEBUG"):
    return f"[Sat Nov 21 09:59:{second:02} 2026\n][{level}] {text}\n"


def rows_of(trace):
    return list(csv.reader(io.StringIO(trace, newline="")))


def test_the_logs_messages_come_into_the_trace_in_order_and_at_their_time():
    # The first Init is at 09:59:40.8: the trace's 5300 is 46.1, its 9100 is 49.9. So the distance lies between 40.7 (46
    # less 5.3) and 40.9 (50 less 9.1).
    log = (entry(40, "Logger file isC:\\a, b") + entry(40, "KV scaling is started : ") +
           entry(43, "Entering MS-506 ", "ERROR") + entry(46, "Stop is called from the registry ") +
           entry(49, "KV scaling is started : ") + entry(53, "Disconnected"))

    merged = rows_of(log_rows.merged(TRACE, log))

    assert merged[1:] == [
        ["0", "log", "0", "Logger file isC:\\a, b", ""],
        ["0", "call", "INIT", "", "0"],
        ["0", "log", "0", "KV scaling is started : ", ""],
        ["700", "primitive", "GET_SOC_WORKLOAD", "0", "0"],
        ["2400", "primitive", "SET_PERF_PREFERENCE_MAX", "1200", "0"],
        ["2700", "log", "4", "Entering MS-506 ", ""],  # 43.5 less 40.8
        ["5300", "call", "SESSION_DESTROY", "", "0"],
        ["5300", "log", "0", "Stop is called from the registry ", ""],
        ["9100", "call", "INIT", "", "0"],
        ["9100", "log", "0", "KV scaling is started : ", ""],
        ["12000", "primitive", "GET_SOC_WORKLOAD", "0", "0"],
        ["12700", "log", "0", "Disconnected", ""],
    ]


def test_a_message_never_passes_the_anchor_behind_it():
    log = (entry(40, "KV scaling is started : ") + entry(46, "Entering MS-506 ") +
           entry(46, "Stop is called from the registry "))

    merged = rows_of(log_rows.merged(TRACE, log))

    at = [row[3] for row in merged].index("Entering MS-506 ")
    assert [row[2] for row in merged[at - 1:at + 2]] == ["SET_PERF_PREFERENCE_MAX", "0", "SESSION_DESTROY"]
    assert int(merged[at][0]) <= 5300


def test_rows_that_were_written_late_come_to_their_time():
    late = "5200,processor,power_mw,800,\n5200,processor,average_mw,900,\n"

    merged = log_rows.merged(TRACE + late, entry(40, "KV scaling is started : "))

    assert [",".join(row[:3]) for row in rows_of(merged)[1:]] == [
        "0,call,INIT", "0,log,0", "700,primitive,GET_SOC_WORKLOAD", "2400,primitive,SET_PERF_PREFERENCE_MAX",
        "5200,processor,power_mw", "5200,processor,average_mw", "5300,call,SESSION_DESTROY", "9100,call,INIT",
        "12000,primitive,GET_SOC_WORKLOAD"]


def test_a_log_without_an_anchor_leaves_the_trace_as_it_is():
    assert log_rows.merged(TRACE, entry(40, "Disconnected")) == TRACE
    assert log_rows.merged(TRACE, "") == TRACE


def test_a_message_with_a_line_feed_stays_one_row():
    log = entry(40, "KV scaling is started : ") + entry(41, "caught Description:first\nsecond [line]", "ERROR")

    assert ["2400", "primitive", "SET_PERF_PREFERENCE_MAX", "1200", "0"] in rows_of(log_rows.merged(TRACE, log))
    assert "caught Description:first\nsecond [line]" in [row[3] for row in rows_of(log_rows.merged(TRACE, log))]
