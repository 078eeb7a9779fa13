#include "controller/control_step.h"
#include "tests/controller/part_of_step.h"

#include <vector>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Idle on mains, before the first Active Idle of the process.
class ActiveIdle : public PartOfStep {
protected:
    ActiveIdle()
    {
        appliedPrefMax = 3000;
        pkgPower = 1000;
        pkgPowerPrev = 1200;
        PerfRange = 1800;
        NewPID = 2;
        prevClipCount = 9;
        loop.prefMax = 4000;
        loop.clipCount = 3;
        loop.restorePending = 1;
    }
};

TEST_F(ActiveIdle, FirstEntryWritesTheDefaultPreferenceAndPausesTwice)
{
    const bool ended = stepThroughActiveIdle(loop);

    EXPECT_TRUE(ended);
    EXPECT_THAT(machine.happened(),
                ElementsAre("log 2  *** PIDx 5 Active Idle PerfRange = 1800  prefMax=  4000  pkgPower=  1000",
                            "SET_PERF_PREFERENCE_MAX 1200 0", "sleep 2000", "sleep 5000"));
    EXPECT_EQ(loop.prefMax, 1200);
    EXPECT_EQ(loop.restorePending, 0);
    EXPECT_EQ(loop.probeSleep, 300U);
    EXPECT_EQ(pkgPowerPrev, 1000);
    EXPECT_EQ(activeIdleCount, 1);
    EXPECT_EQ(prevClipCount, 3);
    EXPECT_EQ(NewPID, 0);
    EXPECT_EQ(activeIdle, 1);
    EXPECT_EQ(pidOnTestState, 2);
}

struct EntryRow {
    std::uint32_t acMode = 1;
    int power;
    int prev;
    int activeIdle;  // after
};

class ActiveIdleEntry : public WithRow<ActiveIdle, EntryRow> {};

TEST_ROWS(ActiveIdleEntry, ROW(.power = 1099, .prev = 1499, .activeIdle = 1),
          ROW(.power = 1100, .prev = 1499, .activeIdle = 1), ROW(.power = 1101, .prev = 1499, .activeIdle = 0),
          ROW(.power = 1100, .prev = 1500, .activeIdle = 0), ROW(.power = 1100, .prev = 1501, .activeIdle = 0),
          ROW(.power = -1, .prev = 0, .activeIdle = 1), ROW(.acMode = 0, .power = 1299, .prev = 1699, .activeIdle = 1),
          ROW(.acMode = 0, .power = 1300, .prev = 1699, .activeIdle = 1),
          ROW(.acMode = 0, .power = 1301, .prev = 1699, .activeIdle = 0),
          ROW(.acMode = 0, .power = 1300, .prev = 1700, .activeIdle = 0),
          ROW(.acMode = 0, .power = 1300, .prev = 1701, .activeIdle = 0),
          ROW(.acMode = 255, .power = 1100, .prev = 1499, .activeIdle = 1),
          ROW(.acMode = 255, .power = 1101, .prev = 1499, .activeIdle = 0),
          ROW(.acMode = 255, .power = 1100, .prev = 1500, .activeIdle = 0));

TEST_P(ActiveIdleEntry, NeedsLittlePowerInThisStepAndTheOneBefore)
{
    acMode = row().acMode;
    pkgPower = row().power;
    pkgPowerPrev = row().prev;

    EXPECT_EQ(stepThroughActiveIdle(loop), row().activeIdle == 1);
    EXPECT_EQ(activeIdle, row().activeIdle);
}

TEST_F(ActiveIdle, StepOfAnActiveMachineGoesOnUntouched)
{
    pkgPower = 2000;

    EXPECT_FALSE(stepThroughActiveIdle(loop));
    EXPECT_THAT(machine.happened(), IsEmpty());
    EXPECT_EQ(loop.prefMax, 4000);
    EXPECT_EQ(loop.restorePending, 1);
    EXPECT_EQ(NewPID, 2);
    EXPECT_EQ(pkgPowerPrev, 1200);
}

struct BurstRow {
    int PID_Change = 0;
    int PostPID = 0;
    int before = 0;  // activeIdle
    int power = 1000;
    bool ended = false;
    int after = 0;
};

class ActiveIdleInABurst : public WithRow<ActiveIdle, BurstRow> {};

TEST_ROWS(ActiveIdleInABurst,
          // neither entered nor left after a process start
          ROW(.PID_Change = 1), ROW(.PID_Change = 1, .before = 1, .power = 5000, .after = 1),
          // not entered right after a burst began, but left
          ROW(.PostPID = 1), ROW(.PostPID = 1, .before = 1, .ended = true));

TEST_P(ActiveIdleInABurst, IsNotEntered)
{
    PID_Change = row().PID_Change;
    loop.PostPID = row().PostPID;
    activeIdle = row().before;
    pkgPower = row().power;

    EXPECT_EQ(stepThroughActiveIdle(loop), row().ended);
    EXPECT_EQ(activeIdle, row().after);
    EXPECT_EQ(machine.happened().empty(), !row().ended);
}

TEST_F(ActiveIdle, EachFurtherIdleStepPausesFiveSecondsOnly)
{
    stepThroughActiveIdle(loop);
    machine.forget();

    EXPECT_TRUE(stepThroughActiveIdle(loop));

    EXPECT_THAT(
        machine.happened(),
        ElementsAre("log 2  *** PIDx 5 Active Idle PerfRange = 1800  prefMax=  1200  pkgPower=  1000", "sleep 5000"));
    EXPECT_EQ(activeIdleCount, 2);
    EXPECT_EQ(pidOnTestState, 2);
}

TEST_F(ActiveIdle, ProcessWatchIsStoppedOnTheFirstEntryWhenWmiIsInUse)
{
    g_wmiConnected = 1;
    g_wmiQueryIssued = 1;

    stepThroughActiveIdle(loop);

    EXPECT_THAT(machine.happened(),
                ElementsAre("log 2  *** PIDx 5 Active Idle PerfRange = 1800  prefMax=  4000  pkgPower=  1000",
                            "SET_PERF_PREFERENCE_MAX 1200 0", "log 0 processid Stop Service is Called",
                            "log 2 CancelAsyncCall call skipped with NULL pointer check =", "sleep 2000",
                            "sleep 5000"));
}

struct WmiRow {
    std::uint8_t connected;
    std::uint8_t queryIssued;
};

class ActiveIdleWithoutWmi : public WithRow<ActiveIdle, WmiRow> {};

TEST_ROWS(ActiveIdleWithoutWmi, ROW(.connected = 0, .queryIssued = 0), ROW(.connected = 1, .queryIssued = 0),
          ROW(.connected = 0, .queryIssued = 1), ROW(.connected = 2, .queryIssued = 1),
          ROW(.connected = 1, .queryIssued = 2));

TEST_P(ActiveIdleWithoutWmi, LeavesTheProcessWatchAlone)
{
    g_wmiConnected = row().connected;
    g_wmiQueryIssued = row().queryIssued;

    stepThroughActiveIdle(loop);

    EXPECT_THAT(machine.messages(), testing::SizeIs(1));
    EXPECT_THAT(machine.sleeps(), ElementsAre(2000, 5000));
}

struct LaterRow {
    int activeIdleCount;
    int pidOnTestState;
};

class ActiveIdleLater : public WithRow<ActiveIdle, LaterRow> {};

TEST_ROWS(ActiveIdleLater, ROW(.activeIdleCount = 1, .pidOnTestState = 0),
          ROW(.activeIdleCount = 0, .pidOnTestState = 1), ROW(.activeIdleCount = 0, .pidOnTestState = 2),
          ROW(.activeIdleCount = -1, .pidOnTestState = 0));

TEST_P(ActiveIdleLater, HasNoLongerPause)
{
    g_wmiConnected = 1;
    g_wmiQueryIssued = 1;
    activeIdleCount = row().activeIdleCount;
    pidOnTestState = row().pidOnTestState;

    stepThroughActiveIdle(loop);

    EXPECT_THAT(machine.sleeps(), ElementsAre(5000));
    EXPECT_THAT(machine.messages(), testing::SizeIs(1));
    EXPECT_EQ(pidOnTestState, row().pidOnTestState);
}

TEST_F(ActiveIdle, StateIsOneDuringTheLongerPauseAndTwoAfterIt)
{
    std::vector<int> states;
    machine.onSleep = [&](std::uint32_t) { states.push_back(pidOnTestState); };

    stepThroughActiveIdle(loop);

    EXPECT_THAT(states, ElementsAre(1, 2));
}

TEST_F(ActiveIdle, ExitRaisesByFiveHundredAndLooksSooner)
{
    activeIdle = 1;
    activeIdleCount = 3;
    pkgPower = 1101;

    const bool ended = stepThroughActiveIdle(loop);

    EXPECT_TRUE(ended);
    EXPECT_THAT(machine.happened(),
                ElementsAre("log 2  *** PIDx 5 Active Idle exit PerfRange = 1800  prefMax=  4000  pkgPower=  1101",
                            "SET_PERF_PREFERENCE_MAX 4500 0"));
    EXPECT_EQ(loop.prefMax, 4500);
    EXPECT_EQ(activeIdle, 0);
    EXPECT_EQ(loop.probeSleep, 200U);
    EXPECT_EQ(activeIdleCount, 3);
    EXPECT_EQ(loop.restorePending, 1);
    EXPECT_EQ(pkgPowerPrev, 1200);
}

struct PidOnTestRow {
    std::uint32_t acMode = 1;
    int power;
    int before = 2;
    int after;
};

class PidOnTest : public WithRow<ActiveIdle, PidOnTestRow> {};

TEST_ROWS(PidOnTest, ROW(.power = 1600, .after = 2), ROW(.power = 1601, .after = 0),
          ROW(.acMode = 0, .power = 1601, .after = 2), ROW(.acMode = 0, .power = 1800, .after = 2),
          ROW(.acMode = 0, .power = 1801, .after = 0), ROW(.acMode = 255, .power = 1600, .after = 2),
          ROW(.acMode = 255, .power = 1601, .after = 0),
          // it needs a first entry that is complete
          ROW(.power = 5000, .before = 1, .after = 1));

TEST_P(PidOnTest, EndsWithPowerAboveItsThreshold)
{
    acMode = row().acMode;
    pkgPower = row().power;
    pidOnTestState = row().before;

    leavePidOnTest();

    EXPECT_EQ(pidOnTestState, row().after);
    EXPECT_EQ(machine.messages().size(), row().after == 0 ? 1U : 0U);
}

TEST_F(ActiveIdle, EndOfThePidOnTestHasItsLineAndNeedsItsBeginning)
{
    pkgPower = 5000;
    leavePidOnTest();
    pidOnTestState = 2;
    leavePidOnTest();

    EXPECT_THAT(machine.happened(), ElementsAre("log 2  ** PIDx 5 PID ON test "));
}

}  // namespace
}  // namespace kelvane::tests
