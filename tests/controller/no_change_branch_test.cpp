// PIDx 6.
#include "controller/branches.h"
#include "state/state.h"

#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <string>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class NoChangeBranch : public testing::Test {
protected:
    NoChangeBranch() { arrange(); }

    void arrange()
    {
        appliedPrefMax = 4000;
        pkgPower = 1000;
        pkgPowerPrev = 800;
        prevClipCount = 5;
        clipPending = 1;
        lastPrefMax = 3000;
        leastRangeCount = 2;
        leastRangeLimit = 5;
        leastRangeStep = -100;
        loop = {};
        loop.prefMax = 3000;
        loop.clipCount = -1;
        loop.PostPID = 1;
        machine.forget();
    }

    SimulatedMachine machine;
    LoopState loop;
};

TEST_F(NoChangeBranch, CountsAPreferenceThatStandsStillAndWritesNothing)
{
    onNoChange(loop);

    EXPECT_THAT(machine.happened(),
                ElementsAre("log 2  *** PIDx 6 No change in PrefMax, within least range = 3 ** incnttype = 3"));
    EXPECT_EQ(loop.prefMax, 3000);
    EXPECT_EQ(leastRangeCount, 3);
    EXPECT_EQ(loop.incnttype, 3);
    EXPECT_EQ(loop.PostPID, 0);
    EXPECT_EQ(pkgPowerPrev, 1000);
    EXPECT_EQ(prevClipCount, -1);
    EXPECT_EQ(clipPending, 1);
    EXPECT_EQ(appliedPrefMax, 4000);
}

TEST_F(NoChangeBranch, AppliesTheTiersStepAfterMoreThanTheLimitOfRepeats)
{
    struct Row {
        int count;
        int step;
        int prefMax;  // 3000 before
        int countAfter;
    };

    const Row rows[] = {
        { 0, -100, 3000, 1 }, { 4, -100, 3000, 5 }, { 5, -100, 3000, 6 }, { 6, -100, 2900, 1 },
        { 6, -200, 2800, 1 }, { 6, 0, 3000, 1 },    { 6, 300, 3300, 1 },  { 7, -100, 2900, 1 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.count) + " " + std::to_string(row.step));
        arrange();
        leastRangeCount = row.count;
        leastRangeStep = row.step;

        onNoChange(loop);

        EXPECT_EQ(loop.prefMax, row.prefMax);
        EXPECT_EQ(leastRangeCount, row.countAfter);
        EXPECT_THAT(machine.happened(), ElementsAre("log 2  *** PIDx 6 No change in PrefMax, within least range = " +
                                                    std::to_string(row.countAfter) + " ** incnttype = 3"));
    }
}

TEST_F(NoChangeBranch, FollowsAnotherLimit)
{
    leastRangeLimit = 1;

    onNoChange(loop);

    EXPECT_EQ(loop.prefMax, 2900);
}

TEST_F(NoChangeBranch, PreferenceThatMovedIsOnlyRemembered)
{
    for (const int last : { 2999, 3001 }) {
        SCOPED_TRACE(last);
        arrange();
        lastPrefMax = last;
        leastRangeCount = 6;

        onNoChange(loop);

        EXPECT_THAT(machine.happened(), IsEmpty());
        EXPECT_EQ(loop.prefMax, 3000);
        EXPECT_EQ(leastRangeCount, 6);
        EXPECT_EQ(loop.incnttype, 0);
        EXPECT_EQ(loop.PostPID, 0);
        EXPECT_EQ(pkgPowerPrev, 1000);
        EXPECT_EQ(prevClipCount, -1);
        EXPECT_EQ(clipPending, 1);
    }
}

}  // namespace
}  // namespace kelvane::tests
