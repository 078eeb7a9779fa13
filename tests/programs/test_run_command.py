"""scripts/run.sh --replay as a new user calls it; the live run is left to the tests of the installed service."""

import re
import xml.etree.ElementTree

import pytest
from conftest import HEADER, ROOT, run_command

OUT = ROOT / "build" / "run"


def run_script(*arguments, cwd=ROOT):
    return run_command(ROOT / "scripts/run.sh", *arguments, cwd=cwd)


@pytest.fixture(scope="module", name="office")
def run_replay_without_a_scenario():
    result = run_script("--replay")
    assert result.returncode == 0, result.stderr
    return result.stdout


def readme_sample():
    """The lines of the README's sample output."""
    text = (ROOT / "README.md").read_text(encoding="utf-8")
    sample = text[text.index("    minute   mean power"):].split("\n\n*Ceiling*")[0]
    return [line.removeprefix("    ") for line in sample.splitlines() if line.strip() and line.strip() != "..."]


def test_the_readme_shows_what_the_command_prints(office):
    printed = office.splitlines()
    assert len(readme_sample()) > 10
    assert [line for line in readme_sample() if line not in printed] == []


def test_every_minute_of_the_recording_has_a_row(office):
    rows = [line.split() for line in office.splitlines()[1:26]]
    assert [row[0] for row in rows] == [str(minute) for minute in range(25)]


def test_the_picture_is_a_drawing_with_the_three_curves(office):
    assert "build/run/office-laptop.svg" in office
    picture = xml.etree.ElementTree.parse(OUT / "office-laptop.svg").getroot()
    texts = " ".join("".join(element.itertext()) for element in picture.iter())
    for label in ("office-laptop", "power, W", "ceiling, preference", "PL1, W"):
        assert label in texts


def test_the_report_is_named_and_is_a_page_of_this_trace(office):
    assert "report   build/run/office-laptop.html, for a browser" in office.splitlines()
    page = (OUT / "office-laptop.html").read_text(encoding="utf-8")
    assert "<title>office-laptop - Kelvane report</title>" in page
    # Its totals are those that were printed.
    cells = dict(re.findall(r'<th scope="row">([^<]*)</th><td class="number">([^<]*)</td>', page))
    assert f"time                  {cells['time']}" in office
    assert f"control steps         {cells['control steps']}, of them {cells['of them in Active Idle']} in" in office
    bursts, restores = cells["process-start bursts"], cells["restores after a burst"]
    assert f"bursts and restores   {bursts} process-start bursts, {restores}" in office


def test_another_scenario_is_replayed_from_any_folder(tmp_path):
    (tmp_path / "quiet evening.csv").write_text(HEADER + "0,power_mw,3200\n9000,stop,scaling\n")

    result = run_script("--replay", "quiet evening.csv", cwd=tmp_path)

    assert result.returncode == 0, result.stderr
    # Start-up, then the stop path: floor 0, full performance, PL1 as it was.
    assert "SET_PERF_PREFERENCE_MIN 2, SET_RAPL_POWER_LIMIT_1 3" in result.stdout
    assert (OUT / "quiet evening.svg").exists()
    assert "<h1>quiet evening</h1>" in (OUT / "quiet evening.html").read_text(encoding="utf-8")


@pytest.mark.parametrize("kind", ["file", "folder"])
def test_what_has_the_scenarios_bare_name_stays(tmp_path, kind):
    (tmp_path / "evening.csv").write_text(HEADER + "0,power_mw,3200\n9000,stop,scaling\n")
    bare = tmp_path / "evening"
    if kind == "folder":
        bare.mkdir()
    else:
        bare.write_text("mine")

    result = run_script("--replay", "evening.csv", cwd=tmp_path)

    assert (result.returncode, result.stderr) == (0, "")
    assert bare.exists()


def test_a_framework_that_cannot_be_initialised_makes_no_step(tmp_path):
    (tmp_path / "no-framework.csv").write_text(HEADER + "0,status,INIT=3000\n")

    result = run_script("--replay", tmp_path / "no-framework.csv")

    assert result.returncode == 0, result.stderr
    assert "no control step was made" in result.stdout


def test_a_malformed_scenario_is_named_with_its_line(tmp_path):
    (tmp_path / "bad.csv").write_text(HEADER + "0,power,3200\n")

    result = run_script("--replay", tmp_path / "bad.csv")

    assert result.returncode == 3
    assert 'bad.csv:2: unknown input "power"' in result.stderr
