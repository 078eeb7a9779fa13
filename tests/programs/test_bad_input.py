"""What the commands say of files that are not what they want: FILE:LINE: reason, and 3; never a traceback."""

import os
import shlex

import pytest
from conftest import HEADER, ROOT, run_command

from tools.shared.file_kind import kind_of

JOBS = HEADER + "0,job,steady:100:1\n2000,stop,service\n"
RECORDING = HEADER + "0,power_mw,4000\n2000,stop,service\n"
TRACE = "time_ms,kind,name,value,status\n0,call,INIT,,0\n0,sleep,,300,\n"
HWINFO = "Date,Time,CPU Package Power [W]\n21.11.2026,12:00:00,4\n"
TURBOSTAT = "turbostat version 2022.10.04\nPkgWatt\n3.0\n"
POWERSTAT = "Running for 4.0 seconds (4 samples at 1.0 second intervals).\n"
DIAGNOSTIC_LOG = "[Sat Nov 21 12:00:00 2026\n][DEBUG] KV scaling is started : \n"

REPLAY, COMPARE, REPORT, IMPORT = ("replay.sh {} t.csv", "compare.sh {}", "report.sh -o page.html {}", "import.sh {}")
KINDS = {"scenario": JOBS, "trace": TRACE, "HWiNFO64 CSV log": HWINFO, "turbostat log": TURBOSTAT,
         "powerstat log": POWERSTAT, "diagnostic log of the service": DIAGNOSTIC_LOG}
USES = {"scenario": "scripts/run.sh --replay", "trace": "scripts/report.sh",
        "diagnostic log of the service": "scripts/report.sh"}
WANTED = {REPLAY: ["scenario"], COMPARE: ["scenario"], REPORT: ["trace", "diagnostic log of the service"],
          IMPORT: ["HWiNFO64 CSV log", "turbostat log", "powerstat log"]}


def short(value):
    """Of a test's name, which stands in the environment of what it runs."""
    return ascii(value)[:40]


def complaint_about(command, name, cwd):
    """The one line on standard error of a command that must end with 3, without the file's name."""
    script, *words = command.format(shlex.quote(name)).split(" ", 1)
    done = run_command(ROOT / "scripts" / script, *shlex.split(" ".join(words)), cwd=cwd)
    [line] = done.stderr.splitlines()
    assert (done.returncode, done.stdout) == (3, ""), line
    assert line.startswith(f"{name}:"), line
    assert not (cwd / "t.csv").exists() and not (cwd / "page.html").exists()
    return line.removeprefix(f"{name}:").strip()


@pytest.mark.parametrize("command, kind", [
    (command, kind) for command, wanted in WANTED.items() for kind in KINDS if kind not in wanted])
def test_a_file_of_another_kind_is_named_with_the_command_for_it(tmp_path, command, kind):
    (tmp_path / "file.txt").write_text(KINDS[kind])

    complaint = complaint_about(command, "file.txt", tmp_path)

    assert complaint.startswith(f"1: this is a {kind}, not a ")
    assert USES.get(kind, "scripts/import.sh") in complaint


@pytest.mark.parametrize("command", WANTED)
@pytest.mark.parametrize("content", [
    b"", b"\n", b"\0" * 5000, b"\xff\xfe", bytes(range(256)) * 20, b"x" * 200_000, JOBS.encode("utf-16-le"),
    TRACE.encode("utf-16-be"),
], ids=short)
def test_what_is_of_no_kind_is_told(tmp_path, command, content):
    (tmp_path / "file.txt").write_bytes(content)

    assert complaint_about(command, "file.txt", tmp_path).startswith("1: ")


@pytest.mark.parametrize("command, name, reason", [
    (REPLAY, "none.csv", "1: the file cannot be read"), (REPLAY, ".", "1: the file cannot be read"),
    (COMPARE, "none.csv", "cannot be read: No such file or directory"),
    (COMPARE, ".", "cannot be read: Is a directory"),
    (REPORT, "none.csv", "cannot be read: No such file or directory"),
    (REPORT, ".", "cannot be read: this is a folder without a KelvanneApp.log"),
    (IMPORT, "none.csv", "1: the log cannot be read: No such file or directory"),
    (IMPORT, ".", "1: the log cannot be read: Is a directory"),
])
def test_a_file_that_is_not_there_or_a_folder_is_told(tmp_path, command, name, reason):
    assert complaint_about(command, name, tmp_path) == reason


@pytest.mark.parametrize("module, name", [
    ("report --library x --folder .", "file.csv"), ("report --library x --folder .", "folder/file.csv"),
    ("importer", "file.csv"), ("importer", "folder/file.csv"), ("control", "file.csv"), ("control", "folder/file.csv"),
    ("replay x", "file.csv"), ("replay x", "folder/file.csv"),
])
def test_a_file_or_folder_of_another_user_is_told(tmp_path, module, name):
    """Told without root's rights over files, by the tools alone: the scripts want to build things."""
    (tmp_path / "folder").mkdir()
    (tmp_path / "folder/file.csv").write_text(TRACE)
    (tmp_path / "file.csv").write_text(TRACE)
    (tmp_path / "file.csv").chmod(0)
    (tmp_path / "folder").chmod(0)

    done = run_powerless(module, name, tmp_path)

    [line] = done.stderr.splitlines()
    assert (done.returncode, done.stdout) == (3, "")
    assert line.startswith(f"{name}:") and "cannot be read" in line


def run_powerless(module, name, folder):
    words = module.split() + [name] + (["t.csv"] if module.startswith("replay") else [])
    drop = [] if os.geteuid() else ["setpriv", "--bounding-set=-all", "--inh-caps=-all", "--ambient-caps=-all"]
    return run_command(*drop, "/usr/bin/python3", "-P", "-B", "-m", f"tools.{words[0]}", *words[1:], cwd=folder,
                       PYTHONPATH=str(ROOT))


# --- traces -----------------------------------------------------------------------------------------------------------

@pytest.mark.parametrize("content, reason", [
    (TRACE[:-1], "3: the trace is cut off: its last line has no end"),
    (TRACE + "5000,primit", "4: the trace is cut off: its last line has no end"),
    (TRACE + '0,log,2,"cut in the middle\n', "4: unexpected end of data"),
    (TRACE + "0,log,2," + "x" * 200_000 + ",\n", "4: field larger than field limit (131072)"),
    (TRACE + "0,log,2," + "x" * (2 << 20) + ",\n", "4: the line is longer than 1048576 characters"),
    (TRACE + "0,log,2,a\0b,\n", "4: a NUL byte: this is no text"),
], ids=short)
def test_a_damaged_trace_is_told_with_its_line(tmp_path, content, reason):
    (tmp_path / "bad.csv").write_text(content)

    assert complaint_about(REPORT, "bad.csv", tmp_path) == reason


def test_a_trace_with_bytes_of_windows_is_shown(tmp_path):
    """The service writes names of programs in the code page of the machine."""
    (tmp_path / "t.csv").write_bytes(TRACE.encode() + b"0,log,2,L\xfcfter,\n")

    done = run_command(ROOT / "scripts/report.sh", "-o", "page.html", "t.csv", cwd=tmp_path)

    assert (done.returncode, done.stderr) == (0, "")


# --- scenarios --------------------------------------------------------------------------------------------------------

@pytest.mark.parametrize("content, reason", [
    ("", "1: the file is empty; the first line must be time_ms,input,value"),
    ("time,input,value\n", "1: the first line must be time_ms,input,value"),
    (JOBS.replace("steady", "L\u00fcfter").encode("latin-1"), "2: byte 0xfc is no UTF-8"),
    (RECORDING.replace("4000", "much"), '2: "much" is not a number, or out of range'),
    (RECORDING.replace("4000", str(1 << 32)), '2: "4294967296" is not a number, or out of range'),
    (RECORDING + "soon,power_mw,1\n", '4: "soon" is not a number, or out of range'),
    (RECORDING + "3000,power_mw\n", "4: three columns are needed, time_ms,input,value, not 2"),
    (RECORDING + "\n# comment\n1,power_mw,1\n", "6: time_ms falls"),
    (RECORDING + '3000,process_start,"open\n', "4: unexpected end of data"),
    (RECORDING + "3000,process_start,a\0b:1\n", "4: unexpected byte \\x00"),
    (RECORDING + "99999999999999,stop,service\n", "4: a recording that is longer than seven days"),
    (RECORDING + "3000,process_start," + "x" * (2 << 20) + "\n", "4: the line is longer than 1048576 bytes"),
    (HEADER + "0,power_mw,4000\n", "the scenario ends at its beginning"),
    (HEADER + "0,job,a:1:1\n", "the scenario ends at its beginning"),
    (HEADER + "0,ac_line,1\n", "1: the scenario has no job and no processor"),
    (HEADER + "0,job,a:1:1\n\n5,fan,1\n", '4: unknown input "fan"'),
], ids=short)
def test_a_scenario_that_cannot_be_compared_is_told_with_its_line(tmp_path, content, reason):
    (tmp_path / "bad.csv").write_bytes(content if isinstance(content, bytes) else content.encode())

    assert complaint_about(COMPARE, "bad.csv", tmp_path) == reason


# --- what kind a file is ----------------------------------------------------------------------------------------------

@pytest.mark.parametrize("encoding", ["utf-8", "utf-8-sig", "utf-16"])
@pytest.mark.parametrize("kind", KINDS)
def test_a_kind_is_told_in_any_encoding_and_with_any_line_ends(tmp_path, kind, encoding):
    (tmp_path / "file").write_bytes(KINDS[kind].replace("\n", "\r\n").encode(encoding))

    assert kind_of(tmp_path / "file") == kind


@pytest.mark.parametrize("name", ["none", ".", "/dev/null", "/dev/zero"])
def test_what_is_no_file_has_no_kind(tmp_path, name):
    assert kind_of(tmp_path / name) is None


def test_every_scenario_and_golden_trace_is_of_its_kind():
    for folder, kind in (("scenarios", "scenario"), ("tests/golden", "trace")):
        files = sorted((ROOT / folder).glob("*.csv"))
        assert len(files) > 5
        assert [file for file in files if kind_of(file) != kind] == []
