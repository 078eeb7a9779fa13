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

struct Rise {
    const char* power;    // mW, in the second step; 2000 in the first
    const char* written;  // empty: nothing
};

void PrintTo(const Rise& row, std::ostream* out) { *out << row.power; }

// 2000 mW have a ceiling of 1800 after the first step, which ends at 2000. The second ends at 5000.
class ReplayRise : public testing::TestWithParam<Rise> {};

TEST_P(ReplayRise, RaisesTheCeilingByItsShareOfThePowerBefore)
{
    const Rows rows =
        replayRows("0,power_mw,2000\n2000,power_mw," + std::string(GetParam().power) + "\n5000,stop,service\n");

    EXPECT_THAT(messages(rows, "PIDx- 2 Up"), testing::SizeIs(1));
    EXPECT_THAT(ceilings(rowsAt(rows, 5000)),
                ElementsAreArray(*GetParam().written ? Rows{ "5000 " + std::string(GetParam().written) } : Rows{}));
}

// A fifth of 2000 is 400. Half of it more: 200; a fifth: 400; two fifths: 1000, or 1500 from 1000 mW on; more than
// 5000 mW or above the ceiling: full performance. At 4000 mW and more it is 1500, too.
INSTANTIATE_TEST_SUITE_P(Bands, ReplayRise,
                         testing::Values(Rise{ "2100", "" }, Rise{ "2199", "" }, Rise{ "2200", "2000" },
                                         Rise{ "2399", "2000" }, Rise{ "2400", "2200" }, Rise{ "2799", "2200" },
                                         Rise{ "2800", "2800" }, Rise{ "2999", "2800" }, Rise{ "3000", "3300" },
                                         Rise{ "3999", "3300" }, Rise{ "4000", "3300" }, Rise{ "7000", "3300" },
                                         Rise{ "7001", "10000" }, Rise{ "15001", "10000" }),
                         [](const auto& row) { return std::string(row.param.power); });

TEST(ReplayUp, NeedsTheTiersRise)
{
    const Rows rows = replayRows("0,power_mw,2000\n2000,power_mw,2099\n5000,stop,service\n");

    EXPECT_THAT(messages(rows, "PIDx- 2 Up"), IsEmpty());
    EXPECT_THAT(messages(rowsAt(rows, 5000), "Down"), ElementsAre(HasSubstr(" *DeltaPkgpwr = -99 ")));
}

TEST(ReplayUp, TellsWhatItDid)
{
    const Rows rows = replayRows("0,power_mw,2000\n2000,power_mw,2900\n5000,stop,service\n");

    EXPECT_THAT(
        rowsAt(rows, 5000),
        ElementsAre("5000,log,2, **** New pkgPower ==2900 prefMax = 1800 PerfRange = 2500 tempPerfRange = 1800 "
                    "g_workload = 0,",
                    "5000,log,2, * Kv_opt ==3 ** PID_Change ==: 0 ** g_powerSlider =: 0 ** exitCount =: -1,",
                    "5000,log,2, ** NewPID = 0 ** AC Mode = 1 ** PostPID = 0 ** Clip Count ==0 ** Avg Pwr==2450,",
                    "5000,primitive,SET_PERF_PREFERENCE_MAX,2800,0",
                    "5000,log,2, **** PIDx- 2 Up   Pkg power = 2900 *Perf Max = 2800 *DeltaPkgpwr ==: 900 *Xf ==: "
                    "400 *NewPIDAvgPwr = 10000 *PerfRange ==: 2500 *WLC ==: 0,",
                    "5000,log,0,KV Windows service is stopped ,"));
}

struct SmallRise {
    const char* name;
    const char* first;
    const char* second;
    const char* measures;
};

void PrintTo(const SmallRise& row, std::ostream* out) { *out << row.name; }

class ReplaySmallRise : public testing::TestWithParam<SmallRise> {};

// Below 2000 mW a rise of less than 500 is measured against two fifths.
TEST_P(ReplaySmallRise, IsMeasuredAgainstMore)
{
    const Rows rows = replayRows("0,power_mw," + std::string(GetParam().first) + "\n2000,power_mw," +
                                 GetParam().second + "\n5000,stop,service\n");

    EXPECT_THAT(messages(rows, "PIDx- 2 Up"), ElementsAre(HasSubstr(GetParam().measures)));
}

INSTANTIATE_TEST_SUITE_P(Powers, ReplaySmallRise,
                         testing::Values(SmallRise{ "BelowTwoWatts", "1550", "1999",
                                                    "*DeltaPkgpwr ==: 449 *Xf ==: 620 " },
                                         SmallRise{ "AtTwoWatts", "1550", "2000", "*DeltaPkgpwr ==: 450 *Xf ==: 310 " },
                                         SmallRise{ "By499", "1500", "1999", "*DeltaPkgpwr ==: 499 *Xf ==: 600 " },
                                         SmallRise{ "By500", "1499", "1999", "*DeltaPkgpwr ==: 500 *Xf ==: 299 " }),
                         [](const auto& row) { return std::string(row.param.name); });

// Rises of 1200 mW each: 3000 to 4200 adds 1500 to 3300, which is more than 600 above the tier's 3600.
TEST(ReplayUp, IsCappedToTheTierWhenFarAboveIt)
{
    EXPECT_THAT(ceilings(replayRows("0,power_mw,2000\n2000,power_mw,3000\n5000,power_mw,4200\n8000,stop,service\n")),
                ElementsAre("0 1200", "2000 1800", "5000 3300", "8000 3600"));
}

// On battery the room is 400: 1600, 3100, and 3500 are within 3240 and 400.
TEST(ReplayUp, IsCappedCloserToTheTierOnBattery)
{
    EXPECT_THAT(ceilings(replayRows("0,ac_line,0\n0,power_mw,2000\n2000,power_mw,3000\n5000,power_mw,4000\n"
                                    "8000,power_mw,4850\n11000,stop,service\n")),
                ElementsAre("0 1200", "2000 1600", "5000 3100", "8000 3500", "11000 3240"));
}

// From a tier of 4200 on the room is 1100.
TEST(ReplayUp, HasMoreRoomAboveTheHigherTiers)
{
    EXPECT_THAT(ceilings(replayRows("0,power_mw,2000\n2000,power_mw,3000\n5000,power_mw,5000\n8000,stop,service\n")),
                ElementsAre("0 1200", "2000 1800", "5000 3300", "8000 4800"));
}

// 100 mW more in each step are within the least range: counted six times, then 200 more, then counted from one.
TEST(ReplayUp, WithinTheLeastRangeStepsUpAfterSixSteps)
{
    const Rows rows = replayRows("0,power_mw,3000\n"
                                 "2000,power_mw,3100\n"
                                 "5000,power_mw,3200\n"
                                 "8000,power_mw,3300\n"
                                 "11000,power_mw,3400\n"
                                 "14000,power_mw,3500\n"
                                 "17000,power_mw,3600\n"
                                 "20000,power_mw,3700\n"
                                 "23000,power_mw,3800\n"
                                 "26000,stop,service\n");

    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2000 1800", "23000 2000"));
    EXPECT_THAT(messages(rows, "PIDx 6"),
                ElementsAre("5000 2  *** PIDx 6 No change in PrefMax, within least range = 1 ** incnttype = 3",
                            "8000 2  *** PIDx 6 No change in PrefMax, within least range = 2 ** incnttype = 3",
                            "11000 2  *** PIDx 6 No change in PrefMax, within least range = 3 ** incnttype = 3",
                            "14000 2  *** PIDx 6 No change in PrefMax, within least range = 4 ** incnttype = 3",
                            "17000 2  *** PIDx 6 No change in PrefMax, within least range = 5 ** incnttype = 3",
                            "20000 2  *** PIDx 6 No change in PrefMax, within least range = 6 ** incnttype = 3",
                            "23000 2  *** PIDx 6 No change in PrefMax, within least range = 1 ** incnttype = 3",
                            "26000 2  *** PIDx 6 No change in PrefMax, within least range = 2 ** incnttype = 3"));
}

struct UpReset {
    const char* name;
    const char* acLine;
    const char* power;
    const char* line;
};

void PrintTo(const UpReset& row, std::ostream* out) { *out << row.name; }

class ReplayUpReset : public testing::TestWithParam<UpReset> {};

TEST_P(ReplayUpReset, AtFullPerformanceDependsOnPowerAndSource)
{
    const Rows rows = replayRows("0,ac_line," + std::string(GetParam().acLine) + "\n0,power_mw,2000\n2000,power_mw," +
                                 GetParam().power + "\n5000,stop,service\n");

    EXPECT_THAT(messages(rows, "Max Perf Reset"),
                ElementsAre("5000 2  ******* Max Perf Reset " + std::string(GetParam().line)));
}

INSTANTIATE_TEST_SUITE_P(Powers, ReplayUpReset,
                         testing::Values(UpReset{ "OnMains", "1", "7001", "set 5 ==3" },
                                         UpReset{ "BelowHalfOfPL1", "1", "8499", "set 5 ==3" },
                                         UpReset{ "AtHalfOfPL1", "1", "8500", "set 6 ==4" },
                                         UpReset{ "BelowPL1", "1", "16999", "set 6 ==4" },
                                         UpReset{ "AtPL1", "1", "17000", "Not set 3 ==-1" },
                                         UpReset{ "OnUnknown", "255", "8499", "set 5 ==3" },
                                         UpReset{ "OnBattery", "0", "7001", "set 5 ==2" },
                                         UpReset{ "BelowHalfOfPL1OnBattery", "0", "8499", "set 5 ==2" },
                                         UpReset{ "AtHalfOfPL1OnBattery", "0", "8500", "set 6 ==3" },
                                         UpReset{ "BelowPL1OnBattery", "0", "16999", "set 6 ==3" },
                                         UpReset{ "AtPL1OnBattery", "0", "17000", "Not set 3 ==-1" }),
                         [](const auto& row) { return std::string(row.param.name); });

// Full performance by a ramp that is over within its probe: 3000, 3000 and 16503 mW, then nothing, are 2250 on
// average. A count of two begins without a word; the next step counts one.
TEST(ReplayUpResetByARamp, BelowFiveWattsIsSilent)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "2000,power_mw,3000\n"
                                 "2600,power_mw,16503\n"
                                 "2900,power_mw,0\n"
                                 "5000,power_mw,2250\n"
                                 "8000,stop,service\n");

    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2600 10000"));
    EXPECT_THAT(messages(rows, "PIDx- 2 Up"), ElementsAre(HasSubstr(" Pkg power = 2250 *Perf Max = 10000 ")));
    EXPECT_THAT(messages(rows, "Max Perf Reset"), IsEmpty());
    EXPECT_THAT(messages(rows, "exitCount"),
                ElementsAre(HasSubstr("exitCount =: -1"), HasSubstr("exitCount =: -1"), HasSubstr("exitCount =: 1")));
}

}  // namespace
}  // namespace kelvane::tests
