"""What a command says when a package is missing and it cannot install it: one sentence, and nothing else happens."""

import re
import shutil

import pytest
from conftest import ROOT, run_command


def install(surroundings, *packages):
    """Asks for packages, with some of the shell's commands replaced."""
    script = f'source "$0/scripts/common.sh"\napt-get() {{ echo "apt-get was called"; }}\n{surroundings}\n' \
             'install_packages "$@"'
    return run_command("bash", "-c", script, ROOT, *packages, timeout=60)


@pytest.mark.parametrize("surroundings, told", [
    ("is_known_debian() { return 1; }", "Only Debian 12 and 13 are known here, and this system is neither. "
                                        "It lacks what these Debian packages hold: kelvane-no-such-package\n"),
    ("is_known_debian() { return 0; }\nid() { echo 1000; }\ncommand() { return 1; }",
     "Packages are missing, and there is no sudo. As root: "
     "apt-get update && apt-get install --no-install-recommends kelvane-no-such-package\n"),
    ("is_known_debian() { return 0; }\nid() { echo 1000; }\nsudo() { return 100; }",
     "installing kelvane-no-such-package\nPackages are missing, and installing them failed. As root: "
     "apt-get update && apt-get install --no-install-recommends kelvane-no-such-package\n"),
], ids=["another system", "a user without sudo", "a user whom sudo refuses"])
def test_who_cannot_have_them_installed_is_told_what_to_do(surroundings, told):
    done = install(surroundings, "kelvane-no-such-package", "bash")

    assert (done.returncode, done.stdout, done.stderr) == (1, "", told)


def test_user_with_sudo_has_them_installed_by_it_without_a_question():
    done = install('is_known_debian() { return 0; }\nid() { echo 1000; }\nsudo() { echo "sudo $*" >&2; }',
                   "kelvane-no-such-package", "bash")

    assert done.returncode == 0
    assert done.stderr.splitlines() == [
        "installing kelvane-no-such-package", "sudo apt-get update -qq",
        "sudo env DEBIAN_FRONTEND=noninteractive "
        "apt-get install -y -qq --no-install-recommends kelvane-no-such-package"]


@pytest.mark.parametrize("command", sorted(path.name for path in (ROOT / "scripts").glob("*.sh")
                                           if path.name != "common.sh"))
def test_every_command_names_all_packages_at_once_and_ends_with_1(tmp_path, command):
    """On a system that has none, and nobody to install them."""
    for name, says in {"dpkg-query": "exit 1", "id": "echo 1000"}.items():
        (tmp_path / name).write_text(f"#!/bin/sh\n{says}\n")
        (tmp_path / name).chmod(0o755)
    for name in ("basename", "bash", "dirname", "env", "flock", "git", "grep", "mkdir", "realpath", "sed", "setpriv"):
        (tmp_path / name).symlink_to(shutil.which(name))
    words = {"import.sh": ["log.csv"], "replay.sh": ["a.csv", "b.csv"], "report.sh": ["a.csv"]}.get(command, [])

    done = run_command(ROOT / "scripts" / command, *words, PATH=str(tmp_path), timeout=60)

    assert done.returncode == 1
    named = re.findall("apt-get install --no-install-recommends (.*)\n", done.stderr)
    assert len(named) == 1 and len(named[0].split()) >= 1
    assert "npm" in named[0].split() or command not in ("report.sh", "run.sh", "test.sh")


def test_nothing_is_said_when_nothing_is_missing():
    done = install("", "bash")

    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")
