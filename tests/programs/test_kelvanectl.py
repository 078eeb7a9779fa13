"""kelvanectl at the installed service: what it prints, and its exit codes."""

import json
import re
import shutil
import subprocess

import pytest
from conftest import BUILD, STEP_S, VERSION

from tools.wine.prefix import COMMAND_TIMEOUT_S, WINE, wine_environment
from tools.wine.service import CAPABILITY_KEY, CONTROL_KEY, DRIVER_KEYS, SERVICE

ON_AGAIN = "write 0, wait a second, write 2"
SCALING_ENDS_S = 20
SERVICE_KEY = rf"HKLM\SYSTEM\CurrentControlSet\Services\{SERVICE}"
SOURCE_KEY = rf"HKLM\SYSTEM\CurrentControlSet\Services\EventLog\Application\{SERVICE}"
RESTARTS = "80510100" "00000000" "00000000" "04000000" "14000000" + "0100000060EA0000" * 3 + "00" * 8
CHECKS = ["service", "program", "account", "start type", "recovery", "version", "event source", "own key",
          "driver orq_acpi", "driver orq_cpu", "companion's key", "control value", "core", "System log", "log",
          "lost session"]


class Command:
    """kelvanectl in the prefix, beside the service and its stand-ins."""

    def __init__(self, kelvane):
        self.kelvane = kelvane
        self.program = kelvane.home / "kelvanectl.exe"
        shutil.copy(BUILD / "kelvanectl.exe", self.program)

    def run(self, *arguments):
        done = subprocess.run([WINE, str(self.program), *map(str, arguments)], stdin=subprocess.DEVNULL,
                              env=wine_environment(self.kelvane.prefix), capture_output=True, encoding="utf-8",
                              timeout=COMMAND_TIMEOUT_S, check=False)
        return done.returncode, done.stdout, done.stderr

    def status(self):
        """(exit code, what JSON says)"""
        code, text, errors = self.run("status", "--json")
        assert errors == ""
        return code, json.loads(text)

    def scaling(self):
        return self.status()[1]["scaling_by_the_log"]


@pytest.fixture(name="command")
def command_beside_the_service(kelvane):
    return Command(kelvane)


# --- status -----------------------------------------------------------------------------------------------------------

def test_status_of_a_machine_without_the_service(kelvane, command):
    kelvane.control_manager("delete", SERVICE)

    code, status = command.status()

    assert code == 4
    assert status["service"] == {"name": SERVICE, "state": "not installed"}
    assert status["scaling_by_the_log"] == {"state": "off", "needs": "install the service"}


def test_status_of_a_service_that_was_never_started(command):
    code, status = command.status()

    assert code == 3
    assert status["service"] == {
        "name": SERVICE, "state": "stopped", "process": 0, "start_type": "manual", "account": "LocalSystem",
        "program": r"C:\kv\kelvane.exe", "file_version": VERSION}
    assert status["scaling_by_the_log"]["needs"] == f"start the service, then {ON_AGAIN}"


def test_status_of_a_service_that_has_just_started(kelvane, command):
    kelvane.start_to_wait()
    kelvane.wait_for_service_data("ORQ drivers are present , Capability value is set to 2")

    code, status = command.status()

    assert code == 0
    assert status["service"]["state"] == "running"
    assert status["service"]["process"] > 0
    assert status["control"] == {"value": 0, "meaning": "scaling is not wanted"}
    assert status["drivers"] == {"capability": 2, "meaning": "the drivers were present when the service started",
                                 "orq_acpi": "present", "orq_cpu": "present"}
    assert status["core"]["path"] == r"C:\windows\system32\Tarvo\ORQ\orqcore.dll"
    assert status["core"]["file"] == "present"
    assert status["scaling_by_the_log"] == {"state": "off", "since": None, "ended_last_by": None, "needs": ON_AGAIN,
                                            "can_be_switched_on_without_restart": "yes"}
    assert status["last_log_entries"] == []
    assert status["files"]["service_data"] == r"C:\windows\KVServicedata.txt"
    assert status["files"]["diagnostic_log"].endswith(r"\AppData\Roaming\KelvanneApp\logs\KelvanneApp.log")


def test_status_follows_scaling_on_and_off(kelvane, command):
    kelvane.start_scaling()

    code, status = command.status()

    assert code == 0
    assert status["control"] == {"value": 2, "meaning": "scaling is wanted"}
    scaling = status["scaling_by_the_log"]
    assert (scaling["state"], scaling["needs"]) == ("on", None)
    assert scaling["can_be_switched_on_without_restart"] == "unknown until the next stop"
    assert re.fullmatch(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d", scaling["since"])
    assert any("KV scaling is started :   (Scaling starts)" in line for line in status["last_log_entries"])

    kelvane.write_control(0)
    kelvane.wait_for_message("Kiostot registry: Stop KV completed", SCALING_ENDS_S)

    scaling = command.scaling()
    assert (scaling["state"], scaling["ended_last_by"], scaling["needs"]) == ("off", "value", ON_AGAIN)


def test_status_after_standby(kelvane, command):
    kelvane.start_scaling()
    kelvane.fire_standby(506)
    kelvane.wait_for_message("Kiostot registry: Stop KV completed", SCALING_ENDS_S)

    scaling = command.scaling()

    assert (scaling["state"], scaling["ended_last_by"], scaling["needs"]) == ("off", "standby", ON_AGAIN)


def test_status_without_keys_and_core(kelvane, command):
    for key in (CONTROL_KEY, CAPABILITY_KEY, DRIVER_KEYS[1]):
        kelvane.delete_key(key)
    (kelvane.core_folder / "orqcore.dll").unlink()

    code, status = command.status()

    assert code == 3
    assert status["control"] == {"value": "missing"}
    assert status["drivers"] == {"capability": "missing", "orq_acpi": "present", "orq_cpu": "missing"}
    assert status["core"] == {"path": r"C:\windows\system32\Tarvo\ORQ\orqcore.dll", "file": "missing"}


def test_status_of_a_start_without_the_core(kelvane, command):
    (kelvane.core_folder / "orqcore.dll").unlink()
    kelvane.start_to_wait()
    kelvane.write_control(2)
    kelvane.wait_for_message("Kiostot registry: Stop KV completed", SCALING_ENDS_S)

    scaling = command.scaling()

    assert (scaling["state"], scaling["ended_last_by"], scaling["needs"]) == ("off", "failed start", ON_AGAIN)


def test_status_for_people_says_the_same_in_lines(command):
    code, text, errors = command.run("status")

    assert (code, errors) == (3, "")
    assert text.splitlines()[:3] == ["service", f"  name: {SERVICE}", "  state: stopped"]
    assert f"  needs: start the service, then {ON_AGAIN}" in text.splitlines()


# --- log --------------------------------------------------------------------------------------------------------------

def test_log_prints_the_services_entries_a_line_each_and_leaves_the_file_alone(kelvane, command):
    kelvane.start_scaling()
    kelvane.stop(STEP_S)
    before = kelvane.diagnostic_log_file().read_bytes()

    code, text, errors = command.run("log")

    assert (code, errors) == (0, "")
    assert kelvane.diagnostic_log_file().read_bytes() == before
    lines = [re.fullmatch(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d  (\w+)  (.*?)(?:  \((.*)\))?", line)
             for line in text.splitlines()]
    assert [line[1] for line in lines] == [level for level, _ in kelvane.diagnostic_log()]
    assert "processidCapture started" in [line[2] for line in lines]
    assert all(line[3] for line in lines)


def test_log_of_another_pc_with_umlauts_in_its_name(kelvane, command):
    (kelvane.home / "Grüße").mkdir()
    (kelvane.home / "Grüße/Köln.log").write_bytes(b"[Sun Nov 22 08:58:15 2026\n][DEBUG] KV scaling is started : \n")

    code, text, errors = command.run("log", "C:\\kv\\Grüße\\Köln.log")

    assert (code, errors) == (0, "")
    assert text == "2026-11-22 08:58:15  DEBUG  KV scaling is started :   (Scaling starts)\n"


def test_log_says_what_it_cannot_read(kelvane, command):
    (kelvane.home / "other.txt").write_text("no log\n", encoding="ascii")

    assert command.run("log", r"C:\kv\nowhere.log") == (
        1, "", "kelvanectl: there is no log C:\\kv\\nowhere.log: name another file.\n")
    assert command.run("log", r"C:\kv") == (1, "", "kelvanectl: there is no log C:\\kv: name another file.\n")
    assert command.run("log", r"C:\kv\other.txt") == (
        1, "", "kelvanectl: C:\\kv\\other.txt is no diagnostic log: name another file.\n")
    code, text, errors = command.run("log")
    assert (code, text) == (1, "")
    assert re.fullmatch(r"kelvanectl: there is no log .*\.log: start the service, which makes it\.\n", errors)


# --- usage ------------------------------------------------------------------------------------------------------------

def test_each_command_explains_itself_with_an_example(command):
    for words in ((), ("status",), ("verify",), ("log",)):
        code, text, errors = command.run(*words, "-h")
        assert (code, errors) == (0, "")
        assert re.search(r"\nExample: kelvanectl \w+", text)


@pytest.mark.parametrize("arguments", [[], ["dance"], ["status", "--jason"], ["status", "more"], ["log", "a", "b"]])
def test_wrong_usage_is_one_sentence_and_2(command, arguments):
    code, text, errors = command.run(*arguments)

    assert (code, text) == (2, "")
    assert re.fullmatch(r"kelvanectl: [^\n]+: see kelvanectl -h\.\n", errors)


# --- verify -----------------------------------------------------------------------------------------------------------

def install_whole(kelvane):
    """What the package enters beyond what the tests of the service need."""
    kelvane.control_manager("delete", SERVICE)
    kelvane.control_manager("create", SERVICE, "binPath=", r"C:\kv\kelvane.exe", "start=", "auto")
    kelvane.registry("add", SERVICE_KEY, "/v", "FailureActions", "/t", "REG_BINARY", "/d", RESTARTS, "/f")
    kelvane.registry("add", SOURCE_KEY, "/v", "EventMessageFile", "/t", "REG_EXPAND_SZ", "/d", r"C:\kv\kelvane.exe",
                     "/f")


def verify(command):
    """(exit code, results by name), and by name what is said of those that failed."""
    code, text, errors = command.run("verify", "--json")
    assert errors == ""
    checks = json.loads(text)["checks"]
    assert all((check["action"] is not None) == (check["result"] == "FAILED") for check in checks)
    return (code, {check["name"]: check["result"] for check in checks},
            {check["name"]: check["found"] for check in checks if check["result"] == "FAILED"})


def test_verify_finds_nothing_wrong_with_a_whole_installation(kelvane, command):
    install_whole(kelvane)

    assert verify(command) == (0, {**dict.fromkeys(CHECKS, "ok"), "System log": "unknown"}, {})
    kelvane.start_scaling()
    assert verify(command) == (0, {**dict.fromkeys(CHECKS, "ok"), "System log": "unknown"}, {})

    code, text, errors = command.run("verify")
    assert (code, errors, len(text.splitlines())) == (0, "", len(CHECKS))
    assert "ok       control value: 2: scaling is wanted" in text.splitlines()


def test_verify_without_the_service(kelvane, command):
    kelvane.control_manager("delete", SERVICE)

    code, results, failures = verify(command)

    assert code == 1
    assert list(results) == CHECKS
    assert failures == {"service": "missing", "event source": "missing"}
    assert [name for name, result in results.items() if result == "unknown"] == [
        "program", "account", "start type", "recovery", "version", "System log"]


def test_verify_names_each_thing_that_is_broken(kelvane, command):
    install_whole(kelvane)
    kelvane.registry("add", SERVICE_KEY, "/v", "FailureActions", "/t", "REG_BINARY", "/d", "00" * 28, "/f")
    for key in (CAPABILITY_KEY, *DRIVER_KEYS):
        kelvane.delete_key(key)
    kelvane.write_control("2", kind="REG_SZ")
    (kelvane.core_folder / "orqcore.dll").unlink()
    (kelvane.home / "kelvane.exe").unlink()
    (next(kelvane.drive.glob("users/*/AppData/Roaming")) / "KelvanneApp").mkdir()

    code, _, failures = verify(command)

    assert code == 1
    assert set(failures) == {"program", "recovery", "version", "event source", "own key", "driver orq_acpi",
                             "driver orq_cpu", "control value", "core", "log"}
    assert failures["control value"] == "a text, which is never taken for 2"


def test_verify_judges_the_control_value_and_its_key(kelvane, command):
    kelvane.write_control("02", kind="REG_BINARY")
    assert verify(command)[2]["control value"] == "shorter than four bytes"
    kelvane.delete_control()
    assert verify(command)[2]["control value"] == "missing"
    kelvane.delete_key(CONTROL_KEY)
    assert verify(command)[2]["companion's key"] == "missing"


def test_verify_finds_a_link_in_the_cores_place_and_leaves_it(kelvane, command):
    core = kelvane.core_folder / "orqcore.dll"
    core.unlink()
    core.symlink_to(kelvane.home, target_is_directory=True)

    _, _, failures = verify(command)

    assert failures["core"].endswith("is a link, which is removed")
    assert core.is_symlink()


def test_verify_finds_a_session_that_is_lost_because_2_stood_there_before(kelvane, command):
    kelvane.write_control(2)
    kelvane.start_to_wait()

    assert verify(command)[2]["lost session"] == "the value is 2, and scaling is off"


def test_verify_finds_a_path_that_has_blanks_and_no_quotes(kelvane, command):
    kelvane.control_manager("delete", SERVICE)
    kelvane.control_manager("create", SERVICE, "binPath=", r"C:\kv\a b\kelvane.exe")

    assert verify(command)[2]["program"] == r"C:\kv\a b\kelvane.exe has blanks and no quotes"
