// PIDx 6.
#include "controller/branches.h"
#include "tests/controller/part_of_step.h"

#include <string>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct NoChangeRow {
    int last = 3000;  // the ceiling a step ago
    int limit = 5;
    int count;
    int step = -100;
    int after = 3000;  // from 3000
    int countAfter;
    int incnttype = 3;
};

class NoChangeBranch : public WithRow<PartOfStep, NoChangeRow> {};

TEST_ROWS(NoChangeBranch,
          // a ceiling that stands still is counted, and takes the tier's step after more than the limit of repeats
          ROW(.count = 0, .countAfter = 1), ROW(.count = 4, .countAfter = 5), ROW(.count = 5, .countAfter = 6),
          ROW(.count = 6, .after = 2900, .countAfter = 1), ROW(.count = 7, .after = 2900, .countAfter = 1),
          ROW(.count = 6, .step = -200, .after = 2800, .countAfter = 1),
          ROW(.count = 6, .step = 0, .after = 3000, .countAfter = 1),
          ROW(.count = 6, .step = 300, .after = 3300, .countAfter = 1),
          ROW(.limit = 1, .count = 2, .after = 2900, .countAfter = 1),
          // one that moved is only remembered
          ROW(.last = 2999, .count = 6, .countAfter = 6, .incnttype = 0),
          ROW(.last = 3001, .count = 6, .countAfter = 6, .incnttype = 0));

TEST_ROW(NoChangeBranch, CountsTheRepeatsAndWritesNothing)
{
    appliedPrefMax = 4000;
    pkgPower = 1000;
    pkgPowerPrev = 800;
    prevClipCount = 5;
    clipPending = 1;
    lastPrefMax = row().last;
    leastRangeCount = row().count;
    leastRangeLimit = row().limit;
    leastRangeStep = row().step;
    loop.prefMax = 3000;
    loop.clipCount = -1;
    loop.PostPID = 1;

    onNoChange(loop);

    EXPECT_EQ(loop.prefMax, row().after);
    EXPECT_EQ(leastRangeCount, row().countAfter);
    EXPECT_EQ(loop.incnttype, row().incnttype);
    EXPECT_EQ(loop.PostPID, 0);
    EXPECT_EQ(pkgPowerPrev, 1000);
    EXPECT_EQ(prevClipCount, -1);
    EXPECT_EQ(clipPending, 1);
    EXPECT_EQ(appliedPrefMax, 4000);
    if (row().incnttype == 3) {
        EXPECT_THAT(machine.happened(), ElementsAre("log 2  *** PIDx 6 No change in PrefMax, within least range = " +
                                                    std::to_string(row().countAfter) + " ** incnttype = 3"));
    } else {
        EXPECT_THAT(machine.happened(), IsEmpty());
    }
}

}  // namespace
}  // namespace kelvane::tests
