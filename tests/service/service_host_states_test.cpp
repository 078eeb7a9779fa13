#include "service/service_host.h"
#include "state/state.h"
#include "tests/service/fake_reports.h"
#include "tests/service/fake_service_manager.h"
#include "tests/support/call_list.h"
#include "tests/support/failing_calls.h"
#include "tests/support/rows.h"
#include "tests/support/standard_error.h"
#include "tests/support/store_watch.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr char registerHandler[] = "register handler Tarvo(R) Kelvane";
constexpr char createEvent[] = "create event 1, 0";
constexpr char waitForWorker[] = "wait for worker without limit";
constexpr char closeEvent[] = "close event";
constexpr char notStopped[] = "event Unable to set service status to STOP";

constexpr DWORD stop = 1;

using Texts = std::vector<std::string>;

class ServiceStates : public testing::Test {
protected:
    FakeServiceManager manager;
};

struct EntryRow {
    bool refused = true;
    DWORD error;
    int exitCode;
    std::string standardError = "";
};

class ServiceEntry : public WithRow<ServiceStates, EntryRow> {};

TEST_ROWS(ServiceEntry, ROW(.refused = false, .error = 1063, .exitCode = 0), ROW(.error = 1056, .exitCode = 1056),
          // started by hand
          ROW(.error = 1063, .exitCode = 1063,
              .standardError = "kelvane.exe is the Windows service \"Tarvo(R) Kelvane\": install it by "
                               "kelvane-1.0.11406.42226-x64.msi and start it by net start \"Tarvo(R) Kelvane\".\n"));

TEST_ROW(ServiceEntry, HandsTheProcessToTheServiceManagerAndReportsItsRefusal)
{
    if (row().refused) failCalls({ "StartServiceCtrlDispatcherW" });
    manager.lastError = row().error;
    StandardError errors;
    onServiceEvent = [] { EXPECT_FALSE(StandardError::written()); };

    EXPECT_EQ(runService(), row().exitCode);

    EXPECT_EQ(errors.text(), row().standardError);
    Texts expected = { "dispatch Tarvo(R) Kelvane" };
    if (row().refused) expected.emplace_back("event Kelvane: Main: StartServiceCtrlDispatcher returned error");
    EXPECT_EQ(noted(), expected);
}

// A life from start to end, perhaps with a STOP while the worker works.
struct LifeRow {
    std::set<std::string> failing = {};
    bool stopped = false;
    Texts calls;
};

class ServiceLife : public WithRow<ServiceStates, LifeRow> {};

TEST_ROWS(
    ServiceLife,
    ROW(.calls = { registerHandler, startPending, createEvent, running, "create worker", waitForWorker, closeEvent,
                   stopped, "close worker" }),
    ROW(.stopped = true, .calls = { registerHandler, startPending, createEvent, running, "create worker", waitForWorker,
                                    stopPending, "set event", closeEvent, stopped, "close worker" }),
    // without a handler the service does not start, and nothing is reported
    ROW(.failing = { "RegisterServiceCtrlHandlerW" }, .calls = { registerHandler }),
    // the service goes on after reports that are refused
    ROW(.failing = { "SetServiceStatus, 1", "SetServiceStatus, 2", "SetServiceStatus, 4" },
        .calls = { registerHandler, startPending,
                   "event ServiceMain: Unable to start the service after registering with SCM", createEvent, running,
                   "event ServiceMain: unable to set the service status", "create worker", waitForWorker, closeEvent,
                   stopped, "event ServiceMain: Unable to STOP the service", "close worker" }),
    // without a stop event it ends with the error; the message about that belongs to the report that is refused
    ROW(.failing = { "CreateEventW, stop" }, .calls = { registerHandler, startPending, createEvent, stoppedByError }),
    ROW(.failing = { "CreateEventW, stop", "SetServiceStatus, 1" },
        .calls = { registerHandler, startPending, createEvent, stoppedByError,
                   "event ServiceMain: Unable to create a STOP event for service" }),
    // a worker that does not start is waited for all the same, and not closed
    ROW(.failing = { "CreateThread" }, .calls = { registerHandler, startPending, createEvent, running, "create worker",
                                                  "wait for nothing without limit", closeEvent, stopped }),
    // the one text for two failures of a STOP
    ROW(.failing = { "SetServiceStatus, 3", "SetEvent" }, .stopped = true,
        .calls = { registerHandler, startPending, createEvent, running, "create worker", waitForWorker, stopPending,
                   notStopped, "set event", notStopped, closeEvent, stopped, "close worker" }),
    ROW(.failing = { "SetEvent" }, .stopped = true,
        .calls = { registerHandler, startPending, createEvent, running, "create worker", waitForWorker, stopPending,
                   "set event", notStopped, closeEvent, stopped, "close worker" }));

TEST_ROW(ServiceLife, IsReportedInThisOrder)
{
    failCalls(row().failing);
    if (row().stopped) manager.onThreadWait = [] { serviceControlHandler(stop); };

    ServiceMain(0, nullptr);

    EXPECT_THAT(noted(), ElementsAreArray(row().calls));
    EXPECT_EQ(g_serviceRunning, !row().stopped);
    EXPECT_EQ(g_stopEvent == fakeStopEvent, !notedOf(running).empty());
}

TEST_F(ServiceStates, SecondLifeBeginsWithAnEmptyStatus)
{
    manager.onThreadWait = [this] { manager.waitHintLeft = 99; };
    ServiceMain(0, nullptr);
    forgetNotes();
    manager.onThreadWait = nullptr;
    manager.waitHintLeft = 0;

    ServiceMain(0, nullptr);

    EXPECT_THAT(notedOf("status"), ElementsAre(startPending, running, stopped));
}

TEST_F(ServiceStates, StopEndsTheServiceThenTheEngineAndIsThenReported)
{
    manager.onThreadWait = [] {
        const StoreWatch watch({ WATCHED(g_serviceRunning), WATCHED(g_engineState), WATCHED(g_serviceStopping) },
                               noteStore);
        forgetNotes();
        serviceControlHandler(stop);
    };

    ServiceMain(0, nullptr);

    EXPECT_THAT(noted(), ElementsAre("store g_serviceRunning 0", "store g_engineState 0", "store g_serviceStopping 1",
                                     stopPending, "set event", closeEvent, stopped, "close worker"));
}

// A control that comes while a state is reported.
struct ControlRow {
    DWORD control = stop;
    DWORD state = SERVICE_RUNNING;
};

class IgnoredControl : public WithRow<ServiceStates, ControlRow> {};

TEST_ROWS(IgnoredControl, ROW(.state = SERVICE_START_PENDING), ROW(.state = SERVICE_STOP_PENDING),
          ROW(.state = SERVICE_STOPPED),
          // anything but a stop
          ROW(.control = 0), ROW(.control = 2), ROW(.control = 3), ROW(.control = 4), ROW(.control = 5),
          ROW(.control = 6), ROW(.control = 13), ROW(.control = 128), ROW(.control = 0xFFFFFFFF));

TEST_ROW(IgnoredControl, ChangesNothingAndIsNotReported)
{
    int sent = 0;
    manager.onStatus = [&](DWORD state) {
        if (state != row().state) return;
        sent += 1;
        forgetNotes();
        requestEngineStop(false);
        g_engineState = 3;
        const bool runningBefore = g_serviceRunning;

        serviceControlHandler(row().control);

        EXPECT_THAT(noted(), IsEmpty());
        EXPECT_EQ(g_serviceStopping, 0);
        EXPECT_EQ(g_engineState, 3);
        EXPECT_EQ(g_serviceRunning, runningBefore);
    };
    manager.onThreadWait = [] { serviceControlHandler(stop); };

    ServiceMain(0, nullptr);

    EXPECT_EQ(sent, 1);
}

}  // namespace
}  // namespace kelvane::tests
