// Perf Restore: when it comes, when it waits, and how far it goes.
#include "controller/restore.h"
#include "state/state.h"

#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A burst is over and power stands still, on battery.
class PerfRestore : public testing::Test {
protected:
    PerfRestore() { arrange(); }

    void arrange()
    {
        acMode = 0;
        cpuPL1 = 17000;
        pkgPower = 3000;
        pkgPowerPrev = 3000;
        NewPID = 2;
        PID_Change = 0;
        Kv_opt = 3;
        perfRestored = 0;
        PerfRange = 3000;
        loop = {};
        loop.prefMax = 10000;
        loop.floor = 2000;
        loop.restorePending = 1;
        machine.forget();
    }

    SimulatedMachine machine;
    LoopState loop;
};

TEST_F(PerfRestore, BringsThePreferenceDownAndEndsTheBurst)
{
    decideRestore(loop);

    EXPECT_EQ(loop.prefMax, 3500);
    EXPECT_EQ(loop.restorePending, 0);
    EXPECT_EQ(perfRestored, 1);
    EXPECT_EQ(NewPID, 0);
    EXPECT_THAT(machine.happened(),
                ElementsAre("log 2  * Perf Restored ** PerfRange =3000 ** NewPID =2 ** prefMax =3500"));
}

TEST_F(PerfRestore, WaitsWhilePowerRises)
{
    pkgPower = 9000;
    perfRestored = 1;

    decideRestore(loop);

    EXPECT_EQ(loop.prefMax, 10000);
    EXPECT_EQ(loop.restorePending, 1);
    EXPECT_EQ(perfRestored, 0);
    EXPECT_EQ(NewPID, 2);
    EXPECT_THAT(machine.happened(), ElementsAre("log 2  ** delayed Restore =="));
}

TEST_F(PerfRestore, WaitsInEachStepInWhichPowerRises)
{
    pkgPower = 9000;

    decideRestore(loop);
    decideRestore(loop);

    EXPECT_EQ(loop.restorePending, 1);
    EXPECT_THAT(machine.messages(), ElementsAre("2  ** delayed Restore ==", "2  ** delayed Restore =="));

    pkgPowerPrev = 9000 * 2;
    decideRestore(loop);

    EXPECT_EQ(loop.restorePending, 0);
}

TEST_F(PerfRestore, OnlyARestoreThatIsAllowedIsDelayed)
{
    for (const int state : { 0, 1, 3 }) {
        SCOPED_TRACE(state);
        arrange();
        pkgPower = 9000;
        NewPID = state;

        decideRestore(loop);

        EXPECT_THAT(machine.happened(), IsEmpty());
        EXPECT_EQ(NewPID, state);
    }
}

TEST_F(PerfRestore, IsDelayedAlsoWhenNothingIsPending)
{
    pkgPower = 9000;
    loop.restorePending = 0;

    decideRestore(loop);

    EXPECT_THAT(machine.happened(), ElementsAre("log 2  ** delayed Restore =="));
}

TEST_F(PerfRestore, EachConditionMustHold)
{
    struct Row {
        int restorePending;
        int NewPID;
        int PID_Change;
        int Kv_opt;
        bool restored;
    };

    const Row rows[] = {
        { 1, 2, 0, 3, true },  { 2, 2, 0, 3, true },  { 0, 2, 0, 3, false }, { -1, 2, 0, 3, false },
        { 1, 1, 0, 3, false }, { 1, 0, 0, 3, false }, { 1, 3, 0, 3, false }, { 1, 2, 1, 3, false },
        { 1, 2, 0, 0, false }, { 1, 2, 0, 1, true },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.restorePending) + std::to_string(row.NewPID) + std::to_string(row.PID_Change) +
                     std::to_string(row.Kv_opt));
        arrange();
        loop.restorePending = row.restorePending;
        NewPID = row.NewPID;
        PID_Change = row.PID_Change;
        Kv_opt = row.Kv_opt;
        perfRestored = 1;

        decideRestore(loop);

        EXPECT_EQ(perfRestored, row.restored ? 1 : 0);
        EXPECT_EQ(loop.prefMax, row.restored ? 3500 : 10000);
        EXPECT_EQ(loop.restorePending, row.restored ? 0 : row.restorePending);
        EXPECT_EQ(NewPID, row.restored ? 0 : row.NewPID);
        EXPECT_EQ(machine.messages().size(), row.restored ? 1U : 0U);
    }
}

TEST_F(PerfRestore, PowerRisesWhenItIsSoMuchAboveTheStepBefore)
{
    struct Row {
        std::uint32_t acMode;
        int cpuPL1;
        int pkgPower;
        int pkgPowerPrev;
        bool delayed;
    };

    const Row rows[] = {
        // below 2500 mW: 30%, truncated
        { 0, 17000, 1301, 1000, true },
        { 0, 17000, 1300, 1000, false },
        { 0, 17000, 2499, 1922, true },   // against 2498
        { 0, 17000, 2499, 1923, false },  // 2499
        { 255, 17000, 1301, 1000, true },
        // below 4000 mW on battery: 20%
        { 0, 17000, 2500, 2083, true },   // 2499
        { 0, 17000, 2500, 2084, false },  // 2500
        { 0, 17000, 3999, 3332, true },   // 3998
        { 0, 17000, 3999, 3333, false },  // 3999
        // on mains: 30%
        { 1, 17000, 2500, 1923, true },   // 2499
        { 1, 17000, 2500, 1924, false },  // 2501
        // unknown power source: 2570%
        { 255, 17000, 2500, 93, true },    // 2483
        { 255, 17000, 2500, 94, false },   // 2509
        { 255, 17000, 3999, 149, true },   // 3978
        { 255, 17000, 3999, 150, false },  // 4005
        // up to half of PL1: 10%
        { 0, 17000, 4000, 3636, true },   // 3999
        { 0, 17000, 4000, 3637, false },  // 4000
        { 255, 17000, 4000, 3636, true },
        { 1, 17000, 8500, 7727, true },   // 8499
        { 1, 17000, 8500, 7728, false },  // 8500
        // above: a fall of less than 5%, truncated, counts as well
        { 1, 17000, 8501, 8947, true },   // 8500
        { 1, 17000, 8501, 8948, false },  // 8501
        { 1, 17001, 8501, 8947, true },   // the half is truncated
        { 1, 2000, 1500, 1577, true },    // 1499, whatever the power band
        { 1, 2000, 1500, 1578, false },   // 1500
        // out of the ordinary
        { 0, 17000, 0, -1, true },
        { 0, 17000, -1, -1, false },
        { 0, 17000, INT_MAX, INT_MAX, true },
        { 255, 17000, 3000, INT_MAX, false },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.acMode) + " " + std::to_string(row.pkgPower) + " " +
                     std::to_string(row.pkgPowerPrev));
        arrange();
        acMode = row.acMode;
        cpuPL1 = row.cpuPL1;
        pkgPower = row.pkgPower;
        pkgPowerPrev = row.pkgPowerPrev;

        decideRestore(loop);

        EXPECT_EQ(loop.restorePending, row.delayed ? 1 : 0);
    }
}

TEST_F(PerfRestore, GoesAsFarDownAsPreferenceFloorAndPowerSourceSay)
{
    struct Row {
        std::uint32_t acMode;
        int prefMax;
        int PerfRange;
        int floor;
        int restored;
    };

    const Row rows[] = {
        // up to 5000 and above both 2000 and PerfRange: steps of 250
        { 0, 5000, 3000, 1000, 3250 },
        { 0, 5000, 3000, 999, 3500 },
        { 1, 5000, 3000, 1000, 3500 },
        { 1, 5000, 3000, 999, 3750 },
        { 0, 3200, 3000, 1000, 3200 },  // never upwards
        { 0, 3001, 3000, 1000, 3001 },
        { 0, 5000, 4000, 1000, 4000 },  // no further steps from 4000 on
        { 0, 5000, 3999, 1000, 4249 },
        { 0, 5000, 3750, 999, 4000 },
        { 0, 5000, 3749, 999, 4249 },
        { 0, 2001, 1500, 1000, 1750 },
        { 0, 2001, 2000, 1000, 2001 },
        { 255, 5000, 3000, 1000, 5000 },
        // up to 5000 otherwise: down to PerfRange from 501 above it
        { 0, 2000, 1499, 999, 1499 },
        { 1, 2000, 1499, 999, 1499 },
        { 0, 2000, 1500, 1000, 2000 },
        { 0, 1000, 400, 400, 400 },
        { 0, 2001, 2001, 1000, 2001 },
        { 0, 3000, 4000, 1000, 3000 },
        // above 5000 and above PerfRange: steps of 500
        { 0, 5001, 3000, 2000, 3500 },
        { 0, 5001, 3000, 1999, 4000 },
        { 1, 5001, 3000, 2000, 4000 },
        { 1, 5001, 3000, 1999, 4500 },
        { 1, 10000, 3000, 2000, 4000 },
        { 0, 5001, 3500, 1999, 4000 },  // no further steps from 4000 on
        { 0, 5001, 3499, 1999, 4499 },
        { 0, 5001, 4000, 2000, 4000 },
        { 0, 10000, 5400, 2000, 5400 },
        { 0, 5500, 5400, 1999, 5500 },  // never upwards
        { 255, 10000, 3000, 2000, 10000 },
        // above 5000 and not above PerfRange: left alone
        { 0, 6000, 6000, 1999, 6000 },
        { 0, 6000, 6001, 1999, 6000 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.acMode) + " " + std::to_string(row.prefMax) + " " +
                     std::to_string(row.PerfRange) + " " + std::to_string(row.floor));
        arrange();
        acMode = row.acMode;
        pkgPower = 5000;
        pkgPowerPrev = 5000;
        loop.prefMax = row.prefMax;
        PerfRange = row.PerfRange;
        loop.floor = row.floor;

        decideRestore(loop);

        EXPECT_EQ(loop.prefMax, row.restored);
        EXPECT_EQ(perfRestored, 1);
        EXPECT_EQ(PerfRange, row.PerfRange);
    }
}

}  // namespace
}  // namespace kelvane::tests
