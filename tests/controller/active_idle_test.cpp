#include "controller/control_step.h"
#include "tests/controller/part_of_step.h"

#include <vector>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// Idle, before the first Active Idle of the process.
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
    std::vector<int> statesInPauses;
    machine.onSleep = [&](std::uint32_t) { statesInPauses.push_back(pidOnTestState); };

    EXPECT_TRUE(stepThroughActiveIdle(loop));

    EXPECT_THAT(machine.happened(),
                ElementsAre("log 2  *** PIDx 5 Active Idle PerfRange = 1800  prefMax=  4000  pkgPower=  1000",
                            "SET_PERF_PREFERENCE_MAX 1200 0", "sleep 2000", "sleep 5000"));
    EXPECT_THAT(statesInPauses, ElementsAre(1, 2));
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

TEST_F(ActiveIdle, ExitRaisesByFiveHundredAndLooksSooner)
{
    activeIdle = 1;
    activeIdleCount = 3;
    pkgPower = 1101;
    loop.probeSleep = 300;

    EXPECT_TRUE(stepThroughActiveIdle(loop));

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

struct IdleRow {
    std::uint32_t acMode = 1;
    int power = 1000;
    int before = 1200;
    int PID_Change = 0;
    int PostPID = 0;
    int activeIdle = 0;
    bool ends = false;  // the step
    int after = 0;
};

class ActiveIdleConditions : public WithRow<ActiveIdle, IdleRow> {};

TEST_ROWS(ActiveIdleConditions,
          // little power in this step and the one before
          ROW(.power = 1099, .before = 1499, .ends = true, .after = 1),
          ROW(.power = 1100, .before = 1499, .ends = true, .after = 1), ROW(.power = 1101, .before = 1499),
          ROW(.power = 1100, .before = 1500), ROW(.power = 1100, .before = 1501),
          ROW(.power = -1, .before = 0, .ends = true, .after = 1),
          ROW(.acMode = 0, .power = 1299, .before = 1699, .ends = true, .after = 1),
          ROW(.acMode = 0, .power = 1300, .before = 1699, .ends = true, .after = 1),
          ROW(.acMode = 0, .power = 1301, .before = 1699), ROW(.acMode = 0, .power = 1300, .before = 1700),
          ROW(.acMode = 0, .power = 1300, .before = 1701),
          ROW(.acMode = 255, .power = 1100, .before = 1499, .ends = true, .after = 1),
          ROW(.acMode = 255, .power = 1101, .before = 1499), ROW(.acMode = 255, .power = 1100, .before = 1500),
          // neither entered nor left after a process start
          ROW(.PID_Change = 1), ROW(.power = 5000, .PID_Change = 1, .activeIdle = 1, .after = 1),
          // left, but not entered, when a burst began
          ROW(.PostPID = 1), ROW(.PostPID = 1, .activeIdle = 1, .ends = true));

TEST_ROW(ActiveIdleConditions, DecideWhetherTheStepEndsHereOrGoesOnUntouched)
{
    acMode = row().acMode;
    pkgPower = row().power;
    pkgPowerPrev = row().before;
    PID_Change = row().PID_Change;
    loop.PostPID = row().PostPID;
    activeIdle = row().activeIdle;

    EXPECT_EQ(stepThroughActiveIdle(loop), row().ends);

    EXPECT_EQ(activeIdle, row().after);
    if (row().ends) return;
    EXPECT_THAT(machine.happened(), IsEmpty());
    EXPECT_EQ(loop.prefMax, 4000);
    EXPECT_EQ(loop.restorePending, 1);
    EXPECT_EQ(NewPID, 2);
    EXPECT_EQ(pkgPowerPrev, row().before);
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

struct WatchRow {
    std::uint8_t connected = 1;
    std::uint8_t queryIssued = 1;
    int activeIdleCount = 0;
    int pidOnTestState = 0;
    std::vector<std::uint32_t> pauses = { 2000, 5000 };
    int stateAfter = 2;
};

class ActiveIdleProcessWatch : public WithRow<ActiveIdle, WatchRow> {};

TEST_ROWS(ActiveIdleProcessWatch,
          // either flag of WMI is not one
          ROW(.connected = 0, .queryIssued = 0), ROW(.connected = 1, .queryIssued = 0),
          ROW(.connected = 0, .queryIssued = 1), ROW(.connected = 2, .queryIssued = 1),
          ROW(.connected = 1, .queryIssued = 2),
          // not the first entry of a process watch
          ROW(.activeIdleCount = 1, .pauses = { 5000 }, .stateAfter = 0),
          ROW(.activeIdleCount = -1, .pauses = { 5000 }, .stateAfter = 0),
          ROW(.pidOnTestState = 1, .pauses = { 5000 }, .stateAfter = 1), ROW(.pidOnTestState = 2, .pauses = { 5000 }));

TEST_ROW(ActiveIdleProcessWatch, IsElseLeftAlone)
{
    g_wmiConnected = row().connected;
    g_wmiQueryIssued = row().queryIssued;
    activeIdleCount = row().activeIdleCount;
    pidOnTestState = row().pidOnTestState;

    stepThroughActiveIdle(loop);

    EXPECT_THAT(machine.messages(), SizeIs(1));
    EXPECT_EQ(machine.sleeps(), row().pauses);
    EXPECT_EQ(pidOnTestState, row().stateAfter);
}

struct PidOnTestRow {
    std::uint32_t acMode = 1;
    int power;
    int state = 2;
    int after = 2;
};

class PidOnTest : public WithRow<ActiveIdle, PidOnTestRow> {};

TEST_ROWS(PidOnTest, ROW(.power = 1600), ROW(.power = 1601, .after = 0), ROW(.acMode = 0, .power = 1601),
          ROW(.acMode = 0, .power = 1800), ROW(.acMode = 0, .power = 1801, .after = 0),
          ROW(.acMode = 255, .power = 1600), ROW(.acMode = 255, .power = 1601, .after = 0),
          // needs a first entry that is complete
          ROW(.power = 5000, .state = 0, .after = 0), ROW(.power = 5000, .state = 1, .after = 1));

TEST_ROW(PidOnTest, EndsWithPowerAboveItsThreshold)
{
    acMode = row().acMode;
    pkgPower = row().power;
    pidOnTestState = row().state;

    leavePidOnTest();

    EXPECT_EQ(pidOnTestState, row().after);
    if (row().after == row().state) {
        EXPECT_THAT(machine.happened(), IsEmpty());
    } else {
        EXPECT_THAT(machine.happened(), ElementsAre("log 2  ** PIDx 5 PID ON test "));
    }
}

}  // namespace
}  // namespace kelvane::tests
