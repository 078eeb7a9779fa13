#include "controller/tiers.h"
#include "state/state.h"

#include "controller/control_step.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

struct TierRow {
    int pkgPower;
    int PerfRange;
    int leastRangeStep;
    int pwrDeltaThreshold;
    int upStep;
};

// With PL1 at 17000 mW.
constexpr TierRow tierRows[] = {
    // power mW, preference, least step, rise mW, up step
    { INT_MIN, 1200, 0, 50, 150 },   { -1, 1200, 0, 50, 150 },          { 1599, 1200, 0, 50, 150 },
    { 1600, 1800, -100, 100, 200 },  { 2199, 1800, -100, 100, 200 },    { 2200, 2500, -100, 100, 200 },
    { 2999, 2500, -100, 100, 200 },  { 3000, 3000, -100, 100, 200 },    { 3999, 3000, -100, 100, 200 },
    { 4000, 3600, -100, 100, 200 },  { 4999, 3600, -100, 100, 200 },    { 5000, 4200, -100, 100, 200 },
    { 5999, 4200, -100, 100, 200 },  { 6000, 4800, -100, 200, 300 },    { 10499, 4800, -100, 200, 300 },
    { 10500, 5400, -200, 300, 300 }, { INT_MAX, 5400, -200, 300, 300 },
};

TEST(FindTier, PowerOnABoundaryBelongsToTheHigherTier)
{
    for (const TierRow& row : tierRows) {
        SCOPED_TRACE(row.pkgPower);

        const Tier& tier = findTier(row.pkgPower, 17000);

        EXPECT_EQ(tier.PerfRange, row.PerfRange);
        EXPECT_EQ(tier.leastRangeStep, row.leastRangeStep);
        EXPECT_EQ(tier.pwrDeltaThresholdMw, row.pwrDeltaThreshold);
        EXPECT_EQ(tier.upStep, row.upStep);
    }
}

TEST(FindTier, TopTierBeginsTwoThousandAboveTheTruncatedHalfOfPL1ButNotBelowSixThousand)
{
    struct Row {
        int pkgPower;
        int PL1;
        int PerfRange;
    };

    const Row rows[] = {
        { 10499, 17001, 4800 }, { 10500, 17001, 5400 }, { 10500, 17002, 4800 }, { 10501, 17002, 5400 },
        { 5999, 7000, 4200 },   { 6000, 7000, 5400 },   { 6000, 8000, 5400 },   { 6000, 8002, 4800 },
    };
    for (const Row& row : rows) {
        EXPECT_EQ(findTier(row.pkgPower, row.PL1).PerfRange, row.PerfRange) << row.pkgPower << " " << row.PL1;
    }
}

class SelectTier : public testing::Test {
protected:
    SelectTier()
    {
        acMode = 1;
        PerfRange = 1800;
        appliedPrefMax = 1234;
    }

    SimulatedMachine machine;
    LoopState loop;
};

TEST_F(SelectTier, TakesThePreferenceAndThresholdsOfThePower)
{
    for (const TierRow& row : tierRows) {
        SCOPED_TRACE(row.pkgPower);
        PerfRange = 1800;
        pkgPower = row.pkgPower;

        selectTier(loop);

        EXPECT_EQ(PerfRange, row.PerfRange);
        EXPECT_EQ(leastRangeStep, row.leastRangeStep);
        EXPECT_EQ(pwrDeltaThreshold, row.pwrDeltaThreshold);
        EXPECT_EQ(upStep, row.upStep);
    }
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

TEST_F(SelectTier, WorkloadPreferenceIsTwoHundredLessOnBattery)
{
    struct Row {
        std::uint32_t acMode;
        int tempPerfRange;
    };

    for (const Row& row : { Row{ 0, 1600 }, Row{ 1, 1800 }, Row{ 255, 1800 } }) {
        SCOPED_TRACE(row.acMode);
        PerfRange = 1800;
        acMode = row.acMode;

        selectTier(loop);

        EXPECT_EQ(loop.tempPerfRange, row.tempPerfRange);
    }
}

TEST_F(SelectTier, TierPreferenceIsATenthLessOnBatteryExceptTheLowest)
{
    struct Row {
        std::uint32_t acMode;
        int pkgPower;
        int PerfRange;
    };

    const Row rows[] = {
        { 0, 1599, 1200 }, { 0, 1600, 1620 }, { 0, 2200, 2250 },  { 0, 3000, 2700 },   { 0, 4000, 3240 },
        { 0, 5000, 3780 }, { 0, 6000, 4320 }, { 0, 10500, 4860 }, { 255, 1600, 1800 }, { 255, 10500, 5400 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.pkgPower);
        PerfRange = 1800;
        acMode = row.acMode;
        pkgPower = row.pkgPower;

        selectTier(loop);

        EXPECT_EQ(PerfRange, row.PerfRange);
    }
}

TEST_F(SelectTier, HeavyWorkloadKeepsItsOwnPreferenceAsTheLeast)
{
    struct Row {
        std::uint32_t acMode;
        int workload;
        int before;
        int pkgPower;
        int PerfRange;
    };

    const Row rows[] = {
        { 1, 4, 4000, 1000, 4000 }, { 1, 4, 4000, 4000, 4000 }, { 1, 4, 4000, 5000, 4200 }, { 1, 4, 1100, 1000, 1200 },
        { 1, 3, 4000, 1000, 1200 }, { 1, 5, 4000, 1000, 1200 }, { 0, 4, 4000, 1000, 3420 },  // 3800 and a tenth less
        { 0, 4, 1301, 1000, 1200 },  // 1101 is less than the tier's
        { 0, 4, 1401, 1000, 1081 },  // 1201 and a tenth, truncated to 120, less
        { 0, 4, 1400, 1000, 1200 },  // 1200 stays
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.before) + " " + std::to_string(row.pkgPower));
        acMode = row.acMode;
        g_workload = row.workload;
        PerfRange = row.before;
        pkgPower = row.pkgPower;

        selectTier(loop);

        EXPECT_EQ(PerfRange, row.PerfRange);
    }
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
