#include "controller/scaling_loop.h"
#include "controller/state.h"
#include "state/state.h"

#include "framework/session.h"
#include "tests/controller/loop/scripted_loop.h"
#include "tests/simulator/trace_rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

class ScalingLoopRestart : public testing::Test {
protected:
    // Runs the loop until the stop path, `ms` from now.
    void runFor(std::uint64_t ms)
    {
        g_engineState = engineRunning;
        loop.at(loop.now() + ms, [] { requestEngineStop(false); });
        loop.run();
    }

    ScriptedLoop loop;
};

TEST_F(ScalingLoopRestart, GoesThroughTheWholeStartAgainButWritesNoPreference)
{
    loop.power(1500);
    runFor(2000);
    loop.forget();

    runFor(2000);

    const Rows rows = loop.happened();
    EXPECT_THAT(Rows(rows.begin(), rows.begin() + 24),
                ElementsAre("call INIT 0", "log 0 KV scaling is started : ", "call SESSION_CREATE 0",
                            "call SESSION_CONNECT 0", "GET_RAPL_POWER 1500 0", "GET_RAPL_POWER 1500 0",
                            "GET_RAPL_POWER 1500 0", "GET_RAPL_POWER 1500 0", "GET_RAPL_POWER 1500 0",
                            "log 2 pkg power data is : 1500", "call REGISTER_EVENT 10000 0", "call REGISTER_EVENT 34 0",
                            "call REGISTER_EVENT 44 0", "call REGISTER_EVENT 183 0",
                            "log 2 workload classification EVENT Register", "call REGISTER_EVENT 72 0",
                            "log 2 Powerscheme classification EVENT Register", "call REGISTER_EVENT 106 0",
                            "log 2 Powerslider classification EVENT Register",
                            "log 2 workload classification is success : ", "SET_RAPL_POWER_LIMIT_1 37000 0",
                            "log 2  **** Current CPU PL1 == : 17000", "SET_RAPL_POWER_LIMIT_1 17000 0",
                            "log 2  **** Current CPU PL1 == : 17000"));
    EXPECT_EQ("log 2  ** Default Init Pref ==1200", rows.at(24));
    EXPECT_EQ("GET_SOC_WORKLOAD 0 0", rows.at(25));
    EXPECT_EQ("log 0 Stop is called from the registry ", rows.back());
    EXPECT_EQ(noSession, g_sessionHandle);
}

// The processor holds 10000 since the stop, but the controller's own copy says 1200.
TEST_F(ScalingLoopRestart, WritesTheCeilingAgainWhenAStepChangesIt)
{
    loop.power(2000);
    runFor(2000);
    loop.forget();

    runFor(2000);

    EXPECT_THAT(loop.writes(),
                ElementsAre("SET_RAPL_POWER_LIMIT_1 37000", "SET_RAPL_POWER_LIMIT_1 17000",
                            "SET_PERF_PREFERENCE_MAX 1800", "SET_PERF_PREFERENCE_MAX 1200", "SET_PERF_PREFERENCE_MIN 0",
                            "SET_PERF_PREFERENCE_MAX 10000", "SET_RAPL_POWER_LIMIT_1 17000"));
}

TEST_F(ScalingLoopRestart, TriesOneConnectAndCountsOn)
{
    loop.power(1500);
    loop.answer("SESSION_CONNECT", 1000);

    for (const int retries : { 1, 2, 3 }) {
        SCOPED_TRACE(retries);
        loop.forget();

        runFor(2000);

        const Rows rows = loop.happened();
        EXPECT_EQ(1, std::count(rows.begin(), rows.end(), "call SESSION_CONNECT 1000"));
        EXPECT_EQ(retries, sessionRetry);
        EXPECT_EQ(0, g_sessionOpen);
    }
}

TEST_F(ScalingLoopRestart, ConnectsAfterEarlierFailures)
{
    loop.power(1500);
    loop.answer("SESSION_CONNECT", 1000);
    runFor(2000);
    loop.answer("SESSION_CONNECT", 0);
    loop.forget();

    runFor(2000);

    EXPECT_EQ(1, g_sessionOpen);
    EXPECT_EQ(1, sessionRetry);
    EXPECT_THAT(loop.messages(), Contains("2 pkg power data is : 1500"));
}

TEST_F(ScalingLoopRestart, WorksAfterAStartThatFailed)
{
    loop.power(1500);
    loop.failCall(1, 3000);
    loop.run();
    EXPECT_EQ(3000, g_orqStatus);
    loop.failCall(3, 5);
    loop.run();
    EXPECT_EQ(noSession, g_sessionHandle);
    loop.forget();

    runFor(2000);

    EXPECT_THAT(loop.messages(), Contains("2  ** Default Init Pref ==1200"));
    EXPECT_EQ("0 Stop is called from the registry ", loop.messages().back());
}

// The first run ends in Active Idle. The next one begins with a probe of two samples, at the pace of a start and with
// full performance as its base, and goes on in Active Idle without the process watch's pause.
TEST_F(ScalingLoopRestart, GoesOnInActiveIdle)
{
    loop.power(1000);
    runFor(8000);
    EXPECT_THAT(loop.sleeps(), ElementsAre(200, 200, 200, 200, 200, 200, 200, 200, 200, 200, 2000, 5000));
    loop.forget();

    runFor(5000);

    EXPECT_THAT(loop.sleeps(), ElementsAre(200, 200, 5000));
    EXPECT_THAT(loop.messages(),
                Contains("2  *** PIDx 5 Active Idle PerfRange = 1800  prefMax=  10000  pkgPower=  1000"));
    EXPECT_EQ(2, activeIdleCount);
    EXPECT_EQ(2, pidOnTestState);
}

// 7001 mW after 2000 is a steep rise: full performance for three steps. The restart drops that plan with the loop's
// own memory, while the count and the averages stay.
TEST_F(ScalingLoopRestart, ForgetsAPendingRestoreButNotTheControllersState)
{
    loop.power(2000);
    loop.at(2000, [this] { loop.power(7001); });
    runFor(5000);
    EXPECT_THAT(loop.messages(), Contains("2  ******* Max Perf Reset set 5 ==3"));
    EXPECT_EQ(3, exitCount);
    EXPECT_EQ(2, avgCount);
    EXPECT_EQ(9001, pwrSum);
    loop.forget();

    runFor(5000);

    EXPECT_THAT(loop.messages(),
                Contains("2  * Kv_opt ==3 ** PID_Change ==: 0 ** g_powerSlider =: 0 ** exitCount =: 3"));
    EXPECT_EQ(3, exitCount);
    EXPECT_EQ(4, avgCount);
    EXPECT_EQ(23003, pwrSum);
}

TEST_F(ScalingLoopRestart, KeepsWhatTheFrameworkToldLast)
{
    loop.power(1500);
    loop.at(1000, [] { g_workload = 4; });
    runFor(2000);
    loop.forget();

    runFor(2000);

    EXPECT_THAT(loop.messages(), Contains(HasSubstr(" tempPerfRange = 4000 g_workload = 4")));
}

TEST_F(ScalingLoopRestart, AfterTheEndOfServiceEndsAtOnceAgain)
{
    loop.power(1500);
    loop.at(1000, [] { requestEngineStop(true); });
    loop.run();
    loop.forget();

    loop.run();

    EXPECT_THAT(loop.sleeps(), IsEmpty());
    EXPECT_THAT(loop.messages().back(), EndsWith("KV Windows service is stopped "));
}

}  // namespace
}  // namespace kelvane::tests
