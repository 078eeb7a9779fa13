"""scripts/import.sh with UTF-16, with any CSV by columns that the user names, and with the same fault many times."""

import pytest
from conftest import powers, run_import

HWINFO = "Date,Time,CPU Package Power [W]\n21.11.2026,12:00:00,4\n21.11.2026,12:00:01,5\n"
TURBOSTAT = "turbostat version 2022.10.04\nPkgWatt\n3.0\n4.0\n"
GERMAN = ("Date,Time,CPU-Gesamtleistung (gr\u00f6\u00dfte) [W],GPU-Leistung [W],L\u00fcfter [RPM]\n"
          "21.11.2026,23:59:59.5,4.5,1,800\n22.11.2026,00:00:00.5,6,1,810\n")


def chosen(folder, content, *arguments):
    (folder / "log.csv").write_bytes(content if isinstance(content, bytes) else content.encode())
    done = run_import(*arguments, "log.csv", cwd=folder)
    return done.returncode, done.stdout.decode().splitlines(), done.stderr.decode()


def rows(folder, content, *arguments):
    code, lines, _ = chosen(folder, content, *arguments)
    assert code == 0
    return [line for line in lines[1:] if not line.startswith("#")]


# --- UTF-16 ----------------------------------------------------------------------------------------------------------

@pytest.mark.parametrize("encoding", ["utf-16-le", "utf-16-be"])
@pytest.mark.parametrize("log", [HWINFO, TURBOSTAT])
def test_a_log_in_utf_16_is_the_same_log(imported, log, encoding):
    plain = imported(log)

    result = imported(("\ufeff" + log.replace("\n", "\r\n")).encode(encoding))

    assert (result.code, result.rows, result.complaints) == (0, plain.rows, [])


def test_utf_16_that_is_cut_in_the_middle_of_a_character_is_read_up_to_there(imported):
    result = imported(("\ufeff" + HWINFO).encode("utf-16-le")[:-3])

    assert (powers(result), result.complaints) == (["0,power_mw,4000"], ['3: power "\\ufffd" is not a number'])


# --- columns that the user names -------------------------------------------------------------------------------------

@pytest.mark.parametrize("log, expected", [
    ("t,p\n0,4\n1.5,5\n", ["0,power_mw,4000", "1500,power_mw,5000", "3000,stop,service"]),
    ("t;x;p\n10,5;a;4,25\n11,0;b;5\n", ["0,power_mw,4250", "500,power_mw,5000", "1000,stop,service"]),
    ("t\tp\n1795262400.250\t4\n1795262401.250\t5\n", ["0,power_mw,4000", "1000,power_mw,5000", "2000,stop,service"]),
    ("a note\n\n\"p\", \"t\"\n4,23:59:59\n5,00:00:01\n",
     ["0,power_mw,4000", "2000,power_mw,5000", "4000,stop,service"]),
    ("t|p\n2026-11-21T12:00:00Z|4\n2026-11-21T13:00:02+01:00|5\n",
     ["0,power_mw,4000", "2000,power_mw,5000", "4000,stop,service"]),
    ("t,p\n2026-11-21 23:59:59.500,4\n2026-11-22 00:00:00,5\n",
     ["0,power_mw,4000", "500,power_mw,5000", "1000,stop,service"]),
    ("t,p\n0,4\nt,p\n1,5\n", ["0,power_mw,4000", "1000,power_mw,5000", "2000,stop,service"]),
])
def test_any_csv_by_the_columns_of_time_and_power(tmp_path, log, expected):
    assert rows(tmp_path, log, "--time", "t", "--power", "p") == expected


@pytest.mark.parametrize("name, unit, milliwatts", [
    ("p", [], 4500), ("p", ["--unit", "W"], 4500), ("p", ["--unit", "mW"], 4), ("power [mW]", [], 4),
    ("power_mw", [], 4), ("power [mW]", ["--unit", "W"], 4500), ("summW", [], 4500)])
def test_the_unit_is_told_or_follows_from_the_name(tmp_path, name, unit, milliwatts):
    assert rows(tmp_path, f"t,{name}\n0,4.5\n", "--time", "t", "--power", name, *unit)[0] == f"0,power_mw,{milliwatts}"


@pytest.mark.parametrize("encoding", ["utf-8", "cp1252", "utf-16"])
def test_a_log_in_another_language_names_the_columns_to_choose_from(tmp_path, encoding):
    log = GERMAN.encode(encoding)

    code, out, said = chosen(tmp_path, log)

    assert (code, out) == (3, [])
    assert ("log.csv:1: no column tells the package's power in W, such as CPU Package Power [W]; "
            'choose by --time "Time" and --power one of "CPU-Gesamtleistung (gr\u00f6\u00dfte) [W]", '
            '"GPU-Leistung [W]"\n') in said
    assert rows(tmp_path, log, "--time", "Time", "--power", "CPU-Gesamtleistung (gr\u00f6\u00dfte) [W]") == [
        "0,power_mw,4500", "1000,power_mw,6000", "2000,stop,service"]


def test_a_log_of_no_known_recorder_names_its_columns(tmp_path):
    code, out, said = chosen(tmp_path, "Zeit;Leistung\n12:00:00;4\n")

    assert (code, out) == (3, [])
    assert said.endswith('; of a CSV log choose columns by --time and --power: "Zeit", "Leistung"\n')


def test_columns_that_are_not_there_are_told_with_those_that_are(tmp_path):
    code, out, said = chosen(tmp_path, "Zeit,Leistung\n0,4\n", "--time", "Time", "--power", "Leistung")

    assert (code, out) == (3, [])
    assert 'log.csv:1: no line has both columns "Time", "Leistung"; here are "Zeit", "Leistung"\n' in said


@pytest.mark.parametrize("row, reason", [
    ("1", "1 columns in place of 2"), ("1,x", 'power "x" is not a number'), ("1,-1", 'power "-1" is negative'),
    ("1,2001", 'power "2001" is above 2000 W'), ("12:00:00,4", 'time "12:00:00" is not a number'),
    ("-1,4", "time falls by 1.000 s"), ("9999999,4", "time leaps by 115.7 days"),
    ("2026-11-21,4", 'time "2026-11-21" is not a number')])
def test_a_row_of_no_use_is_told_and_passed_over(tmp_path, row, reason):
    code, out, said = chosen(tmp_path, f"t,p\n0,4\n{row}\n2,5\n", "--time", "t", "--power", "p")

    assert (code, out[-2:]) == (0, ["2000,power_mw,5000", "4000,stop,service"])
    assert said.splitlines()[0] == f"log.csv:3: {reason}"


def test_a_time_of_no_kind_is_told(tmp_path):
    code, out, said = chosen(tmp_path, "t,p\nnoon,4\n", "--time", "t", "--power", "p")

    assert (code, out) == (3, [])
    assert said.startswith('log.csv:2: time "noon" is neither seconds nor a time of day nor a date and time\n')


@pytest.mark.parametrize("arguments", [["--time", "t"], ["--power", "p"], ["--unit", "W"],
                                       ["--time", "t", "--power", "p", "--unit", "kW"], ["--tim", "t"]])
def test_half_a_choice_is_wrong_usage(tmp_path, arguments):
    code, out, said = chosen(tmp_path, "t,p\n0,4\n", *arguments)

    assert (code, out) == (2, [])
    assert "usage: scripts/import.sh " in said


# --- the same again and again ----------------------------------------------------------------------------------------

def test_ten_messages_of_a_kind_are_shown_and_the_rest_counted(imported):
    def at(second, power):
        return f"21.11.2026,12:{second // 60:02}:{second % 60:02},{power}\n"

    result = imported(HWINFO.splitlines()[0] + "\n" + at(0, 4) + "".join(at(s, "-") for s in range(1, 323)) +
                      "short\n" * 11 + at(400, 5))

    assert powers(result) == ["0,power_mw,4000", "400000,power_mw,5000"]
    assert result.complaints[:20] == [f'{line}: power "-" is not a number' for line in range(3, 13)] + [
        f"{line}: 1 columns in place of 3" for line in range(325, 335)]
    assert result.complaints[20:] == [" and 312 more rows without a power value",
                                      " and 1 more rows of too many or too few columns"]
    assert result.facts["bad lines"] == "333"


def test_unknown_columns_are_counted_too(imported):
    names = [f"Moon{number}" for number in range(14)]

    result = imported("\t".join(["PkgWatt", *names]) + "\n" + "\t".join(["3"] * 15) + "\n")

    assert [f'1: unknown column "{name}" is passed over' for name in names[:10]] == result.complaints[:10]
    assert result.complaints[10:] == [" and 4 more unknown columns"]
