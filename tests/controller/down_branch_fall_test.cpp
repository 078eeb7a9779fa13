// PIDx- 1: how far the ceiling comes down with power.
#include "controller/branches.h"
#include "state/state.h"

#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

// Power was 10000 mW on mains; the floor is far below.
class DownBranchFall : public testing::Test {
protected:
    DownBranchFall() { arrange(); }

    void arrange()
    {
        minPrefReset = 0;
        appliedPrefMax = 9000;
        acMode = 1;
        cpuPL1 = 17000;
        pwrCeiling = 15000;
        PerfRange = 3000;
        perfRestored = 0;
        PwrPause = 0;
        PID_Change = 0;
        loop = {};
        loop.prefMax = 4000;
        loop.floor = 1000;
        loop.restorePending = 1;
        loop.prev = 10000;
        pkgPowerPrev = 10000;
    }

    // The ceiling that the branch decides and writes when power falls by `fall` mW.
    int ceilingAfter(int fall)
    {
        pkgPower = 10000 - fall;
        onPowerDown(loop);
        EXPECT_EQ(appliedPrefMax, loop.prefMax);
        EXPECT_EQ(loop.DeltaPkgpwr, fall);
        return loop.prefMax;
    }

    SimulatedMachine machine;
    LoopState loop;
};

TEST_F(DownBranchFall, EachBandTakesItsShareOfALowAndAHighCeiling)
{
    struct Row {
        int fall;
        int from4000;
        int from6000;
        int from9999;
    };

    const Row rows[] = {
        // mW, at most 5000 or not; the last band goes to just above the floor
        { -99, 4000, 6000, 9999 },  { 0, 4000, 6000, 9999 },    { 1, 3900, 5900, 9899 },    { 499, 3900, 5900, 9899 },
        { 500, 3800, 5000, 8999 },  { 999, 3800, 5000, 8999 },  { 1000, 3600, 4000, 7999 }, { 1999, 3600, 4000, 7999 },
        { 2000, 3000, 4000, 7999 }, { 2999, 3000, 4000, 7999 }, { 3000, 1750, 2500, 2500 }, { 9999, 1750, 2500, 2500 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.fall);
        arrange();
        EXPECT_EQ(ceilingAfter(row.fall), row.from4000);

        arrange();
        loop.prefMax = 6000;
        EXPECT_EQ(ceilingAfter(row.fall), row.from6000);

        arrange();
        loop.prefMax = 9999;
        EXPECT_EQ(ceilingAfter(row.fall), row.from9999);
    }
}

TEST_F(DownBranchFall, FullPerformanceLosesFourThousandAtOnceFromAFifthToALargeFall)
{
    struct Row {
        int fall;
        int prefMax;
    };

    for (const Row& row : { Row{ 0, 10000 }, Row{ 1, 9900 }, Row{ 500, 9000 }, Row{ 1000, 8000 }, Row{ 1999, 8000 },
                            Row{ 2000, 6000 }, Row{ 2999, 6000 }, Row{ 3000, 2500 } }) {
        SCOPED_TRACE(row.fall);
        arrange();
        loop.prefMax = 10000;

        EXPECT_EQ(ceilingAfter(row.fall), row.prefMax);
    }
}

TEST_F(DownBranchFall, CeilingCountsAsHighFromFiveThousandOnAndAboveTheTier)
{
    struct Row {
        int fall;
        int prefMax;
        int PerfRange;
        int after;
    };

    const Row rows[] = {
        // 5% to 10%
        { 500, 4999, 3000, 4799 },
        { 500, 5000, 3000, 4000 },
        { 500, 5000, 4999, 4000 },
        { 500, 5000, 5000, 4800 },
        { 500, 9000, 9000, 8800 },
        // 10% to 20%
        { 1000, 4999, 3000, 4599 },
        { 1000, 5000, 4999, 3000 },
        { 1000, 5000, 5000, 4600 },
        // 20% to 30%
        { 2000, 10000, 10000, 6000 },
        { 2000, 9999, 10000, 9999 },
        { 2000, 5000, 4999, 3000 },
        { 2000, 5000, 5000, 5000 },
        { 2000, 4999, 3000, 3999 },
        { 2000, 4999, 4999, 4999 },
        { 2000, 2001, 2000, 1001 },
        { 2000, 2000, 1500, 2000 },
        { 2000, 2001, 2001, 2001 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.fall) + " " + std::to_string(row.prefMax) + " " +
                     std::to_string(row.PerfRange));
        arrange();
        loop.prefMax = row.prefMax;
        PerfRange = row.PerfRange;

        EXPECT_EQ(ceilingAfter(row.fall), row.after);
    }
}

TEST_F(DownBranchFall, LargeFallGoesToTheFloorOrALittleAboveButNeverUp)
{
    struct Row {
        std::uint32_t acMode;
        int prefMax;
        int PerfRange;
        int floor;
        int after;
    };

    const Row rows[] = {
        // at most 2000, or not above the tier: the floor
        { 1, 2000, 1500, 1000, 1000 },
        { 1, 3000, 3000, 1000, 1000 },
        { 1, 9000, 9000, 1000, 1000 },
        { 1, 900, 1500, 1000, 900 },
        // up to 5000: steps of 250
        { 1, 2001, 1500, 1000, 1750 },
        { 1, 3001, 3000, 1000, 1750 },
        { 1, 5000, 3000, 1000, 1750 },
        { 1, 5000, 3000, 1999, 2749 },
        { 1, 5000, 3000, 2000, 2500 },
        { 0, 5000, 3000, 1000, 1500 },
        { 0, 5000, 3000, 2000, 2250 },
        { 255, 5000, 3000, 1000, 5000 },
        { 1, 2400, 2000, 2000, 2400 },
        // above 5000: steps of 500
        { 1, 5001, 3000, 1000, 2500 },
        { 1, 5001, 3000, 1999, 3499 },
        { 1, 5001, 3000, 2000, 3000 },
        { 0, 5001, 3000, 1000, 2000 },
        { 0, 5001, 3000, 2000, 2500 },
        { 255, 5001, 3000, 1000, 5001 },
        { 1, 10000, 3000, 1000, 2500 },
        { 255, 10000, 3000, 1000, 10000 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.acMode) + " " + std::to_string(row.prefMax) + " " +
                     std::to_string(row.PerfRange) + " " + std::to_string(row.floor));
        arrange();
        acMode = row.acMode;
        loop.prefMax = row.prefMax;
        PerfRange = row.PerfRange;
        loop.floor = row.floor;

        EXPECT_EQ(ceilingAfter(5000), row.after);
    }
}

TEST_F(DownBranchFall, FallRightAfterARestoreCountsAsNone)
{
    perfRestored = 1;
    pkgPower = 2000;

    onPowerDown(loop);

    EXPECT_EQ(loop.prefMax, 4000);
    EXPECT_EQ(loop.DeltaPkgpwr, 0);
    EXPECT_EQ(perfRestored, 0);
}

TEST_F(DownBranchFall, FirstStepTakesItsOwnPowerAsTheEarlierOne)
{
    loop.prev = 0;
    pkgPowerPrev = 0;
    pkgPower = 3000;

    onPowerDown(loop);

    EXPECT_EQ(loop.prev, 3000);
    EXPECT_EQ(pkgPowerPrev, 3000);
    EXPECT_EQ(loop.DeltaPkgpwr, 0);
    EXPECT_EQ(loop.prefMax, 4000);
}

// The bands are tested one after the other, whatever the truncated shares of a tiny or negative power make of them.
TEST_F(DownBranchFall, TinyAndNegativeEarlierPowersGoThroughTheBandsByTheLetter)
{
    struct Row {
        int prev;
        int pkgPower;
        int after;  // from 4000; 1750: a large fall
    };

    const Row rows[] = {
        { 20, 20, 4000 },    { 20, 19, 3800 },    { 20, 18, 3600 },       { 20, 16, 1750 },  { 19, 19, 3800 },
        { 10, 10, 3800 },    { 9, 9, 3600 },      { 5, 5, 3600 },         { 4, 4, 1750 },    { 99, 81, 3600 },
        { 99, 80, 1750 },    { 100, 80, 3000 },   { 100, 71, 3000 },      { 100, 70, 1750 }, { 199, 161, 3600 },
        { 199, 160, 1750 },  { 299, 240, 3000 },  { 299, 239, 1750 },     { 0, 0, 1750 },    { 0, 10, 3800 },
        { 0, 20, 4000 },     { 0, -1, 1750 },     { -1, -1, 1750 },       { -1, 0, 4000 },   { -100, -100, 1750 },
        { -100, -94, 4000 }, { -100, -95, 1750 }, { -1, INT_MAX, 10000 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.prev) + " " + std::to_string(row.pkgPower));
        arrange();
        loop.prev = row.prev;
        pkgPowerPrev = row.prev;
        pkgPower = row.pkgPower;

        onPowerDown(loop);

        EXPECT_EQ(loop.prefMax, row.after);
    }
}

TEST_F(DownBranchFall, CeilingFarBelowTheFloorSnapsToIt)
{
    struct Row {
        std::uint32_t acMode;
        int floor;
        int kept;     // the lowest ceiling that stays
        int snapped;  // the highest that does not
    };

    const Row rows[] = {
        { 1, 2499, 2199, 2198 },   { 0, 2499, 2199, 2198 },   { 1, 2500, 2000, 1999 }, { 0, 2500, 1800, 1799 },
        { 1, 4199, 3699, 3698 },   { 0, 4199, 3499, 3498 },   { 1, 4200, 3500, 3499 }, { 0, 4200, 3300, 3299 },
        { 255, 2500, 2000, 1999 }, { 255, 4200, 3500, 3499 }, { 1, 1000, 700, 699 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.acMode) + " " + std::to_string(row.floor));
        arrange();
        acMode = row.acMode;
        loop.floor = row.floor;
        loop.prefMax = row.kept;
        EXPECT_EQ(ceilingAfter(0), row.kept);

        arrange();
        acMode = row.acMode;
        loop.floor = row.floor;
        loop.prefMax = row.snapped;
        EXPECT_EQ(ceilingAfter(0), row.floor);
    }
}

TEST_F(DownBranchFall, FloorIsAppliedAfterALargeFallToo)
{
    PerfRange = 1500;
    loop.prefMax = 600;  // kept below the floor by the fall, too far below for the snap

    EXPECT_EQ(ceilingAfter(5000), 1000);
}

}  // namespace
}  // namespace kelvane::tests
