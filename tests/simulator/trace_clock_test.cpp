#include "state/state.h"
#include "tests/simulator/trace_rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

// The first probe reads at 0, 200, 400, ..., 1800 and ends at 2000.

TEST(VirtualClock, InputTakesEffectBeforeTheSleepThatReachesItReturns)
{
    const Rows rows = replayRows("0,power_mw,1500\n199,power_mw,1501\n400,power_mw,1502\n601,power_mw,1503\n"
                                 "2000,stop,service\n");

    EXPECT_THAT(rowsAt(rows, 200), Contains("200,primitive,GET_RAPL_POWER,1501,0"));
    EXPECT_THAT(rowsAt(rows, 400), Contains("400,primitive,GET_RAPL_POWER,1502,0"));
    EXPECT_THAT(rowsAt(rows, 600), Contains("600,primitive,GET_RAPL_POWER,1502,0"));
    EXPECT_THAT(rowsAt(rows, 800), Contains("800,primitive,GET_RAPL_POWER,1503,0"));
}

TEST(VirtualClock, ShowsEachInputItsOwnTime)
{
    const Rows rows = replayRows("0,power_mw,1500\n1,event,106:1\n199,event,106:2\n200,event,106:3\n"
                                 "201,event,106:4\n2000,stop,service\n");

    EXPECT_THAT(messages(rows, "Event powerSlider"),
                ElementsAre("1 2 Event powerSlider type =1", "199 2 Event powerSlider type =2",
                            "200 2 Event powerSlider type =3", "201 2 Event powerSlider type =4"));
}

TEST(VirtualClock, GivesInputsOfOneTimeInTheFilesOrder)
{
    const Rows rows = replayRows("0,power_mw,1500\n0,power_mw,1501\n200,power_mw,1502\n200,event,106:20\n"
                                 "200,event,106:10\n200,power_mw,1503\n2000,stop,service\n");

    EXPECT_THAT(rowsWith(rowsAt(rows, 0), "GET_RAPL_POWER"), Each("0,primitive,GET_RAPL_POWER,1501,0"));
    EXPECT_THAT(messages(rows, "Event powerSlider"),
                ElementsAre("200 2 Event powerSlider type =20", "200 2 Event powerSlider type =10"));
    EXPECT_THAT(rowsAt(rows, 200), Contains("200,primitive,GET_RAPL_POWER,1503,0"));
}

TEST(VirtualClock, KeepsTheLastInputsUntilTheLoopEnds)
{
    const Rows rows = replayRows("0,power_mw,1500\n0,soc_workload,3\n0,clip_reasons,2\n0,ac_line,255\n"
                                 "100,stop,service\n");

    EXPECT_THAT(rowsAt(rows, 1800), ElementsAre("1800,primitive,GET_IA_CLIP_REASONS,2,0",
                                                "1800,primitive,GET_RAPL_POWER,1500,0", "1800,sleep,,200,"));
    EXPECT_THAT(rowsWith(rows, "GET_SOC_WORKLOAD"), ElementsAre("0,primitive,GET_SOC_WORKLOAD,3,0"));
    EXPECT_THAT(messages(rows, "AC Mode"),
                ElementsAre(EndsWith(" ** AC Mode = 255 ** PostPID = 0 ** Clip Count ==0 ** Avg Pwr==1500")));
}

TEST(VirtualClock, BeginsWithReadingsOfZeroOnMains)
{
    const Rows rows = replayRows("100,power_mw,1500\n");

    Rows readings(5, "0,primitive,GET_RAPL_POWER,0,0");
    readings.insert(readings.end(), { "0,primitive,GET_SOC_WORKLOAD,0,0", "0,primitive,GET_IA_CLIP_REASONS,0,0",
                                      "0,primitive,GET_RAPL_POWER,0,0" });
    EXPECT_EQ(rowsWith(rowsAt(rows, 0), "GET_"), readings);
    EXPECT_THAT(messages(rows, " ** AC Mode = 1 "), SizeIs(1));
}

// A reading that fails before the first Sleep: nothing can heal it any more.
TEST(VirtualClock, StandsStillAfterAHundredThousandPrimitivesWithoutASleep)
{
    simulator::ReplayEnd end{};

    const Rows rows =
        replayRows("0,power_mw,1500\n0,status,GET_IA_CLIP_REASONS=1000\n5,status,GET_IA_CLIP_REASONS=0\n", &end);

    EXPECT_EQ(simulator::ReplayEnd::clockStoodStill, end);
    EXPECT_THAT(rowsWith(rows, ",primitive,"), SizeIs(100000));
    EXPECT_THAT(rowsWith(rows, ",sleep,"), IsEmpty());
    // Nine primitives at start-up, then three a step.
    EXPECT_EQ("0,primitive,GET_SOC_WORKLOAD,0,0", rows.back());
}

// Two primitives of the sample at 600, then three a step.
TEST(VirtualClock, CountsPrimitivesFromTheLastSleep)
{
    const Rows rows = replayRows("0,power_mw,1500\n500,status,GET_IA_CLIP_REASONS=1000\n700,stop,service\n");

    EXPECT_THAT(rowsWith(rowsAt(rows, 600), ",primitive,"), SizeIs(100000));
    EXPECT_THAT(sleeps(rows), ElementsAre("0 200", "200 200", "400 200"));
    EXPECT_EQ("600,primitive,GET_IA_CLIP_REASONS,,1000", rows.back());
}

TEST(Replay, RunsWithTheFlagsOfAnEngineWhoseProcessWatcherRuns)
{
    simulator::ReplayEnd end{};

    replayRows("", &end);

    EXPECT_EQ(simulator::ReplayEnd::loopEnded, end);
    EXPECT_EQ(1, g_wmiConnected);
    EXPECT_EQ(1, g_wmiQueryIssued);
    EXPECT_EQ(1u, g_sessionHandle);
}

}  // namespace
}  // namespace kelvane::tests
