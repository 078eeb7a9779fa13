#include "controller/control_step.h"
#include "tests/controller/part_of_step.h"

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::EndsWith;

class SelectTier : public PartOfStep {
protected:
    SelectTier()
    {
        PerfRange = 1800;
        appliedPrefMax = 1234;
    }
};

struct TierRow {
    int power;  // mW, with PL1 at 17000
    int PerfRange;
    int leastRangeStep = -100;
    int rise = 100;
    int upStep = 200;
};

class TierOfPower : public WithRow<SelectTier, TierRow> {};

TEST_ROWS(TierOfPower, ROW(.power = INT_MIN, .PerfRange = 1200, .leastRangeStep = 0, .rise = 50, .upStep = 150),
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

TEST_ROW(TierOfPower, OnABoundaryIsTheHigherOne)
{
    pkgPower = row().power;

    selectTier(loop);

    EXPECT_EQ(PerfRange, row().PerfRange);
    EXPECT_EQ(leastRangeStep, row().leastRangeStep);
    EXPECT_EQ(pwrDeltaThreshold, row().rise);
    EXPECT_EQ(upStep, row().upStep);
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

// What the workload asks for and what becomes of it.
struct PreferenceRow {
    std::uint32_t acMode = 1;
    int cpuPL1 = 17000;
    int workload = 0;
    int before = 1800;
    int power = 1000;
    int tempPerfRange = 1800;
    int PerfRange;
};

class TierPreference : public WithRow<SelectTier, PreferenceRow> {};

TEST_ROWS(TierPreference,
          // the top tier begins 2000 mW above the truncated half of PL1, but not below 6000
          ROW(.cpuPL1 = 17001, .power = 10499, .PerfRange = 4800),
          ROW(.cpuPL1 = 17001, .power = 10500, .PerfRange = 5400),
          ROW(.cpuPL1 = 17002, .power = 10500, .PerfRange = 4800),
          ROW(.cpuPL1 = 17002, .power = 10501, .PerfRange = 5400),
          ROW(.cpuPL1 = 7000, .power = 5999, .PerfRange = 4200), ROW(.cpuPL1 = 7000, .power = 6000, .PerfRange = 5400),
          ROW(.cpuPL1 = 8000, .power = 6000, .PerfRange = 5400), ROW(.cpuPL1 = 8002, .power = 6000, .PerfRange = 4800),
          // on battery a tenth less, except the lowest; 200 less of the workload's own
          ROW(.acMode = 0, .power = 1599, .tempPerfRange = 1600, .PerfRange = 1200),
          ROW(.acMode = 0, .power = 1600, .tempPerfRange = 1600, .PerfRange = 1620),
          ROW(.acMode = 0, .power = 2200, .tempPerfRange = 1600, .PerfRange = 2250),
          ROW(.acMode = 0, .power = 3000, .tempPerfRange = 1600, .PerfRange = 2700),
          ROW(.acMode = 0, .power = 4000, .tempPerfRange = 1600, .PerfRange = 3240),
          ROW(.acMode = 0, .power = 5000, .tempPerfRange = 1600, .PerfRange = 3780),
          ROW(.acMode = 0, .power = 6000, .tempPerfRange = 1600, .PerfRange = 4320),
          ROW(.acMode = 0, .power = 10500, .tempPerfRange = 1600, .PerfRange = 4860),
          ROW(.acMode = 1, .power = 1600, .PerfRange = 1800), ROW(.acMode = 255, .power = 1600, .PerfRange = 1800),
          ROW(.acMode = 255, .power = 10500, .PerfRange = 5400),
          // a heavy workload keeps its own as the least
          ROW(.workload = 4, .before = 4000, .tempPerfRange = 4000, .PerfRange = 4000),
          ROW(.workload = 4, .before = 4000, .power = 4000, .tempPerfRange = 4000, .PerfRange = 4000),
          ROW(.workload = 4, .before = 4000, .power = 5000, .tempPerfRange = 4000, .PerfRange = 4200),
          ROW(.workload = 4, .before = 1100, .tempPerfRange = 1100, .PerfRange = 1200),
          ROW(.workload = 3, .before = 4000, .tempPerfRange = 4000, .PerfRange = 1200),
          ROW(.workload = 5, .before = 4000, .tempPerfRange = 4000, .PerfRange = 1200),
          // of which on battery a tenth, truncated, is taken if it is more than the lowest tier's
          ROW(.acMode = 0, .workload = 4, .before = 4000, .tempPerfRange = 3800, .PerfRange = 3420),
          ROW(.acMode = 0, .workload = 4, .before = 1301, .tempPerfRange = 1101, .PerfRange = 1200),
          ROW(.acMode = 0, .workload = 4, .before = 1401, .tempPerfRange = 1201, .PerfRange = 1081),
          ROW(.acMode = 0, .workload = 4, .before = 1400, .tempPerfRange = 1200, .PerfRange = 1200));

TEST_ROW(TierPreference, FollowsTheWorkingLimitThePowerSourceAndAHeavyWorkload)
{
    acMode = row().acMode;
    cpuPL1 = row().cpuPL1;
    g_workload = row().workload;
    PerfRange = row().before;
    pkgPower = row().power;

    selectTier(loop);

    EXPECT_EQ(loop.tempPerfRange, row().tempPerfRange);
    EXPECT_EQ(PerfRange, row().PerfRange);
    EXPECT_THAT(machine.messages(), ElementsAre(EndsWith(" PerfRange = " + std::to_string(row().PerfRange) +
                                                         " tempPerfRange = " + std::to_string(row().tempPerfRange) +
                                                         " g_workload = " + std::to_string(row().workload))));
}

}  // namespace
}  // namespace kelvane::tests
