#include "engine/state.h"
#include "state/state.h"
#include "tests/engine/engine_run.h"

#include <thread>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t noFrameworkSession = 0xFFFFFFFFFFFFFFFF;

TEST_F(EngineRun, StopOfScalingReleasesWmiAndLetsTheNextRunIn)
{
    g_sessionHandle = 5;
    onLoop = [] { requestEngineStop(false); };

    EXPECT_EQ(runEngine(3), 0);

    EXPECT_THAT(after("loop"), ElementsAre("services.CancelAsyncCall stubSink", "release services", "release locator",
                                           "release apartment", "release stub", "release stubSink", "CoUninitialize",
                                           "log 0 Kiostot registry: Stop KV completed"));
    EXPECT_EQ(g_engineStarted, 0);
    EXPECT_EQ(g_engineState, 0);
    EXPECT_EQ(g_wmiConnected, 1);
    EXPECT_EQ(g_wmiQueryIssued, 1);
    EXPECT_EQ(com.heldReferences(), 0);
}

TEST_F(EngineRun, StopOfTheServiceClosesTheSessionFirst)
{
    onLoop = [] {
        g_sessionHandle = 5;
        requestEngineStop(true);
    };

    EXPECT_EQ(runEngine(3), 1);

    EXPECT_THAT(after("loop"),
                ElementsAre("log 2 UnregisterEvents() called", "UnregisterEvent 5, 44", "UnregisterEvent 5, 34",
                            "UnregisterEvent 5, 10000", "UnregisterEvent 5, 183", "UnregisterEvent 5, 72",
                            "UnregisterEvent 5, 106", "SessionDisconnect 5", "SessionDestroy 5",
                            "services.CancelAsyncCall stubSink", "release services", "release locator",
                            "release apartment", "release stub", "release stubSink", "CoUninitialize",
                            "log 0 KV Windows Service is stopped"));
    EXPECT_EQ(g_sessionHandle, 5U);
    EXPECT_EQ(g_engineStarted, 1);
    EXPECT_EQ(com.heldReferences(), 0);
}

TEST_F(EngineRun, StopOfTheServiceWithoutASessionTouchesNoSession)
{
    g_sessionHandle = noFrameworkSession;
    onLoop = [] { requestEngineStop(true); };

    EXPECT_EQ(runEngine(3), 1);

    EXPECT_EQ(after("loop").front(), "services.CancelAsyncCall stubSink");
    EXPECT_EQ(after("loop").back(), "log 0 KV Windows Service is stopped");
}

TEST_F(EngineRun, StopOfTheServiceWithoutAQueryCancelsNothingButReleasesAll)
{
    onLoop = [] {
        g_wmiQueryIssued = 0;
        requestEngineStop(true);
    };

    EXPECT_EQ(runEngine(3), 1);

    EXPECT_THAT(after("loop"),
                ElementsAre("release services", "release locator", "release apartment", "release stub",
                            "release stubSink", "CoUninitialize", "log 0 KV Windows Service is stopped"));
}

TEST_F(EngineRun, StopOfTheServiceWithoutAConnectionLeavesWmiAndEndsWithZero)
{
    onLoop = [] {
        g_wmiConnected = 0;
        requestEngineStop(true);
    };

    EXPECT_EQ(runEngine(3), 0);

    EXPECT_THAT(after("loop"), ElementsAre("log 0 KV Windows Service is stopped"));
    EXPECT_EQ(com.heldReferences(), 5);
    EXPECT_EQ(g_engineStarted, 1);
}

TEST_F(EngineRun, WithoutAStubSinkNothingIsTornDown)
{
    com.noStubSink = true;
    for (const bool serviceStops : { false, true }) {
        SCOPED_TRACE(serviceStops);
        forgetNotes();
        g_engineStarted = 0;
        onLoop = [&] { requestEngineStop(serviceStops); };

        EXPECT_EQ(runEngine(3), 1);

        EXPECT_THAT(notedOf("release"), IsEmpty());
        EXPECT_THAT(notedOf("CoUninitialize"), IsEmpty());
        EXPECT_EQ(notedOf("log 0 KV Windows Service is stopped").size(), serviceStops ? 1U : 0U);
        EXPECT_EQ(g_engineStarted, 1);
    }
}

TEST_F(EngineRun, StopOfScalingWithoutAQueryTearsNothingDown)
{
    onLoop = [] { g_wmiQueryIssued = 0; };

    EXPECT_EQ(runEngine(3), 1);

    EXPECT_THAT(after("loop"), IsEmpty());
    EXPECT_EQ(g_engineStarted, 1);
}

TEST_F(EngineRun, StopOfScalingWithoutAConnectionTearsNothingDownAndEndsWithZero)
{
    onLoop = [] { g_wmiConnected = 0; };

    EXPECT_EQ(runEngine(3), 0);

    EXPECT_THAT(after("loop"), IsEmpty());
    EXPECT_EQ(g_engineStarted, 1);
}

TEST_F(EngineRun, OnceAStartWasTurnedAwayAStopOfScalingTearsNothingDown)
{
    onLoop = [] { std::thread(runEngine, 3).join(); };

    EXPECT_EQ(runEngine(3), 0);

    EXPECT_THAT(after("loop"), IsEmpty());
    EXPECT_EQ(g_engineStarted, 1);
    EXPECT_EQ(com.heldReferences(), 5);
}

TEST_F(EngineRun, OnceAStartWasTurnedAwayAStopOfTheServiceStillTearsDown)
{
    onLoop = [] {
        std::thread(runEngine, 3).join();
        requestEngineStop(true);
    };

    EXPECT_EQ(runEngine(3), 1);

    EXPECT_EQ(com.heldReferences(), 0);
    EXPECT_EQ(after("loop").back(), "log 0 KV Windows Service is stopped");
}

TEST_F(EngineRun, ServiceStopThatBecameAStopOfScalingTearsDownForScaling)
{
    onLoop = [] {
        requestEngineStop(true);
        g_serviceStopping = 0;  // as the process watcher does
    };

    EXPECT_EQ(runEngine(3), 0);

    EXPECT_EQ(after("loop").back(), "log 0 Kiostot registry: Stop KV completed");
}

TEST_F(EngineRun, SinkKeepsTheEnginesReferenceAfterEitherTearDown)
{
    for (const bool serviceStops : { false, true }) {
        SCOPED_TRACE(serviceStops);
        g_engineStarted = 0;
        onLoop = [&] { requestEngineStop(serviceStops); };

        runEngine(3);

        EXPECT_EQ(com.apartment.wrapped->AddRef(), 2U);
    }
}

TEST_F(EngineRun, SecondRunRepeatsTheWholeStartUp)
{
    onLoop = [] { requestEngineStop(false); };
    runEngine(3);
    const std::vector<std::string> first = noted();
    forgetNotes();

    EXPECT_EQ(runEngine(3), 0);

    EXPECT_EQ(noted(), first);
    EXPECT_EQ(first.size(), 23U);
    EXPECT_EQ(notedOf("CoInitializeSecurity").size(), 1U);
    EXPECT_EQ(notedOf("EvtSubscribe").size(), 1U);
    EXPECT_EQ(g_engineStarted, 0);
}

}  // namespace
}  // namespace kelvane::tests
