#include "controller/state.h"
#include "state/state.h"
#include "tests/controller/loop/scripted_loop.h"
#include "tests/simulator/trace_rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// At 3000 mW on mains the first step ends at 2000 with a ceiling of 1800. Start-up and that step make 40 calls, so the
// second step's first clip reading is call 42, and its power reading 43.
class FailedClipReading : public testing::Test {
protected:
    FailedClipReading()
    {
        loop.power(3000);
        loop.at(2000, [this] { loop.forget(); });
        loop.at(5000, [] { requestEngineStop(true); });
    }

    ScriptedLoop loop;
};

TEST_F(FailedClipReading, EndsTheProbeAfterThePowerReadingAndLeavesPowerAlone)
{
    loop.failCall(42, 1000);
    loop.beforeCall(43, [this] { loop.power(9000); });
    loop.beforeCall(44, [this] { loop.power(3000); });

    loop.run();

    const Rows rows = loop.happened();
    const auto failure = std::find(rows.begin(), rows.end(), "GET_IA_CLIP_REASONS 1000");
    ASSERT_NE(rows.end(), failure);
    EXPECT_THAT(Rows(failure, failure + 7),
                ElementsAre("GET_IA_CLIP_REASONS 1000", "GET_RAPL_POWER 9000 0",
                            "log 2  **** New pkgPower ==3000 prefMax = 1800 PerfRange = 3000 tempPerfRange = 1800 "
                            "g_workload = 0",
                            "log 2  * Kv_opt ==3 ** PID_Change ==: 0 ** g_powerSlider =: 0 ** exitCount =: -1",
                            "log 2  ** NewPID = 0 ** AC Mode = 1 ** PostPID = 0 ** Clip Count ==-1 ** Avg Pwr==3000",
                            "log 2  *** PIDx 6 No change in PrefMax, within least range = 1 ** incnttype = 3",
                            "GET_SOC_WORKLOAD 0 0"));
}

// The sixth sample fails after five of 4000 mW.
TEST_F(FailedClipReading, InTheMiddleOfTheProbeDropsItsSamples)
{
    loop.at(2000, [this] { loop.power(4000); });
    loop.failCall(52, 1000);
    loop.at(3500, [this] { loop.forget(); });

    loop.run();

    EXPECT_THAT(loop.messages().at(0), HasSubstr("New pkgPower ==3000 "));
    EXPECT_EQ(4000, lastLoopAvg);
}

// Seven readings fail: the first six steps count, the seventh lowers the ceiling by 100. Nothing of it is written,
// but the next probe starts from 1700: a ramp of 1500 mW raises it by 500.
TEST_F(FailedClipReading, LowersOnlyTheBaseOfTheNextProbe)
{
    for (const int call : { 42, 45, 48, 51, 54, 57, 60 }) loop.failCall(call, 1000);
    loop.at(2600, [this] { loop.power(7500); });
    loop.at(2900, [this] {
        EXPECT_THAT(loop.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 1800", "SET_PERF_PREFERENCE_MAX 2200"));
    });

    loop.run();

    EXPECT_THAT(loop.messages(), Contains("2  * Increase tempPwr ==7500 * pp ==4500 * deltaloop ==1500 * ppd_dash "
                                          "==3600 * i ==2"));
}

TEST_F(FailedClipReading, CountsAsAClipWhenFailuresAreNotReported)
{
    g_reportPerfFailures = 0;
    loop.failCall(42, 1000);
    loop.at(2300, [] { EXPECT_EQ(10000, appliedPrefMax); });

    loop.run();

    EXPECT_THAT(loop.messages(), Contains(HasSubstr(" ** Clip Count ==1 ")));
}

TEST_F(FailedClipReading, WithEveryBitSetCannotBeToldFromAFailure)
{
    loop.beforeCall(42, [this] { loop.clipReasons(0xFFFFFFFF); });
    loop.beforeCall(43, [this] { loop.clipReasons(0); });

    loop.run();

    EXPECT_THAT(loop.messages(), Contains(HasSubstr(" ** Clip Count ==-1 ")));
}

}  // namespace
}  // namespace kelvane::tests
