// What a second run of the scaling loop finds, and what the first one leaves it. And what a failed clip reading leaves
// the next step.
#include "tests/controller/loop/loop_test.h"

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

class ScalingLoopRestart : public LoopTest {
protected:
    // Runs the loop until the stop path, `ms` from now.
    void runFor(std::uint64_t ms)
    {
        g_engineState = engineRunning;
        loop.forget();
        loop.at(loop.now() + ms, stopScaling);
        loop.run();
    }
};

TEST_F(ScalingLoopRestart, GoesThroughTheWholeStartAgainButWritesNoPreference)
{
    loop.power(1500);
    runFor(2000);
    Rows start = loop.happened();
    start.resize(28);  // up to the first step's first call
    EXPECT_EQ("GET_SOC_WORKLOAD 0 0", start.back());
    EXPECT_EQ(2, std::erase_if(start, [](const std::string& row) { return row.starts_with("SET_PERF_PREFERENCE"); }));

    runFor(2000);

    const Rows rows = loop.happened();
    EXPECT_EQ(Rows(rows.begin(), rows.begin() + 26), start);
    EXPECT_EQ("log 0 Stop is called from the registry ", rows.back());
    EXPECT_EQ(noSession, g_sessionHandle);
}

// The processor holds 10000 since the stop, but the controller's own copy says 1200.
TEST_F(ScalingLoopRestart, WritesTheCeilingAgainWhenAStepChangesIt)
{
    loop.power(2000);
    runFor(2000);

    runFor(2000);

    EXPECT_THAT(loop.writes(),
                ElementsAre("SET_RAPL_POWER_LIMIT_1 37000", "SET_RAPL_POWER_LIMIT_1 17000",
                            "SET_PERF_PREFERENCE_MAX 1800", "SET_PERF_PREFERENCE_MAX 1200", "SET_PERF_PREFERENCE_MIN 0",
                            "SET_PERF_PREFERENCE_MAX 10000", "SET_RAPL_POWER_LIMIT_1 17000"));
}

TEST_F(ScalingLoopRestart, TriesOneConnectAndCountsOnUntilItSucceeds)
{
    loop.power(1500);
    loop.answer("SESSION_CONNECT", 1000);
    for (const int retries : { 1, 2, 3 }) {
        runFor(2000);

        EXPECT_THAT(loop.happened(), Contains("call SESSION_CONNECT 1000").Times(1));
        EXPECT_EQ(retries, sessionRetry);
        EXPECT_EQ(0, g_sessionOpen);
    }

    loop.answer("SESSION_CONNECT", 0);
    runFor(2000);

    EXPECT_EQ(1, g_sessionOpen);
    EXPECT_EQ(3, sessionRetry);
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
    powerAt(2000, 7001);
    runFor(5000);
    EXPECT_THAT(loop.messages(), Contains("2  ******* Max Perf Reset set 5 ==3"));
    EXPECT_EQ(3, exitCount);
    EXPECT_EQ(2, avgCount);
    EXPECT_EQ(9001, pwrSum);

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

    runFor(2000);

    EXPECT_THAT(loop.messages(), Contains(HasSubstr(" tempPerfRange = 4000 g_workload = 4")));
}

TEST_F(ScalingLoopRestart, AfterTheEndOfServiceEndsAtOnceAgain)
{
    loop.power(1500);
    runUntil(1000);
    loop.forget();

    loop.run();

    EXPECT_THAT(loop.sleeps(), IsEmpty());
    EXPECT_THAT(loop.messages().back(), EndsWith("KV Windows service is stopped "));
}

// At 3000 mW on mains the first step ends at 2000 with a ceiling of 1800. Start-up and that step make 40 calls, so the
// second step's first clip reading is call 42. Seven readings fail: the first six steps count, the seventh lowers the
// ceiling by 100. Nothing of it is written, but the next probe starts from 1700: a ramp of 1500 mW raises it by 500.
TEST_F(LoopTest, FailedClipReadingsLowerOnlyTheBaseOfTheNextProbe)
{
    loop.power(3000);
    forgetAt(2000);
    for (const int call : { 42, 45, 48, 51, 54, 57, 60 }) loop.failCall(call, 1000);
    powerAt(2600, 7500);
    loop.at(2900, [this] {
        EXPECT_THAT(loop.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 1800", "SET_PERF_PREFERENCE_MAX 2200"));
    });

    runUntil(5000);

    EXPECT_THAT(loop.messages(), Contains("2  * Increase tempPwr ==7500 * pp ==4500 * deltaloop ==1500 * ppd_dash "
                                          "==3600 * i ==2"));
}

}  // namespace
}  // namespace kelvane::tests
