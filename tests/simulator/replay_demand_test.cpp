#include "simulator/formats/demand.h"
#include "tests/simulator/trace_rows.h"

#include <gmock/gmock.h>

#include <sstream>

namespace kelvane::tests {
namespace {

using namespace simulator;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::SizeIs;

Scenario scenarioOf(const std::string& rows)
{
    std::istringstream file("time_ms,input,value\n" + rows);
    return readScenario(file, "scenario.csv");
}

struct Start {
    std::string program;  // "NAME ID"
    std::uint64_t timeMs;

    bool operator==(const Start&) const = default;
};

// The process starts that follow from a scenario's launches.
std::vector<Start> startsOf(const std::string& rows)
{
    std::vector<Start> starts;
    for (const ScenarioLine& line : withProcessStarts(scenarioOf(rows))) {
        if (const auto* start = std::get_if<ProcessStart>(&line.input)) {
            starts.push_back({ start->name + " " + std::to_string(start->id), line.timeMs });
        }
    }
    return starts;
}

// Of as many launches at 5000.
std::vector<Start> startsOfLaunches(int count, const std::string& before = "")
{
    std::string rows = before;
    for (int index = 0; index < count; ++index) rows += "5000,job,a.exe:10:1:launch\n";
    return startsOf(rows);
}

TEST(LaunchNotification, ComesForLaunchesAlone)
{
    const auto starts =
        startsOf("0,job,editor.exe:10:1:launch\n5000,job,compile:10:1\n9000,job,mail.exe:10:1:launch\n");

    EXPECT_THAT(starts,
                ElementsAre(Field(&Start::program, "editor.exe 4000"), Field(&Start::program, "mail.exe 4004")));
}

TEST(LaunchNotification, ComesWithinTheWatchersSecondSpreadEvenly)
{
    const std::vector<Start> starts = startsOfLaunches(1000);

    ASSERT_THAT(starts, SizeIs(1000));
    EXPECT_LT(starts.back().timeMs, 6000u);
    int tenths[10] = {};
    for (const Start& start : starts) tenths[(start.timeMs - 5000) / 100] += 1;
    for (const int count : tenths) EXPECT_NEAR(100, count, 50);
}

TEST(LaunchNotification, DelayHangsOnTheSeedAlone)
{
    EXPECT_EQ(startsOfLaunches(20, "0,seed,7\n"), startsOfLaunches(20, "0,seed,7\n"));
    EXPECT_NE(startsOfLaunches(20, "0,seed,7\n"), startsOfLaunches(20, "0,seed,8\n"));
}

TEST(LaunchNotification, StandsInTheOrderOfTime)
{
    const Scenario scenario = withProcessStarts(scenarioOf("0,job,a.exe:10:1:launch\n1,ac_line,0\n2000,ac_line,1\n"));

    ASSERT_THAT(scenario, SizeIs(5));  // with the stop that is added
    for (std::size_t index = 1; index < scenario.size(); ++index) {
        EXPECT_LE(scenario[index - 1].timeMs, scenario[index].timeMs);
    }
    EXPECT_TRUE(std::holds_alternative<ProcessStart>(scenario[2].input));
}

TEST(Demand, IsServedByTheNamedProcessorOrTheFirst)
{
    EXPECT_EQ("desktop", processorOf(scenarioOf("0,processor,desktop\n5,job,a:1:1\n"))->name);
    EXPECT_EQ("desktop", processorOf(scenarioOf("0,processor,desktop\n"))->name);
    EXPECT_EQ("thin-laptop", processorOf(scenarioOf("5,job,a:1:1\n"))->name);
    EXPECT_EQ(nullptr, processorOf(scenarioOf("5,power_mw,1000\n")));
}

TEST(DemandReplay, RowsTellEachHundredMillisecondsOfWorkClockAndPower)
{
    // Start-up lasts no time, so the default ceiling 1200 holds from the first tick: clock 0.2 + 0.8 x sqrt(0.12) =
    // 0.47713, a busy core draws 954.3 + 651.7 mW.
    const Rows rows = replayRows("0,job,compile:1000:1\n2000,stop,service\n");

    EXPECT_THAT(rowsWith(rowsAt(rows, 100), ",processor,"),
                ElementsAre("100,processor,demand_core_ms,952,", "100,processor,served_core_ms,48,",
                            "100,processor,clock_permille,477,", "100,processor,power_mw,2406,",
                            "100,processor,average_mw,820,"));
    EXPECT_THAT(rowsAt(rows, 200), Contains("200,processor,served_core_ms,47,"));
    EXPECT_THAT(rowsAt(rows, 200), Contains("200,primitive,GET_RAPL_POWER,2406,0"));
    EXPECT_THAT(rowsWith(rows, ",demand_core_ms,"), SizeIs(20));
}

TEST(DemandReplay, LaunchIsNoticedAndItsCeilingQuickensTheClock)
{
    const Rows rows = replayRows("0,processor,thin-laptop\n2100,job,editor.exe:9000:2:launch\n4000,stop,service\n");

    const Rows full = rowsWith(rows, "SET_PERF_PREFERENCE_MAX,10000,0");
    ASSERT_THAT(full, SizeIs(testing::Ge(1u)));
    const std::uint64_t timeMs = std::stoull(full[0]);
    EXPECT_GE(timeMs, 2100u);
    EXPECT_LT(timeMs, 3100u);
    const std::uint64_t rowMs = timeMs / 100 * 100 + 200;
    EXPECT_THAT(rowsAt(rows, rowMs), Contains(std::to_string(rowMs) + ",processor,clock_permille,1000,"));
    EXPECT_THAT(rowsAt(rows, rowMs), Contains(std::to_string(rowMs) + ",processor,served_core_ms,200,"));
}

TEST(DemandReplay, ClipIsReportedWhileThePowerLimitCutsTheClock)
{
    // Six cores at the ceiling 10000 draw PL2's 30 W at once; the average passes the service's 17 W within seconds.
    const Rows rows = replayRows("0,job,build:400000:6\n40000,stop,service\n");

    EXPECT_THAT(rowsWith(rows, "GET_IA_CLIP_REASONS,0,0"), SizeIs(testing::Ge(10u)));
    EXPECT_THAT(rowsWith(rows, "GET_IA_CLIP_REASONS,2048,0"), SizeIs(testing::Ge(1u)));
    EXPECT_THAT(rowsWith(rows, "GET_IA_CLIP_REASONS,1024,0"), SizeIs(testing::Ge(10u)));
    EXPECT_THAT(rowsWith(rows, ",power_mw,17000,"), SizeIs(testing::Ge(10u)));
}

TEST(DemandReplay, FailedWriteChangesNothing)
{
    const Rows rows = replayRows("0,job,compile:1000:1\n0,status,SET_PERF_PREFERENCE_MAX=1800\n2000,stop,service\n");

    EXPECT_THAT(rowsAt(rows, 100), Contains("100,processor,clock_permille,1000,"));
}

}  // namespace
}  // namespace kelvane::tests
