#include "controller/state.h"
#include "tests/simulator/replay_rows.h"
#include "tests/simulator/trace_rows.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

struct IdleEntry {
    const char* name;
    const char* acLine;
    const char* powerBefore;  // mW, in the first step, which ends at 2000
    const char* power;        // mW, in the second, which ends at 5000
    std::size_t entries;
};

void PrintTo(const IdleEntry& row, std::ostream* out) { *out << row.name; }

class ReplayIdleEntry : public testing::TestWithParam<IdleEntry> {};

TEST_P(ReplayIdleEntry, NeedsLowPowerInThisStepAndTheOneBefore)
{
    const auto& row = GetParam();

    const Rows rows = replayRows("0,ac_line," + std::string(row.acLine) + "\n0,power_mw," + row.powerBefore +
                                 "\n2000,power_mw," + row.power + "\n5000,stop,service\n");

    EXPECT_THAT(messages(rowsAt(rows, 5000), "PIDx 5 Active Idle PerfRange"), SizeIs(row.entries));
    EXPECT_THAT(messages(rowsAt(rows, 5000), "New pkgPower"), SizeIs(1 - row.entries));
}

INSTANTIATE_TEST_SUITE_P(Thresholds, ReplayIdleEntry,
                         testing::Values(IdleEntry{ "OnMainsAtItsHighest", "1", "1499", "1100", 1 },
                                         IdleEntry{ "OnMainsAbove", "1", "1499", "1101", 0 },
                                         IdleEntry{ "OnMainsAfterMore", "1", "1500", "1100", 0 },
                                         IdleEntry{ "OnUnknownAtItsHighest", "255", "1499", "1100", 1 },
                                         IdleEntry{ "OnUnknownAbove", "255", "1499", "1101", 0 },
                                         IdleEntry{ "OnUnknownAfterMore", "255", "1500", "1100", 0 },
                                         IdleEntry{ "OnBatteryAtItsHighest", "0", "1699", "1300", 1 },
                                         IdleEntry{ "OnBatteryAbove", "0", "1699", "1301", 0 },
                                         IdleEntry{ "OnBatteryAfterMore", "0", "1700", "1300", 0 }),
                         [](const auto& row) { return std::string(row.param.name); });

// The first step ends at 2000. Its idle pauses last until 9000, the next until 14600.
TEST(ReplayActiveIdle, PausesAndStopsTheProcessWatchOnlyOnItsFirstEntry)
{
    const Rows rows = replayRows("0,power_mw,1000\n14600,stop,service\n");

    EXPECT_THAT(rowsAt(rows, 2000),
                ElementsAre("2000,log,2, *** PIDx 5 Active Idle PerfRange = 1800  prefMax=  10000  pkgPower=  1000,",
                            "2000,log,0,processid Stop Service is Called,",
                            "2000,log,2,CancelAsyncCall call skipped with NULL pointer check =,", "2000,sleep,,2000,"));
    EXPECT_THAT(rowsAt(rows, 4000), ElementsAre("4000,sleep,,5000,"));
    EXPECT_THAT(rowsAt(rows, 9000),
                ElementsAre("9000,primitive,GET_SOC_WORKLOAD,0,0", "9000,primitive,GET_IA_CLIP_REASONS,0,0",
                            "9000,primitive,GET_RAPL_POWER,1000,0", "9000,sleep,,300,"));
    EXPECT_THAT(rowsAt(rows, 9300), ElementsAre("9300,primitive,GET_IA_CLIP_REASONS,0,0",
                                                "9300,primitive,GET_RAPL_POWER,1000,0", "9300,sleep,,300,"));
    EXPECT_THAT(rowsAt(rows, 9600),
                ElementsAre("9600,log,2, *** PIDx 5 Active Idle PerfRange = 1800  prefMax=  1200  pkgPower=  1000,",
                            "9600,sleep,,5000,"));
    EXPECT_EQ("14600,log,0,KV Windows service is stopped ,", rows.back());
}

// Both steps count in the statistics: 10000 and 1200 as ceilings, 1000 mW each.
TEST(ReplayActiveIdle, CountsInTheStatistics)
{
    replayRows("0,power_mw,1000\n14600,stop,service\n");

    EXPECT_EQ(2, avgCount);
    EXPECT_EQ(2000, pwrSum);
    EXPECT_EQ(11200, prefSum);
    EXPECT_EQ(1200, lastPrefMax);
    EXPECT_EQ(2, activeIdleCount);
    EXPECT_EQ(1, activeIdle);
}

TEST(ReplayActiveIdle, BringsTheCeilingDownAndLeavesTheTierOut)
{
    const Rows rows = replayRows("0,power_mw,1400\n"
                                 "100,event,183:2\n"
                                 "5000,power_mw,1000\n"
                                 "8000,stop,service\n");

    // Class 4 keeps the tier from going below its preference: 1800 still in the first step, 4000 from the second on.
    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2000 1800", "5000 4000", "8000 1200"));
    EXPECT_THAT(messages(rowsAt(rows, 8000), "PIDx 5"),
                ElementsAre("8000 2  *** PIDx 5 Active Idle PerfRange = 4000  prefMax=  4000  pkgPower=  1000"));
    EXPECT_THAT(messages(rows, "New pkgPower"), SizeIs(2));
}

// Power comes back while the loop pauses. The first sample notices and goes to the tier's preference and the quick
// pace; its second sample would make a ramp anywhere else. Then 500 more on the idle ceiling, and a full step at the
// quick pace.
TEST(ReplayActiveIdle, EndsWithTheFirstStepOfHigherPower)
{
    const Rows rows = replayRows("0,power_mw,1000\n"
                                 "9000,power_mw,3000\n"
                                 "9200,power_mw,16000\n"
                                 "9400,power_mw,9500\n"
                                 "11400,stop,service\n");

    EXPECT_THAT(rowsAt(rows, 9000),
                ElementsAre("9000,primitive,GET_SOC_WORKLOAD,0,0", "9000,primitive,GET_IA_CLIP_REASONS,0,0",
                            "9000,primitive,GET_RAPL_POWER,3000,0", "9000,primitive,SET_PERF_PREFERENCE_MAX,1800,0",
                            "9000,sleep,,200,"));
    EXPECT_THAT(rowsAt(rows, 9200), ElementsAre("9200,primitive,GET_IA_CLIP_REASONS,0,0",
                                                "9200,primitive,GET_RAPL_POWER,16000,0", "9200,sleep,,200,"));
    // The average of 9500 mW is above half of PL1: 1000 more on the preference.
    EXPECT_THAT(
        rowsAt(rows, 9400),
        ElementsAre("9400,log,2, *** PIDx 5 Active Idle exit PerfRange = 2800  prefMax=  1200  pkgPower=  9500,",
                    "9400,primitive,SET_PERF_PREFERENCE_MAX,1700,0", "9400,primitive,GET_SOC_WORKLOAD,0,0",
                    "9400,primitive,GET_IA_CLIP_REASONS,0,0", "9400,primitive,GET_RAPL_POWER,9500,0",
                    "9400,sleep,,200,"));
    EXPECT_THAT(rowsWith(rowsAt(rows, 11200), ",sleep,"), ElementsAre("11200,sleep,,200,"));
    EXPECT_THAT(messages(rowsAt(rows, 11400), "PID ON"), ElementsAre("11400 2  ** PIDx 5 PID ON test "));
}

struct IdleExit {
    const char* name;
    const char* acLine;
    const char* power;
    Rows writes;  // at 9000, while the second sample has yet to come
    const char* nextSample;
};

void PrintTo(const IdleExit& row, std::ostream* out) { *out << row.name; }

class ReplayIdleExit : public testing::TestWithParam<IdleExit> {};

TEST_P(ReplayIdleExit, IsSeenByTheSampleThatRisesAboveTheEntry)
{
    const Rows rows = replayRows("0,ac_line," + std::string(GetParam().acLine) + "\n0,power_mw,1000\n9000,power_mw," +
                                 GetParam().power + "\n9600,stop,service\n");

    EXPECT_THAT(ceilings(rowsAt(rows, 9000)), testing::ElementsAreArray(GetParam().writes));
    EXPECT_THAT(sleeps(rowsAt(rows, 9000)), ElementsAre(GetParam().nextSample));
}

INSTANTIATE_TEST_SUITE_P(Thresholds, ReplayIdleExit,
                         testing::Values(IdleExit{ "NotYetOnMains", "1", "1100", {}, "9000 300" },
                                         IdleExit{ "OnMains", "1", "1101", { "9000 1800" }, "9000 200" },
                                         IdleExit{ "NotYetOnBattery", "0", "1300", {}, "9000 300" },
                                         IdleExit{ "OnBattery", "0", "1301", { "9000 1800" }, "9000 200" }),
                         [](const auto& row) { return std::string(row.param.name); });

struct PidOnTest {
    const char* name;
    const char* acLine;
    const char* power;
    std::size_t lines;
};

void PrintTo(const PidOnTest& row, std::ostream* out) { *out << row.name; }

class ReplayPidOnTest : public testing::TestWithParam<PidOnTest> {};

// The step from 9000 leaves Active Idle, the one that ends at 11400 is the first full one.
TEST_P(ReplayPidOnTest, NeedsPowerAboveItsThreshold)
{
    const Rows rows = replayRows("0,ac_line," + std::string(GetParam().acLine) + "\n0,power_mw,1000\n9000,power_mw," +
                                 GetParam().power + "\n11400,stop,service\n");

    EXPECT_THAT(messages(rows, "PID ON test"), SizeIs(GetParam().lines));
    EXPECT_EQ("11400,log,0,KV Windows service is stopped ,", rows.back());
}

INSTANTIATE_TEST_SUITE_P(Thresholds, ReplayPidOnTest,
                         testing::Values(PidOnTest{ "OnMainsAt", "1", "1600", 0 },
                                         PidOnTest{ "OnMainsAbove", "1", "1601", 1 },
                                         PidOnTest{ "OnBatteryAt", "0", "1800", 0 },
                                         PidOnTest{ "OnBatteryAbove", "0", "1801", 1 }),
                         [](const auto& row) { return std::string(row.param.name); });

// Out of Active Idle at 9400, back in at 14400: after a step of 1400 mW the entry is the first again, but the process
// watch is still stopped.
TEST(ReplayActiveIdle, EnteredAgainWithoutThePidOnTestLeavesTheProcessWatchAlone)
{
    const Rows rows = replayRows("0,power_mw,1000\n"
                                 "9000,power_mw,1400\n"
                                 "11400,power_mw,1000\n"
                                 "14400,stop,service\n");

    EXPECT_THAT(messages(rows, "Stop Service is Called"), SizeIs(1));
    EXPECT_THAT(sleeps(rowsAt(rows, 14400)), ElementsAre("14400 5000"));
}

TEST(ReplayActiveIdle, EnteredAgainAfterThePidOnTestStopsTheProcessWatchAgain)
{
    const Rows rows = replayRows("0,power_mw,1000\n"
                                 "9000,power_mw,1700\n"
                                 "11400,power_mw,1400\n"
                                 "14400,power_mw,1000\n"
                                 "17400,stop,service\n");

    EXPECT_THAT(messages(rows, "Stop Service is Called"),
                ElementsAre("2000 0 processid Stop Service is Called", "17400 0 processid Stop Service is Called"));
    EXPECT_THAT(sleeps(rowsAt(rows, 17400)), ElementsAre("17400 2000"));
    EXPECT_THAT(sleeps(rowsAt(rows, 19400)), ElementsAre("19400 5000"));
}

// A power reading that fails counts as -1 mW.
TEST(ReplayActiveIdle, IsEnteredWhenPowerCannotBeRead)
{
    const Rows rows = replayRows("0,power_mw,1400\n"
                                 "2000,status,GET_RAPL_POWER=1000\n"
                                 "5000,stop,service\n");

    EXPECT_THAT(messages(rowsAt(rows, 5000), "PIDx 5"),
                ElementsAre("5000 2  *** PIDx 5 Active Idle PerfRange = 1800  prefMax=  1200  pkgPower=  -1"));
    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200"));
}

}  // namespace
}  // namespace kelvane::tests
