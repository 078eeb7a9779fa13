#include "controller/scaling_loop.h"
#include "controller/state.h"
#include "state/state.h"

#include "framework/session.h"
#include "simulator/replay/imports.h"
#include "tests/controller/loop/scripted_loop.h"
#include "tests/simulator/trace_rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::EndsWith;
using testing::IsEmpty;

Rows operator+(Rows rows, const Rows& more)
{
    rows.insert(rows.end(), more.begin(), more.end());
    return rows;
}

// What a start does, part by part; each part depends on what the one before it met.
const Rows begun = { "call INIT 0", "log 0 KV scaling is started : " };
const Rows created = { "call SESSION_CREATE 0" };
const Rows connected = { "call SESSION_CONNECT 0",        "GET_RAPL_POWER 1500 0", "GET_RAPL_POWER 1500 0",
                         "GET_RAPL_POWER 1500 0",         "GET_RAPL_POWER 1500 0", "GET_RAPL_POWER 1500 0",
                         "log 2 pkg power data is : 1500" };
const Rows registered = { "call REGISTER_EVENT 10000 0",
                          "call REGISTER_EVENT 34 0",
                          "call REGISTER_EVENT 44 0",
                          "call REGISTER_EVENT 183 0",
                          "log 2 workload classification EVENT Register",
                          "call REGISTER_EVENT 72 0",
                          "log 2 Powerscheme classification EVENT Register",
                          "call REGISTER_EVENT 106 0",
                          "log 2 Powerslider classification EVENT Register",
                          "log 2 workload classification is success : " };
const Rows unregistered = { "log 2 UnregisterEvents() called", "call UNREGISTER_EVENT 44 0",
                            "call UNREGISTER_EVENT 34 0",      "call UNREGISTER_EVENT 10000 0",
                            "call UNREGISTER_EVENT 183 0",     "call UNREGISTER_EVENT 72 0",
                            "call UNREGISTER_EVENT 106 0" };
const Rows registrationFailed = { "log 4 OrqCore workload classification SessionExecute failed" };
const Rows firstLimit = { "SET_RAPL_POWER_LIMIT_1 37000 0", "log 2  **** Current CPU PL1 == : 17000" };
const Rows secondLimit = { "SET_RAPL_POWER_LIMIT_1 17000 0", "log 2  **** Current CPU PL1 == : 17000" };
const Rows preferences = { "SET_PERF_PREFERENCE_MAX 1200 0", "SET_PERF_PREFERENCE_MIN 0 0",
                           "log 2  ** Default Init Pref ==1200" };
const Rows endOfService = { "log 0 KV Windows service is stopped " };
const Rows setPerfmaxFailure = {
    "log 2 OrqCore setPerfmax SessionExecute failed : first 2 times expeted in MS/startup"
};

// A start with nothing behind it: the service already stops, so there is no step.
class ScalingLoopStart : public testing::Test {
protected:
    ScalingLoopStart()
    {
        loop.power(1500);
        g_serviceStopping = 1;
    }

    ScriptedLoop loop;
};

TEST_F(ScalingLoopStart, GoesFromInitToTheDefaultPreference)
{
    const std::uint32_t result = loop.run();

    EXPECT_EQ(0xFFFFFFFFu, result);
    EXPECT_THAT(loop.happened(), ElementsAreArray(begun + created + connected + registered + firstLimit + secondLimit +
                                                  preferences + endOfService));
    EXPECT_EQ(0, g_orqStatus);
    EXPECT_EQ(1u, g_sessionHandle);
    EXPECT_EQ(1, g_sessionOpen);
    EXPECT_EQ(0, sessionRetry);
    EXPECT_EQ(1500, pkgPower);
    EXPECT_EQ(17000, cpuPL1);
    EXPECT_EQ(17000, pl1ResetLevel);
    EXPECT_EQ(1u, acMode);
    EXPECT_EQ(1200, appliedPrefMax);
}

TEST_F(ScalingLoopStart, FailingInitEndsTheLoopWithNothingElseTouched)
{
    loop.failCall(1, 3000);

    const std::uint32_t result = loop.run();

    EXPECT_EQ(0xFFFFFFFFu, result);
    EXPECT_THAT(loop.happened(), ElementsAre("call INIT 3000", "log 0 KV scaling is started : ",
                                             "log 0  KV Start MS/CS is initializing the ORQ, Scaling is stopped "));
    EXPECT_EQ(3000, g_orqStatus);
    EXPECT_EQ(1, g_sessionOpen);
    EXPECT_EQ(noSession, g_sessionHandle);
    EXPECT_EQ(-1, pkgPower);
    EXPECT_EQ(0, appliedPrefMax);
    EXPECT_EQ(1, g_serviceStopping);
}

TEST_F(ScalingLoopStart, StatusOfAnEarlierRunIsGoneWhileInitRuns)
{
    g_orqStatus = 1800;
    int duringInit = -1;
    loop.beforeCall(1, [&] { duringInit = g_orqStatus; });

    loop.run();

    EXPECT_EQ(0, duringInit);
}

TEST_F(ScalingLoopStart, FailingSessionCreationEndsTheLoop)
{
    g_sessionHandle = 7;
    loop.failCall(2, 5);

    const std::uint32_t result = loop.run();

    EXPECT_EQ(0xFFFFFFFFu, result);
    EXPECT_THAT(loop.happened(), ElementsAreArray(begun + Rows{ "call SESSION_CREATE 5" }));
    EXPECT_EQ(0, g_sessionOpen);
    EXPECT_EQ(7u, g_sessionHandle);
    EXPECT_EQ(0, appliedPrefMax);
}

TEST_F(ScalingLoopStart, SessionCountsAsClosedBeforeItIsCreated)
{
    int duringCreation = -1;
    loop.beforeCall(2, [&] { duringCreation = g_sessionOpen; });

    loop.run();

    EXPECT_EQ(0, duringCreation);
}

TEST_F(ScalingLoopStart, FailingConnectIsTriedOnceAndDoesNotStopTheStart)
{
    loop.failCall(3, 1000);

    loop.run();

    EXPECT_THAT(loop.happened(), ElementsAreArray(begun + created + Rows{ "call SESSION_CONNECT 1000" } + registered +
                                                  firstLimit + secondLimit + preferences + endOfService));
    EXPECT_EQ(0, g_sessionOpen);
    EXPECT_EQ(1, sessionRetry);
    EXPECT_EQ(-1, pkgPower);
    EXPECT_EQ(1u, g_sessionHandle);
}

TEST_F(ScalingLoopStart, OnlyTheLastOfTheFirstPowerReadingsCounts)
{
    for (const int call : { 4, 5, 6, 7 }) loop.failCall(call, 1000);

    loop.run();

    EXPECT_EQ(1500, pkgPower);
    EXPECT_THAT(loop.messages(), testing::Contains("2 pkg power data is : 1500"));
}

TEST_F(ScalingLoopStart, FailingLastPowerReadingIsLoggedAsAnError)
{
    loop.failCall(8, 1000);

    loop.run();

    const Rows reads = { "call SESSION_CONNECT 0", "GET_RAPL_POWER 1500 0", "GET_RAPL_POWER 1500 0",
                         "GET_RAPL_POWER 1500 0",  "GET_RAPL_POWER 1500 0", "GET_RAPL_POWER 1000" };
    EXPECT_THAT(loop.happened(),
                ElementsAreArray(begun + created + reads + Rows{ "log 4 OrqCore pkgPower SessionExecute failed" } +
                                 registered + firstLimit + secondLimit + preferences + endOfService));
    EXPECT_EQ(-1, pkgPower);
    EXPECT_EQ(1, g_sessionOpen);
}

TEST_F(ScalingLoopStart, FailingRegistrationUnregistersAllAndGoesOnWithoutEvents)
{
    const struct {
        int call;
        Rows before;
        const char* failing;
    } cases[] = {
        { 9, {}, "call REGISTER_EVENT 10000 1000" },
        { 10, { registered.begin(), registered.begin() + 1 }, "call REGISTER_EVENT 34 1000" },
        { 11, { registered.begin(), registered.begin() + 2 }, "call REGISTER_EVENT 44 1000" },
        { 12, { registered.begin(), registered.begin() + 3 }, "call REGISTER_EVENT 183 1000" },
        { 13, { registered.begin(), registered.begin() + 5 }, "call REGISTER_EVENT 72 1000" },
        { 14, { registered.begin(), registered.begin() + 7 }, "call REGISTER_EVENT 106 1000" },
    };

    int callsBefore = 0;
    for (const auto& failure : cases) {
        SCOPED_TRACE(failure.failing);
        // Each run starts like the first one of its process.
        appliedPrefMax = 0;
        minPrefReset = -1;
        loop.failCall(callsBefore + failure.call, 1000);
        int duringFirstLimit = -1;
        // The six unregistrations come before it.
        loop.beforeCall(callsBefore + failure.call + 7, [&] { duringFirstLimit = g_orqStatus; });
        loop.forget();
        g_serviceStopping = 1;

        loop.run();

        EXPECT_THAT(loop.happened(), ElementsAreArray(begun + created + connected + failure.before +
                                                      Rows{ failure.failing } + unregistered + registrationFailed +
                                                      firstLimit + secondLimit + preferences + endOfService));
        EXPECT_EQ(1000, duringFirstLimit);
        callsBefore += failure.call + 6 + 4;
    }
}

TEST_F(ScalingLoopStart, EachFailingLimitWriteIsLoggedAndTheOtherIsMade)
{
    const Rows before = begun + created + connected + registered;
    const Rows after = preferences + endOfService;
    const Rows failureLine = { "log 4 OrqCore CpuPowerLimit1 SessionExecute failed" };
    loop.failCall(15, 1000);

    loop.run();

    EXPECT_THAT(loop.happened(), ElementsAreArray(before + Rows{ "SET_RAPL_POWER_LIMIT_1 37000 1000" } + failureLine +
                                                  secondLimit + after));
    EXPECT_EQ(17000, cpuPL1);
}

TEST_F(ScalingLoopStart, FailingWorkingLimitIsKeptAsIfWritten)
{
    const Rows before = begun + created + connected + registered;
    cpuPL1 = 1;
    pl1ResetLevel = 2;
    loop.failCall(16, 1000);

    loop.run();

    EXPECT_THAT(loop.happened(),
                ElementsAreArray(before +
                                 Rows{ "SET_RAPL_POWER_LIMIT_1 37000 0", "log 2  **** Current CPU PL1 == : 1",
                                       "SET_RAPL_POWER_LIMIT_1 17000 1000",
                                       "log 4 OrqCore CpuPowerLimit1 SessionExecute failed" } +
                                 preferences + endOfService));
    EXPECT_EQ(17000, cpuPL1);
    EXPECT_EQ(17000, pl1ResetLevel);
}

TEST_F(ScalingLoopStart, FailingPreferenceCeilingIsLoggedAndKeptAsIfWritten)
{
    loop.failCall(17, 1000);

    loop.run();

    EXPECT_THAT(loop.happened(),
                ElementsAreArray(begun + created + connected + registered + firstLimit + secondLimit +
                                 Rows{ "SET_PERF_PREFERENCE_MAX 1200 1000" } + setPerfmaxFailure +
                                 Rows{ "SET_PERF_PREFERENCE_MIN 0 0", "log 2  ** Default Init Pref ==1200" } +
                                 endOfService));
    EXPECT_EQ(1200, appliedPrefMax);
}

TEST_F(ScalingLoopStart, FailingPreferenceFloorIsLogged)
{
    loop.failCall(18, 1000);

    loop.run();

    EXPECT_THAT(loop.happened(),
                ElementsAreArray(begun + created + connected + registered + firstLimit + secondLimit +
                                 Rows{ "SET_PERF_PREFERENCE_MAX 1200 0", "SET_PERF_PREFERENCE_MIN 0 1000" } +
                                 setPerfmaxFailure + Rows{ "log 2  ** Default Init Pref ==1200" } + endOfService));
    EXPECT_EQ(1000, g_orqStatus);
}

TEST_F(ScalingLoopStart, UnknownPowerSourceLeavesTheOneBefore)
{
    simulator::setPowerSource({ false, 0 });
    acMode = 255;

    loop.run();

    EXPECT_EQ(255u, acMode);
}

TEST_F(ScalingLoopStart, SessionIsCreatedWithTheApplicationRecord)
{
    loop.run();

    ASSERT_EQ(&g_application, ScriptedLoop::application());
    EXPECT_STREQ("Kelvane", ScriptedLoop::application()->name);
    EXPECT_EQ(1u, ScriptedLoop::application()->revision);
}

TEST_F(ScalingLoopStart, SessionIsCreatedWithoutARecordWhenTheApplicationHasNoName)
{
    g_application.name[0] = '\0';

    loop.run();

    EXPECT_EQ(nullptr, ScriptedLoop::application());
    EXPECT_EQ(1u, g_sessionHandle);
}

TEST_F(ScalingLoopStart, ServiceThatStopsBeforeTheFirstStepEndsWithoutOne)
{
    loop.run();

    EXPECT_THAT(loop.sleeps(), IsEmpty());
    EXPECT_THAT(loop.messages().back(), EndsWith("KV Windows service is stopped "));
    EXPECT_EQ(3, g_engineState);
}

TEST_F(ScalingLoopStart, FirstStepSleepsForTwoHundredMillisecondsAndTheNextForThree)
{
    g_serviceStopping = 0;
    loop.at(5000, [] { requestEngineStop(true); });

    loop.run();

    EXPECT_THAT(loop.sleeps(), ElementsAre(200, 200, 200, 200, 200, 200, 200, 200, 200, 200, 300, 300, 300, 300, 300,
                                           300, 300, 300, 300, 300));
}

}  // namespace
}  // namespace kelvane::tests
