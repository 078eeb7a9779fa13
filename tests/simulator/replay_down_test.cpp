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

struct Fall {
    const char* power;    // mW, after the fall
    const char* written;  // empty: nothing
};

void PrintTo(const Fall& row, std::ostream* out) { *out << row.power; }

std::string powerOf(const testing::TestParamInfo<Fall>& row) { return row.param.power; }

Rows writeAt(const std::string& time, const Fall& fall)
{
    return *fall.written ? Rows{ time + " " + fall.written } : Rows{};
}

// Clips in the second step bring the ceiling to 10000 at 7000 mW; the third falls from there.
class ReplayFallFromFull : public testing::TestWithParam<Fall> {};

TEST_P(ReplayFallFromFull, LowersTheCeilingByItsBand)
{
    const Rows rows = replayRows("0,power_mw,7000\n2000,clip_reasons,0x400\n5000,clip_reasons,0\n5000,power_mw," +
                                 std::string(GetParam().power) + "\n8000,stop,service\n");

    EXPECT_THAT(messages(rowsAt(rows, 8000), "Down"), testing::SizeIs(1));
    EXPECT_THAT(ceilings(rowsAt(rows, 8000)), ElementsAreArray(writeAt("8000", GetParam())));
}

// Bands of 7000: 350, 700, 1400, 2100. A large fall leaves the floor of 1800, 500 for its being low, and twice 500.
INSTANTIATE_TEST_SUITE_P(Bands, ReplayFallFromFull,
                         testing::Values(Fall{ "7000", "" }, Fall{ "6999", "9900" }, Fall{ "6651", "9900" },
                                         Fall{ "6650", "9000" }, Fall{ "6301", "9000" }, Fall{ "6300", "8000" },
                                         Fall{ "5601", "8000" }, Fall{ "5600", "6000" }, Fall{ "4901", "6000" },
                                         Fall{ "4900", "3300" }),
                         powerOf);

// Clips at 6000 mW bring it to 5000.
class ReplayFallFromHalf : public testing::TestWithParam<Fall> {};

TEST_P(ReplayFallFromHalf, LowersTheCeilingByItsBand)
{
    const Rows rows = replayRows("0,power_mw,6000\n2000,clip_reasons,0x400\n5000,clip_reasons,0\n5000,power_mw," +
                                 std::string(GetParam().power) + "\n8000,stop,service\n");

    EXPECT_THAT(messages(rowsAt(rows, 8000), "Down"), testing::SizeIs(1));
    EXPECT_THAT(ceilings(rowsAt(rows, 8000)), ElementsAreArray(writeAt("8000", GetParam())));
}

// Bands of 6000: 300, 600, 1200, 1800. A large fall leaves the floor of 1800, 250, and twice 250.
INSTANTIATE_TEST_SUITE_P(Bands, ReplayFallFromHalf,
                         testing::Values(Fall{ "6000", "" }, Fall{ "5999", "4900" }, Fall{ "5701", "4900" },
                                         Fall{ "5700", "4000" }, Fall{ "5401", "4000" }, Fall{ "5400", "3000" },
                                         Fall{ "4801", "3000" }, Fall{ "4800", "3000" }, Fall{ "4201", "3000" },
                                         Fall{ "4200", "2550" }),
                         powerOf);

// 3000 mW have a ceiling of 1800 after the first step.
class ReplayFallFromLow : public testing::TestWithParam<Fall> {};

TEST_P(ReplayFallFromLow, LowersTheCeilingByItsBandDownToTheFloor)
{
    const Rows rows =
        replayRows("0,power_mw,3000\n2000,power_mw," + std::string(GetParam().power) + "\n5000,stop,service\n");

    EXPECT_THAT(messages(rowsAt(rows, 5000), "Down"), testing::SizeIs(1));
    EXPECT_THAT(ceilings(rowsAt(rows, 5000)), ElementsAreArray(writeAt("5000", GetParam())));
}

// Bands of 3000: 150, 300, 600, 900. 400 less than 1800 is more than 300 below the floor of 1800, so it snaps back;
// below 2000 a fall of 20% leaves the ceiling alone, and one of 30% leaves the floor.
INSTANTIATE_TEST_SUITE_P(Bands, ReplayFallFromLow,
                         testing::Values(Fall{ "3000", "" }, Fall{ "2999", "1700" }, Fall{ "2851", "1700" },
                                         Fall{ "2850", "1600" }, Fall{ "2701", "1600" }, Fall{ "2700", "" },
                                         Fall{ "2401", "" }, Fall{ "2400", "" }, Fall{ "2101", "" }, Fall{ "2100", "" },
                                         Fall{ "1599", "1200" }),
                         powerOf);

// A rise from 2000 to 2900 mW brings the ceiling to 2800.
class ReplayFallFromAboveTheTier : public testing::TestWithParam<Fall> {};

TEST_P(ReplayFallFromAboveTheTier, LowersTheCeilingByItsBand)
{
    const Rows rows = replayRows("0,power_mw,2000\n2000,power_mw,2900\n5000,power_mw," + std::string(GetParam().power) +
                                 "\n8000,stop,service\n");

    EXPECT_THAT(ceilings(rowsAt(rows, 5000)), ElementsAre("5000 2800"));
    EXPECT_THAT(ceilings(rowsAt(rows, 8000)), ElementsAreArray(writeAt("8000", GetParam())));
}

// Bands of 2900: 145, 290, 580, 870. From 20% on 1000 less; from 30% on the floor of 1800, 250, and twice 250.
INSTANTIATE_TEST_SUITE_P(Bands, ReplayFallFromAboveTheTier,
                         testing::Values(Fall{ "2321", "2400" }, Fall{ "2320", "1800" }, Fall{ "2031", "1800" },
                                         Fall{ "2030", "2550" }),
                         powerOf);

// A rise from 2000 to 2799 mW brings it to 2200 only, which the tier of 2500 exceeds.
TEST(ReplayFall, OfTwentyPercentLeavesACeilingWithinTheTierAlone)
{
    const Rows rows = replayRows("0,power_mw,2000\n2000,power_mw,2799\n5000,power_mw,2200\n8000,stop,service\n");

    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2000 1800", "5000 2200"));
    EXPECT_THAT(messages(rowsAt(rows, 8000), "Down"), ElementsAre(HasSubstr(" *Perf Max = 2200 *DeltaPkgpwr = 599 ")));
}

// From there a fall to 1989 mW would leave 2550 by its sum.
TEST(ReplayFall, OfThirtyPercentNeverRaisesTheCeiling)
{
    const Rows rows = replayRows("0,power_mw,2000\n2000,power_mw,2799\n5000,power_mw,1989\n8000,stop,service\n");

    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2000 1800", "5000 2200"));
    EXPECT_THAT(messages(rowsAt(rows, 8000), "Down"), ElementsAre(HasSubstr(" *Perf Max = 2200 *DeltaPkgpwr = 810 ")));
}

// 15000 mW have the top tier's 5400, which is not above itself: the smaller steps of 200 and 400.
TEST(ReplayFall, WithinTheTopTierTakesTheSmallerSteps)
{
    EXPECT_THAT(ceilings(replayRows("0,power_mw,15000\n2000,power_mw,14250\n5000,stop,service\n")),
                ElementsAre("0 1200", "2000 5400", "5000 5200"));
}

TEST(ReplayFall, OfTenPercentWithinTheTopTierTakesTheSmallerStepToo)
{
    EXPECT_THAT(ceilings(replayRows("0,power_mw,15000\n2000,power_mw,13500\n5000,stop,service\n")),
                ElementsAre("0 1200", "2000 5400", "5000 5000"));
}

TEST(ReplayFall, OnBatteryLeavesLessRoomAboveTheFloor)
{
    // Full performance by clips at 8000 mW. 30% less: the floor of 1600, 500, and once 500.
    const Rows rows = replayRows("0,ac_line,0\n0,power_mw,8000\n2000,clip_reasons,0x400\n5000,clip_reasons,0\n"
                                 "5000,power_mw,5600\n8000,stop,service\n");

    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2000 1600", "2000 10000", "8000 2600"));
}

// 256 times 500 on an unknown source are far above what was in force.
TEST(ReplayFall, OnAnUnknownSourceKeepsFullPerformance)
{
    const Rows rows = replayRows("0,ac_line,255\n0,power_mw,7000\n2000,clip_reasons,0x400\n5000,clip_reasons,0\n"
                                 "5000,power_mw,4900\n8000,stop,service\n");

    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2000 1800", "2000 10000"));
    EXPECT_THAT(messages(rowsAt(rows, 8000), "Down"),
                ElementsAre(HasSubstr(" *Perf Max = 10000 *DeltaPkgpwr = 2100 ")));
}

// Above the ceiling at 15001 mW; 30% less. The floor of 2800 is not low, so only twice 500 come to it.
TEST(ReplayFall, ToTenWattsLeavesTheFloorAndSomeRoom)
{
    EXPECT_THAT(ceilings(replayRows("0,power_mw,15001\n2000,power_mw,10000\n5000,stop,service\n")),
                ElementsAre("0 1200", "2000 10000", "5000 3800"));
}

TEST(ReplayFall, ThatStaysAboveTenWattsLeavesEightThousandOnMains)
{
    EXPECT_THAT(ceilings(replayRows("0,power_mw,15001\n2000,power_mw,10001\n5000,stop,service\n")),
                ElementsAre("0 1200", "2000 10000", "5000 8000"));
}

TEST(ReplayFall, ThatStaysAboveTenWattsGetsNoMoreOnBattery)
{
    // The floor of 1600, 500, and once 500.
    EXPECT_THAT(ceilings(replayRows("0,ac_line,0\n0,power_mw,16001\n2000,power_mw,10001\n5000,stop,service\n")),
                ElementsAre("0 1200", "2000 10000", "5000 2600"));
}

// Class 4 has a floor of 4000 on mains. 10% less takes 400 off, less than 5% take 100: 3500 are within the margin,
// 3400 are not.
TEST(ReplayFall, SnapsToAHighFloorWhenMoreThanItsMarginBelow)
{
    const Rows rows = replayRows("0,power_mw,5000\n"
                                 "100,event,183:2\n"
                                 "5000,power_mw,4500\n"
                                 "8000,power_mw,4450\n"
                                 "11000,power_mw,4440\n"
                                 "14000,stop,service\n");

    EXPECT_THAT(ceilings(rows),
                ElementsAre("0 1200", "2000 1800", "5000 4000", "8000 3600", "11000 3500", "14000 4000"));
}

struct DownReset {
    const char* name;
    const char* acLine;
    const char* power;
    const char* line;
};

void PrintTo(const DownReset& row, std::ostream* out) { *out << row.name; }

class ReplayDownReset : public testing::TestWithParam<DownReset> {};

// Above the ceiling in the first step.
TEST_P(ReplayDownReset, AtFullPerformanceDependsOnPower)
{
    const Rows rows = replayRows("0,ac_line," + std::string(GetParam().acLine) + "\n0,power_mw," + GetParam().power +
                                 "\n2000,stop,service\n");

    EXPECT_THAT(messages(rows, "Max Perf Reset"),
                ElementsAre("2000 2  ******* Max Perf Reset " + std::string(GetParam().line)));
}

INSTANTIATE_TEST_SUITE_P(Powers, ReplayDownReset,
                         testing::Values(DownReset{ "AboveTheCeiling", "1", "15001", "set 2 exitCount ==3" },
                                         DownReset{ "BelowPL1", "1", "16999", "set 2 exitCount ==3" },
                                         DownReset{ "AtPL1", "1", "17000", "Not done ==" },
                                         DownReset{ "AboveTheCeilingOnBattery", "0", "16001", "set 2 exitCount ==3" },
                                         DownReset{ "AtPL1OnBattery", "0", "17000", "Not done ==" }),
                         [](const auto& row) { return std::string(row.param.name); });

class ReplayDownResetAfterClip : public testing::TestWithParam<DownReset> {};

TEST_P(ReplayDownResetAfterClip, DependsOnPower)
{
    const Rows rows = replayRows("0,ac_line," + std::string(GetParam().acLine) + "\n0,power_mw," + GetParam().power +
                                 "\n2000,clip_reasons,0x400\n5000,clip_reasons,0\n8000,stop,service\n");

    EXPECT_THAT(messages(rows, "Max Perf Reset"),
                ElementsAre("8000 2  ******* Max Perf Reset " + std::string(GetParam().line)));
}

INSTANTIATE_TEST_SUITE_P(Powers, ReplayDownResetAfterClip,
                         testing::Values(DownReset{ "BelowHalfOfPL1", "1", "8499", "set 1 exitCount ==2" },
                                         DownReset{ "AtHalfOfPL1", "1", "8500", "set 2 exitCount ==3" }),
                         [](const auto& row) { return std::string(row.param.name); });

// Full performance by a ramp that is over within its probe: 4252, 4252 and 16999 mW are 6001 ahead of 2500, the rest
// is nothing. The average of 2550 is no rise by 100, and a count of two begins without a word; the next step counts
// one.
TEST(ReplayDownResetByARamp, BelowFiveWattsIsSilent)
{
    const Rows rows = replayRows("0,power_mw,2500\n"
                                 "2000,power_mw,4252\n"
                                 "2600,power_mw,16999\n"
                                 "2900,power_mw,0\n"
                                 "5000,power_mw,2550\n"
                                 "8000,stop,service\n");

    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2000 1800", "2600 10000"));
    EXPECT_THAT(messages(rowsAt(rows, 5000), "Down"), ElementsAre(HasSubstr(" Pkg power = 2550 *Perf Max = 10000 ")));
    EXPECT_THAT(messages(rows, "Max Perf Reset"), IsEmpty());
    EXPECT_THAT(messages(rows, "exitCount"),
                ElementsAre(HasSubstr("exitCount =: -1"), HasSubstr("exitCount =: -1"), HasSubstr("exitCount =: 1")));
}

TEST(ReplayDown, TakesTheFirstPowerForThePreviousOne)
{
    EXPECT_THAT(
        messages(replayRows("0,power_mw,2000\n1600,power_mw,1000\n2000,stop,service\n"), "Down"),
        ElementsAre("2000 2  **** PIDx- 1 Down Pkg power = 1800 *Perf Max = 1800 *DeltaPkgpwr = 0 *PerfRange ==: "
                    "1800 *tempPerfRange = 1800 PwrPause = 0 *WLC ==: 0"));
}

}  // namespace
}  // namespace kelvane::tests
