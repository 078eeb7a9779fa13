#include "controller/state.h"
#include "tests/simulator/replay_rows.h"
#include "tests/simulator/trace_rows.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

// Bit 10 of the reasons is the clip. The second step, from 2000 to 5000, has the clips.

TEST(ReplayClip, GoesToFullPerformanceInItsSampleAndDecidesAtTheEndOfTheStep)
{
    const Rows rows = replayRows("0,power_mw,3000\n"
                                 "2600,clip_reasons,0x400\n"
                                 "2900,clip_reasons,0xFFFFFBFF\n"
                                 "5000,stop,service\n");

    EXPECT_THAT(rowsAt(rows, 2600),
                ElementsAre("2600,primitive,GET_IA_CLIP_REASONS,1024,0", "2600,primitive,GET_RAPL_POWER,3000,0",
                            "2600,primitive,SET_PERF_PREFERENCE_MAX,10000,0", "2600,sleep,,300,"));
    EXPECT_THAT(
        rowsAt(rows, 5000),
        ElementsAre("5000,log,2, **** New pkgPower ==3000 prefMax = 10000 PerfRange = 3000 tempPerfRange = 1800 "
                    "g_workload = 0,",
                    "5000,log,2, * Kv_opt ==3 ** PID_Change ==: 0 ** g_powerSlider =: 0 ** exitCount =: -1,",
                    "5000,log,2, ** NewPID = 0 ** AC Mode = 1 ** PostPID = 0 ** Clip Count ==1 ** Avg Pwr==3000,",
                    "5000,primitive,SET_PERF_PREFERENCE_MAX,5000,0",
                    "5000,log,2, ****** PIDx- -1 Clip error Step Up Pref ==5000,",
                    "5000,log,0,KV Windows service is stopped ,"));
    EXPECT_EQ(1, prevClipCount);
    EXPECT_EQ(1, clipSum);
}

TEST(ReplayClip, WritesFullPerformanceOnceForManySamples)
{
    const Rows rows = replayRows("0,power_mw,3000\n"
                                 "2000,clip_reasons,0x7FF\n"
                                 "5000,stop,service\n");

    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2000 1800", "2000 10000", "5000 5000"));
    EXPECT_THAT(messages(rowsAt(rows, 5000), "Clip Count"), ElementsAre(HasSubstr(" ** Clip Count ==10 ")));
    EXPECT_EQ(10, clipSum);
}

TEST(ReplayClip, HoldsHalfPerformanceAfterItIsOver)
{
    const Rows rows = replayRows("0,power_mw,3000\n"
                                 "2000,clip_reasons,0x400\n"
                                 "5000,clip_reasons,0\n"
                                 "14000,stop,service\n");

    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2000 1800", "2000 10000", "5000 5000"));
    EXPECT_EQ(0, prevClipCount);
}

// The average starts afresh after a clip: 3000 mW and a tenth.
TEST(ReplayClip, StartsTheAverageAfreshWhenItIsOver)
{
    const Rows rows = replayRows("0,power_mw,3000\n"
                                 "2000,clip_reasons,0x400\n"
                                 "5000,clip_reasons,0\n"
                                 "8000,power_mw,3200\n"
                                 "11000,stop,service\n");

    EXPECT_THAT(messages(rows, "PIDx- 2 Up"), ElementsAre(HasSubstr(" *NewPIDAvgPwr = 3300 ")));
}

struct Clip {
    const char* name;
    const char* acLine;
    const char* power;
    const char* candidate;
    Rows reset;  // what is told of a Max Perf Reset
};

void PrintTo(const Clip& row, std::ostream* out) { *out << row.name; }

class ReplayClipCandidate : public testing::TestWithParam<Clip> {};

// Clips from the very first sample on, so that full performance is in force at the end of the first step.
TEST_P(ReplayClipCandidate, DependsOnPowerAndSource)
{
    const Rows rows = replayRows("0,clip_reasons,0x400\n0,ac_line," + std::string(GetParam().acLine) + "\n0,power_mw," +
                                 GetParam().power + "\n2000,stop,service\n");

    EXPECT_THAT(messages(rows, "Clip error"),
                ElementsAre("2000 2  ****** PIDx- -1 Clip error Step Up Pref ==" + std::string(GetParam().candidate)));
    EXPECT_THAT(messages(rows, "Max Perf Reset"), ElementsAreArray(GetParam().reset));
    Rows written = { "0 1200", "0 10000" };
    if (GetParam().candidate == std::string("5000")) written.emplace_back("2000 5000");
    EXPECT_THAT(ceilings(rows), ElementsAreArray(written));
}

// On mains a clip never counts down to a reset.
INSTANTIATE_TEST_SUITE_P(
    Powers, ReplayClipCandidate,
    testing::Values(Clip{ "HalfOnMains", "1", "6500", "5000", {} }, Clip{ "FullOnMains", "1", "6501", "10000", {} },
                    Clip{ "FullOnMainsAtHalfOfPL1", "1", "8500", "10000", {} },
                    Clip{ "FullOnMainsAtPL1", "1", "17000", "10000", {} },
                    Clip{ "HalfOnUnknown", "255", "6500", "5000", {} },
                    Clip{ "FullOnUnknown", "255", "6501", "10000", {} },
                    Clip{ "HalfOnBattery", "0", "7500", "5000", {} },
                    Clip{ "FullOnBattery", "0", "7501", "10000", { "2000 2  ******* Max Perf Reset set 3 ==2" } },
                    Clip{ "BelowHalfOfPL1", "0", "8499", "10000", { "2000 2  ******* Max Perf Reset set 3 ==2" } },
                    Clip{ "AtHalfOfPL1", "0", "8500", "10000", { "2000 2  ******* Max Perf Reset set 4 ==3" } },
                    Clip{ "BelowPL1", "0", "16999", "10000", { "2000 2  ******* Max Perf Reset set 4 ==3" } },
                    Clip{ "AtPL1", "0", "17000", "10000", { "2000 2  ******* Max Perf Reset Not set 2 ==-1" } }),
    [](const auto& row) { return std::string(row.param.name); });

// On battery the reset of the first clip is pending during the second.
TEST(ReplayClip, DoesNotResetTwice)
{
    const Rows rows = replayRows("0,ac_line,0\n"
                                 "0,power_mw,8500\n"
                                 "0,clip_reasons,0x400\n"
                                 "5000,stop,service\n");

    EXPECT_THAT(messages(rows, "Clip error"), ElementsAre("2000 2  ****** PIDx- -1 Clip error Step Up Pref ==10000",
                                                          "5000 2  ****** PIDx- -1 Clip error Step Up Pref ==10000"));
    EXPECT_THAT(messages(rows, "Max Perf Reset"), ElementsAre("2000 2  ******* Max Perf Reset set 4 ==3"));
    EXPECT_THAT(messages(rowsAt(rows, 5000), "exitCount"), ElementsAre(HasSubstr("exitCount =: 2")));
}

// Full performance is in force already, and no floor is pending: not one write.
TEST(ReplayClip, WritesNothingWhenFullPerformanceIsInForce)
{
    const Rows rows = replayRows("0,power_mw,7000\n"
                                 "0,clip_reasons,0x400\n"
                                 "5000,stop,service\n");

    EXPECT_THAT(rowsWith(rows, "SET_PERF"),
                ElementsAre("0,primitive,SET_PERF_PREFERENCE_MAX,1200,0", "0,primitive,SET_PERF_PREFERENCE_MIN,0,0",
                            "0,primitive,SET_PERF_PREFERENCE_MAX,10000,0"));
}

TEST(ReplayClip, WhoseWritesFailIsLoggedEachTimeAndTakenAsWritten)
{
    const Rows rows = replayRows("0,power_mw,3000\n"
                                 "2000,clip_reasons,0x400\n"
                                 "2000,status,SET_PERF_PREFERENCE_MAX=1000\n"
                                 "5000,clip_reasons,0\n"
                                 "8000,stop,service\n");

    EXPECT_THAT(rowsWith(rows, "PREFERENCE_MAX,"), ElementsAre("0,primitive,SET_PERF_PREFERENCE_MAX,1200,0",
                                                               "2000,primitive,SET_PERF_PREFERENCE_MAX,1800,1000",
                                                               "2000,primitive,SET_PERF_PREFERENCE_MAX,10000,1000",
                                                               "5000,primitive,SET_PERF_PREFERENCE_MAX,5000,1000"));
    EXPECT_THAT(messages(rows, "first 2 times"), testing::SizeIs(3));
    EXPECT_THAT(messages(rowsAt(rows, 8000), "New pkgPower"), ElementsAre(HasSubstr(" prefMax = 5000 ")));
}

}  // namespace
}  // namespace kelvane::tests
