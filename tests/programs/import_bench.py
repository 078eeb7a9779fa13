"""What the importer's tests share: an import of a log, whose scenario the replay program must accept.

KELVANE_REPLAY is as in test_replay_command.py.
"""

import os
import pathlib
import re
import shlex
import subprocess

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
IMPORT = str(ROOT / "scripts/import.sh")
REPLAY = shlex.split(os.environ.get("KELVANE_REPLAY", shlex.quote(str(ROOT / "scripts/replay.sh"))))


class Imported:
    def __init__(self, run, name):
        self.code, self.text = run.returncode, run.stdout.decode("ascii")
        self.rows = [row for row in self.text.splitlines()[1:] if not row.startswith("#")]
        messages = run.stderr.decode("ascii").splitlines()
        self.complaints = [line.removeprefix(f"{name}:") for line in messages if line.startswith(f"{name}:")]
        self.facts = dict(re.split(" {3,}", line, maxsplit=1) for line in messages if "   " in line)


def run_import(*arguments, cwd, **options):
    return subprocess.run([IMPORT, *map(str, arguments)], cwd=cwd, stdin=subprocess.DEVNULL, stderr=subprocess.PIPE,
                          timeout=120, check=False, **({"stdout": subprocess.PIPE} | options))


@pytest.fixture(name="imported")
def import_and_replay(tmp_path):
    def call(content, name="log.txt"):
        (tmp_path / name).write_bytes(content if isinstance(content, bytes) else content.encode())
        run = run_import(name, cwd=tmp_path)
        result = Imported(run, name)
        if result.code == 0:
            (tmp_path / "scenario.csv").write_bytes(run.stdout)
            replay = subprocess.run([*REPLAY, "scenario.csv", "trace.csv"], cwd=tmp_path, stdin=subprocess.DEVNULL,
                                    capture_output=True, timeout=120, check=False)
            assert (replay.returncode, replay.stderr) == (0, b"")
        return result
    return call


def powers(result):
    return [row for row in result.rows if ",power_mw," in row]
