"""scripts/import.sh as a user calls it: its exit codes and messages, turbostat's and powerstat's logs."""

import re
import resource

import pytest
from conftest import powers, run_import

HEAD = "Date,Time,CPU Package Power [W]\n"
TIMED = "Time_Of_Day_Seconds\tPkgWatt\n"
SUMMARY_HEAD = "Time_Of_Day_Seconds\tAvg_MHz\tPkgWatt\tPKG_%\n"
POWERSTAT = """Running for 4.0 seconds (4 samples at 1.0 second intervals).
Power measurements will start in 0 seconds time.

  Time    User  Nice   Sys  Idle    IO  Run Ctxt/s  IRQ/s Fork Exec Exit  Watts
23:59:58   0.5   0.0   0.2  99.2   0.0    1    552    390    0    0    0   4.10
23:59:59   0.6   0.0   0.2  99.1   0.0    1    602    395    1    0    0   4.30
  Time    User  Nice   Sys  Idle    IO  Run Ctxt/s  IRQ/s Fork Exec Exit  Watts
00:00:00   9.0   0.0   1.2  89.8   0.0    3   2552   1390    4    2    3  12.00
00:00:01   9.0   0.0   1.2  89.8   0.0    3   2552   1390    4    2    3  12.00
-------- ----- ----- ----- ----- ----- ---- ------ ------ ---- ---- ---- ------
 Average   4.8   0.0   0.7  94.5   0.0  2.0 1564.5  891.2  2.2  1.0  1.5   8.10
 GeoMean   2.2   0.0   0.5  94.4   0.0  1.7 1211.5  738.7  0.0  0.0  0.0   7.04
Summary:
CPU:   8.10 Watts on average with standard deviation 3.90
00:00:09   9.0   0.0   1.2  89.8   0.0    3   2552   1390    4    2    3  99.00
"""


# --- turbostat -------------------------------------------------------------------------------------------------------

def test_turbostat_summary_with_times_of_day(imported):
    result = imported("turbostat version 2022.10.04 - Len Brown\nCPUID(0): GenuineIntel\n" + SUMMARY_HEAD +
                      "1795262400.250000\t900\t3.25\t0.00\n1795262401.250400\t2900\t17.00\t49.99\n" + SUMMARY_HEAD +
                      "1795262402.250000\t2800\t17.00\t50.00\n1795262403.250000\t2800\t16.50\t100.00\n")

    assert (result.code, result.complaints) == (0, [])
    assert result.rows == ["0,power_mw,3250", "0,clip_reasons,0", "1000,power_mw,17000", "2000,clip_reasons,0x400",
                           "3000,power_mw,16500", "4000,stop,service"]
    assert (result.facts["format"], result.facts["clipped"]) == ("turbostat log", "50.0% of the time")
    assert (result.facts["mean power"], result.facts["on battery"]) == ("13.438 W", "not in the log")


def test_turbostat_rows_of_processors_are_no_samples(imported):
    interval = ("Core\tCPU\tAvg_MHz\tCoreTmp\tPkgWatt\tCorWatt\n"
                "-\t-\t900\t45\t{}\t1\n0\t0\t800\t44\t77\t1\n0\t2\t700\n")

    result = imported("".join(interval.format(power) for power in ("3.5", "4.5")))

    assert (result.rows, result.complaints) == (["0,power_mw,3500", "5000,power_mw,4500", "10000,stop,service"], [])
    assert result.facts["rows of single processors"] == "4"
    assert result.facts["time from"] == "the intervals, 5 s where none is told"


def test_turbostat_intervals_follow_each_other(imported):
    result = imported("".join(f"{length} sec\nCore\tCPU\tPkgWatt\n-\t-\t{power}\n0\t0\t{power}\n"
                              for length, power in (("2.000312", 3), ("1.000100", 4), ("3.000000", 8))))

    # 3 W for 2 s, 4 W for 1 s, 8 W for 3 s: 34 J in 6 s
    assert result.rows == ["0,power_mw,3000", "2000,power_mw,4000", "3000,power_mw,8000", "6000,stop,service"]
    assert result.facts["mean power"] == "5.667 W"


@pytest.mark.parametrize("log, expected", [
    # with --Summary every row is a sample
    ("PkgWatt\n3.0\n4.0\n5.0\n", [3000, 4000, 5000]),
    ("PkgWatt\n3.0\n4.0\n5.0\nPkgWatt\n6.0\n", [3000, 4000, 5000, 6000]),
    ("PkgWatt\n3.0\nPkgWatt\n4.0\n", [3000, 4000]),
    ("PkgWatt\n3.0\n4.0\n5.0\nPkgWatt\n6.0\n7.0\nPkgWatt\n8.0\n", [3000, 4000, 5000, 6000, 7000, 8000]),
    # without, the package's row follows the summary's, and rows of further processors that share no package column
    ("PkgWatt\n3.0\n3.1\nPkgWatt\n4.0\n4.1\nPkgWatt\n5.0\n5.1\n", [3000, 4000, 5000]),
    ("Busy%\tPkgWatt\n9\t3.0\n8\t3.1\n7\nBusy%\tPkgWatt\n9\t4.0\n8\t4.1\n7\n", [3000, 4000]),
    (f"{TIMED}100.000\t3.0\n100.002\t3.1\n{TIMED}105.000\t4.0\n105.002\t4.1\n", [3000, 4000]),
    # a head after each two rows of a summary
    (f"{TIMED}100.000\t3.0\n105.000\t3.1\n{TIMED}110.000\t4.0\n115.000\t4.1\n", [3000, 3100, 4000, 4100]),
])
def test_turbostat_subsets_without_processors_numbers(imported, log, expected):
    result = imported(log)

    assert result.complaints == []
    assert powers(result) == [f"{5000 * place},power_mw,{power}" for place, power in enumerate(expected)]


def test_turbostat_columns_between_blanks(imported):
    result = imported("     CPU Avg_MHz   %Busy PkgWatt\n       -     120    4.10    6.25\n       0     130    4.20\n")

    assert (result.rows, result.complaints) == (["0,power_mw,6250", "5000,stop,service"], [])


def test_turbostat_unknown_column_is_told_once(imported):
    head = "CPU\tAvg_MHz\tC1E%\tCPU%c6\tPkg%pc10\tPOLL-\tMoon\tPkgWatt\n"

    result = imported(head + "-\t1\t1\t1\t1\t1\t1\t5\n" + head)

    assert result.complaints == ['1: unknown column "Moon" is passed over']
    assert (result.facts["unused columns"], powers(result)) == ("7", ["0,power_mw,5000"])


@pytest.mark.parametrize("row, reason", [
    ("-\t5\t6\t7", "4 columns in place of 3"), ("-\t5", "2 columns in place of 3"),
    ("-\t5\t-6.00", 'power "-6.00" is negative'), ("-\t5\tx", 'power "x" is not a number'),
    ("turbostat: re-initialized", "2 columns in place of 3"), ("?\t5\t6", 'CPU "?" is neither a number nor a dash'),
])
def test_turbostat_bad_line_takes_its_interval(imported, row, reason):
    result = imported(f"CPU\tBusy%\tPkgWatt\n-\t5\t3\n{row}\n-\t5\t4\n")

    assert result.complaints == [f"3: {reason}"]
    assert result.rows == ["0,power_mw,3000", "10000,power_mw,4000", "15000,stop,service"]


@pytest.mark.parametrize("moment, reason", [
    ("1795262399.5", "time falls by 0.500 s"), ("9" * 400, f'Time_Of_Day_Seconds "{60 * "9"}..." is out of range'),
    ("nan", 'Time_Of_Day_Seconds "nan" is not a number'), ("1799999999", "time leaps by 54.8 days")])
def test_turbostat_time_that_makes_no_sense_is_told(imported, moment, reason):
    result = imported(f"{SUMMARY_HEAD}1795262400\t1\t3\t0\n{moment}\t1\t4\t0\n1795262401\t1\t5\t0\n")

    assert result.complaints == [f"3: {reason}"]
    assert powers(result) == ["0,power_mw,3000", "1000,power_mw,5000"]


# --- powerstat -------------------------------------------------------------------------------------------------------

def test_powerstat_log_ends_before_its_statistics(imported):
    result = imported(POWERSTAT)

    assert (result.code, result.complaints) == (0, [])
    assert result.rows == ["0,power_mw,4100", "1000,power_mw,4300", "2000,power_mw,12000", "4000,stop,service"]
    assert (result.facts["samples"], result.facts["format"]) == ("4", "powerstat log")
    assert (result.facts["mean power"], result.facts["peak power"]) == ("8.100 W", "12.000 W")


def test_powerstat_at_the_battery_is_on_battery(imported):
    result = imported(POWERSTAT.replace("Power measurements", "ACPI battery power measurements"))

    assert result.rows[:2] == ["0,power_mw,4100", "0,ac_line,0"]
    assert result.facts["on battery"] == "100.0% of the time"
    assert result.facts["power from"] == "Watts (of the whole computer, measured at its battery)"


def test_powerstat_columns_behind_the_power(imported):
    log = POWERSTAT.replace("  Watts\n", "  Watts  pkg-0\n").replace("4.10\n", "4.10 3.1\n")

    result = imported(log)

    assert result.complaints[0] == '4: unknown column "pkg-0" is passed over'
    assert [line.split(":")[0] for line in result.complaints[1:]] == ["6", "8", "9"]
    assert powers(result) == ["0,power_mw,4100"]


@pytest.mark.parametrize("words, reason", [
    ("12:00:00 4.10", "2 columns in place of 13"),
    ("23:59:59" + 11 * " 1" + " -N/A-", 'power "-N/A-" is not a number'),
    ("23:59:59" + 12 * " 1" + " 4.1", "14 columns in place of 13"),
    ("23:59:57" + 11 * " 1" + " 4.1", "time falls by 1.000 s"),
    ("Device is not discharging", 'time "Device" is no time of day'),
])
def test_powerstat_bad_line_is_told(imported, words, reason):
    lines = POWERSTAT.splitlines()
    lines[5] = words

    result = imported("\n".join(lines))

    assert result.complaints == [f"6: {reason}"]
    assert powers(result) == ["0,power_mw,4100", "2000,power_mw,12000"]


# --- all formats -----------------------------------------------------------------------------------------------------

@pytest.mark.parametrize("content", [
    b"", b"\n\n", bytes(range(256)) * 50, b"\0" * 5000, b"time_ms,input,value\n0,power_mw,5000\n", b"Time,Watts\n1,2\n",
    HEAD.encode(), HEAD.encode() + b"x,y,z\n", b"Date,Time,Fan [RPM]\n21.11.2026,12:00:00,800\n",
    SUMMARY_HEAD.encode(), b"Avg_MHz\tPkg_J\n900\t15\n", b"Running for 4.0 seconds\n", HEAD.encode("utf-16"),
])
def test_nothing_understood_leaves_standard_output_empty(imported, content):
    result = imported(content)

    assert (result.code, result.text) == (3, "")
    assert result.complaints


@pytest.mark.parametrize("name", ["missing.csv", ".", ""])
def test_log_that_cannot_be_read_is_told(tmp_path, name):
    run = run_import(name, cwd=tmp_path)

    assert (run.returncode, run.stdout) == (3, b"")
    assert run.stderr.decode().startswith(f"{name}:1: the log cannot be read: ")


def test_scenario_that_cannot_be_written_is_told(tmp_path):
    (tmp_path / "log.txt").write_text(POWERSTAT)

    with open("/dev/full", "wb") as full:
        run = run_import("log.txt", cwd=tmp_path, stdout=full)

    assert (run.returncode, run.stderr) == (4, b"standard output: No space left on device\n")


def test_scenario_never_overwrites_its_log(tmp_path):
    log = tmp_path / "log.txt"
    log.write_text(POWERSTAT)

    with open(log, "ab") as output:
        run = run_import("log.txt", cwd=tmp_path, stdout=output)

    assert (run.returncode, log.read_text()) == (2, POWERSTAT)
    assert b"overwrite" in run.stderr


def test_names_of_any_script_become_a_plain_comment(imported):
    result = imported(POWERSTAT, name="L\u00fcfter\t1.txt")

    assert result.text.splitlines()[1] == "# imported from L\\xfcfter\\t1.txt, a powerstat log"


def test_two_imports_write_the_same_bytes(tmp_path):
    (tmp_path / "log.txt").write_text(POWERSTAT)
    one, two = (run_import("log.txt", cwd=tmp_path) for _ in range(2))

    assert (one.stdout, one.stderr) == (two.stdout, two.stderr)


def test_large_log_is_read_in_bounded_memory(tmp_path):
    with open(tmp_path / "large.txt", "w", encoding="ascii") as log:
        log.write(SUMMARY_HEAD)
        for second in range(500_000):
            log.write(f"{1795262400 + second}.000000\t900\t{second % 50}.25\t0.00\n")

    with open(tmp_path / "scenario.csv", "wb") as scenario:
        run = run_import("large.txt", cwd=tmp_path, stdout=scenario,
                         preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (100 << 20, 100 << 20)))

    assert run.returncode == 0
    assert re.search(rb"^samples +500000$", run.stderr, re.MULTILINE)
