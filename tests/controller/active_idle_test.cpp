#include "controller/control_step.h"
#include "state/state.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Idle on mains, before the first Active Idle of the process.
class ActiveIdle : public testing::Test {
protected:
    ActiveIdle() { arrange(); }

    void arrange()
    {
        minPrefReset = 0;
        appliedPrefMax = 3000;
        acMode = 1;
        pkgPower = 1000;
        pkgPowerPrev = 1200;
        PerfRange = 1800;
        NewPID = 2;
        activeIdle = 0;
        activeIdleCount = 0;
        pidOnTestState = 0;
        prevClipCount = 9;
        PID_Change = 0;
        loop = {};
        loop.prefMax = 4000;
        loop.clipCount = 3;
        loop.restorePending = 1;
        machine.forget();
    }

    SimulatedMachine machine;
    LoopState loop;
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

TEST_F(ActiveIdle, EntryNeedsLittlePowerInThisStepAndTheOneBefore)
{
    struct Row {
        std::uint32_t acMode;
        int pkgPower;
        int pkgPowerPrev;
        bool enters;
    };

    const Row rows[] = {
        { 1, 1099, 1499, true },    { 1, 1100, 1499, true },  { 1, 1101, 1499, false },  { 1, 1100, 1500, false },
        { 1, 1100, 1501, false },   { 0, 1299, 1699, true },  { 0, 1300, 1699, true },   { 0, 1301, 1699, false },
        { 0, 1300, 1700, false },   { 0, 1300, 1701, false }, { 255, 1100, 1499, true }, { 255, 1101, 1499, false },
        { 255, 1100, 1500, false }, { 1, -1, 0, true },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.acMode) + " " + std::to_string(row.pkgPower) + " " +
                     std::to_string(row.pkgPowerPrev));
        arrange();
        acMode = row.acMode;
        pkgPower = row.pkgPower;
        pkgPowerPrev = row.pkgPowerPrev;

        EXPECT_EQ(stepThroughActiveIdle(loop), row.enters);
        EXPECT_EQ(activeIdle, row.enters ? 1 : 0);
    }
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

TEST_F(ActiveIdle, IsNeitherEnteredNorLeftAfterAProcessStart)
{
    PID_Change = 1;
    EXPECT_FALSE(stepThroughActiveIdle(loop));
    EXPECT_EQ(activeIdle, 0);

    activeIdle = 1;
    pkgPower = 5000;
    EXPECT_FALSE(stepThroughActiveIdle(loop));
    EXPECT_EQ(activeIdle, 1);
    EXPECT_THAT(machine.happened(), IsEmpty());
}

TEST_F(ActiveIdle, IsNotEnteredRightAfterABurstBegan)
{
    loop.PostPID = 1;

    EXPECT_FALSE(stepThroughActiveIdle(loop));
    EXPECT_THAT(machine.happened(), IsEmpty());
}

TEST_F(ActiveIdle, IsLeftWhenABurstBegan)
{
    loop.PostPID = 1;
    activeIdle = 1;

    EXPECT_TRUE(stepThroughActiveIdle(loop));
    EXPECT_EQ(activeIdle, 0);
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

TEST_F(ActiveIdle, ProcessWatchIsLeftAloneWhileEitherWmiFlagIsNotOne)
{
    struct Row {
        std::uint8_t connected;
        std::uint8_t queryIssued;
    };

    for (const Row& row : { Row{ 0, 0 }, Row{ 1, 0 }, Row{ 0, 1 }, Row{ 2, 1 }, Row{ 1, 2 } }) {
        SCOPED_TRACE(std::to_string(row.connected) + std::to_string(row.queryIssued));
        arrange();
        g_wmiConnected = row.connected;
        g_wmiQueryIssued = row.queryIssued;

        stepThroughActiveIdle(loop);

        EXPECT_THAT(machine.messages(), testing::SizeIs(1));
        EXPECT_THAT(machine.sleeps(), ElementsAre(2000, 5000));
    }
}

TEST_F(ActiveIdle, LongerPauseIsForTheFirstEntryOfAProcessWatchOnly)
{
    struct Row {
        int activeIdleCount;
        int pidOnTestState;
        int stateAfter;
    };

    for (const Row& row : { Row{ 1, 0, 0 }, Row{ 0, 1, 1 }, Row{ 0, 2, 2 }, Row{ -1, 0, 0 } }) {
        SCOPED_TRACE(std::to_string(row.activeIdleCount) + " " + std::to_string(row.pidOnTestState));
        arrange();
        g_wmiConnected = 1;
        g_wmiQueryIssued = 1;
        activeIdleCount = row.activeIdleCount;
        pidOnTestState = row.pidOnTestState;

        stepThroughActiveIdle(loop);

        EXPECT_THAT(machine.sleeps(), ElementsAre(5000));
        EXPECT_THAT(machine.messages(), testing::SizeIs(1));
        EXPECT_EQ(pidOnTestState, row.stateAfter);
    }
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

using PidOnTest = ActiveIdle;

TEST_F(PidOnTest, EndsWithPowerAboveItsThreshold)
{
    struct Row {
        std::uint32_t acMode;
        int pkgPower;
        bool ends;
    };

    for (const Row& row : { Row{ 1, 1600, false }, Row{ 1, 1601, true }, Row{ 0, 1601, false }, Row{ 0, 1800, false },
                            Row{ 0, 1801, true }, Row{ 255, 1600, false }, Row{ 255, 1601, true } }) {
        SCOPED_TRACE(std::to_string(row.acMode) + " " + std::to_string(row.pkgPower));
        arrange();
        acMode = row.acMode;
        pkgPower = row.pkgPower;
        pidOnTestState = 2;

        leavePidOnTest();

        if (row.ends) {
            EXPECT_EQ(pidOnTestState, 0);
            EXPECT_THAT(machine.happened(), ElementsAre("log 2  ** PIDx 5 PID ON test "));
        } else {
            EXPECT_EQ(pidOnTestState, 2);
            EXPECT_THAT(machine.happened(), IsEmpty());
        }
    }
}

TEST_F(PidOnTest, NeedsAFirstEntryThatIsComplete)
{
    pkgPower = 5000;
    for (const int state : { 0, 1 }) {
        pidOnTestState = state;

        leavePidOnTest();

        EXPECT_EQ(pidOnTestState, state);
        EXPECT_THAT(machine.happened(), IsEmpty());
    }
}

}  // namespace
}  // namespace kelvane::tests
