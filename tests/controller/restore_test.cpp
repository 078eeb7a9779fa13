// Perf Restore: when it comes, when it waits, and how far it goes.
#include "controller/restore.h"
#include "tests/controller/part_of_step.h"

#include <climits>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A burst is over and power stands still, on battery.
class PerfRestore : public PartOfStep {
protected:
    PerfRestore()
    {
        acMode = 0;
        pkgPower = 3000;
        pkgPowerPrev = 3000;
        NewPID = 2;
        PerfRange = 3000;
        loop.prefMax = 10000;
        loop.floor = 2000;
        loop.restorePending = 1;
    }
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

TEST_F(PerfRestore, IsDelayedAlsoWhenNothingIsPending)
{
    pkgPower = 9000;
    loop.restorePending = 0;

    decideRestore(loop);

    EXPECT_THAT(machine.happened(), ElementsAre("log 2  ** delayed Restore =="));
}

struct ConditionRow {
    int power = 3000;
    int restorePending = 1;
    int NewPID = 2;
    int PID_Change = 0;
    int Kv_opt = 3;
    bool restored = false;
};

class PerfRestoreCondition : public WithRow<PerfRestore, ConditionRow> {};

TEST_ROWS(PerfRestoreCondition, ROW(.restored = true), ROW(.restorePending = 2, .restored = true),
          ROW(.Kv_opt = 1, .restored = true), ROW(.restorePending = 0), ROW(.restorePending = -1), ROW(.NewPID = 0),
          ROW(.NewPID = 1), ROW(.NewPID = 3), ROW(.PID_Change = 1), ROW(.Kv_opt = 0),
          // one that is not allowed is not delayed either
          ROW(.power = 9000, .NewPID = 0), ROW(.power = 9000, .NewPID = 1), ROW(.power = 9000, .NewPID = 3));

TEST_P(PerfRestoreCondition, MustHoldLikeEachOther)
{
    pkgPower = row().power;
    loop.restorePending = row().restorePending;
    NewPID = row().NewPID;
    PID_Change = row().PID_Change;
    Kv_opt = row().Kv_opt;
    perfRestored = 1;

    decideRestore(loop);

    EXPECT_EQ(perfRestored, row().restored ? 1 : 0);
    EXPECT_EQ(loop.prefMax, row().restored ? 3500 : 10000);
    EXPECT_EQ(loop.restorePending, row().restored ? 0 : row().restorePending);
    EXPECT_EQ(NewPID, row().restored ? 0 : row().NewPID);
    EXPECT_EQ(machine.messages().size(), row().restored ? 1U : 0U);
}

struct RiseRow {
    std::uint32_t acMode = 0;
    int PL1 = 17000;
    int power;
    int prev;
    bool delayed;
};

class PerfRestoreRise : public WithRow<PerfRestore, RiseRow> {};

TEST_ROWS(PerfRestoreRise,
          // below 2500 mW: 30%, truncated
          ROW(.power = 1301, .prev = 1000, .delayed = true), ROW(.power = 1300, .prev = 1000, .delayed = false),
          ROW(.power = 2499, .prev = 1922, .delayed = true), ROW(.power = 2499, .prev = 1923, .delayed = false),
          ROW(.acMode = 255, .power = 1301, .prev = 1000, .delayed = true),
          // below 4000 mW on battery: 20%
          ROW(.power = 2500, .prev = 2083, .delayed = true), ROW(.power = 2500, .prev = 2084, .delayed = false),
          ROW(.power = 3999, .prev = 3332, .delayed = true), ROW(.power = 3999, .prev = 3333, .delayed = false),
          // on mains: 30%
          ROW(.acMode = 1, .power = 2500, .prev = 1923, .delayed = true),
          ROW(.acMode = 1, .power = 2500, .prev = 1924, .delayed = false),
          // unknown power source: 2570%
          ROW(.acMode = 255, .power = 2500, .prev = 93, .delayed = true),
          ROW(.acMode = 255, .power = 2500, .prev = 94, .delayed = false),
          ROW(.acMode = 255, .power = 3999, .prev = 149, .delayed = true),
          ROW(.acMode = 255, .power = 3999, .prev = 150, .delayed = false),
          // up to half of PL1: 10%
          ROW(.power = 4000, .prev = 3636, .delayed = true), ROW(.power = 4000, .prev = 3637, .delayed = false),
          ROW(.acMode = 255, .power = 4000, .prev = 3636, .delayed = true),
          ROW(.acMode = 1, .power = 8500, .prev = 7727, .delayed = true),
          ROW(.acMode = 1, .power = 8500, .prev = 7728, .delayed = false),
          // above: a fall of less than 5%, truncated, counts as well
          ROW(.acMode = 1, .power = 8501, .prev = 8947, .delayed = true),
          ROW(.acMode = 1, .power = 8501, .prev = 8948, .delayed = false),
          ROW(.acMode = 1, .PL1 = 17001, .power = 8501, .prev = 8947, .delayed = true),
          ROW(.acMode = 1, .PL1 = 2000, .power = 1500, .prev = 1577, .delayed = true),
          ROW(.acMode = 1, .PL1 = 2000, .power = 1500, .prev = 1578, .delayed = false),
          // out of the ordinary
          ROW(.power = 0, .prev = -1, .delayed = true), ROW(.power = -1, .prev = -1, .delayed = false),
          ROW(.power = INT_MAX, .prev = INT_MAX, .delayed = true),
          ROW(.acMode = 255, .power = 3000, .prev = INT_MAX, .delayed = false));

TEST_P(PerfRestoreRise, IsSoMuchAboveTheStepBefore)
{
    acMode = row().acMode;
    cpuPL1 = row().PL1;
    pkgPower = row().power;
    pkgPowerPrev = row().prev;

    decideRestore(loop);

    EXPECT_EQ(loop.restorePending, row().delayed ? 1 : 0);
}

struct TargetRow {
    std::uint32_t acMode = 0;
    int prefMax;
    int PerfRange;
    int floor;
    int restored;
};

class PerfRestoreTarget : public WithRow<PerfRestore, TargetRow> {};

TEST_ROWS(PerfRestoreTarget,
          // up to 5000 and above both 2000 and PerfRange: steps of 250
          ROW(.prefMax = 5000, .PerfRange = 3000, .floor = 1000, .restored = 3250),
          ROW(.prefMax = 5000, .PerfRange = 3000, .floor = 999, .restored = 3500),
          ROW(.acMode = 1, .prefMax = 5000, .PerfRange = 3000, .floor = 1000, .restored = 3500),
          ROW(.acMode = 1, .prefMax = 5000, .PerfRange = 3000, .floor = 999, .restored = 3750),
          ROW(.prefMax = 3200, .PerfRange = 3000, .floor = 1000, .restored = 3200),
          ROW(.prefMax = 3001, .PerfRange = 3000, .floor = 1000, .restored = 3001),
          ROW(.prefMax = 5000, .PerfRange = 4000, .floor = 1000, .restored = 4000),
          ROW(.prefMax = 5000, .PerfRange = 3999, .floor = 1000, .restored = 4249),
          ROW(.prefMax = 5000, .PerfRange = 3750, .floor = 999, .restored = 4000),
          ROW(.prefMax = 5000, .PerfRange = 3749, .floor = 999, .restored = 4249),
          ROW(.prefMax = 2001, .PerfRange = 1500, .floor = 1000, .restored = 1750),
          ROW(.prefMax = 2001, .PerfRange = 2000, .floor = 1000, .restored = 2001),
          ROW(.acMode = 255, .prefMax = 5000, .PerfRange = 3000, .floor = 1000, .restored = 5000),
          // up to 5000 otherwise: down to PerfRange from 501 above it
          ROW(.prefMax = 2000, .PerfRange = 1499, .floor = 999, .restored = 1499),
          ROW(.acMode = 1, .prefMax = 2000, .PerfRange = 1499, .floor = 999, .restored = 1499),
          ROW(.prefMax = 2000, .PerfRange = 1500, .floor = 1000, .restored = 2000),
          ROW(.prefMax = 1000, .PerfRange = 400, .floor = 400, .restored = 400),
          ROW(.prefMax = 2001, .PerfRange = 2001, .floor = 1000, .restored = 2001),
          ROW(.prefMax = 3000, .PerfRange = 4000, .floor = 1000, .restored = 3000),
          // above 5000 and above PerfRange: steps of 500
          ROW(.prefMax = 5001, .PerfRange = 3000, .floor = 2000, .restored = 3500),
          ROW(.prefMax = 5001, .PerfRange = 3000, .floor = 1999, .restored = 4000),
          ROW(.acMode = 1, .prefMax = 5001, .PerfRange = 3000, .floor = 2000, .restored = 4000),
          ROW(.acMode = 1, .prefMax = 5001, .PerfRange = 3000, .floor = 1999, .restored = 4500),
          ROW(.acMode = 1, .prefMax = 10000, .PerfRange = 3000, .floor = 2000, .restored = 4000),
          ROW(.prefMax = 5001, .PerfRange = 3500, .floor = 1999, .restored = 4000),
          ROW(.prefMax = 5001, .PerfRange = 3499, .floor = 1999, .restored = 4499),
          ROW(.prefMax = 5001, .PerfRange = 4000, .floor = 2000, .restored = 4000),
          ROW(.prefMax = 10000, .PerfRange = 5400, .floor = 2000, .restored = 5400),
          ROW(.prefMax = 5500, .PerfRange = 5400, .floor = 1999, .restored = 5500),
          ROW(.acMode = 255, .prefMax = 10000, .PerfRange = 3000, .floor = 2000, .restored = 10000),
          // above 5000 and not above PerfRange: left alone
          ROW(.prefMax = 6000, .PerfRange = 6000, .floor = 1999, .restored = 6000),
          ROW(.prefMax = 6000, .PerfRange = 6001, .floor = 1999, .restored = 6000));

TEST_P(PerfRestoreTarget, GoesAsFarDownAsPreferenceFloorAndPowerSourceSay)
{
    acMode = row().acMode;
    pkgPower = 5000;
    pkgPowerPrev = 5000;
    loop.prefMax = row().prefMax;
    PerfRange = row().PerfRange;
    loop.floor = row().floor;

    decideRestore(loop);

    EXPECT_EQ(loop.prefMax, row().restored);
    EXPECT_EQ(perfRestored, 1);
    EXPECT_EQ(PerfRange, row().PerfRange);
}

}  // namespace
}  // namespace kelvane::tests
