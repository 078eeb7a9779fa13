"""The installed service, switched by its public doors: control value, process starts, standby, stop."""

import os
import signal
import time

from conftest import LIMITS_RESTORED, POLL_S, SCALING_ON, SCALING_STARTS_S, STEP_S

from tools.wine.service import CONTROL_KEY

QUIET = "0,power_mw,2400\n"


def test_the_engine_waits_until_the_control_value_is_two(kelvane):
    kelvane.start_to_wait()
    kelvane.write_control(1)
    time.sleep(POLL_S + 3)
    assert kelvane.trace() == []

    kelvane.switch_on()

    kelvane.wait_for_writes(SCALING_ON, STEP_S)
    assert kelvane.writes()[:4] == SCALING_ON
    assert kelvane.messages()[0].startswith("Logger file is") and kelvane.messages()[0].endswith("KelvanneApp.log")
    assert kelvane.messages()[1:3] == ["processidCapture started", "KV scaling is started : "]


def test_a_process_start_raises_the_ceiling_within_the_watchers_second_unless_it_is_in_the_background(kelvane):
    kelvane.start_scaling(QUIET)
    written = len(kelvane.writes())

    kelvane.start_program("RuntimeBroker.exe")
    kelvane.start_program("OneDrive.exe")
    time.sleep(5)
    assert ("SET_PERF_PREFERENCE_MAX", 10000) not in kelvane.writes()

    kelvane.start_program("editor.exe")
    kelvane.wait_for_writes([("SET_PERF_PREFERENCE_MAX", 10000)], 5, after=written)


def test_power_answers_to_the_ceiling_when_it_follows_from_work(kelvane):
    # One core of a thin laptop is busy for minutes: 2406 mW at the default ceiling 1200, 8800 mW at 10000.
    kelvane.start_scaling("0,processor,thin-laptop\n0,job,steady:600000:1\n")

    def read(milliwatts):
        return sum(row["value"] == str(milliwatts) for row in kelvane.calls("GET_RAPL_POWER"))

    kelvane.wait_for(lambda: read(2406) >= 3, STEP_S, "the power of one core at the default ceiling")
    assert read(8800) == 0

    kelvane.start_program("editor.exe")

    kelvane.wait_for(lambda: read(8800) >= 3, STEP_S, "the power of one core at full clock")
    assert [row["value"] for row in kelvane.calls("clock_permille")].count("1000") > 3


def test_work_may_arrive_while_the_service_runs_and_misplaced_inputs_are_told(kelvane):
    kelvane.start_scaling("0,processor,thin-laptop\n")

    kelvane.set_input("power_mw", "5000")
    kelvane.set_input("processor", "desktop")
    kelvane.set_input("job", "steady:600000:1")

    kelvane.wait_for(lambda: any(row["value"] not in ("", "0") for row in kelvane.calls("demand_core_ms")), STEP_S,
                     "unfinished work")
    assert kelvane.core_faults() == ["inputs.csv: power and clip reasons are those of the processor at work",
                                     "inputs.csv: processor and seed stand in the scenario"]


def test_a_job_without_a_processor_is_told(kelvane):
    kelvane.start_scaling(QUIET)

    kelvane.set_input("job", "steady:1000:1")

    kelvane.wait_for(kelvane.core_faults, STEP_S, "a fault")
    assert kelvane.core_faults() == ["inputs.csv: a job needs a scenario with a processor or a job"]


def test_any_other_value_restores_the_limits_and_two_scales_again(kelvane):
    kelvane.start_scaling()

    kelvane.write_control(0)

    kelvane.wait_for_restored_limits()
    kelvane.wait_for_message("Kiostot registry: Stop KV completed", STEP_S)
    assert [row["name"] for row in kelvane.trace()[-2:]] == ["SESSION_DISCONNECT", "SESSION_DESTROY"]
    assert kelvane.messages().count("Stop is called from the registry ") == 1
    assert kelvane.state() == "RUNNING"

    kelvane.switch_on()

    # The remembered ceiling is 1200 already, so none is written.
    kelvane.wait_for(lambda: kelvane.writes()[-2:] == SCALING_ON[:2], STEP_S, "the start limits")
    assert kelvane.messages().count("KV scaling is started : ") == 2


def test_a_second_two_while_scaling_starts_nothing_twice(kelvane):
    kelvane.start_scaling()

    kelvane.write_control("once more", kind="REG_SZ", value="AnotherValue")
    time.sleep(POLL_S + 4)

    assert len(kelvane.calls("INIT")) == 1
    assert kelvane.messages().count("KV scaling is started : ") == 1

    # The turned-away start is remembered for the life of the process: scaling stops, but is not torn down.
    kelvane.write_control(0)
    kelvane.wait_for_restored_limits()
    kelvane.write_control(2)
    time.sleep(POLL_S + 4)
    assert len(kelvane.calls("INIT")) == 1
    assert "Kiostot registry: Stop KV completed" not in kelvane.messages()


def test_a_two_that_comes_before_the_end_of_the_zero_leaves_scaling_off(kelvane):
    kelvane.start_scaling("0,power_mw,700\n")
    kelvane.wait_for_message("processid Stop Service is Called", STEP_S)  # seven seconds of pauses begin

    kelvane.write_control(0)
    kelvane.write_control(2)

    kelvane.wait_for_restored_limits()
    for number in (0, 2):
        kelvane.write_control(number)
        time.sleep(POLL_S + 4)
    assert len(kelvane.calls("INIT")) == 1
    assert "Kiostot registry: Stop KV completed" not in kelvane.messages()
    assert kelvane.state() == "RUNNING"


def test_a_two_that_is_there_at_the_start_waits_for_a_change(kelvane):
    kelvane.write_control(2)
    kelvane.start_to_wait()
    time.sleep(POLL_S + 4)
    assert kelvane.trace() == []

    kelvane.write_control("any", kind="REG_SZ", value="AnotherValue")

    kelvane.wait_for(lambda: kelvane.calls("INIT"), SCALING_STARTS_S, "a start")


def test_a_deleted_key_ends_its_watcher_until_the_service_starts_again(kelvane):
    kelvane.start_to_wait()

    # Wine tells of the end of the values, and not of the key's: the watcher looks when both are gone.
    service = kelvane.process_id()
    os.kill(service, signal.SIGSTOP)
    kelvane.delete_key(CONTROL_KEY)
    os.kill(service, signal.SIGCONT)

    kelvane.wait_for_service_data(" registryNotify() is closed")
    kelvane.write_control(2)
    time.sleep(POLL_S + 4)
    assert kelvane.trace() == []
    assert kelvane.state() == "RUNNING"
    kelvane.stop()
    kelvane.start()
    kelvane.wait_for_service_data("Capability key is present", count=2)
    kelvane.write_control(0)
    kelvane.switch_on()


def test_standby_stops_scaling_and_the_service_lives_on(kelvane):
    kelvane.start_scaling()

    kelvane.fire_standby(506)

    kelvane.wait_for_restored_limits()
    kelvane.wait_for_message("Entering MS-506 ", STEP_S)
    kelvane.wait_for_message("Kiostot registry: Stop KV completed", STEP_S)
    assert kelvane.state() == "RUNNING"

    rows = len(kelvane.trace())
    kelvane.fire_standby(507)
    time.sleep(POLL_S + 3)
    assert len(kelvane.trace()) == rows

    kelvane.write_control("wake", kind="REG_SZ", value="AnotherValue")  # the control value is still two
    kelvane.wait_for(lambda: len(kelvane.calls("INIT")) == 2, 20, "a second start")


def test_standby_is_not_seen_when_the_subscription_fails_but_scaling_starts(kelvane):
    kelvane.fail_subscriptions(15007)

    kelvane.start_scaling()

    assert ("ERROR", "Channel was not foundSystem") in kelvane.diagnostic_log()


def test_values_of_other_kinds_switch_scaling_off(kelvane):
    for data, kind in ((3, "REG_DWORD"), ("2", "REG_SZ"), ("", "REG_SZ")):
        kelvane.switch_on() if kelvane.process_id() else kelvane.start_scaling()
        torn_down = kelvane.messages().count("Kiostot registry: Stop KV completed")

        kelvane.write_control(data, kind=kind)

        kelvane.wait_for_message("Kiostot registry: Stop KV completed", STEP_S, count=torn_down + 1)
        assert kelvane.writes()[-3:] == LIMITS_RESTORED


def test_a_deleted_value_is_reported_and_changes_nothing(kelvane):
    kelvane.start_scaling()

    kelvane.delete_control()

    kelvane.wait_for_event_text("KV::LITSSVC: Registry value KV is not present in the registry")
    time.sleep(POLL_S)
    assert kelvane.calls("SESSION_DISCONNECT") == []


def test_a_value_of_three_thousand_bytes_is_never_read(kelvane):
    kelvane.start_scaling()
    text = "KV::LITSSVC: Registry value KV is not present in the registry"

    for times in (1, 2):
        kelvane.write_control(f"{times}AFF" * 1500, kind="REG_BINARY")
        kelvane.wait_for(lambda: kelvane.event_texts().count(text) == times, STEP_S, f"the event text, {times} times")

    assert kelvane.calls("SESSION_DISCONNECT") == []
    assert kelvane.state() == "RUNNING"
