// PIDx- 0 PIC: what becomes of a process start before the branches.
#include "controller/control_step.h"
#include "state/state.h"

#include "tests/support/rows.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <climits>

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char started[] = "log 2  **** PIDx- 0 PIC *Pkg power = 1999 *Perf Max = 5000 *pkgPowerPrev = 1000 "
                           "*pName = notepad.exe *WLC ==: 3 *noOfPids ==: 1";

// A process that is in no list started during a burst, and power rose by less than a thousand to less than six.
class ProcessStart : public testing::Test {
protected:
    ProcessStart()
    {
        minPrefReset = 0;
        appliedPrefMax = 9000;
        PID_Change = 1;
        noOfPids = 1;
        setProcessName("notepad.exe");
        g_trackedProcessSeen = 1;
        g_workload = 3;
        pkgPower = 1999;
        pkgPowerPrev = 1000;
        exitCount = 1;
        PerfRange = 2500;
        PrevPerf = 1500;
        loop.prefMax = 5000;
        loop.floor = 2000;
        loop.probeSleep = 300;
    }

    SimulatedMachine machine;
    LoopState loop;
};

TEST_F(ProcessStart, NothingHappensWithoutOne)
{
    PID_Change = 0;

    handleProcessStart(loop);

    EXPECT_THAT(machine.happened(), IsEmpty());
    EXPECT_EQ(g_trackedProcessSeen, 1);
    EXPECT_EQ(loop.prefMax, 5000);
}

TEST_F(ProcessStart, WithPowerBehindItIsLeftToTheBranches)
{
    pkgPower = 2000;
    activeIdle = 1;

    handleProcessStart(loop);

    EXPECT_EQ(PID_Change, 1);
    EXPECT_EQ(g_trackedProcessSeen, 0);
    EXPECT_EQ(noOfPids, 1);
    EXPECT_EQ(loop.prefMax, 5000);
    EXPECT_EQ(activeIdle, 1);
    EXPECT_THAT(machine.happened(),
                ElementsAre("log 2  **** PIDx- 0 PIC *Pkg power = 2000 *Perf Max = 5000 *pkgPowerPrev = 1000 "
                            "*pName = notepad.exe *WLC ==: 3 *noOfPids ==: 1"));
}

struct PowerRow {
    int noOfPids = 1;
    int prev = 1000;
    int power;
    bool kept;
};

using ProcessStartPower = WithRow<ProcessStart, PowerRow>;

TEST_ROWS(ProcessStartPower, ROW(.power = 1999, .kept = false), ROW(.power = 2000, .kept = true),
          ROW(.power = 2001, .kept = true), ROW(.prev = -1, .power = 999, .kept = true),
          ROW(.prev = 5500, .power = 5999, .kept = false), ROW(.prev = 5500, .power = 6000, .kept = true),
          ROW(.prev = 9000, .power = 6000, .kept = true), ROW(.prev = INT_MAX, .power = 5999, .kept = false),
          ROW(.prev = INT_MAX, .power = INT_MAX, .kept = true), ROW(.noOfPids = 7, .power = 2000, .kept = true),
          ROW(.noOfPids = -1, .power = 2000, .kept = true), ROW(.noOfPids = 0, .power = 9000, .kept = false));

TEST_ROW(ProcessStartPower, BehindItIsARiseOfAThousandOrSixThousand)
{
    noOfPids = row().noOfPids;
    pkgPower = row().power;
    pkgPowerPrev = row().prev;

    handleProcessStart(loop);

    EXPECT_EQ(PID_Change, row().kept ? 1 : 0);
    EXPECT_EQ(g_trackedProcessSeen, row().noOfPids == 0 ? 1 : 0);
    EXPECT_THAT(machine.messages(), SizeIs(row().kept ? 1 : 2));
}

TEST_F(ProcessStart, WithoutPowerDuringABurstIsOnlyForgotten)
{
    handleProcessStart(loop);

    EXPECT_EQ(PID_Change, 0);
    EXPECT_EQ(g_trackedProcessSeen, 0);
    EXPECT_EQ(loop.prefMax, 5000);
    EXPECT_EQ(perfRestored, 0);
    EXPECT_EQ(loop.probeSleep, 300U);
    EXPECT_THAT(machine.happened(),
                ElementsAre(started, "log 2  **** PID_Change reset to 0 pkgPower = 1999 * prefMax  = 5000 "
                                     "* PrevPerf = 1500 * PID_Change = 0"));
}

TEST_F(ProcessStart, OfAListedProcessHasNoNameAndLeavesItTracked)
{
    noOfPids = 0;
    setProcessName("");

    handleProcessStart(loop);

    EXPECT_EQ(PID_Change, 0);
    EXPECT_EQ(g_trackedProcessSeen, 1);
    EXPECT_THAT(machine.messages(),
                Contains("2  **** PIDx- 0 PIC *Pkg power = 1999 *Perf Max = 5000 *pkgPowerPrev = 1000 "
                         "*pName =  *WLC ==: 3 *noOfPids ==: 0"));
}

TEST_F(ProcessStart, WithoutABurstThePreferenceGoesBackToWhereItWas)
{
    exitCount = 0;

    handleProcessStart(loop);

    EXPECT_EQ(perfRestored, 1);
    EXPECT_THAT(machine.happened(),
                ElementsAre(started, "GET_RAPL_POWER 0 0",
                            "log 2  * PIDx 3 PID Restored ** PerfRange =2500 ** prefMax =2500",
                            "log 2  **** PID_Change reset to 0 pkgPower = 1999 * prefMax  = 2500 * PrevPerf = 1500 "
                            "* PID_Change = 0"));
}

struct RestoreRow {
    int exitCount = 0;
    int noOfPids = 1;
    int PerfRange = 2500;
    int PrevPerf = 1500;
    int floor = 2000;
    int power = 1999;
    std::uint32_t reading = 0;
    int status = 0;
    int prefMaxAfter = 2500;
    int powerAfter = 1999;
};

using ProcessStartRestore = WithRow<ProcessStart, RestoreRow>;

TEST_ROWS(ProcessStartRestore,
          // to the highest of tier, earlier ceiling and floor, outside a burst
          ROW(.prefMaxAfter = 2500), ROW(.PrevPerf = 3500, .prefMaxAfter = 3500),
          ROW(.floor = 2600, .prefMaxAfter = 2600), ROW(.exitCount = -1, .PrevPerf = 3500, .prefMaxAfter = 3500),
          ROW(.exitCount = 1, .PrevPerf = 3500, .prefMaxAfter = 5000),
          // the further reading is taken when it is much higher
          ROW(.reading = 2499, .powerAfter = 1999), ROW(.reading = 2500, .powerAfter = 2500),
          ROW(.power = -1, .reading = 499, .powerAfter = -1), ROW(.power = -1, .reading = 500, .powerAfter = 500),
          // but not when it fails
          ROW(.reading = 9000, .status = 1500, .powerAfter = 1999),
          // it is not capped here, but for what no int holds
          ROW(.reading = 60000, .powerAfter = 60000), ROW(.reading = 3'000'000'000, .powerAfter = 2'147'483'647),
          ROW(.noOfPids = 0, .power = INT_MAX, .reading = 3'000'000'000, .powerAfter = INT_MAX));

TEST_ROW(ProcessStartRestore, BringsThePreferenceBackAndReadsPowerOnceMore)
{
    exitCount = row().exitCount;
    noOfPids = row().noOfPids;
    PerfRange = row().PerfRange;
    PrevPerf = row().PrevPerf;
    loop.floor = row().floor;
    pkgPower = row().power;
    machine.power(row().reading);
    machine.answer("GET_RAPL_POWER", row().status);

    handleProcessStart(loop);

    EXPECT_EQ(loop.prefMax, row().prefMaxAfter);
    EXPECT_EQ(pkgPower, row().powerAfter);
}

TEST_F(ProcessStart, WithoutPowerEndsActiveIdle)
{
    activeIdle = 1;

    handleProcessStart(loop);

    EXPECT_EQ(activeIdle, 0);
    EXPECT_EQ(loop.prefMax, 5500);
    EXPECT_EQ(loop.probeSleep, 200U);
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 5500"));
    EXPECT_THAT(machine.messages(),
                Contains("2  **** PID_Change reset to 0 pkgPower = 1999 * prefMax  = 5500 * PrevPerf = 1500 "
                         "* PID_Change = 0"));
}

}  // namespace
}  // namespace kelvane::tests
