#include "state/state.h"
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
using testing::SizeIs;

// The second probe samples at 2000, 2300, 2600, ..., 4700 and ends at 5000. After a first step at 1500 mW its base is
// 1200, and a ramp needs an average that is 40% above both 1500 mW and its own last value.

TEST(ReplayProbe, ReadsClipReasonsThenPowerThenSleepsTenTimes)
{
    const Rows rows = replayRows("0,power_mw,1500\n5000,stop,service\n");

    Rows expected;
    for (const char* const time : { "2000", "2300", "2600", "2900", "3200", "3500", "3800", "4100", "4400", "4700" }) {
        expected.push_back(time + std::string(",primitive,GET_IA_CLIP_REASONS,0,0"));
        expected.push_back(time + std::string(",primitive,GET_RAPL_POWER,1500,0"));
        expected.push_back(time + std::string(",sleep,,300,"));
    }
    const auto first = std::find(rows.begin(), rows.end(), expected.front());
    ASSERT_GE(rows.end() - first, 30);
    EXPECT_THAT(Rows(first, first + 30), ElementsAreArray(expected));
    EXPECT_THAT(rowsAt(rows, 5000), ElementsAre(HasSubstr("New pkgPower"), HasSubstr("Kv_opt"), HasSubstr("NewPID"),
                                                HasSubstr("Down"), HasSubstr("is stopped")));
}

TEST(ReplayProbe, AveragesItsSamplesAndTruncates)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "2000,power_mw,1509\n"
                                 "2300,power_mw,1500\n"
                                 "5000,power_mw,1510\n"
                                 "5300,power_mw,1500\n"
                                 "8000,stop,service\n");

    EXPECT_THAT(messages(rows, "New pkgPower"),
                ElementsAre(HasSubstr("==1500 "), HasSubstr("==1500 "), HasSubstr("==1501 ")));
}

struct Ramp {
    const char* name;
    const char* first;  // mW, of the samples at 2000 and 2300
    const char* third;  // mW, of the one at 2600
    Rows written;
    Rows lines;
};

void PrintTo(const Ramp& row, std::ostream* out) { *out << row.name; }

class ReplayRamp : public testing::TestWithParam<Ramp> {};

TEST_P(ReplayRamp, RaisesTheCeilingByHowFarPowerIsAhead)
{
    const auto& row = GetParam();

    const Rows rows = replayRows("0,power_mw,1500\n2000,power_mw," + std::string(row.first) + "\n2600,power_mw," +
                                 row.third + "\n2700,stop,service\n");

    EXPECT_THAT(ceilings(rowsAt(rows, 2600)), ElementsAreArray(row.written));
    EXPECT_THAT(messages(rowsAt(rows, 2600)), ElementsAreArray(row.lines));
}

INSTANTIATE_TEST_SUITE_P(
    Bands, ReplayRamp,
    testing::Values(
        Ramp{ "By1000", "1500", "4500", {}, {} },
        Ramp{ "By1001",
              "1500",
              "4503",
              { "2600 1700" },
              { "2600 2  * Increase tempPwr ==4503 * pp ==2501 * deltaloop ==1001 * ppd_dash ==1950 * i ==2" } },
        Ramp{ "By2000",
              "1500",
              "7500",
              { "2600 1700" },
              { "2600 2  * Increase tempPwr ==7500 * pp ==3500 * deltaloop ==2000 * ppd_dash ==1950 * i ==2" } },
        Ramp{ "By2001",
              "1500",
              "7503",
              { "2600 2200" },
              { "2600 2  * Increase tempPwr ==7503 * pp ==3501 * deltaloop ==2001 * ppd_dash ==1950 * i ==2" } },
        Ramp{ "By3000",
              "1500",
              "10500",
              { "2600 2200" },
              { "2600 2  * Increase tempPwr ==10500 * pp ==4500 * deltaloop ==3000 * ppd_dash ==1950 * i ==2" } },
        Ramp{ "By3001",
              "1500",
              "10503",
              { "2600 8000" },
              { "2600 2  * Increase tempPwr ==10503 * pp ==4501 * deltaloop ==3001 * ppd_dash ==1950 * i ==2" } },
        Ramp{ "By6000",
              "3000",
              "16500",
              { "2600 8000" },
              { "2600 2  * Increase tempPwr ==16500 * pp ==7500 * deltaloop ==6000 * ppd_dash ==1950 * i ==2" } },
        Ramp{ "By6001",
              "3000",
              "16503",
              { "2600 10000" },
              { "2600 2  * Increase tempPwr ==16503 * pp ==7501 * deltaloop ==6001 * ppd_dash ==1950 * i ==2" } },
        // A sample at PL1 itself is none of a ramp's.
        Ramp{ "BelowPL1",
              "1500",
              "16999",
              { "2600 8000" },
              { "2600 2  * Increase tempPwr ==16999 * pp ==6666 * deltaloop ==5166 * ppd_dash ==1950 * i ==2" } },
        Ramp{ "AtPL1", "1500", "17000", {}, {} },
        // Averages of 3000 and then 4200: exactly 40% more, and one more.
        Ramp{ "NotAheadOfItself", "3000", "6600", {}, {} },
        Ramp{ "AheadOfItself",
              "3000",
              "6603",
              { "2600 2200" },
              { "2600 2  * Increase tempPwr ==6603 * pp ==4201 * deltaloop ==2701 * ppd_dash ==1950 * i ==2" } }),
    [](const auto& row) { return std::string(row.param.name); });

// Only samples 2, 3, 6 and 7 look for a ramp. One that begins in another is seen in the first of these that is still
// 40% ahead of the average before it.
struct RampBegin {
    const char* name;
    const char* time;
    Rows written;
};

void PrintTo(const RampBegin& row, std::ostream* out) { *out << row.name; }

class ReplayRampBegin : public testing::TestWithParam<RampBegin> {};

TEST_P(ReplayRampBegin, IsSeenOnlyBySomeSamples)
{
    const Rows rows =
        replayRows("0,power_mw,1500\n" + std::string(GetParam().time) + ",power_mw,16000\n4900,stop,service\n");

    // The step's own write is left out.
    EXPECT_THAT(rowsWith(rows, "Increase tempPwr"), SizeIs(GetParam().written.size()));
    Rows raised = ceilings(rows);
    raised.erase(raised.begin());
    raised.erase(std::remove_if(raised.begin(), raised.end(), [](const auto& row) { return row.starts_with("5000 "); }),
                 raised.end());
    EXPECT_THAT(raised, ElementsAreArray(GetParam().written));
}

// Of 16000 mW from the second sample on, the third makes an average of 11166 after 8750; from the fourth on, the
// fourth makes 5125 after 1500; from the sixth on, the seventh makes 5642 after 3916; from the seventh on, it makes
// 3571 after 1500 and the eighth 5125 after 3571; from the eighth on, it makes 3312 after 1500.
INSTANTIATE_TEST_SUITE_P(Samples, ReplayRampBegin,
                         testing::Values(RampBegin{ "First", "2000", {} }, RampBegin{ "Second", "2300", {} },
                                         RampBegin{ "Third", "2600", { "2600 8000" } },
                                         RampBegin{ "Fourth", "2900", { "2900 8000" } },
                                         RampBegin{ "Fifth", "3200", {} },
                                         RampBegin{ "Sixth", "3500", { "3800 8000" } },
                                         RampBegin{ "Seventh", "3800", { "3800 2200", "4100 8000" } },
                                         RampBegin{ "Eighth", "4100", { "4100 1700" } },
                                         RampBegin{ "Ninth", "4400", {} }, RampBegin{ "Tenth", "4700", {} }),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(ReplayProbe, AddsTheRaisesOfOneProbe)
{
    // Averages 2501 and 3502: 1001 and 2002 mW ahead.
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "2600,power_mw,4503\n"
                                 "2900,power_mw,6505\n"
                                 "3000,stop,service\n");

    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2600 1700", "2900 2700", testing::StartsWith("5000 ")));
    EXPECT_THAT(
        messages(rows, "Increase"),
        ElementsAre("2600 2  * Increase tempPwr ==4503 * pp ==2501 * deltaloop ==1001 * ppd_dash ==1950 * i ==2",
                    "2900 2  * Increase tempPwr ==6505 * pp ==3502 * deltaloop ==2002 * ppd_dash ==1950 * i ==3"));
}

// 300 mW in the fourth sample bring the average back to 1950, 30% above the first step's.
TEST(ReplayProbe, TakesTheRaiseBackWhenPowerFallsBack)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "2600,power_mw,4503\n"
                                 "2900,power_mw,300\n"
                                 "3000,stop,service\n");

    EXPECT_THAT(ceilings(rowsAt(rows, 2600)), ElementsAre("2600 1700"));
    EXPECT_THAT(rowsAt(rows, 2900),
                ElementsAre("2900,primitive,GET_IA_CLIP_REASONS,0,0", "2900,primitive,GET_RAPL_POWER,300,0",
                            "2900,primitive,SET_PERF_PREFERENCE_MAX,1200,0",
                            "2900,log,2, * Reset tempPwr ==300 * pp ==1950 * prefMax ==1200 * i ==3,",
                            "2900,sleep,,300,"));
}

TEST(ReplayProbe, KeepsTheRaiseWhilePowerIsABitAhead)
{
    // An average of 1951.
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "2600,power_mw,4503\n"
                                 "2900,power_mw,301\n"
                                 "3000,stop,service\n");

    EXPECT_THAT(messages(rowsAt(rows, 2900)), IsEmpty());
    EXPECT_THAT(ceilings(rowsAt(rows, 2900)), IsEmpty());
}

// Reset once, then raised again from the base.
TEST(ReplayProbe, StartsFromItsBaseAgainAfterAReset)
{
    // Averages 2501, 1875, 1800, 1750, 2786: 1286 mW ahead.
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "2600,power_mw,4503\n"
                                 "2900,power_mw,0\n"
                                 "3200,power_mw,1500\n"
                                 "3800,power_mw,9000\n"
                                 "3900,stop,service\n");

    EXPECT_THAT(ceilings(rowsAt(rows, 2900)), ElementsAre("2900 1200"));
    EXPECT_THAT(
        messages(rowsAt(rows, 3800)),
        ElementsAre("3800 2  * Increase tempPwr ==9000 * pp ==2786 * deltaloop ==1286 * ppd_dash ==1950 * i ==6"));
    EXPECT_THAT(ceilings(rowsAt(rows, 3800)), ElementsAre("3800 1700"));
}

struct RampPercent {
    const char* name;
    const char* power;     // mW, of the first step
    const char* notAhead;  // mW, of the third sample of the second step
    const char* ahead;
};

void PrintTo(const RampPercent& row, std::ostream* out) { *out << row.name; }

class ReplayRampPercent : public testing::TestWithParam<RampPercent> {
protected:
    Rows rowsWithThird(const char* milliwatts) const
    {
        return replayRows("0,ac_line,1\n0,power_mw," + std::string(GetParam().power) + "\n2600,power_mw," + milliwatts +
                          "\n2700,stop,service\n");
    }
};

// A raise needs more than 1000 mW besides, so the percentage shows only where it asks for more.
TEST_P(ReplayRampPercent, AtTheLimitIsNoRamp)
{
    EXPECT_THAT(ceilings(rowsAt(rowsWithThird(GetParam().notAhead), 2600)), IsEmpty());
}

TEST_P(ReplayRampPercent, AboveTheLimitIsOne)
{
    EXPECT_THAT(ceilings(rowsAt(rowsWithThird(GetParam().ahead), 2600)), SizeIs(1));
}

// 3999 mW and 30%: 5198; 5999 mW and 20%: 7198. At 4000 mW, 20% more are 4800, so the 1000 mW are what is asked for.
INSTANTIATE_TEST_SUITE_P(Limits, ReplayRampPercent,
                         testing::Values(RampPercent{ "Thirty", "3999", "7598", "7599" },
                                         RampPercent{ "TwentyFromFourWattsOn", "4000", "7002", "7003" },
                                         RampPercent{ "Twenty", "5999", "9598", "9599" }),
                         [](const auto& row) { return std::string(row.param.name); });

// A failed power reading counts as -1 mW, below PL1: 1500 mW twice, -1, and then the average is 999.
TEST(ReplayProbe, CountsAFailedPowerReadingAsMinusOne)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "2000,status,GET_RAPL_POWER=1000\n"
                                 "2300,status,GET_RAPL_POWER=0\n"
                                 "5000,stop,service\n");

    EXPECT_THAT(rowsWith(rowsAt(rows, 2000), "GET_RAPL_POWER"), ElementsAre("2000,primitive,GET_RAPL_POWER,,1000"));
    // 13499 / 10.
    EXPECT_THAT(messages(rows, "New pkgPower"), ElementsAre(HasSubstr("==1500 "), HasSubstr("==1349 ")));
}

TEST(ReplayProbe, CountsAFailedClipReadingAsAClipInEverySampleOnceFailuresAreNotReported)
{
    g_reportPerfFailures = 0;

    const Rows rows = replayRows("0,power_mw,3000\n"
                                 "2000,status,GET_IA_CLIP_REASONS=1000\n"
                                 "5000,stop,service\n");

    EXPECT_THAT(rowsAt(rows, 2300), ElementsAre("2300,primitive,GET_IA_CLIP_REASONS,,1000",
                                                "2300,primitive,GET_RAPL_POWER,3000,0", "2300,sleep,,300,"));
    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2000 1800", "2000 10000", "5000 5000"));
    EXPECT_THAT(messages(rows, "Clip Count"), ElementsAre(HasSubstr("Clip Count ==0 "), HasSubstr("Clip Count ==10 ")));
}

// It fails for good at 2000, so steps follow each other without a Sleep. Counted six times, lowered by 100 for one
// probe, then the ceiling in force differs from it once.
TEST(ReplayProbe, StandsStillWhileClipReasonsFailAndNeverWrites)
{
    const Rows rows = replayRows("0,power_mw,3000\n"
                                 "2000,status,GET_IA_CLIP_REASONS=1000\n"
                                 "2300,stop,service\n");

    Rows lines = messages(rows, "PIDx 6");
    ASSERT_GE(lines.size(), 14u);
    lines.resize(14);
    Rows counts;
    for (const std::string& line : lines) counts.push_back(line.substr(line.find("= ")));
    EXPECT_THAT(counts, ElementsAre("= 1 ** incnttype = 3", "= 2 ** incnttype = 3", "= 3 ** incnttype = 3",
                                    "= 4 ** incnttype = 3", "= 5 ** incnttype = 3", "= 6 ** incnttype = 3",
                                    "= 1 ** incnttype = 3", "= 2 ** incnttype = 3", "= 3 ** incnttype = 3",
                                    "= 4 ** incnttype = 3", "= 5 ** incnttype = 3", "= 6 ** incnttype = 3",
                                    "= 1 ** incnttype = 3", "= 2 ** incnttype = 3"));
    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2000 1800"));
    Rows steps = messages(rows, "New pkgPower");
    steps.erase(steps.begin());
    EXPECT_THAT(steps, testing::Each("2000 2  **** New pkgPower ==3000 prefMax = 1800 PerfRange = 3000 tempPerfRange = "
                                     "1800 g_workload = 0"));
    // Every step tells its count, but for the one after a change.
    Rows told = rowsWith(rowsAt(rows, 2000), ",log,2,");
    EXPECT_THAT(Rows(told.begin() + 4, told.begin() + 8),
                ElementsAre(HasSubstr("New pkgPower"), HasSubstr("Kv_opt"), HasSubstr("Clip Count ==-1 "),
                            HasSubstr("PIDx 6")));
    EXPECT_THAT(Rows(told.begin() + 32, told.begin() + 36),
                ElementsAre(HasSubstr("New pkgPower"), HasSubstr("Kv_opt"), HasSubstr("Clip Count ==-1 "),
                            HasSubstr("New pkgPower")));
}

}  // namespace
}  // namespace kelvane::tests
