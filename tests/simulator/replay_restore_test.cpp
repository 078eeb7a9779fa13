#include "controller/state.h"
#include "tests/simulator/replay_rows.h"
#include "tests/simulator/trace_rows.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// Clips in the second step bring full performance, in force while the third step, until 8000, plans to take it back:
// in two steps at 7000 mW. The fourth counts one of them, the fifth, from 11000 to 14000, restores.
const std::string fullAtSevenWatts = "0,power_mw,7000\n"
                                     "2000,clip_reasons,0x400\n"
                                     "5000,clip_reasons,0\n";

TEST(ReplayRestore, ComesWhenTheCountHasEnded)
{
    const Rows rows = replayRows(fullAtSevenWatts + "17000,stop,service\n");

    EXPECT_THAT(messages(rows, " ** exitCount =: "),
                ElementsAre(EndsWith("exitCount =: -1"), EndsWith("exitCount =: -1"), EndsWith("exitCount =: -1"),
                            EndsWith("exitCount =: 1"), EndsWith("exitCount =: -1"), EndsWith("exitCount =: -1")));
    EXPECT_THAT(messages(rows, "Max Perf Reset"), ElementsAre("8000 2  ******* Max Perf Reset set 1 exitCount ==2"));
    EXPECT_THAT(messages(rows, "Perf Restored"),
                ElementsAre("14000 2  * Perf Restored ** PerfRange =4800 ** NewPID =2 ** prefMax =5300"));
    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2000 1800", "2000 10000", "14000 5300"));
    EXPECT_EQ(0, NewPID);
}

TEST(ReplayRestore, CountsThatStepsFallAsNone)
{
    const Rows rows = replayRows(fullAtSevenWatts + "11000,power_mw,4500\n14000,power_mw,4000\n17000,stop,service\n");

    EXPECT_THAT(messages(rowsAt(rows, 14000), "Down"), ElementsAre(HasSubstr(" *Perf Max = 4100 *DeltaPkgpwr = 0 ")));
    EXPECT_THAT(messages(rowsAt(rows, 17000), "Down"), ElementsAre(HasSubstr(" *Perf Max = 3700 *DeltaPkgpwr = 500 ")));
}

struct Restore {
    const char* name;
    const char* power;  // mW, of the step that restores
    const char* line;
};

void PrintTo(const Restore& row, std::ostream* out) { *out << row.name; }

class ReplayRestoreFromFull : public testing::TestWithParam<Restore> {};

TEST_P(ReplayRestoreFromFull, LeavesRoomAboveTheTier)
{
    const Rows rows = replayRows(fullAtSevenWatts + "11000,power_mw," + GetParam().power + "\n14000,stop,service\n");

    EXPECT_THAT(messages(rows, "Perf Restored"),
                ElementsAre("14000 2  * Perf Restored ** PerfRange =" + std::string(GetParam().line)));
}

// 500 above the tier for the low floor of 1800 or less; 1000 more where that is below 4000.
INSTANTIATE_TEST_SUITE_P(Tiers, ReplayRestoreFromFull,
                         testing::Values(Restore{ "Highest", "7000", "4800 ** NewPID =2 ** prefMax =5300" },
                                         Restore{ "High", "5500", "4200 ** NewPID =2 ** prefMax =4700" },
                                         Restore{ "AboveFourThousand", "4500", "3600 ** NewPID =2 ** prefMax =4100" },
                                         Restore{ "BelowFourThousand", "3500", "3000 ** NewPID =2 ** prefMax =4500" },
                                         Restore{ "Low", "2500", "2500 ** NewPID =2 ** prefMax =4000" },
                                         Restore{ "Lower", "1700", "1800 ** NewPID =2 ** prefMax =3300" },
                                         Restore{ "Lowest", "1500", "1200 ** NewPID =2 ** prefMax =2700" }),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(ReplayRestore, LeavesNoRoomAboveATierOnAHighFloor)
{
    // Class 4: a floor of 4000.
    EXPECT_THAT(messages(replayRows("0,power_mw,7000\n100,event,183:2\n2000,clip_reasons,0x400\n5000,clip_reasons,0\n"
                                    "14000,stop,service\n"),
                         "Perf Restored"),
                ElementsAre("14000 2  * Perf Restored ** PerfRange =4800 ** NewPID =2 ** prefMax =4800"));
}

// On battery the clip itself plans the reset, one step earlier, and there is half the room.
TEST(ReplayRestore, LeavesLessRoomOnBattery)
{
    EXPECT_THAT(messages(replayRows("0,ac_line,0\n0,power_mw,7600\n2000,clip_reasons,0x400\n5000,clip_reasons,0\n"
                                    "8000,power_mw,3500\n11000,stop,service\n"),
                         "Perf Restored"),
                ElementsAre("11000 2  * Perf Restored ** PerfRange =2700 ** NewPID =2 ** prefMax =3700"));
}

// The fourth step's fall of 30% has brought the ceiling to 3300 already.
class ReplayRestoreFromLess : public testing::TestWithParam<Restore> {};

TEST_P(ReplayRestoreFromLess, LeavesHalfTheRoomAboveTheTier)
{
    const Rows rows = replayRows(fullAtSevenWatts + "8000,power_mw,4900\n11000,power_mw," + GetParam().power +
                                 "\n14000,stop,service\n");

    EXPECT_THAT(ceilings(rowsAt(rows, 11000)), ElementsAre("11000 3300"));
    EXPECT_THAT(messages(rows, "Perf Restored"),
                ElementsAre("14000 2  * Perf Restored ** PerfRange =" + std::string(GetParam().line)));
}

INSTANTIATE_TEST_SUITE_P(Tiers, ReplayRestoreFromLess,
                         testing::Values(Restore{ "WithinTheTier", "4900", "3600 ** NewPID =2 ** prefMax =3300" },
                                         Restore{ "WithinTheRoom", "3000", "3000 ** NewPID =2 ** prefMax =3300" },
                                         Restore{ "Above", "2500", "2500 ** NewPID =2 ** prefMax =3000" },
                                         Restore{ "FarAbove", "1700", "1800 ** NewPID =2 ** prefMax =2300" }),
                         [](const auto& row) { return std::string(row.param.name); });

// Three steps at 8500 mW. Two falls of 30% bring the ceiling to 3300 and to the floor of 1800; the sixth step
// restores.
TEST(ReplayRestore, GoesToTheTierFromALowCeilingFarAboveIt)
{
    const Rows rows = replayRows("0,power_mw,8500\n2000,clip_reasons,0x400\n5000,clip_reasons,0\n"
                                 "8000,power_mw,5900\n11000,power_mw,4130\n14000,power_mw,1500\n17000,stop,service\n");

    EXPECT_THAT(ceilings(rows),
                ElementsAre("0 1200", "2000 1800", "2000 10000", "11000 3300", "14000 1800", "17000 1200"));
    EXPECT_THAT(messages(rows, "Perf Restored"),
                ElementsAre("17000 2  * Perf Restored ** PerfRange =1200 ** NewPID =2 ** prefMax =1200"));
}

TEST(ReplayRestore, LeavesALowCeilingAtItsTierAlone)
{
    const Rows rows = replayRows("0,power_mw,8500\n2000,clip_reasons,0x400\n5000,clip_reasons,0\n"
                                 "8000,power_mw,5900\n11000,power_mw,4130\n14000,power_mw,1600\n17000,stop,service\n");

    EXPECT_THAT(messages(rows, "Perf Restored"),
                ElementsAre("17000 2  * Perf Restored ** PerfRange =1800 ** NewPID =2 ** prefMax =1800"));
}

// A ramp that is over within the second step's probe leaves full performance in force at 2250 mW and plans to take it
// back in two steps: the third, until 8000, counts one, the fourth restores unless power still rises.
struct Delay {
    const char* name;
    const char* acLine;
    const char* third;   // mW
    const char* fourth;  // mW
    std::size_t delayed;
};

void PrintTo(const Delay& row, std::ostream* out) { *out << row.name; }

class ReplayDelayedRestore : public testing::TestWithParam<Delay> {};

TEST_P(ReplayDelayedRestore, WaitsWhilePowerRisesMuch)
{
    const auto& row = GetParam();

    const Rows rows = replayRows("0,ac_line," + std::string(row.acLine) +
                                 "\n0,power_mw,1500\n2000,power_mw,3000\n2600,power_mw,16503\n2900,power_mw,0\n"
                                 "5000,power_mw," +
                                 row.third + "\n8000,power_mw," + row.fourth + "\n11000,stop,service\n");

    EXPECT_THAT(messages(rows, " ** delayed Restore =="), SizeIs(row.delayed));
    EXPECT_THAT(messages(rows, "Perf Restored"), SizeIs(1 - row.delayed));
}

// Below 2500 mW 30% count as much, below 4000 mW 30% on mains and 20% on battery, from there on 10%. An unknown source
// makes the middle one 2570%.
INSTANTIATE_TEST_SUITE_P(Powers, ReplayDelayedRestore,
                         testing::Values(Delay{ "OnMains", "1", "2250", "2926", 1 },
                                         Delay{ "NotOnMains", "1", "2250", "2925", 0 },
                                         Delay{ "OnBattery", "0", "2250", "2701", 1 },
                                         Delay{ "NotOnBattery", "0", "2250", "2700", 0 },
                                         Delay{ "NotBelowTwoAndAHalfWatts", "0", "1930", "2499", 0 },
                                         Delay{ "FromTwoAndAHalfWatts", "0", "1930", "2500", 1 },
                                         Delay{ "NotOnUnknown", "255", "2250", "3999", 0 },
                                         Delay{ "FromFourWattsOnUnknown", "255", "2250", "4000", 1 },
                                         Delay{ "FromFourWatts", "1", "3640", "4005", 1 },
                                         Delay{ "NotFromFourWatts", "1", "3640", "4004", 0 }),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(ReplayDelayedRestores, ComeOneStepLater)
{
    const Rows rows = replayRows("0,power_mw,1500\n2000,power_mw,3000\n2600,power_mw,16503\n2900,power_mw,0\n"
                                 "5000,power_mw,2250\n8000,power_mw,3000\n14000,stop,service\n");

    EXPECT_THAT(messages(rows, "Restore"),
                ElementsAre("11000 2  ** delayed Restore ==",
                            "14000 2  * Perf Restored ** PerfRange =3000 ** NewPID =2 ** prefMax =4500"));
    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2600 10000", "14000 4500"));
}

TEST(ReplayDelayedRestores, ComeAsLateAsPowerRises)
{
    const Rows rows = replayRows("0,power_mw,1500\n2000,power_mw,3000\n2600,power_mw,16503\n2900,power_mw,0\n"
                                 "5000,power_mw,2250\n8000,power_mw,3000\n11000,power_mw,3950\n17000,stop,service\n");

    EXPECT_THAT(messages(rows, "Restore"),
                ElementsAre("11000 2  ** delayed Restore ==", "14000 2  ** delayed Restore ==",
                            "17000 2  * Perf Restored ** PerfRange =3000 ** NewPID =2 ** prefMax =4500"));
}

// On an unknown source 256 steps of room are more than full performance.
TEST(ReplayRestore, OnAnUnknownSourceLeavesFullPerformance)
{
    const Rows rows =
        replayRows("0,ac_line,255\n0,power_mw,1500\n2000,power_mw,3000\n2600,power_mw,16503\n2900,power_mw,0\n"
                   "5000,power_mw,2250\n11000,stop,service\n");

    EXPECT_THAT(messages(rows, "Perf Restored"),
                ElementsAre("11000 2  * Perf Restored ** PerfRange =2500 ** NewPID =2 ** prefMax =10000"));
}

// Above half of PL1 the restore waits unless power has fallen by a twentieth.
class ReplayHighDelayedRestore : public testing::TestWithParam<Delay> {};

TEST_P(ReplayHighDelayedRestore, WaitsUntilPowerFalls)
{
    const Rows rows = replayRows("0,power_mw," + std::string(GetParam().third) +
                                 "\n2000,clip_reasons,0x400\n5000,clip_reasons,0\n14000,power_mw," + GetParam().fourth +
                                 "\n17000,stop,service\n");

    EXPECT_THAT(messages(rows, " ** delayed Restore =="), SizeIs(GetParam().delayed));
    EXPECT_THAT(messages(rows, "Perf Restored"), SizeIs(1 - GetParam().delayed));
}

INSTANTIATE_TEST_SUITE_P(Powers, ReplayHighDelayedRestore,
                         testing::Values(Delay{ "LessThanATwentieth", "1", "9000", "8551", 1 },
                                         Delay{ "ATwentieth", "1", "9000", "8550", 0 },
                                         Delay{ "AtHalfOfPL1", "1", "8600", "8500", 0 }),
                         [](const auto& row) { return std::string(row.param.name); });

// A count is never begun twice: with a restore pending, full performance in force plans nothing more.
TEST(ReplayRestore, IsPlannedOnce)
{
    const Rows rows = replayRows(fullAtSevenWatts + "8000,power_mw,7300\n11000,stop,service\n");

    EXPECT_THAT(messages(rows, "Max Perf Reset"), ElementsAre("8000 2  ******* Max Perf Reset set 1 exitCount ==2"));
    EXPECT_THAT(messages(rows, "PIDx- 2 Up"), ElementsAre(HasSubstr(" *Perf Max = 10000 ")));
}

}  // namespace
}  // namespace kelvane::tests
