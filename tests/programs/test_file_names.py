"""Names of files are data to every command: quotes, blanks, umlauts, dashes and what Windows does not take."""

import pathlib
import re
import xml.etree.ElementTree

import pytest
from conftest import HEADER, ROOT, run_command, run_import, run_package, run_tool

from tools.shared.file_names import shown, told_apart
from tools.wine.file_names import wine_takes

RUN = ROOT / "build" / "run"
COMPARED = ROOT / "build" / "compare"
SHORT = HEADER + "0,job,steady:100:1\n2000,stop,service\n"
HOSTILE = "x'.system('touch OWNED').'`touch OWNED`$(touch OWNED)"
# All at once of what shells, gnuplot, Wine, HTML and Markdown read in ways of their own.
AWKWARD = f'{HOSTILE}"\\é%s $HOME |<b>&*?: '


def call(script, *arguments, cwd):
    # The Wine server is shared with the tests beside these.
    return run_command(ROOT / "scripts" / script, *arguments, cwd=cwd, timeout=120)


def expect_nothing_was_run(folder):
    assert [path for place in (folder, ROOT, RUN, COMPARED) for path in place.glob("OWNED*")] == []


def replayed(cwd, scenario, trace):
    done = call("replay.sh", scenario, trace, cwd=cwd)
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")
    return (cwd / trace).read_bytes()


@pytest.fixture(scope="module", name="expected")
def trace_of_a_plain_name(tmp_path_factory):
    folder = tmp_path_factory.mktemp("plain")
    (folder / "plain.csv").write_text(SHORT)
    return replayed(folder, "plain.csv", "trace.csv")


# --- replay.sh --------------------------------------------------------------------------------------------------------

@pytest.mark.parametrize("scenario, trace", [
    (AWKWARD, AWKWARD + "2"), ("-x.csv", "-t.csv"), ("aux.csv", "nul.csv"), ("trailing. ", "COM1"),
    ("x" * 200 + ".csv", "y" * 200), ("a.csv", "A.CSV"),
])
def test_a_replay_takes_any_name_and_leaves_nothing_else(tmp_path, expected, scenario, trace):
    (tmp_path / scenario).write_text(SHORT)

    assert replayed(tmp_path, scenario, trace) == expected

    assert sorted(path.name for path in tmp_path.iterdir()) == sorted([scenario, trace])
    assert (tmp_path / scenario).read_text() == SHORT
    assert list((ROOT / "build").glob("replay-*")) == []


def test_a_replay_works_in_any_folder(tmp_path, expected):
    folder = tmp_path / "back\\slash \"quote\" "
    folder.mkdir()
    (folder / "s.csv").write_text(SHORT)

    assert replayed(folder, "s.csv", "t.csv") == expected


def test_a_replay_takes_bytes_that_are_no_text(tmp_path, expected):
    scenario = str(tmp_path) + "/\udcff.csv"
    pathlib.Path(scenario).write_text(SHORT)

    assert replayed(tmp_path, scenario, "t.csv") == expected


def test_a_replay_reads_a_pipe_and_writes_to_one(tmp_path, expected):
    (tmp_path / "s.csv").write_text(SHORT)

    done = run_command("bash", "-c", 'cat s.csv | "$0" /dev/stdin /dev/stdout', ROOT / "scripts/replay.sh",
                       cwd=tmp_path, timeout=120)

    assert (done.returncode, done.stdout.encode(), done.stderr) == (0, expected, "")


def test_a_message_shows_the_name_that_was_given(tmp_path):
    (tmp_path / AWKWARD).write_text(HEADER + "0,stop,now\n")

    done = call("replay.sh", AWKWARD, "t.csv", cwd=tmp_path)

    assert (done.returncode, done.stderr.split(":2: ")[0]) == (3, AWKWARD)
    assert not (tmp_path / "t.csv").exists()


@pytest.mark.parametrize("trace, code, reason", [
    (AWKWARD, 2, "the trace would overwrite the scenario "), ("none/t?", 4, "none/t?: "), ("folder?", 4, "folder?: ")])
def test_a_place_for_the_trace_that_is_none_is_told(tmp_path, trace, code, reason):
    (tmp_path / AWKWARD).write_text(SHORT)
    (tmp_path / "folder?").mkdir()

    done = call("replay.sh", AWKWARD, trace, cwd=tmp_path)

    assert (done.returncode, done.stderr.count("\n")) == (code, 1)
    assert done.stderr.startswith(reason)
    assert (tmp_path / AWKWARD).read_text() == SHORT


@pytest.mark.parametrize("script, arguments", [
    ("replay.sh", ["a\nb", "t.csv"]), ("replay.sh", ["s.csv", "a\nb"]), ("run.sh", ["--replay", "a\nb"]),
    ("report.sh", ["a\nb"]), ("report.sh", ["-o", "a\nb", "s.csv"]), ("compare.sh", ["a\nb"]), ("import.sh", ["a\nb"]),
    ("package.sh", ["9.0.0.0", "a\nb"]),
])
def test_a_line_feed_in_a_name_is_refused(tmp_path, script, arguments):
    for name in ("a\nb", "s.csv"):
        (tmp_path / name).write_text(SHORT)

    done = call(script, *arguments, cwd=tmp_path)

    assert (done.returncode, done.stdout) == (2, "")
    assert re.fullmatch(r"a file name with a line feed in it is not taken: .*a\\nb.*\n", done.stderr)


# --- what shows names -------------------------------------------------------------------------------------------------

def test_a_shown_replay_runs_nothing_of_a_name_and_shows_it(tmp_path):
    name = f"{HOSTILE}\"\\é%s $HOME |<b>& {tmp_path.name}"
    (tmp_path / f"{name}.csv").write_text(SHORT)

    done = call("run.sh", "--replay", f"{name}.csv", cwd=tmp_path)

    assert (done.returncode, done.stderr) == (0, "")
    picture = xml.etree.ElementTree.parse(RUN / f"{name}.svg").getroot()
    assert f"{name} - what the processor drew" in "".join(picture.itertext())
    assert f"build/run/{name}.html" in done.stdout
    page = (RUN / f"{name}.html").read_text(encoding="utf-8")
    assert "<h1>x&#x27;.system(&#x27;touch OWNED&#x27;)" in page
    expect_nothing_was_run(tmp_path)
    for made in RUN.glob(f"*{tmp_path.name}*"):
        made.unlink()


def test_a_comparison_tells_files_of_one_name_apart_and_runs_nothing_of_a_name(tmp_path):
    paths = ["one/-x.csv", "two/-x.csv", "-x.csv", f"{HOSTILE}|\\.csv", "two/../-x.csv"]
    for folder in ("one", "two"):
        (tmp_path / folder).mkdir()
    for path in paths[:4]:
        (tmp_path / path).write_text(SHORT)

    done = call("compare.sh", *paths, cwd=tmp_path)

    assert (done.returncode, done.stderr) == (0, "")
    works = [line.split(" | service |")[0] for line in done.stdout.splitlines() if " | service |" in line]
    assert works == ["| one/-x", "| two/-x", f"| {tmp_path.name}/-x", f"| {HOSTILE}\\|\\"]
    texts = "".join(xml.etree.ElementTree.parse(COMPARED / "scatter.svg").getroot().itertext())
    assert all(text in texts for text in ("one/-x", "two/-x", f"{HOSTILE}|\\"))
    expect_nothing_was_run(tmp_path)


def test_a_report_takes_any_name_and_tells_two_of_one_name_apart(tmp_path, expected):
    for folder in (AWKWARD, "two"):
        (tmp_path / folder).mkdir()
        (tmp_path / folder / "-x.trace.csv").write_bytes(expected)

    done = call("report.sh", "-o", "page?.html", f"{AWKWARD}/-x.trace.csv", "two/-x.trace.csv", cwd=tmp_path)

    assert (done.returncode, done.stderr) == (0, "")
    heading = re.search("<h1>(.*)</h1>", (tmp_path / "page?.html").read_text(encoding="utf-8"))[1]
    assert heading.endswith("/-x compared with two/-x") and "<b>" not in heading and "touch OWNED" in heading
    expect_nothing_was_run(tmp_path)


def test_a_trace_that_begins_with_a_dash_is_no_option(tmp_path, expected):
    (tmp_path / "-x.csv").write_bytes(expected)

    done = call("report.sh", "-o", "page.html", "-x.csv", cwd=tmp_path)

    assert (done.returncode, done.stdout) == (0, "page.html\n")


@pytest.mark.parametrize("name", [AWKWARD, "-x.csv", "a\udcff\x1b.csv"])
def test_an_import_takes_any_name(tmp_path, name):
    (tmp_path / name).write_text("Date,Time,CPU Package Power [W]\n21.11.2026,12:00:00,4\n21.11.2026,12:00:01,x\n")

    done = run_import(name, cwd=tmp_path)

    assert done.returncode == 0
    assert b"# imported from " in done.stdout and done.stdout.isascii()
    expect_nothing_was_run(tmp_path)


def test_a_package_is_made_in_a_folder_of_any_name(tmp_path):
    done = run_package("9.0.0.0", f"-{AWKWARD}", cwd=tmp_path)

    assert (done.returncode, done.stderr) == (0, "")
    assert [path.name for path in (tmp_path / f"-{AWKWARD}").iterdir()] == ["kelvane-9.0.0.0-x64.msi"]
    expect_nothing_was_run(tmp_path)


def test_a_picture_shows_control_characters():
    assert run_tool("trace.title", "a\x1b[31m\udcff").stdout == "a\\x1b[31m\\xff\n"


# --- the rules, without a program -------------------------------------------------------------------------------------

@pytest.mark.parametrize("name, taken", [
    ("a.csv", True), ("L\u00fcfter \u6e2c (100%) & 'more'.csv", True), ("auxiliary.csv", True), (".hidden", True),
    ("a?b", False), ("a\\b", False), ('a"b', False), ("a:b", False), ("a*b", False), ("a ", False), ("a.", False),
    ("aux", False), ("Aux.csv", False), ("com1.txt", False), ("a\tb", False), ("\udcff", False),
    ("a /b", False), ("TAKEN.csv", False), ("taken.csv", True), ("missing/a.csv", False),
    ("/dev/stdin", False), ("/dev/full", True),
])
def test_what_wine_takes(tmp_path, name, taken):
    (tmp_path / "taken.csv").touch()

    assert wine_takes(tmp_path / name) == taken


@pytest.mark.parametrize("paths, names", [
    (["a/x.csv"], ["x"]), (["a/x.csv", "b/x.csv", "y.csv"], ["a/x", "b/x", "y"]),
    (["1/a/x.csv", "2/a/x.csv"], ["1/a/x", "2/a/x"]), (["a/x.csv", "a/x.txt"], ["x.csv", "x.txt"]),
    (["a/x.csv", "a/../a/x.csv"], ["x", "x"]), (["/x.csv", "/a/x.csv"], ["/x", "a/x"]),
])
def test_files_of_one_name_are_told_apart_by_their_folders(paths, names):
    assert told_apart(paths, lambda name: name[:-4]) == names


def test_every_name_can_be_shown():
    assert shown("L\u00fcfter\n\x1b\udcfc") == "L\u00fcfter\\n\\x1b\\xfc"
