"""What a command says when a package is missing and it cannot install it: one sentence, and nothing else happens."""

import pathlib
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]


def install(surroundings):
    """Asks for a package that no system has, with some of the shell's commands replaced."""
    script = f'source "$1/scripts/common.sh"\napt-get() {{ echo "apt-get was called"; }}\n{surroundings}\n' \
             "install_packages kelvane-no-such-package bash"
    return subprocess.run(["bash", "-c", script, "bash", ROOT], stdin=subprocess.DEVNULL, capture_output=True,
                          text=True, timeout=60, check=False)


def test_another_system_is_told_which_packages_are_meant():
    run = install("is_known_debian() { return 1; }")

    assert run.returncode == 1
    assert run.stderr == ("Only Debian 12 and 13 are known here, and this system is neither. "
                          "It lacks what these Debian packages hold: kelvane-no-such-package\n")
    assert run.stdout == ""


def test_user_without_sudo_gets_the_line_for_the_administrator():
    run = install("is_known_debian() { return 0; }\nid() { echo 1000; }\ncommand() { return 1; }")

    assert run.returncode == 1
    assert run.stderr == ("Packages are missing, and there is no sudo. "
                          "As root: apt-get install kelvane-no-such-package\n")
    assert run.stdout == ""


def test_user_with_sudo_has_them_installed_by_it_without_a_question():
    run = install('is_known_debian() { return 0; }\nid() { echo 1000; }\nsudo() { echo "sudo $*" >&2; }')

    assert run.returncode == 0
    assert run.stderr.splitlines() == [
        "installing kelvane-no-such-package", "sudo apt-get update -qq",
        "sudo env DEBIAN_FRONTEND=noninteractive "
        "apt-get install -y -qq --no-install-recommends kelvane-no-such-package"]


def test_nothing_is_said_when_nothing_is_missing():
    run = subprocess.run(["bash", "-c", 'source "$1/scripts/common.sh"\ninstall_packages bash', "bash", ROOT],
                         stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60, check=False)

    assert (run.returncode, run.stdout, run.stderr) == (0, "", "")
