// What the service says and does about a scenario's inputs. Those of the first step come into effect with the second,
// which ends at 5000.
#include "framework/events.h"
#include "tests/simulator/trace_rows.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

struct ToldRow {
    const char* power = "1500";
    const char* inputs;
    const char* text;  // of the messages that are meant
    Rows told = {};
};

class ReplayMessages : public WithRow<testing::Test, ToldRow> {};

TEST_ROWS(
    ReplayMessages,
    // events of the types that carry a value; a power scheme is told by its class and first field
    ROW(.inputs = "100,event,34:4294967295\n150,stop,service", .text = "verbosity",
        .told = { "100 2 Log verbosity changed to4294967295" }),
    ROW(.inputs = "100,event,72:0x8C5E7FDA\n150,stop,service", .text = "powerScheme",
        .told = { "100 2 powerScheme type = 2data.Data1 =2355003354" }),
    // workload class -1 is an error in each step
    ROW(.inputs = "100,event,183:0xFFFFFFFF\n5100,event,183:3\n11000,stop,service", .text = "is failed",
        .told = { "2000 4 workload classification is failed : -1", "5000 4 workload classification is failed : -1" }),
    // a change of class resets the ceiling once above 6 W; the event is used up in the first step
    ROW(.power = "6001", .inputs = "100,event,183:0\n5000,stop,service", .text = "WLC Change",
        .told = { "2000 2  *** PIDx 3 reset WLC Change prefMax ==1800 pkgPower = 6001 *WLC ==: 0" }),
    ROW(.power = "6000", .inputs = "100,event,183:0\n2100,power_mw,6100\n5000,stop,service", .text = "WLC Change"),
    // raw 1 is class 5: the tracker takes it over in the fourth step, which ends at 11000, and only then does
    // leaving it step the ceiling up once
    ROW(.inputs = "100,event,183:1\n11100,event,183:3\n17000,stop,service", .text = "PIDx 4",
        .told = { "14000 2  *** PIDx 4 WLC Change prefMax ==1400 PwrPause = 1 *WLC ==: 3" }),
    ROW(.inputs = "100,event,183:1\n10999,event,183:3\n17000,stop,service", .text = "PIDx 4"),
    // so does class 4 after 3, and class 5 does not
    ROW(.inputs = "100,event,183:3\n11100,event,183:1\n11200,event,183:3\n14100,event,183:2\n"
                  "17000,stop,service",
        .text = "PIDx 4", .told = { "17000 2  *** PIDx 4 WLC Change prefMax ==1400 PwrPause = 1 *WLC ==: 4" }),
    // a power above the signed range is the highest there is
    ROW(.power = "4294967295", .inputs = "0,stop,service", .text = "pkg power",
        .told = { "0 2 pkg power data is : 2147483647" }));

TEST_ROW(ReplayMessages, TellTheInput)
{
    const Rows rows = replayRows(std::string("0,power_mw,") + row().power + "\n" + row().inputs + "\n");

    EXPECT_EQ(messages(rows, row().text), row().told);
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

struct WorkloadRow {
    const char* raw;
    const char* step;  // the end of "New pkgPower" in the second step
};

class ReplayWorkload : public WithRow<testing::Test, WorkloadRow> {};

// The framework's classes 1 and 2 stand for 5 and 4. Only class 4 keeps the tier from going below it.
TEST_ROWS(ReplayWorkload, ROW(.raw = "0", .step = "PerfRange = 1200 tempPerfRange = 1800 g_workload = 0"),
          ROW(.raw = "1", .step = "PerfRange = 1200 tempPerfRange = 1800 g_workload = 5"),
          ROW(.raw = "2", .step = "PerfRange = 4000 tempPerfRange = 4000 g_workload = 4"),
          ROW(.raw = "3", .step = "PerfRange = 1200 tempPerfRange = 2100 g_workload = 3"),
          ROW(.raw = "0xFFFFFFFF", .step = "PerfRange = 1200 tempPerfRange = 1800 g_workload = -1"));

TEST_ROW(ReplayWorkload, ClassChoosesThePreferenceOfTheStepAfter)
{
    const Rows rows = replayRows("0,power_mw,1500\n100,event,183:" + std::string(row().raw) + "\n5000,stop,service\n");

    EXPECT_THAT(rowsAt(rows, 100), IsEmpty());
    EXPECT_THAT(messages(rows, "New pkgPower"),
                ElementsAre(HasSubstr(" tempPerfRange = 1800 "), HasSubstr(row().step)));
}

TEST(ReplayPowerSource, IsReadAtTheBeginningOfEachStepAndKeptWhenUnknown)
{
    const Rows rows = replayRows("0,power_mw,1500\n1000,ac_line,0\n2000,ac_line,255\n5000,ac_line,fail\n"
                                 "8001,ac_line,1\n14000,stop,service\n");

    EXPECT_THAT(messages(rows, "AC Mode"),
                ElementsAre(HasSubstr("AC Mode = 1 "), HasSubstr("AC Mode = 255 "), HasSubstr("AC Mode = 255 "),
                            HasSubstr("AC Mode = 255 "), HasSubstr("AC Mode = 1 ")));
}

}  // namespace
}  // namespace kelvane::tests
