#include "framework/events.h"
#include "tests/simulator/replay_rows.h"
#include "tests/simulator/trace_rows.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// Events of the first step come into effect with the second, which ends at 5000.

TEST(ReplayEvents, OfTheLogVerbosityAreTold)
{
    const Rows rows = replayRows("0,power_mw,1500\n100,event,34:4294967295\n150,stop,service\n");

    EXPECT_THAT(messages(rows, "verbosity"), ElementsAre("100 2 Log verbosity changed to4294967295"));
    EXPECT_EQ(4294967295u, g_logVerbosity);
}

TEST(ReplayEvents, OfThePowerSchemeAreToldWithClassAndFirstField)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "100,event,72:0xA1841308\n"
                                 "110,event,72:0x381B4222\n"
                                 "120,event,72:0x8C5E7FDA\n"
                                 "130,event,72:0x12345678\n"
                                 "150,stop,service\n");

    EXPECT_THAT(messages(rows, "powerScheme"), ElementsAre("100 2 powerScheme type = 0data.Data1 =2709787400",
                                                           "110 2 powerScheme type = 1data.Data1 =941310498",
                                                           "120 2 powerScheme type = 2data.Data1 =2355003354",
                                                           "130 2 powerScheme type = 1data.Data1 =305419896"));
}

TEST(ReplayEvents, OfADisconnectionAreErrorsAndChangeNothing)
{
    const Rows rows = replayRows("0,power_mw,1500\n100,event,10000\n2100,event,10000\n5000,stop,service\n");

    EXPECT_THAT(messages(rows, "Disconnected"), ElementsAre("100 4 Disconnected", "2100 4 Disconnected"));
    EXPECT_THAT(rowsWith(rows, "SESSION_D"), IsEmpty());
    EXPECT_THAT(messages(rows, "New pkgPower"), SizeIs(2));
    EXPECT_EQ(1, g_orqDisconnected);
}

TEST(ReplayEvents, OfTheUnhandledTypeDoNothing)
{
    EXPECT_THAT(rowsAt(replayRows("0,power_mw,1500\n100,event,44\n2000,stop,service\n"), 100), IsEmpty());
}

struct WorkloadEvent {
    const char* name;
    const char* raw;
    const char* stepLine;  // the end of "New pkgPower" in the second step
};

void PrintTo(const WorkloadEvent& row, std::ostream* out) { *out << row.name; }

class ReplayWorkload : public testing::TestWithParam<WorkloadEvent> {};

TEST_P(ReplayWorkload, ClassChoosesThePreferenceOfTheStepAfter)
{
    const Rows rows =
        replayRows("0,power_mw,1500\n100,event,183:" + std::string(GetParam().raw) + "\n5000,stop,service\n");

    EXPECT_THAT(rowsAt(rows, 100), IsEmpty());
    EXPECT_THAT(messages(rows, "New pkgPower"),
                ElementsAre(HasSubstr(" tempPerfRange = 1800 "), HasSubstr(GetParam().stepLine)));
}

// The framework's classes 1 and 2 stand for 5 and 4. Only class 4 keeps the tier from going below it.
INSTANTIATE_TEST_SUITE_P(
    Classes, ReplayWorkload,
    testing::Values(WorkloadEvent{ "Raw0", "0", "PerfRange = 1200 tempPerfRange = 1800 g_workload = 0" },
                    WorkloadEvent{ "Raw1", "1", "PerfRange = 1200 tempPerfRange = 1800 g_workload = 5" },
                    WorkloadEvent{ "Raw2", "2", "PerfRange = 4000 tempPerfRange = 4000 g_workload = 4" },
                    WorkloadEvent{ "Raw3", "3", "PerfRange = 1200 tempPerfRange = 2100 g_workload = 3" },
                    WorkloadEvent{ "Raw4", "4", "PerfRange = 4000 tempPerfRange = 4000 g_workload = 4" },
                    WorkloadEvent{ "Raw5", "5", "PerfRange = 1200 tempPerfRange = 1800 g_workload = 5" },
                    WorkloadEvent{ "Raw6", "6", "PerfRange = 1200 tempPerfRange = 1800 g_workload = 6" },
                    WorkloadEvent{ "AllBits", "0xFFFFFFFF", "PerfRange = 1200 tempPerfRange = 1800 g_workload = -1" }),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ReplayWorkloadClass, MinusOneIsAnErrorInEachStep)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "100,event,183:0xFFFFFFFF\n"
                                 "5100,event,183:3\n"
                                 "11000,stop,service\n");

    EXPECT_THAT(messages(rows, "is failed"), ElementsAre("2000 4 workload classification is failed : -1",
                                                         "5000 4 workload classification is failed : -1"));
}

TEST(ReplayWorkloadClass, IsNotTakenFromTheSocWorkload)
{
    const Rows rows = replayRows("0,power_mw,1500\n0,soc_workload,4\n5000,stop,service\n");

    EXPECT_THAT(rowsWith(rows, "GET_SOC_WORKLOAD"),
                ElementsAre("0,primitive,GET_SOC_WORKLOAD,4,0", "2000,primitive,GET_SOC_WORKLOAD,4,0"));
    EXPECT_THAT(messages(rows, "New pkgPower"), ElementsAre(HasSubstr("g_workload = 0"), HasSubstr("g_workload = 0")));
}

TEST(ReplayWorkloadClass, StandsWhenTheSocWorkloadFails)
{
    const Rows rows = replayRows("0,power_mw,1500\n0,status,GET_SOC_WORKLOAD=1000\n5000,stop,service\n");

    EXPECT_THAT(messages(rows, "workload classification is failed"), IsEmpty());
    EXPECT_THAT(messages(rows, "New pkgPower"), ElementsAre(HasSubstr("g_workload = 0"), HasSubstr("g_workload = 0")));
}

// The step after the event, above 6000 mW and with the ceiling below the tier: back to the workload's preference.
TEST(ReplayWorkloadClass, ChangeResetsTheCeilingOnceAtHighPower)
{
    const Rows rows = replayRows("0,power_mw,6001\n"
                                 "100,event,183:0\n"
                                 "5000,stop,service\n");

    EXPECT_THAT(messages(rows, "WLC Change"),
                ElementsAre("2000 2  *** PIDx 3 reset WLC Change prefMax ==1800 pkgPower = 6001 *WLC ==: 0"));
}

TEST(ReplayWorkloadClass, ChangeLeavesTheCeilingAloneAtSixWatts)
{
    const Rows rows = replayRows("0,power_mw,6000\n"
                                 "100,event,183:0\n"
                                 "2100,power_mw,6100\n"
                                 "5000,stop,service\n");

    // The event is used up in the first step.
    EXPECT_THAT(messages(rows, "WLC Change"), IsEmpty());
}

// Raw 1 is class 5. The tracker takes a new class over in the fourth step after its event, which ends at 11000; only
// then does leaving class 5 step the ceiling up once.
TEST(ReplayWorkloadClass, LeftAfterItWasTakenOverStepsTheCeilingUpOnce)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "100,event,183:1\n"
                                 "11100,event,183:3\n"
                                 "17000,stop,service\n");

    EXPECT_THAT(messages(rows, "PIDx 4"),
                ElementsAre("14000 2  *** PIDx 4 WLC Change prefMax ==1400 PwrPause = 1 *WLC ==: 3"));
    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "14000 1400"));
    EXPECT_THAT(messages(rowsAt(rows, 14000), "Down"), ElementsAre(HasSubstr(" PwrPause = 0 *WLC ==: 3")));
}

TEST(ReplayWorkloadClass, LeftBeforeItWasTakenOverChangesNothing)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "100,event,183:1\n"
                                 "10999,event,183:3\n"
                                 "17000,stop,service\n");

    EXPECT_THAT(messages(rows, "PIDx 4"), IsEmpty());
    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200"));
}

TEST(ReplayWorkloadClass, FourAfterThreeStepsTheCeilingUpAndFiveDoesNot)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "100,event,183:3\n"
                                 "11100,event,183:1\n"
                                 "11200,event,183:3\n"
                                 "14100,event,183:2\n"
                                 "17000,stop,service\n");

    EXPECT_THAT(messages(rows, "PIDx 4"),
                ElementsAre("17000 2  *** PIDx 4 WLC Change prefMax ==1400 PwrPause = 1 *WLC ==: 4"));
}

TEST(ReplayPowerSource, IsReadAtTheBeginningOfEachStepAndKeptWhenUnknown)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "1000,ac_line,0\n"
                                 "2000,ac_line,255\n"
                                 "5000,ac_line,fail\n"
                                 "8001,ac_line,1\n"
                                 "14000,stop,service\n");

    EXPECT_THAT(messages(rows, "AC Mode"),
                ElementsAre(HasSubstr("AC Mode = 1 "), HasSubstr("AC Mode = 255 "), HasSubstr("AC Mode = 255 "),
                            HasSubstr("AC Mode = 255 "), HasSubstr("AC Mode = 1 ")));
}

}  // namespace
}  // namespace kelvane::tests
