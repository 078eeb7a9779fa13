"""Start and stop of the installed service, at every moment."""

import shutil
import time

import pytest
from conftest import POLL_S, SCALING_ON, SCALING_STARTS_S, STEP_S

# STOP is noticed within one poll; a start of the engine that is just pending comes first.
STOP_S = POLL_S + 2 + 5


def stopped_cleanly(kelvane):
    status = kelvane.query()
    return status["STATE"] == 1 and status["WIN32_EXIT_CODE"] == 0 and status["CHECKPOINT"] == 3


def test_stop_while_the_engine_waits(kelvane):
    kelvane.start()

    kelvane.stop(STOP_S)

    assert stopped_cleanly(kelvane)
    assert kelvane.event_texts() == []
    assert kelvane.capability() == 2
    assert kelvane.service_data() == ["Capability key is present",
                                      "ORQ drivers are present , Capability value is set to 2"]


def test_stop_while_scaling_leaves_the_limits_as_they_are(kelvane):
    kelvane.start_scaling()
    time.sleep(STEP_S / 4)
    written = len(kelvane.writes())

    kelvane.stop(STOP_S)

    assert stopped_cleanly(kelvane)
    assert [write for write in kelvane.writes()[written:] if write[1] in (10000, 17000)] == []
    assert "Stop is called from the registry " not in kelvane.messages()


def test_stop_while_the_engine_is_about_to_start(kelvane):
    kelvane.start_to_wait()
    kelvane.write_control(2)
    time.sleep(POLL_S + 0.5)  # the gate was seen, the two seconds before the start run

    kelvane.stop(STOP_S)

    assert stopped_cleanly(kelvane)


def test_stop_during_the_pauses_of_active_idle(kelvane):
    kelvane.start_scaling("0,power_mw,700\n")
    kelvane.wait_for_message("processid Stop Service is Called", STEP_S)

    kelvane.stop(STOP_S)

    assert stopped_cleanly(kelvane)


def test_stop_and_start_twenty_times_in_a_row(kelvane):
    for _ in range(20):
        kelvane.start()
        kelvane.stop(STOP_S)
        assert stopped_cleanly(kelvane)
    assert kelvane.service_data().count("Capability key is present") == 20
    assert kelvane.event_texts() == []


def test_a_second_stop_is_refused_or_ignored(kelvane):
    kelvane.start()

    kelvane.request_stop()
    kelvane.control_manager("stop", "Tarvo(R) Kelvane", check=False)
    kelvane.wait_for_state("STOPPED", STOP_S)

    assert stopped_cleanly(kelvane)


def test_a_killed_service_starts_again_with_an_empty_log(kelvane):
    kelvane.start_scaling()
    assert kelvane.messages() != []

    kelvane.kill()
    kelvane.write_control(0)
    kelvane.start()

    assert kelvane.messages() == []
    kelvane.wait_for_service_data("Capability key is present", count=2)
    kelvane.switch_on()
    kelvane.wait_for_writes(SCALING_ON, STEP_S)


def test_missing_drivers_are_published_and_reported(kelvane):
    kelvane.delete_key(r"HKLM\SYSTEM\CurrentControlSet\Services\orq_cpu")

    kelvane.start()

    kelvane.wait_for_service_data("ORQ drivers are not presnt present , Capability value is set to 1")
    assert kelvane.capability() == 1
    assert kelvane.event_texts() == ["KV::Orq Drivers are not present, Please install the drivers"]


def test_a_missing_capability_key_is_reported_and_not_made(kelvane):
    kelvane.delete_key(r"HKLM\SOFTWARE\Tarvo\KV")

    kelvane.start()

    kelvane.wait_for_service_data("ORQ drivers are present , Capability value is set to 2")
    assert kelvane.capability() is None
    assert kelvane.service_data()[0] == "KV registry write failed"
    assert kelvane.event_texts() == ["KV Registry is not exists, Install the package again"]


def test_without_the_control_key_the_engine_never_starts(kelvane):
    kelvane.delete_key(r"HKLM\SYSTEM\CurrentControlSet\Services\LITSSVC\IC\KV")

    kelvane.start()

    kelvane.wait_for_event_text("KV::Failed in RegOpenKeyEx LITSSVC IC KV with kiostot control")
    kelvane.write_control(2)
    time.sleep(POLL_S + 4)
    assert kelvane.trace() == []
    kelvane.stop(STOP_S)
    assert stopped_cleanly(kelvane)


@pytest.mark.parametrize("core", [None, "no image", "wevtapi.dll", "orqcore-othersize.dll", "orqcore-hanging.dll"])
def test_a_core_that_cannot_be_used_ends_scaling_and_leaves_the_service(kelvane, core):
    library = kelvane.core_folder / "orqcore.dll"
    library.unlink()
    if core == "no image":
        library.write_text("not a library")
    elif core:
        shutil.copy(kelvane.build / "standins" / core, library)

    kelvane.start_to_wait()
    kelvane.write_control(2)

    kelvane.wait_for_message(" KV Start MS/CS is initializing the ORQ, Scaling is stopped ", SCALING_STARTS_S)
    kelvane.wait_for_message("Kiostot registry: Stop KV completed", STEP_S)
    assert kelvane.trace() == []
    assert kelvane.state() == "RUNNING"
    kelvane.stop(STOP_S)
    assert stopped_cleanly(kelvane)
