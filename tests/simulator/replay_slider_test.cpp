#include "controller/state.h"
#include "state/state.h"
#include "tests/simulator/replay_rows.h"
#include "tests/simulator/trace_rows.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct SliderMove {
    const char* name;
    const char* position;
    const char* limit;       // PL1 written, mW
    const char* preference;  // of the step that takes the move
    const char* mode;        // how its status line begins
};

void PrintTo(const SliderMove& row, std::ostream* out) { *out << row.name; }

// Moved in the first step, taken by the second, which ends at 5000. By then the preference is that of the workload
// class again, and the working limit has not moved.
class ReplaySlider : public testing::TestWithParam<SliderMove> {};

TEST_P(ReplaySlider, WritesItsLimitAndChoosesModeAndPreferenceOnce)
{
    const Rows rows =
        replayRows("0,power_mw,1500\n100,event,106:" + std::string(GetParam().position) + "\n8000,stop,service\n");

    EXPECT_THAT(powerLimits(rows), ElementsAre("0 37000", "0 17000", "2000 " + std::string(GetParam().limit)));
    EXPECT_THAT(messages(rows, "CPU PL1"),
                ElementsAre("0 2  **** Current CPU PL1 == : 17000", "0 2  **** Current CPU PL1 == : 17000",
                            "2000 2  **** Current CPU PL1 == : 17000"));
    EXPECT_THAT(messages(rows, "New pkgPower"),
                ElementsAre(HasSubstr(" tempPerfRange = 1800 "),
                            HasSubstr(" tempPerfRange = " + std::string(GetParam().preference) + " "),
                            HasSubstr(" tempPerfRange = 1800 ")));
    EXPECT_THAT(messages(rowsAt(rows, 5000), "Kv_opt"), ElementsAre(HasSubstr(GetParam().mode)));
    EXPECT_EQ(17000, cpuPL1);
    EXPECT_EQ(0, g_powerSliderChanged);
}

INSTANTIATE_TEST_SUITE_P(
    Positions, ReplaySlider,
    testing::Values(
        SliderMove{ "Zero", "0", "17000", "1800", " * Kv_opt ==3 ** PID_Change ==: 0 ** g_powerSlider =: 75 " },
        SliderMove{ "One", "1", "10500", "1300", " * Kv_opt ==2 ** PID_Change ==: 0 ** g_powerSlider =: 1 " },
        SliderMove{ "Fifty", "50", "10500", "1300", " * Kv_opt ==2 ** PID_Change ==: 0 ** g_powerSlider =: 50 " },
        SliderMove{ "FiftyOne", "51", "17000", "1800", " * Kv_opt ==3 ** PID_Change ==: 0 ** g_powerSlider =: 51 " },
        SliderMove{ "NinetyNine", "99", "17000", "1800", " * Kv_opt ==3 ** PID_Change ==: 0 ** g_powerSlider =: 99 " },
        SliderMove{ "Hundred", "100", "37000", "2300", " * Kv_opt ==1 ** PID_Change ==: 0 ** g_powerSlider =: 100 " },
        SliderMove{ "Highest", "2147483647", "37000", "2300",
                    " * Kv_opt ==1 ** PID_Change ==: 0 ** g_powerSlider =: 2147483647 " },
        SliderMove{ "Negative", "0x80000000", "17000", "1800",
                    " * Kv_opt ==3 ** PID_Change ==: 0 ** g_powerSlider =: 75 " },
        SliderMove{ "AllBits", "0xFFFFFFFF", "17000", "1800",
                    " * Kv_opt ==3 ** PID_Change ==: 0 ** g_powerSlider =: 75 " }),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ReplaySliderMoves, OfOneStepCountOnlyWithTheLast)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "100,event,106:100\n"
                                 "200,event,106:30\n"
                                 "5000,stop,service\n");

    EXPECT_THAT(messages(rows, "Event powerSlider"),
                ElementsAre("100 2 Event powerSlider type =100", "200 2 Event powerSlider type =30"));
    EXPECT_THAT(powerLimits(rows), ElementsAre("0 37000", "0 17000", "2000 10500"));
}

TEST(ReplaySliderMoves, WithAWorkloadClassTakeThatClassesPreference)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "100,event,183:3\n"
                                 "100,event,106:100\n"
                                 "2100,event,106:30\n"
                                 "8000,stop,service\n");

    EXPECT_THAT(messages(rows, "New pkgPower"),
                ElementsAre(HasSubstr(" tempPerfRange = 1800 "), HasSubstr(" tempPerfRange = 2600 "),
                            HasSubstr(" tempPerfRange = 1600 ")));
}

TEST(ReplaySliderMoves, WhoseLimitIsRefusedAreErrorsAndStandAllTheSame)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "100,status,SET_RAPL_POWER_LIMIT_1=1000\n"
                                 "100,event,106:100\n"
                                 "5000,stop,service\n");

    EXPECT_THAT(rowsWith(rowsAt(rows, 2000), "LIMIT"), ElementsAre("2000,primitive,SET_RAPL_POWER_LIMIT_1,37000,1000"));
    EXPECT_THAT(messages(rows, "CpuPowerLimit1"), ElementsAre("2000 4 OrqCore CpuPowerLimit1 SessionExecute failed"));
    EXPECT_THAT(messages(rowsAt(rows, 5000), "Kv_opt"), ElementsAre(HasSubstr(" * Kv_opt ==1 ")));
}

// A limit of 37000 mW is written, but the ceiling goes by the working limit: 15000 mW on mains.
TEST(ReplaySliderMoves, DoNotMoveTheCeilingThatPowerIsMeasuredAgainst)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "100,event,106:100\n"
                                 "2000,power_mw,15001\n"
                                 "5000,stop,service\n");

    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "5000 10000"));
}

TEST(ReplaySliderMoves, NeverSwitchScalingOff)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "100,event,106:0\n"
                                 "2100,event,106:1\n"
                                 "5100,event,106:0xFFFFFFFF\n"
                                 "8100,event,106:100\n"
                                 "11100,event,106:51\n"
                                 "17000,stop,service\n");

    EXPECT_THAT(messages(rows, " * Kv_opt =="),
                ElementsAre(HasSubstr("Kv_opt ==3 "), HasSubstr("Kv_opt ==3 "), HasSubstr("Kv_opt ==2 "),
                            HasSubstr("Kv_opt ==3 "), HasSubstr("Kv_opt ==1 "), HasSubstr("Kv_opt ==3 ")));
    EXPECT_THAT(messages(rows, "Mode change"), IsEmpty());
}

}  // namespace
}  // namespace kelvane::tests
