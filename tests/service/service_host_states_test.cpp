#include "service/service_host.h"
#include "state/state.h"
#include "tests/service/fake_reports.h"
#include "tests/service/fake_service_manager.h"
#include "tests/support/call_list.h"
#include "tests/support/standard_error.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Status reports: type, state, controls, exit code, specific code, check point, hint.
constexpr char registerHandler[] = "register handler Tarvo(R) Kelvane";
constexpr char startPending[] = "status 16 2 0 0 0 0 0";
constexpr char createEvent[] = "create event 1, 0";
constexpr char running[] = "status 16 4 65 0 0 0 0";
constexpr char stopPending[] = "status 16 3 0 0 0 4 0";
constexpr char stopped[] = "status 16 1 0 0 0 3 0";

constexpr DWORD stop = 1;

class ServiceStates : public testing::Test {
protected:
    FakeServiceManager manager;
};

TEST_F(ServiceStates, EntryHandsTheProcessToTheServiceManager)
{
    EXPECT_EQ(runService(), 0);

    EXPECT_THAT(noted(), ElementsAre("dispatch Tarvo(R) Kelvane"));
}

TEST_F(ServiceStates, EntryThatIsRefusedReportsItAndEndsWithTheErrorCode)
{
    manager.dispatches = false;
    manager.lastError = 1063;

    EXPECT_EQ(runService(), 1063);

    EXPECT_THAT(noted(), ElementsAre("dispatch Tarvo(R) Kelvane",
                                     "event Kelvane: Main: StartServiceCtrlDispatcher returned error"));
}

TEST_F(ServiceStates, EntryStartedByHandSaysOnOneLineHowToInstallAndStartTheService)
{
    manager.dispatches = false;
    manager.lastError = 1063;
    StandardError errors;

    EXPECT_EQ(runService(), 1063);

    EXPECT_EQ(errors.text(), "kelvane.exe is the Windows service \"Tarvo(R) Kelvane\": install it by "
                             "kelvane-1.0.11406.42226-x64.msi and start it by net start \"Tarvo(R) Kelvane\".\n");
}

TEST_F(ServiceStates, EntryRefusedForAnotherReasonOrEndedByAStopSaysNothing)
{
    StandardError errors;

    EXPECT_EQ(runService(), 0);
    manager.dispatches = false;
    manager.lastError = 1056;
    EXPECT_EQ(runService(), 1056);

    EXPECT_EQ(errors.text(), "");
}

TEST_F(ServiceStates, LifeFromStartToStopIsReportedInThisOrder)
{
    ServiceMain(0, nullptr);

    EXPECT_THAT(noted(), ElementsAre(registerHandler, startPending, createEvent, running, "create worker",
                                     "wait for worker without limit", "close event", stopped, "close worker"));
    EXPECT_EQ(g_stopEvent, fakeStopEvent);
}

TEST_F(ServiceStates, WithoutAHandlerTheServiceDoesNotStartAndNothingIsReported)
{
    manager.registersHandler = false;

    ServiceMain(0, nullptr);

    EXPECT_THAT(noted(), ElementsAre(registerHandler));
}

TEST_F(ServiceStates, ReportsThatAreRefusedAreReportedAndTheServiceGoesOn)
{
    manager.refusedStates = { 1, 2, 4 };

    ServiceMain(0, nullptr);

    EXPECT_THAT(noted(), ElementsAre(registerHandler, startPending,
                                     "event ServiceMain: Unable to start the service after registering with SCM",
                                     createEvent, running, "event ServiceMain: unable to set the service status",
                                     "create worker", "wait for worker without limit", "close event", stopped,
                                     "event ServiceMain: Unable to STOP the service", "close worker"));
}

TEST_F(ServiceStates, WithoutAStopEventTheServiceEndsWithItsErrorCodeAndNoMessage)
{
    manager.makesEvent = false;
    manager.lastError = 1450;

    ServiceMain(0, nullptr);

    EXPECT_THAT(noted(), ElementsAre(registerHandler, startPending, createEvent, "status 16 1 0 1450 0 1 0"));
}

TEST_F(ServiceStates, MessageAboutTheStopEventBelongsToTheReportThatIsRefused)
{
    manager.makesEvent = false;
    manager.lastError = 1450;
    manager.refusedStates = { 1 };

    ServiceMain(0, nullptr);

    EXPECT_THAT(noted(), ElementsAre(registerHandler, startPending, createEvent, "status 16 1 0 1450 0 1 0",
                                     "event ServiceMain: Unable to create a STOP event for service"));
}

TEST_F(ServiceStates, WorkerThatDoesNotStartIsWaitedForAllTheSameAndNotClosed)
{
    manager.makesThread = false;

    ServiceMain(0, nullptr);

    EXPECT_THAT(noted(), ElementsAre(registerHandler, startPending, createEvent, running, "create worker",
                                     "wait for nothing without limit", "close event", stopped));
}

TEST_F(ServiceStates, SecondLifeBeginsWithAnEmptyStatus)
{
    manager.onThreadWait = [] { serviceControlHandler(stop); };
    ServiceMain(0, nullptr);
    forgetNotes();
    manager.onThreadWait = nullptr;

    ServiceMain(0, nullptr);

    EXPECT_THAT(notedOf("status"), ElementsAre(startPending, running, stopped));
}

TEST_F(ServiceStates, StopWhileRunningStopsTheEngineReportsAndSetsTheEvent)
{
    int stateAtReport = -1;
    bool runningAtReport = true;
    int stoppingAtReport = -1;
    manager.onStatus = [&](DWORD state) {
        if (state != 3) return;
        stateAtReport = g_engineState;
        runningAtReport = g_serviceRunning;
        stoppingAtReport = g_serviceStopping;
    };
    manager.onThreadWait = [] { serviceControlHandler(stop); };

    ServiceMain(0, nullptr);

    EXPECT_THAT(noted(), ElementsAre(registerHandler, startPending, createEvent, running, "create worker",
                                     "wait for worker without limit", stopPending, "set event", "close event", stopped,
                                     "close worker"));
    EXPECT_EQ(stateAtReport, 0);
    EXPECT_EQ(stoppingAtReport, 1);
    EXPECT_FALSE(runningAtReport);
    EXPECT_FALSE(g_serviceRunning);
}

TEST_F(ServiceStates, StopWhoseReportAndEventBothFailIsReportedTwice)
{
    manager.refusedStates = { 3 };
    manager.setsEvent = false;
    manager.onThreadWait = [] {
        forgetNotes();
        serviceControlHandler(stop);
        EXPECT_THAT(noted(), ElementsAre(stopPending, "event Unable to set service status to STOP", "set event",
                                         "event Unable to set service status to STOP"));
    };

    ServiceMain(0, nullptr);

    EXPECT_EQ(noted().size(), 7U);
}

TEST_F(ServiceStates, EventThatCannotBeSetAloneIsReportedOnce)
{
    manager.setsEvent = false;
    manager.onThreadWait = [] { serviceControlHandler(stop); };

    ServiceMain(0, nullptr);

    EXPECT_THAT(notedOf("event"), ElementsAre("event Unable to set service status to STOP"));
}

TEST_F(ServiceStates, SecondStopIsIgnored)
{
    manager.onThreadWait = [] {
        serviceControlHandler(stop);
        forgetNotes();
        requestEngineStop(false);

        serviceControlHandler(stop);

        EXPECT_THAT(noted(), IsEmpty());
        EXPECT_EQ(g_serviceStopping, 0);
    };

    ServiceMain(0, nullptr);

    EXPECT_THAT(notedOf("close"), ElementsAre("close event", "close worker"));
}

TEST_F(ServiceStates, StopWhileStillStartingIsIgnored)
{
    manager.onStatus = [](DWORD state) {
        if (state == 2) serviceControlHandler(stop);
    };

    ServiceMain(0, nullptr);

    EXPECT_THAT(notedOf("status"), ElementsAre(startPending, running, stopped));
    EXPECT_TRUE(g_serviceRunning);
    EXPECT_EQ(g_serviceStopping, 0);
    EXPECT_EQ(g_engineState, 3);
}

TEST_F(ServiceStates, StopAfterTheEndIsIgnored)
{
    ServiceMain(0, nullptr);
    forgetNotes();

    serviceControlHandler(stop);

    EXPECT_THAT(noted(), IsEmpty());
    EXPECT_TRUE(g_serviceRunning);
}

TEST_F(ServiceStates, EveryOtherControlIsIgnoredWithoutAReport)
{
    manager.onThreadWait = [] {
        forgetNotes();
        for (const DWORD control : { DWORD{ 0 }, DWORD{ 2 }, DWORD{ 3 }, DWORD{ 4 }, DWORD{ 5 }, DWORD{ 6 },
                                     DWORD{ 13 }, DWORD{ 128 }, DWORD{ 0xFFFFFFFF } }) {
            serviceControlHandler(control);
        }
        EXPECT_THAT(noted(), IsEmpty());
    };

    ServiceMain(0, nullptr);

    EXPECT_TRUE(g_serviceRunning);
    EXPECT_EQ(g_engineState, 3);
    EXPECT_THAT(notedOf("status"), ElementsAre(stopped));
}

}  // namespace
}  // namespace kelvane::tests
