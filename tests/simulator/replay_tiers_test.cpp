#include "controller/state.h"
#include "tests/simulator/replay_rows.h"
#include "tests/simulator/trace_rows.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

struct Tier {
    const char* power;
    const char* preference;           // on mains
    const char* preferenceOnBattery;  // a tenth less, but for the lowest
};

void PrintTo(const Tier& row, std::ostream* out) { *out << row.power; }

class ReplayTier : public testing::TestWithParam<Tier> {};

TEST_P(ReplayTier, IsChosenByPower)
{
    const Rows rows = replayRows("0,power_mw," + std::string(GetParam().power) + "\n2000,stop,service\n");

    EXPECT_THAT(messages(rows, "New pkgPower"),
                ElementsAre("2000 2  **** New pkgPower ==" + std::string(GetParam().power) +
                            " prefMax = 1200 PerfRange = " + GetParam().preference +
                            " tempPerfRange = 1800 g_workload = 0"));
}

TEST_P(ReplayTier, IsLowerOnBattery)
{
    const Rows rows = replayRows("0,ac_line,0\n0,power_mw," + std::string(GetParam().power) + "\n2000,stop,service\n");

    EXPECT_THAT(messages(rows, "New pkgPower"),
                ElementsAre("2000 2  **** New pkgPower ==" + std::string(GetParam().power) +
                            " prefMax = 1200 PerfRange = " + GetParam().preferenceOnBattery +
                            " tempPerfRange = 1600 g_workload = 0"));
}

INSTANTIATE_TEST_SUITE_P(PowerOnABoundaryBelongsToTheHigherTier, ReplayTier,
                         testing::Values(Tier{ "1599", "1200", "1200" }, Tier{ "1600", "1800", "1620" },
                                         Tier{ "2199", "1800", "1620" }, Tier{ "2200", "2500", "2250" },
                                         Tier{ "2999", "2500", "2250" }, Tier{ "3000", "3000", "2700" },
                                         Tier{ "3999", "3000", "2700" }, Tier{ "4000", "3600", "3240" },
                                         Tier{ "4999", "3600", "3240" }, Tier{ "5000", "4200", "3780" },
                                         Tier{ "5999", "4200", "3780" }, Tier{ "6000", "4800", "4320" },
                                         Tier{ "8500", "4800", "4320" }),
                         [](const auto& row) { return std::string(row.param.power); });

// Above half of PL1 the workload's preference is 1000 higher on mains.
struct HighTier {
    const char* name;
    const char* acLine;
    const char* power;
    const char* line;
};

void PrintTo(const HighTier& row, std::ostream* out) { *out << row.name; }

class ReplayHighTier : public testing::TestWithParam<HighTier> {};

TEST_P(ReplayHighTier, IsChosenByPowerAndPL1)
{
    const Rows rows = replayRows("0,ac_line," + std::string(GetParam().acLine) + "\n0,power_mw," + GetParam().power +
                                 "\n2000,stop,service\n");

    EXPECT_THAT(messages(rows, "New pkgPower"),
                ElementsAre("2000 2  **** New pkgPower ==" + std::string(GetParam().line)));
}

INSTANTIATE_TEST_SUITE_P(
    Powers, ReplayHighTier,
    testing::Values(HighTier{ "AboveHalf", "1", "8501",
                              "8501 prefMax = 1200 PerfRange = 4800 tempPerfRange = 2800 g_workload = 0" },
                    HighTier{ "AboveHalfOnUnknown", "255", "8501",
                              "8501 prefMax = 1200 PerfRange = 4800 tempPerfRange = 2800 g_workload = 0" },
                    HighTier{ "AboveHalfOnBattery", "0", "8501",
                              "8501 prefMax = 1200 PerfRange = 4320 tempPerfRange = 1600 g_workload = 0" },
                    HighTier{ "BelowTop", "1", "10499",
                              "10499 prefMax = 1200 PerfRange = 4800 tempPerfRange = 2800 g_workload = 0" },
                    HighTier{ "Top", "1", "10500",
                              "10500 prefMax = 1200 PerfRange = 5400 tempPerfRange = 2800 g_workload = 0" },
                    HighTier{ "BelowTopOnBattery", "0", "10499",
                              "10499 prefMax = 1200 PerfRange = 4320 tempPerfRange = 1600 g_workload = 0" },
                    HighTier{ "TopOnBattery", "0", "10500",
                              "10500 prefMax = 1200 PerfRange = 4860 tempPerfRange = 1600 g_workload = 0" },
                    HighTier{ "AtTheCap", "1", "50000",
                              "50000 prefMax = 1200 PerfRange = 5400 tempPerfRange = 2800 g_workload = 0" },
                    HighTier{ "AboveTheCap", "1", "60000",
                              "50000 prefMax = 1200 PerfRange = 5400 tempPerfRange = 2800 g_workload = 0" }),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ReplayPowerCap, LeavesTheRunningAverageAlone)
{
    replayRows("0,power_mw,60000\n2000,stop,service\n");

    EXPECT_EQ(50000, pkgPower);
    EXPECT_EQ(60000, lastLoopAvg);
}

TEST(ReplayWorkloadFour, KeepsTheHigherTierAndGetsNoMoreAboveHalfOfPL1)
{
    const Rows rows = replayRows("0,power_mw,6000\n"
                                 "100,event,183:2\n"
                                 "5000,power_mw,8501\n"
                                 "8000,stop,service\n");

    EXPECT_THAT(messages(rows, "New pkgPower"),
                ElementsAre("2000 2  **** New pkgPower ==6000 prefMax = 1200 PerfRange = 4800 tempPerfRange = 1800 "
                            "g_workload = 4",
                            "5000 2  **** New pkgPower ==6000 prefMax = 1800 PerfRange = 4800 tempPerfRange = 4000 "
                            "g_workload = 4",
                            "8000 2  **** New pkgPower ==8501 prefMax = 4000 PerfRange = 4800 tempPerfRange = 4000 "
                            "g_workload = 4"));
}

TEST(ReplayWorkloadFour, OnBatteryKeepsItsLowerPreferenceLessATenth)
{
    const Rows rows = replayRows("0,ac_line,0\n"
                                 "0,power_mw,3000\n"
                                 "100,event,183:2\n"
                                 "5000,stop,service\n");

    EXPECT_THAT(messages(rowsAt(rows, 5000), "New pkgPower"),
                ElementsAre("5000 2  **** New pkgPower ==3000 prefMax = 1600 PerfRange = 3420 tempPerfRange = 3800 "
                            "g_workload = 4"));
    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2000 1600", "5000 3420"));
}

// Within the ceiling, power above the smoothed average (10000 mW at start) lifts the preference to the tier; above the
// ceiling the step goes to full performance.
struct Ceiling {
    const char* name;
    const char* acLine;
    const char* power;
    const char* written;
    Rows lines;
};

void PrintTo(const Ceiling& row, std::ostream* out) { *out << row.name; }

class ReplayCeiling : public testing::TestWithParam<Ceiling> {};

TEST_P(ReplayCeiling, LiesBelowPL1BySource)
{
    const Rows rows = replayRows("0,ac_line," + std::string(GetParam().acLine) + "\n0,power_mw," + GetParam().power +
                                 "\n2000,stop,service\n");

    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2000 " + std::string(GetParam().written)));
    EXPECT_THAT(messages(rows, "PIDx 7"), testing::ElementsAreArray(GetParam().lines));
}

INSTANTIATE_TEST_SUITE_P(
    Powers, ReplayCeiling,
    testing::Values(Ceiling{ "AtTheAverage", "1", "10000", "2800", {} },
                    Ceiling{ "AboveTheAverage",
                             "1",
                             "10001",
                             "4800",
                             { "2000 2  *** PIDx 7 NewPIDAvgPwr ==10000 pkgPower = 10001 prefMax = 4800" } },
                    Ceiling{ "OnMains",
                             "1",
                             "15000",
                             "5400",
                             { "2000 2  *** PIDx 7 NewPIDAvgPwr ==10000 pkgPower = 15000 prefMax = 5400" } },
                    Ceiling{ "AboveOnMains", "1", "15001", "10000", {} },
                    Ceiling{ "OnUnknown",
                             "255",
                             "15000",
                             "5400",
                             { "2000 2  *** PIDx 7 NewPIDAvgPwr ==10000 pkgPower = 15000 prefMax = 5400" } },
                    Ceiling{ "AboveOnUnknown", "255", "15001", "10000", {} },
                    Ceiling{ "OnBattery",
                             "0",
                             "16000",
                             "4860",
                             { "2000 2  *** PIDx 7 NewPIDAvgPwr ==10000 pkgPower = 16000 prefMax = 4860" } },
                    Ceiling{ "AboveOnBattery", "0", "16001", "10000", {} }),
    [](const auto& row) { return std::string(row.param.name); });

// On mains the workload's 2800 and 3000 more; on battery 1600 are first brought above 2000.
TEST(ReplayCeilingPreference, IsThreeThousandAboveTheWorkloads)
{
    EXPECT_THAT(messages(replayRows("0,power_mw,15001\n2000,stop,service\n"), "Down"),
                ElementsAre("2000 2  **** PIDx- 1 Down Pkg power = 15001 *Perf Max = 10000 *DeltaPkgpwr = 0 *PerfRange "
                            "==: 5800 *tempPerfRange = 2800 PwrPause = 0 *WLC ==: 0"));
}

TEST(ReplayCeilingPreference, OnBatteryIsLiftedByAThousandBefore)
{
    EXPECT_THAT(messages(replayRows("0,ac_line,0\n0,power_mw,16001\n2000,stop,service\n"), "Down"),
                ElementsAre("2000 2  **** PIDx- 1 Down Pkg power = 16001 *Perf Max = 10000 *DeltaPkgpwr = 0 *PerfRange "
                            "==: 5600 *tempPerfRange = 2600 PwrPause = 0 *WLC ==: 0"));
}

TEST(ReplayStatistics, AverageOverTheStepsSinceTheStart)
{
    const Rows rows = replayRows("0,power_mw,3000\n"
                                 "2000,power_mw,4001\n"
                                 "5000,power_mw,3000\n"
                                 "8000,stop,service\n");

    EXPECT_THAT(messages(rows, "Avg Pwr"),
                ElementsAre(testing::EndsWith(" ** Avg Pwr==3000"), testing::EndsWith(" ** Avg Pwr==3500"),
                            testing::EndsWith(" ** Avg Pwr==3333")));
    EXPECT_EQ(10001, pwrSum);
    EXPECT_EQ(3, avgCount);
    EXPECT_EQ(0, clipSum);
}

}  // namespace
}  // namespace kelvane::tests
