// Perf Restore: when it comes, when it waits, and how far it goes.
#include "controller/restore.h"
#include "tests/controller/part_of_step.h"

#include <climits>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

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

TEST_F(PerfRestore, WaitsInEachStepInWhichPowerRises)
{
    pkgPower = 9000;
    perfRestored = 1;

    decideRestore(loop);

    EXPECT_EQ(perfRestored, 0);

    decideRestore(loop);

    EXPECT_EQ(loop.prefMax, 10000);
    EXPECT_EQ(loop.restorePending, 1);
    EXPECT_EQ(NewPID, 2);
    EXPECT_THAT(machine.happened(), ElementsAre("log 2  ** delayed Restore ==", "log 2  ** delayed Restore =="));

    pkgPowerPrev = 18000;
    decideRestore(loop);

    EXPECT_EQ(loop.restorePending, 0);
}

struct ConditionRow {
    int restorePending = 1;
    int NewPID = 2;
    int PID_Change = 0;
    int Kv_opt = 3;
    int power = 3000;
    bool restored = false;
    std::size_t messages = 0;
};

class RestoreConditions : public WithRow<PerfRestore, ConditionRow> {};

TEST_ROWS(RestoreConditions, ROW(.restored = true, .messages = 1),
          ROW(.restorePending = 2, .restored = true, .messages = 1), ROW(.Kv_opt = 1, .restored = true, .messages = 1),
          ROW(.restorePending = 0), ROW(.restorePending = -1), ROW(.PID_Change = 1), ROW(.Kv_opt = 0), ROW(.NewPID = 0),
          ROW(.NewPID = 1), ROW(.NewPID = 3),
          // only a restore that is allowed is delayed, also when none is pending
          ROW(.power = 9000, .messages = 1), ROW(.restorePending = 0, .power = 9000, .messages = 1),
          ROW(.NewPID = 0, .power = 9000), ROW(.NewPID = 1, .power = 9000), ROW(.NewPID = 3, .power = 9000));

TEST_ROW(RestoreConditions, MustAllHold)
{
    loop.restorePending = row().restorePending;
    NewPID = row().NewPID;
    PID_Change = row().PID_Change;
    Kv_opt = row().Kv_opt;
    pkgPower = row().power;
    perfRestored = 1;

    decideRestore(loop);

    const bool restored = row().restored;
    EXPECT_EQ(perfRestored, restored ? 1 : 0);
    EXPECT_EQ(loop.prefMax, restored ? 3500 : 10000);
    EXPECT_EQ(loop.restorePending, restored ? 0 : row().restorePending);
    EXPECT_EQ(NewPID, restored ? 0 : row().NewPID);
    EXPECT_THAT(machine.messages(), testing::SizeIs(row().messages));
}

struct LevelRow {
    std::uint32_t acMode = 0;
    int cpuPL1 = 17000;
    int power;
    int before;  // the most in the step before that makes this a rise
};

class RestoreLevel : public WithRow<PerfRestore, LevelRow> {};

TEST_ROWS(RestoreLevel,
          // below 2500 mW: 30% above the step before, truncated
          ROW(.power = 1301, .before = 1000), ROW(.power = 1300, .before = 999), ROW(.power = 2499, .before = 1922),
          ROW(.acMode = 255, .power = 1301, .before = 1000),
          // below 4000 mW on battery: 20%
          ROW(.power = 2500, .before = 2083), ROW(.power = 3999, .before = 3332),
          // on mains 30%, with an unknown power source 2570%
          ROW(.acMode = 1, .power = 2500, .before = 1923), ROW(.acMode = 255, .power = 2500, .before = 93),
          ROW(.acMode = 255, .power = 3999, .before = 149),
          // up to half of PL1: 10%
          ROW(.power = 4000, .before = 3636), ROW(.acMode = 255, .power = 4000, .before = 3636),
          ROW(.acMode = 1, .power = 8500, .before = 7727),
          // above its truncated half, whatever the power band: a fall of less than 5% counts as well
          ROW(.acMode = 1, .power = 8501, .before = 8947), ROW(.cpuPL1 = 17001, .power = 8501, .before = 8947),
          ROW(.acMode = 1, .cpuPL1 = 2000, .power = 1500, .before = 1577),
          // out of the ordinary
          ROW(.power = 0, .before = -1), ROW(.power = -1, .before = -2));

TEST_ROW(RestoreLevel, IsWherePowerStopsToCountAsRising)
{
    acMode = row().acMode;
    cpuPL1 = row().cpuPL1;
    pkgPower = row().power;

    pkgPowerPrev = row().before;
    decideRestore(loop);
    EXPECT_EQ(loop.restorePending, 1);

    pkgPowerPrev = row().before + 1;
    decideRestore(loop);
    EXPECT_EQ(loop.restorePending, 0);
}

TEST_F(PerfRestore, GreatestPowersAreComparedToo)
{
    pkgPower = INT_MAX;
    pkgPowerPrev = INT_MAX;
    decideRestore(loop);
    EXPECT_EQ(loop.restorePending, 1);

    acMode = 255;
    pkgPower = 3000;
    decideRestore(loop);
    EXPECT_EQ(loop.restorePending, 0);
}

struct TargetRow {
    std::uint32_t acMode = 0;
    int prefMax = 5000;
    int PerfRange = 3000;
    int floor = 1000;
    int after;
};

class RestoreTarget : public WithRow<PerfRestore, TargetRow> {};

TEST_ROWS(RestoreTarget,
          // up to 5000 and above both 2000 and PerfRange: steps of 250
          ROW(.floor = 1000, .after = 3250), ROW(.floor = 999, .after = 3500),
          ROW(.acMode = 1, .floor = 1000, .after = 3500), ROW(.acMode = 1, .floor = 999, .after = 3750),
          ROW(.acMode = 255, .after = 5000), ROW(.prefMax = 2001, .PerfRange = 1500, .after = 1750),
          // never upwards
          ROW(.prefMax = 3200, .after = 3200), ROW(.prefMax = 3001, .after = 3001),
          ROW(.prefMax = 2001, .PerfRange = 2000, .after = 2001),
          // no further steps from 4000 on
          ROW(.PerfRange = 4000, .after = 4000), ROW(.PerfRange = 3999, .after = 4249),
          ROW(.PerfRange = 3750, .floor = 999, .after = 4000), ROW(.PerfRange = 3749, .floor = 999, .after = 4249),
          // up to 5000 otherwise: down to PerfRange from 501 above it
          ROW(.prefMax = 2000, .PerfRange = 1499, .floor = 999, .after = 1499),
          ROW(.acMode = 1, .prefMax = 2000, .PerfRange = 1499, .floor = 999, .after = 1499),
          ROW(.prefMax = 2000, .PerfRange = 1500, .after = 2000),
          ROW(.prefMax = 1000, .PerfRange = 400, .floor = 400, .after = 400),
          ROW(.prefMax = 2001, .PerfRange = 2001, .after = 2001),
          ROW(.prefMax = 3000, .PerfRange = 4000, .after = 3000),
          // above 5000 and above PerfRange: steps of 500
          ROW(.prefMax = 5001, .floor = 2000, .after = 3500), ROW(.prefMax = 5001, .floor = 1999, .after = 4000),
          ROW(.acMode = 1, .prefMax = 5001, .floor = 2000, .after = 4000),
          ROW(.acMode = 1, .prefMax = 5001, .floor = 1999, .after = 4500),
          ROW(.acMode = 1, .prefMax = 10000, .floor = 2000, .after = 4000),
          ROW(.acMode = 255, .prefMax = 10000, .floor = 2000, .after = 10000),
          // no further steps from 4000 on, and never upwards
          ROW(.prefMax = 5001, .PerfRange = 3500, .floor = 1999, .after = 4000),
          ROW(.prefMax = 5001, .PerfRange = 3499, .floor = 1999, .after = 4499),
          ROW(.prefMax = 5001, .PerfRange = 4000, .floor = 2000, .after = 4000),
          ROW(.prefMax = 10000, .PerfRange = 5400, .floor = 2000, .after = 5400),
          ROW(.prefMax = 5500, .PerfRange = 5400, .floor = 1999, .after = 5500),
          // above 5000 and not above PerfRange: left alone
          ROW(.prefMax = 6000, .PerfRange = 6000, .floor = 1999, .after = 6000),
          ROW(.prefMax = 6000, .PerfRange = 6001, .floor = 1999, .after = 6000));

TEST_ROW(RestoreTarget, FollowsPreferenceFloorAndPowerSource)
{
    acMode = row().acMode;
    loop.prefMax = row().prefMax;
    PerfRange = row().PerfRange;
    loop.floor = row().floor;

    decideRestore(loop);

    EXPECT_EQ(loop.prefMax, row().after);
    EXPECT_EQ(perfRestored, 1);
    EXPECT_EQ(PerfRange, row().PerfRange);
}

}  // namespace
}  // namespace kelvane::tests
