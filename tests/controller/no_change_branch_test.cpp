// PIDx 6.
#include "controller/branches.h"
#include "tests/controller/part_of_step.h"

#include <string>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class NoChangeBranch : public PartOfStep {
protected:
    NoChangeBranch()
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
        loop.prefMax = 3000;
        loop.clipCount = -1;
        loop.PostPID = 1;
    }
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

struct RepeatRow {
    int limit = 5;
    int count;
    int step = -100;
    int prefMax = 3000;
    int countAfter = 1;
};

class NoChangeRepeat : public WithRow<NoChangeBranch, RepeatRow> {};

TEST_ROWS(NoChangeRepeat, ROW(.count = 0), ROW(.count = 4, .countAfter = 5), ROW(.count = 5, .countAfter = 6),
          ROW(.count = 6, .prefMax = 2900), ROW(.count = 6, .step = -200, .prefMax = 2800), ROW(.count = 6, .step = 0),
          ROW(.count = 6, .step = 300, .prefMax = 3300), ROW(.count = 7, .prefMax = 2900),
          ROW(.limit = 1, .count = 2, .prefMax = 2900));

TEST_P(NoChangeRepeat, AppliesTheTiersStepAfterMoreThanTheLimit)
{
    leastRangeLimit = row().limit;
    leastRangeCount = row().count;
    leastRangeStep = row().step;

    onNoChange(loop);

    EXPECT_EQ(loop.prefMax, row().prefMax);
    EXPECT_EQ(leastRangeCount, row().countAfter);
    EXPECT_THAT(machine.happened(), ElementsAre("log 2  *** PIDx 6 No change in PrefMax, within least range = " +
                                                std::to_string(row().countAfter) + " ** incnttype = 3"));
}

struct MovedRow {
    int last;
};

class NoChangeMoved : public WithRow<NoChangeBranch, MovedRow> {};

TEST_ROWS(NoChangeMoved, ROW(.last = 2999), ROW(.last = 3001));

TEST_P(NoChangeMoved, PreferenceIsOnlyRemembered)
{
    lastPrefMax = row().last;
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

}  // namespace
}  // namespace kelvane::tests
