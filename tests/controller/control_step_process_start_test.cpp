// PIDx- 0 PIC: what becomes of a process start before the branches.
#include "controller/control_step.h"
#include "state/state.h"

#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// A process that is in no list started, and power rose by less than a thousand to less than six.
class ProcessStart : public testing::Test {
protected:
    ProcessStart() { arrange(); }

    void arrange()
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
        activeIdle = 0;
        perfRestored = 0;
        PerfRange = 2500;
        PrevPerf = 1500;
        machine.power(0);
        loop = {};
        loop.prefMax = 5000;
        loop.floor = 2000;
        loop.probeSleep = 300;
        machine.forget();
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

    handleProcessStart(loop);

    EXPECT_EQ(PID_Change, 1);
    EXPECT_EQ(g_trackedProcessSeen, 0);
    EXPECT_EQ(noOfPids, 1);
    EXPECT_EQ(loop.prefMax, 5000);
    EXPECT_THAT(machine.happened(),
                ElementsAre("log 2  **** PIDx- 0 PIC *Pkg power = 2000 *Perf Max = 5000 *pkgPowerPrev = 1000 "
                            "*pName = notepad.exe *WLC ==: 3 *noOfPids ==: 1"));
}

TEST_F(ProcessStart, PowerBehindItIsARiseOfAThousandOrSixThousand)
{
    struct Row {
        int noOfPids;
        int pkgPower;
        int pkgPowerPrev;
        bool kept;
    };

    const Row rows[] = {
        { 1, 1999, 1000, false }, { 1, 2000, 1000, true },     { 1, 2001, 1000, true },       { 1, 5999, 5500, false },
        { 1, 6000, 5500, true },  { 1, 6000, 9000, true },     { 0, 9000, 1000, false },      { 7, 2000, 1000, true },
        { -1, 2000, 1000, true }, { 1, 5999, INT_MAX, false }, { 1, INT_MAX, INT_MAX, true }, { 1, 999, -1, true },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.noOfPids) + " " + std::to_string(row.pkgPower));
        arrange();
        noOfPids = row.noOfPids;
        pkgPower = row.pkgPower;
        pkgPowerPrev = row.pkgPowerPrev;

        handleProcessStart(loop);

        EXPECT_EQ(PID_Change, row.kept ? 1 : 0);
        EXPECT_EQ(g_trackedProcessSeen, row.noOfPids != 0 ? 0 : 1);
        EXPECT_EQ(machine.messages().size(), row.kept ? 1U : 2U);
    }
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
                ElementsAre("log 2  **** PIDx- 0 PIC *Pkg power = 1999 *Perf Max = 5000 *pkgPowerPrev = 1000 "
                            "*pName = notepad.exe *WLC ==: 3 *noOfPids ==: 1",
                            "log 2  **** PID_Change reset to 0 pkgPower = 1999 * prefMax  = 5000 * PrevPerf = 1500 "
                            "* PID_Change = 0"));
}

TEST_F(ProcessStart, ListedProcessesAloneLeaveTheTrackedOneSeen)
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

    EXPECT_EQ(loop.prefMax, 2500);
    EXPECT_EQ(perfRestored, 1);
    EXPECT_EQ(pkgPower, 1999);
    EXPECT_THAT(machine.happened(),
                ElementsAre("log 2  **** PIDx- 0 PIC *Pkg power = 1999 *Perf Max = 5000 *pkgPowerPrev = 1000 "
                            "*pName = notepad.exe *WLC ==: 3 *noOfPids ==: 1",
                            "GET_RAPL_POWER 0 0", "log 2  * PIDx 3 PID Restored ** PerfRange =2500 ** prefMax =2500",
                            "log 2  **** PID_Change reset to 0 pkgPower = 1999 * prefMax  = 2500 * PrevPerf = 1500 "
                            "* PID_Change = 0"));
}

TEST_F(ProcessStart, PreferenceComesBackToTheHighestOfTierEarlierCeilingAndFloor)
{
    struct Row {
        int exitCount;
        int PerfRange;
        int PrevPerf;
        int floor;
        int prefMax;
    };

    const Row rows[] = {
        { 0, 2500, 1500, 2000, 2500 },  { 0, 2500, 3500, 2000, 3500 }, { 0, 2500, 1500, 2600, 2600 },
        { -1, 2500, 3500, 2000, 3500 }, { 1, 2500, 3500, 2000, 5000 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.prefMax);
        arrange();
        exitCount = row.exitCount;
        PerfRange = row.PerfRange;
        PrevPerf = row.PrevPerf;
        loop.floor = row.floor;

        handleProcessStart(loop);

        EXPECT_EQ(loop.prefMax, row.prefMax);
    }
}

TEST_F(ProcessStart, FurtherReadingIsTakenWhenItIsMuchHigher)
{
    struct Row {
        std::uint32_t reading;
        int status;
        int before;
        int after;
    };

    const Row rows[] = {
        { 2499, 0, 1999, 1999 },
        { 2500, 0, 1999, 2500 },
        { 0, 0, 1999, 1999 },
        { 499, 0, -1, -1 },
        { 500, 0, -1, 500 },
        { 9000, 1500, 1999, 1999 },                 // failed
        { 60000, 0, 1999, 60000 },                  // not capped here
        { 3'000'000'000, 0, 1999, 2'147'483'647 },  // no int holds it
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.reading);
        arrange();
        exitCount = -1;
        pkgPower = row.before;
        machine.power(row.reading);
        machine.answer("GET_RAPL_POWER", row.status);

        handleProcessStart(loop);

        EXPECT_EQ(pkgPower, row.after);
    }
}

TEST_F(ProcessStart, FurtherReadingDoesNotOverflow)
{
    exitCount = 0;
    noOfPids = 0;
    pkgPower = INT_MAX;
    machine.power(3'000'000'000);

    handleProcessStart(loop);

    EXPECT_EQ(pkgPower, INT_MAX);
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

TEST_F(ProcessStart, WithPowerLeavesActiveIdleToTheEndOfThePhases)
{
    activeIdle = 1;
    pkgPower = 2000;

    handleProcessStart(loop);

    EXPECT_EQ(activeIdle, 1);
    EXPECT_THAT(machine.writes(), IsEmpty());
    EXPECT_THAT(machine.happened(), Not(Contains("GET_RAPL_POWER 0 0")));
}

}  // namespace
}  // namespace kelvane::tests
