#include "simulator/replay/replay.h"
#include "state/state.h"
#include "tests/simulator/replay_rows.h"
#include "tests/simulator/trace_rows.h"
#include "tests/support/simulated_machine.h"

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
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "199,power_mw,1501\n"
                                 "400,power_mw,1502\n"
                                 "601,power_mw,1503\n"
                                 "2000,stop,service\n");

    EXPECT_THAT(rowsAt(rows, 200), Contains("200,primitive,GET_RAPL_POWER,1501,0"));
    EXPECT_THAT(rowsAt(rows, 400), Contains("400,primitive,GET_RAPL_POWER,1502,0"));
    EXPECT_THAT(rowsAt(rows, 600), Contains("600,primitive,GET_RAPL_POWER,1502,0"));
    EXPECT_THAT(rowsAt(rows, 800), Contains("800,primitive,GET_RAPL_POWER,1503,0"));
}

TEST(VirtualClock, ShowsEachInputItsOwnTime)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "1,event,106:1\n"
                                 "199,event,106:2\n"
                                 "200,event,106:3\n"
                                 "201,event,106:4\n"
                                 "2000,stop,service\n");

    EXPECT_THAT(messages(rows, "Event powerSlider"),
                ElementsAre("1 2 Event powerSlider type =1", "199 2 Event powerSlider type =2",
                            "200 2 Event powerSlider type =3", "201 2 Event powerSlider type =4"));
}

TEST(VirtualClock, GivesInputsOfOneTimeInTheFilesOrder)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "0,power_mw,1501\n"
                                 "200,power_mw,1502\n"
                                 "200,event,106:20\n"
                                 "200,event,106:10\n"
                                 "200,power_mw,1503\n"
                                 "2000,stop,service\n");

    EXPECT_THAT(rowsWith(rowsAt(rows, 0), "GET_RAPL_POWER"), Each("0,primitive,GET_RAPL_POWER,1501,0"));
    EXPECT_THAT(messages(rows, "Event powerSlider"),
                ElementsAre("200 2 Event powerSlider type =20", "200 2 Event powerSlider type =10"));
    EXPECT_THAT(rowsAt(rows, 200), Contains("200,primitive,GET_RAPL_POWER,1503,0"));
}

TEST(VirtualClock, StartsAfterTheInputsOfTimeZero)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "0,status,INIT=3000\n");

    EXPECT_EQ("0,call,INIT,,3000", rows.at(0));
}

TEST(VirtualClock, WritesASleepAtTheTimeBeforeIt)
{
    const Rows rows = replayRows("0,power_mw,1500\n600,stop,service\n");

    EXPECT_THAT(sleeps(rows), ElementsAre("0 200", "200 200", "400 200", "600 200", "800 200", "1000 200", "1200 200",
                                          "1400 200", "1600 200", "1800 200"));
    EXPECT_EQ("2000,log,0,KV Windows service is stopped ,", rows.back());
}

TEST(VirtualClock, KeepsTheLastInputsUntilTheLoopEnds)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "0,soc_workload,3\n"
                                 "0,clip_reasons,2\n"
                                 "0,ac_line,255\n"
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

    EXPECT_THAT(rowsWith(rowsAt(rows, 0), "GET_"),
                ElementsAre("0,primitive,GET_RAPL_POWER,0,0", "0,primitive,GET_RAPL_POWER,0,0",
                            "0,primitive,GET_RAPL_POWER,0,0", "0,primitive,GET_RAPL_POWER,0,0",
                            "0,primitive,GET_RAPL_POWER,0,0", "0,primitive,GET_SOC_WORKLOAD,0,0",
                            "0,primitive,GET_IA_CLIP_REASONS,0,0", "0,primitive,GET_RAPL_POWER,0,0"));
    EXPECT_THAT(messages(rows, " ** AC Mode = 1 "), SizeIs(1));
}

// A reading that fails before the first Sleep: nothing can heal it any more.
TEST(VirtualClock, StandsStillAfterAHundredThousandPrimitivesWithoutASleep)
{
    std::istringstream file("time_ms,input,value\n"
                            "0,power_mw,1500\n"
                            "0,status,GET_IA_CLIP_REASONS=1000\n"
                            "5,status,GET_IA_CLIP_REASONS=0\n");
    std::ostringstream out;

    const auto end = simulator::replay(simulator::readScenario(file, "scenario"), out);

    EXPECT_EQ(simulator::ReplayEnd::clockStoodStill, end);
    std::istringstream lines(out.str());
    Rows rows;
    for (std::string line; std::getline(lines, line);) rows.push_back(line);
    EXPECT_THAT(rowsWith(rows, ",primitive,"), SizeIs(100000));
    EXPECT_THAT(rowsWith(rows, ",sleep,"), IsEmpty());
    // Nine primitives at start-up, then three a step.
    EXPECT_EQ("0,primitive,GET_SOC_WORKLOAD,0,0", rows.back());
}

// Two primitives of the sample at 600, then three a step.
TEST(VirtualClock, CountsPrimitivesFromTheLastSleep)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "500,status,GET_IA_CLIP_REASONS=1000\n"
                                 "700,stop,service\n");

    EXPECT_THAT(rowsWith(rowsAt(rows, 600), ",primitive,"), SizeIs(100000));
    EXPECT_THAT(sleeps(rows), ElementsAre("0 200", "200 200", "400 200"));
    EXPECT_EQ("600,primitive,GET_IA_CLIP_REASONS,,1000", rows.back());
}

TEST(Replay, TellsThatTheLoopEnded)
{
    std::istringstream file("time_ms,input,value\n");
    std::ostringstream out;

    const auto end = simulator::replay(simulator::readScenario(file, "scenario"), out);

    EXPECT_EQ(simulator::ReplayEnd::loopEnded, end);
    EXPECT_THAT(out.str(), StartsWith("time_ms,kind,name,value,status\n0,call,INIT,,0\n"));
}

TEST(Replay, RunsWithTheFlagsOfAnEngineWhoseProcessWatcherRuns)
{
    replayRows("");

    EXPECT_EQ(1, g_wmiConnected);
    EXPECT_EQ(1, g_wmiQueryIssued);
    EXPECT_EQ(1u, g_sessionHandle);
}

}  // namespace
}  // namespace kelvane::tests
