"""What a command says when a package is missing and it cannot install it: one sentence, and nothing else happens."""

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
     "Packages are missing, and there is no sudo. As root: apt-get install kelvane-no-such-package\n"),
], ids=["another system", "a user without sudo"])
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


def test_nothing_is_said_when_nothing_is_missing():
    done = install("", "bash")

    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")
