"""scripts/import.sh with HWiNFO64's logs: columns, limit reasons, dates and times, encodings, and bad lines."""

import pytest
from conftest import powers

PL1 = "IA: Package-Level RAPL/PBM PL1 [Yes/No]"
PL2 = "IA: Package-Level RAPL/PBM PL2,PL3 [Yes/No]"


def hwinfo(*rows, columns=(), end="\n"):
    head = "Date,Time,CPU Package Power [W]" + "".join(f',"{column}"' for column in columns)
    return end.join([head, *rows, ""])


def test_hwinfo_log_becomes_power_clipping_and_power_source(imported):
    result = imported(
        'Date,Time,"Core VIDs [V]","CPU Package [\u00b0C]","CPU Package Power [W]","CPU Package Power [W]",'
        f'"{PL1}","{PL2}","IA: Max Turbo Limit [Yes/No]","GT: PROCHOT [Yes/No]","Charge Rate [W]",\n'
        "21.11.2026,23:59:57.250,0.8,40,10.5,99,No,No,Yes,No,0.000,\n"
        "21.11.2026,23:59:59.250,0.8,41,10.5,99,Yes,No,Yes,No,-10.500,\n"
        "22.11.2026,0:00:01.250,0.8,42,28.1234,99,No,Yes,Yes,Yes,-30.000,\n"
        "22.11.2026,0:00:03.250,0.8,43,4,99,No,No,No,No,12.000,\n"
        'Date,Time,"Core VIDs [V]","CPU Package [\u00b0C]","CPU Package Power [W]","CPU Package Power [W]",'
        f'"{PL1}","{PL2}","IA: Max Turbo Limit [Yes/No]","GT: PROCHOT [Yes/No]","Charge Rate [W]",\n'
        ",,CPU [#0],CPU [#0],CPU [#0]: Enhanced,Board,CPU [#0]: Limits,,,,Battery,\n", name="work.csv")

    assert (result.code, result.complaints) == (0, [])
    assert result.text == (
        "time_ms,input,value\n"
        "# imported from work.csv, a HWiNFO64 CSV log\n"
        f"# power_mw from CPU Package Power [W]; clip_reasons from {PL1}; {PL2}\n"
        "0,power_mw,10500\n0,clip_reasons,0\n0,ac_line,1\n"
        "2000,clip_reasons,0x400\n2000,ac_line,0\n"
        "4000,power_mw,28123\n"
        "6000,power_mw,4000\n6000,clip_reasons,0\n6000,ac_line,1\n"
        "8000,stop,service\n")
    # (10.5 + 10.5 + 28.123 + 4) / 4 = 13.28075
    assert result.facts == {
        "format": "HWiNFO64 CSV log", "samples": "4", "duration": "0 min 8.000 s, a sample every 2.000 s",
        "mean power": "13.281 W", "peak power": "28.123 W", "clipped": "50.0% of the time",
        "on battery": "50.0% of the time", "power from": "CPU Package Power [W]", "clipping from": f"{PL1}; {PL2}",
        "without effect": "IA: Max Turbo Limit [Yes/No]; GT: PROCHOT [Yes/No]", "unused columns": "3",
        "rows of sensor names": "1", "bad lines": "0"}


@pytest.mark.parametrize("reason, clips", [
    (PL1, True), (PL2, True), ("Core 3 Power Limit Exceeded [Yes/No]", True),
    ("P-core 0 Power Limit Exceeded [Yes/No]", True), ("Package/Ring Power Limit Exceeded [Yes/No]", True),
    ("IA Limit Reasons [Yes/No]", False), ("IA: PROCHOT [Yes/No]", False), ("IA: VR TDC [Yes/No]", False),
    ("IA: Electrical Design Point/Other (ICCmax,PL4,SVID,DDR RAPL) [Yes/No]", False),
    ("GT: Package-Level RAPL/PBM PL1 [Yes/No]", False), ("RING: Package-Level RAPL/PBM PL2,PL3 [Yes/No]", False),
    ("Core 0 Thermal Throttling [Yes/No]", False), ("Thermal Throttling (HTC) [Yes/No]", False),
])
def test_known_limit_reasons_clip_or_are_named_in_the_summary(imported, reason, clips):
    result = imported(hwinfo("21.11.2026,12:00:00,5,Yes", columns=[reason]))

    assert result.complaints == []
    assert ("0,clip_reasons,0x400" in result.rows) == clips
    assert result.facts["clipping from" if clips else "without effect"] == reason
    assert result.facts["clipped"] == ("100.0% of the time" if clips else "not in the log")


def test_unknown_limit_reasons_are_told_once_and_other_unknown_columns_counted(imported):
    columns = ["IA: Moon Phase [Yes/No]", "Fan Limit Hit [Yes/No]", "Drive Failure [Yes/No]", "Fan [RPM]"]
    log = hwinfo("21.11.2026,12:00:00,5,Yes,Yes,Yes,800", columns=columns)

    result = imported(log + log.splitlines()[0] + "\n")

    assert result.complaints == ['1: unknown limit reason "IA: Moon Phase [Yes/No]" is passed over',
                                 '1: unknown limit reason "Fan Limit Hit [Yes/No]" is passed over']
    assert result.facts["unused columns"] == "4"
    assert not any("clip_reasons" in row for row in result.rows)


@pytest.mark.parametrize("columns, power", [
    ("CPU PPT [W],CPU Package Power (SMU) [W],CPU Package Power [W]", 3000),
    ("CPU PPT [W],CPU Package Power (SMU) [W],GPU Power [W]", 2000),
    ("CPU PPT [W],Fan [RPM],Total CPU Power [W]", 1000),
    ("CPU PPT [W],CPU Package Power [mW],CPU Package Power [%]", 1000),
])
def test_package_power_in_watts_is_taken_by_rank(imported, columns, power):
    assert powers(imported(f"Date,Time,{columns}\n21.11.2026,12:00:00,1,2,3\n")) == [f"0,power_mw,{power}"]


@pytest.mark.parametrize("first, second, step", [
    # midnight in every date format
    *((f"{before},23:59:59", f"{after},00:00:00", 1000) for before, after in [
        ("30.11.2026", "1.12.2026"), ("11/30/2026", "12/1/2026"), ("30/11/2026", "01/12/2026"),
        ("2026-11-30", "2026-12-01"), ("11.12.2026", "12.12.2026"), ("12/11/2026", "12/12/2026"),
        ("31.12.26", "01.01.27"), ("2028-02-28", "2028-02-29")]),
    # with and without milliseconds
    ("21.11.2026,7:05:09", "21.11.2026,07:05:10", 1000), ("21.11.2026,12:00:00.5", "21.11.2026,12:00:00.750", 250),
    ("21.11.2026,12:00:00.999", "21.11.2026,12:00:01.001", 2),
])
def test_the_time_between_two_samples_follows_from_their_dates_and_times(imported, first, second, step):
    rows = imported(hwinfo(f"{first},5", f"{second},6")).rows

    assert rows == ["0,power_mw,5000", f"{step},power_mw,6000", f"{2 * step},stop,service"]


@pytest.mark.parametrize("encoding", ["latin-1", "utf-8", "utf-8-sig"])
@pytest.mark.parametrize("end", ["\n", "\r\n", "\r"])
def test_encodings_and_line_ends(imported, encoding, end):
    log = hwinfo("21.11.2026,12:00:00,40,5", "21.11.2026,12:00:01,41,6", end=end).replace(
        "Time,", "Time,CPU Package [\u00b0C],", 1)

    result = imported(log.encode(encoding))

    assert (result.rows, result.complaints) == (["0,power_mw,5000", "1000,power_mw,6000", "2000,stop,service"], [])


def test_decimal_commas_between_semicolons(imported):
    result = imported("Date;Time;CPU Package Power [W];\n"
                      "21.11.2026;12:00:00,250;7,125;\n"
                      "21.11.2026;12:00:01,250;8,5;\n")

    assert result.rows == ["0,power_mw,7125", "1000,power_mw,8500", "2000,stop,service"]


def test_log_that_was_appended_to_with_other_columns_goes_on(imported):
    result = imported(hwinfo("21.11.2026,12:00:00,5") + "Date,Time,Fan [RPM],CPU Package Power [W]\n"
                      "21.11.2026,12:00:02,800,6\n")

    assert (result.rows, result.complaints) == (["0,power_mw,5000", "2000,power_mw,6000", "4000,stop,service"], [])


@pytest.mark.parametrize("row, reason", [
    ("21.11.2026,12:00:02", "2 columns in place of 4"),
    ("21.11.2026,12:00:02,7,No,1", "5 columns in place of 4"),
    ("21.11.2026,12:00:02,watt,No", 'power "watt" is not a number'),
    ("21.11.2026,12:00:02,,No", 'power "" is not a number'),
    ("21.11.2026,12:00:02,nan,No", 'power "nan" is not a number'),
    ("21.11.2026,12:00:02,inf,No", 'power "inf" is not a number'),
    ("21.11.2026,12:00:02,1e3,No", 'power "1e3" is not a number'),
    ("21.11.2026,12:00:02,-0.5,No", 'power "-0.5" is negative'),
    ("21.11.2026,12:00:02,2000.001,No", 'power "2000.001" is above 2000 W'),
    ("21.11.2026,12:00:02," + 500 * "9" + ",No", f'power "{60 * "9"}..." is out of range'),
    ("21.11.2026,12:00:02,7,Maybe", 'limit reason "Maybe" is neither Yes nor No'),
    ("21.11.2026,11:59:59.750,7,No", "time falls by 0.250 s"),
    ("20.11.2026,12:00:02,7,No", "time falls by 86398.000 s"),
    ("29.11.2026,12:00:00,7,No", "time leaps by 8.0 days"),
    ("21.11.2026,24:00:00,7,No", 'time "24:00:00" is no time of day'),
    ("21.11.2026,noon,7,No", 'time "noon" is no time of day'),
    ("32.13.2026,12:00:02,7,No", 'date "32.13.2026" is no date'),
    ("today,12:00:02,7,No", 'date "today" is no date'),
    (",,7,No", 'time "" is no time of day'),
    ('21.11.2026,"12:00:02,7,No', "2 columns in place of 4"),
    ("\0\0\0\0", "1 columns in place of 4"),
])
def test_bad_line_is_told_and_passed_over_and_the_rest_kept(imported, row, reason):
    result = imported(hwinfo("21.11.2026,12:00:00,5,No", row, "21.11.2026,12:00:04,6,No", columns=[PL1]))

    assert result.code == 0
    assert result.complaints == [f"3: {reason}"]
    assert result.rows == ["0,power_mw,5000", "0,clip_reasons,0", "4000,power_mw,6000", "8000,stop,service"]
    assert (result.facts["samples"], result.facts["bad lines"]) == ("2", "1")


def test_line_that_is_too_long_is_told_and_passed_over(imported):
    result = imported(hwinfo("21.11.2026,12:00:00,5", 300_000 * "7", "21.11.2026,12:00:01,6"))

    assert result.complaints == ["3: the line is longer than 262144 characters"]
    assert powers(result) == ["0,power_mw,5000", "1000,power_mw,6000"]


def test_limits_of_power_are_still_samples(imported):
    assert powers(imported(hwinfo("21.11.2026,12:00:00,0.0", "21.11.2026,12:00:01,2000"))) == [
        "0,power_mw,0", "1000,power_mw,2000000"]


def test_samples_of_the_same_second_become_one(imported):
    rows = ["21.11.2026,12:00:00,5,No", "21.11.2026,12:00:00,6,Yes", "21.11.2026,12:00:00,10,No",
            "21.11.2026,12:00:01,3,No"]

    result = imported(hwinfo(*rows, columns=[PL1]))

    assert result.rows == ["0,power_mw,7000", "0,clip_reasons,0x400", "1000,power_mw,3000", "1000,clip_reasons,0",
                           "2000,stop,service"]
    assert (result.facts["samples"], result.facts["mean power"]) == ("4", "5.000 W")


def test_pause_counts_in_the_totals_but_not_as_the_last_interval(imported):
    result = imported(hwinfo("21.11.2026,12:00:00,5", "21.11.2026,12:00:01,6", "21.11.2026,12:00:09,7"))

    assert result.rows[-1] == "10000,stop,service"
    # (5 * 1 s + 6 * 8 s + 7 * 1 s) / 10 s
    assert result.facts["mean power"] == "6.000 W"
    assert result.facts["duration"] == "0 min 10.000 s, a sample every 1.000 to 8.000 s"
