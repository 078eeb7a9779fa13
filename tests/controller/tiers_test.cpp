#include "controller/control_step.h"
#include "controller/tiers.h"
#include "tests/controller/part_of_step.h"

#include <climits>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

class SelectTier : public PartOfStep {
protected:
    SelectTier()
    {
        PerfRange = 1800;
        appliedPrefMax = 1234;
    }
};

// With PL1 at 17000 mW.
struct TierRow {
    int power;
    int PerfRange;
    int leastRangeStep = -100;
    int rise = 100;
    int upStep = 200;
};

class SelectTierByPower : public WithRow<SelectTier, TierRow> {};

TEST_ROWS(SelectTierByPower, ROW(.power = INT_MIN, .PerfRange = 1200, .leastRangeStep = 0, .rise = 50, .upStep = 150),
          ROW(.power = -1, .PerfRange = 1200, .leastRangeStep = 0, .rise = 50, .upStep = 150),
          ROW(.power = 1599, .PerfRange = 1200, .leastRangeStep = 0, .rise = 50, .upStep = 150),
          ROW(.power = 1600, .PerfRange = 1800), ROW(.power = 2199, .PerfRange = 1800),
          ROW(.power = 2200, .PerfRange = 2500), ROW(.power = 2999, .PerfRange = 2500),
          ROW(.power = 3000, .PerfRange = 3000), ROW(.power = 3999, .PerfRange = 3000),
          ROW(.power = 4000, .PerfRange = 3600), ROW(.power = 4999, .PerfRange = 3600),
          ROW(.power = 5000, .PerfRange = 4200), ROW(.power = 5999, .PerfRange = 4200),
          ROW(.power = 6000, .PerfRange = 4800, .rise = 200, .upStep = 300),
          ROW(.power = 10499, .PerfRange = 4800, .rise = 200, .upStep = 300),
          ROW(.power = 10500, .PerfRange = 5400, .leastRangeStep = -200, .rise = 300, .upStep = 300),
          ROW(.power = INT_MAX, .PerfRange = 5400, .leastRangeStep = -200, .rise = 300, .upStep = 300));

TEST_P(SelectTierByPower, BoundaryBelongsToTheHigherTier)
{
    pkgPower = row().power;

    selectTier(loop);

    EXPECT_EQ(PerfRange, row().PerfRange);
    EXPECT_EQ(leastRangeStep, row().leastRangeStep);
    EXPECT_EQ(pwrDeltaThreshold, row().rise);
    EXPECT_EQ(upStep, row().upStep);
}

struct TopRow {
    int power;
    int PL1;
    int PerfRange;
};

class TopTier : public WithRow<testing::Test, TopRow> {};

TEST_ROWS(TopTier, ROW(.power = 10499, .PL1 = 17001, .PerfRange = 4800),
          ROW(.power = 10500, .PL1 = 17001, .PerfRange = 5400), ROW(.power = 10500, .PL1 = 17002, .PerfRange = 4800),
          ROW(.power = 10501, .PL1 = 17002, .PerfRange = 5400), ROW(.power = 5999, .PL1 = 7000, .PerfRange = 4200),
          ROW(.power = 6000, .PL1 = 7000, .PerfRange = 5400), ROW(.power = 6000, .PL1 = 8000, .PerfRange = 5400),
          ROW(.power = 6000, .PL1 = 8002, .PerfRange = 4800));

TEST_P(TopTier, BeginsTwoThousandAboveTheTruncatedHalfOfPL1ButNotBelowSixThousand)
{
    EXPECT_EQ(findTier(row().power, row().PL1).PerfRange, row().PerfRange);
}

TEST_F(SelectTier, TopTierFollowsTheWorkingLimit)
{
    pkgPower = 9000;
    cpuPL1 = 14000;

    selectTier(loop);

    EXPECT_EQ(PerfRange, 5400);
}

TEST_F(SelectTier, ReloadsTheCeilingThatWasWrittenLastAndResetsTheRepeats)
{
    pkgPower = 3500;
    loop.prefMax = 9000;
    activeIdleCount = 4;
    leastRangeLimit = 3;

    selectTier(loop);

    EXPECT_EQ(loop.prefMax, 1234);
    EXPECT_EQ(activeIdleCount, 0);
    EXPECT_EQ(leastRangeLimit, 5);
    EXPECT_THAT(machine.happened(), ElementsAre("log 2  **** New pkgPower ==3500 prefMax = 1234 PerfRange = 3000 "
                                                "tempPerfRange = 1800 g_workload = 0"));
}

struct SourceRow {
    std::uint32_t acMode = 0;
    int workload = 0;
    int before = 1800;
    int power = 1000;
    int temp;
    int PerfRange;
};

class SelectTierBySource : public WithRow<SelectTier, SourceRow> {};

TEST_ROWS(SelectTierBySource,
          // on battery the workload's preference is 200 less, and the tier's, but for the lowest, a tenth
          ROW(.power = 1599, .temp = 1600, .PerfRange = 1200), ROW(.power = 1600, .temp = 1600, .PerfRange = 1620),
          ROW(.power = 2200, .temp = 1600, .PerfRange = 2250), ROW(.power = 3000, .temp = 1600, .PerfRange = 2700),
          ROW(.power = 4000, .temp = 1600, .PerfRange = 3240), ROW(.power = 5000, .temp = 1600, .PerfRange = 3780),
          ROW(.power = 6000, .temp = 1600, .PerfRange = 4320), ROW(.power = 10500, .temp = 1600, .PerfRange = 4860),
          ROW(.acMode = 1, .power = 1600, .temp = 1800, .PerfRange = 1800),
          ROW(.acMode = 255, .power = 1600, .temp = 1800, .PerfRange = 1800),
          ROW(.acMode = 255, .power = 10500, .temp = 1800, .PerfRange = 5400),
          // a heavy workload keeps its own preference as the least
          ROW(.acMode = 1, .workload = 4, .before = 4000, .temp = 4000, .PerfRange = 4000),
          ROW(.acMode = 1, .workload = 4, .before = 4000, .power = 4000, .temp = 4000, .PerfRange = 4000),
          ROW(.acMode = 1, .workload = 4, .before = 4000, .power = 5000, .temp = 4000, .PerfRange = 4200),
          ROW(.acMode = 1, .workload = 4, .before = 1100, .temp = 1100, .PerfRange = 1200),
          ROW(.acMode = 1, .workload = 3, .before = 4000, .temp = 4000, .PerfRange = 1200),
          ROW(.acMode = 1, .workload = 5, .before = 4000, .temp = 4000, .PerfRange = 1200),
          // and on battery a tenth less of it, truncated, from 1201 on
          ROW(.workload = 4, .before = 4000, .temp = 3800, .PerfRange = 3420),
          ROW(.workload = 4, .before = 1301, .temp = 1101, .PerfRange = 1200),
          ROW(.workload = 4, .before = 1401, .temp = 1201, .PerfRange = 1081),
          ROW(.workload = 4, .before = 1400, .temp = 1200, .PerfRange = 1200));

TEST_P(SelectTierBySource, AndWorkloadDecideOnThePreferences)
{
    acMode = row().acMode;
    g_workload = row().workload;
    PerfRange = row().before;
    pkgPower = row().power;

    selectTier(loop);

    EXPECT_EQ(loop.tempPerfRange, row().temp);
    EXPECT_EQ(PerfRange, row().PerfRange);
}

TEST_F(SelectTier, LineShowsWhatTheTierBecameOnBattery)
{
    acMode = 0;
    g_workload = 4;
    PerfRange = 4000;
    pkgPower = 1000;

    selectTier(loop);

    EXPECT_THAT(machine.messages(), ElementsAre("2  **** New pkgPower ==1000 prefMax = 1234 PerfRange = 3420 "
                                                "tempPerfRange = 3800 g_workload = 4"));
}

}  // namespace
}  // namespace kelvane::tests
