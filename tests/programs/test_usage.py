"""Every command answers a question for help, and wrong usage, before anything is installed, built or called."""

import shutil
import subprocess

import pytest
from conftest import ROOT

COMMANDS = sorted(path.name for path in (ROOT / "scripts").glob("*.sh") if path.name != "common.sh")
MISSING = ("apt-get", "cmake", "dpkg-query", "git", "npm", "sudo")

WRONG = {
    "bench.sh": [("--fast", "nothing can be given but --native")],
    "check.sh": [("all", "nothing can be chosen here")],
    "compare.sh": [("--preset", "there is no preset ''"), ("--preset toaster", "there is no preset 'toaster'"),
                   ("--fast", "there is no option --fast"),
                   ("--keep a.csv", "the documents show the thin laptop at the work of its own"),
                   ("--preset=desktop --keep", "the documents show the thin laptop at the work of its own")],
    "fuzz.sh": [("0", "not a number of seconds: 0"), ("1m", "not a number of seconds: 1m"),
                ("9 scenario toast", "there is no target toast")],
    "import.sh": [("", "one log is needed"), ("a.csv b.csv", "one log is needed"),
                  ("--all", "there is no option --all"), ("a.csv --time", "--time needs a value"),
                  ("--time t a.csv", "--time and --power are needed together"),
                  ("--time t --power p --unit W", "one log is needed")],
    "mutate.sh": [("--part", "no part: "), ("--part 0/3", "no part: 0/3"), ("--part=4/3", "no part: 4/3"),
                  ("--fast", "there is no option --fast"),
                  ("toast", "neither a folder nor a file of the product: toast"),
                  ("--changed engine", "--changed names its files itself")],
    "package.sh": [("1.0.0.1", "a version and a folder are needed, or neither"),
                   ("1 2 3", "a version and a folder are needed, or neither")] + [
                   (f"{version} x", f"not a version of four numbers, up to 255.255.65535.65535: {version}")
                   for version in ("1.0", "01.0.0.1", "1.00.0.1", "1.0.0.01", "256.0.0.0", "0.256.0.0", "0.0.65536.0",
                                   "0.0.0.65536", "1.2.3.4;", "1.2.3.4.5", "-1.2.3.4", "1.2.3.")],
    "replay.sh": [("", "a scenario and a trace are needed"), ("a.csv", "a scenario and a trace are needed"),
                  ("a.csv b.csv c.csv", "a scenario and a trace are needed"),
                  ("--fast b.csv", "there is no option --fast")],
    "report.sh": [("", "one trace is needed, or two, or a log"),
                  ("a.csv b.csv c.csv", "one trace is needed, or two, or a log"),
                  ("a.csv -o", "-o needs a page"), ("--library x a.csv", "there is no option --library"),
                  ("-o README.md README.md", "the page would overwrite a trace")],
    "run.sh": [("a.csv", "nothing can be given but --replay"),
               ("--replay a.csv b.csv", "one scenario is replayed at a time"),
               ("--replay --fast", "there is no option --fast")],
    "sanitize.sh": [("--fast", "there is no option --fast")],
    "soak.sh": [("0", "not a length: 0"), ("--year 1.5", "not a length: 1.5"), ("1 2", "one length is enough"),
                ("--day", "not a length: --day"), ("--fuzz 1 2", "one length is enough")],
    "test.sh": [("--fast", "there is no option --fast"), ("-R", "-R needs a value"), ("-j4 -V --preset debug",
                "there is no option --preset"),
                ("TierSelection", "some of the tests are chosen by -R PATTERN, not by TierSelection alone")],
}


@pytest.fixture(name="bare", scope="module")
def path_with_hardly_a_command(tmp_path_factory):
    """What a command may call before it has looked at its arguments; what else it calls is noted."""
    folder = tmp_path_factory.mktemp("bare")
    for name in ("bash", "dirname", "env", "sed", "setpriv"):  # what no Debian is without
        (folder / name).symlink_to(shutil.which(name))
    for name in MISSING:
        (folder / name).write_text(f'#!/bin/sh\necho "{name} $*" >>"{folder}/called"\nexit 1\n')
        (folder / name).chmod(0o755)
    return folder


def call(bare, *words, cwd=ROOT):
    """The answer of a command on such a system, on which no Python starts either."""
    done = subprocess.run([str(word) for word in words], cwd=cwd, stdin=subprocess.DEVNULL, capture_output=True,
                          text=True, timeout=20, check=False, env={"PATH": str(bare), "PYTHONHOME": "/nowhere"})
    assert not (bare / "called").exists(), (bare / "called").read_text()
    return done.returncode, done.stdout, done.stderr


def head(command):
    """The comment at the head of a script."""
    lines = (ROOT / "scripts" / command).read_text(encoding="ascii").splitlines()[1:]
    end = next(number for number, line in enumerate(lines) if not line.startswith("#"))
    return [line[2:] for line in lines[:end]]


def usage(command):
    lines = head(command)
    return "".join(f"{line}\n" for line in lines[:lines.index("")])


@pytest.mark.parametrize("command", COMMANDS)
def test_help_is_the_commands_head(bare, command):
    expected = "".join(f"{line}\n" for line in head(command))
    assert expected.startswith(f"usage: scripts/{command}") and f"\nExample: scripts/{command}" in expected

    for words in (["-h"], ["--help"], ["first", "-h"]):
        assert call(bare, ROOT / "scripts" / command, *words) == (0, expected, "")
    for script, folder in ((f"scripts/{command}", ROOT), (command, ROOT / "scripts")):
        assert call(bare, "bash", script, "-h", cwd=folder) == (0, expected, "")


@pytest.mark.parametrize("command, words, told", [(command, words, told) for command, cases in WRONG.items()
                                                  for words, told in cases])
def test_wrong_usage_is_told_in_a_sentence_with_the_usage(bare, tmp_path, command, words, told):
    cwd = ROOT if "README.md" in words else tmp_path

    assert call(bare, ROOT / "scripts" / command, *words.split(), cwd=cwd) == (2, "", f"{told}\n{usage(command)}")
    assert list(tmp_path.iterdir()) == []


def test_no_command_is_left_out():
    assert sorted(WRONG) == COMMANDS


@pytest.mark.parametrize("command, words", [
    ("compare.sh", "--preset workstation-laptop a.csv"), ("compare.sh", "--keep"), ("import.sh", "-odd.csv"),
    ("import.sh", "--time t --power p --unit mW a.csv"),
    ("mutate.sh", "--part 3/3 engine controller/tiers.cpp"), ("package.sh", "255.255.65535.65535 x"),
    ("report.sh", "a.csv -o b.html b.csv"), ("soak.sh", "--year 10"),
    ("test.sh", "-R Tier|report -E x -LE y -j 4 -j2 --repeat until-fail:2 --verbose")])
def test_right_usage_goes_on_to_what_is_missing(bare, tmp_path, command, words):
    (tmp_path / "-odd.csv").touch()
    with pytest.raises(AssertionError, match="dpkg-query"):
        call(bare, ROOT / "scripts" / command, *words.split(), cwd=tmp_path)
    (bare / "called").unlink()
