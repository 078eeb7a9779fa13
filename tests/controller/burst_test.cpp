// Starting a process-start burst, and the Max Perf Reset of the three branches.
#include "controller/burst.h"
#include "tests/controller/part_of_step.h"

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

using Burst = PartOfStep;

TEST_F(Burst, TakesTheProcessStartAndGoesForFullPerformance)
{
    PID_Change = 1;
    loop.prefMax = 3000;
    loop.probeSleep = 300;

    startBurst(loop, 3);

    EXPECT_EQ(PID_Change, 0);
    EXPECT_EQ(NewPID, 1);
    EXPECT_EQ(exitCount, 3);
    EXPECT_EQ(loop.prev_exitCount, -1);
    EXPECT_EQ(loop.PostPID, 1);
    EXPECT_EQ(loop.prefMax, 10000);
    EXPECT_EQ(loop.probeSleep, 200U);
    EXPECT_THAT(machine.happened(), testing::IsEmpty());
}

struct CountRow {
    int exitCount;
    int steps;
    int after;
};

class BurstThatIsCounting : public WithRow<Burst, CountRow> {};

TEST_ROWS(BurstThatIsCounting, ROW(.exitCount = -1, .steps = 2, .after = 2),
          ROW(.exitCount = -1, .steps = 3, .after = 3), ROW(.exitCount = 0, .steps = 2, .after = 2),
          ROW(.exitCount = 0, .steps = 3, .after = 3), ROW(.exitCount = 1, .steps = 2, .after = 2),
          ROW(.exitCount = 1, .steps = 3, .after = 2), ROW(.exitCount = 2, .steps = 2, .after = 2),
          ROW(.exitCount = 2, .steps = 3, .after = 3), ROW(.exitCount = 3, .steps = 2, .after = 2),
          ROW(.exitCount = 3, .steps = 3, .after = 3), ROW(.exitCount = 4, .steps = 2, .after = 2),
          ROW(.exitCount = 4, .steps = 3, .after = 3));

TEST_P(BurstThatIsCounting, IsProlongedByOneStepAtTheMost)
{
    exitCount = row().exitCount;

    startBurst(loop, row().steps);

    EXPECT_EQ(exitCount, row().after);
    EXPECT_EQ(loop.prev_exitCount, row().exitCount);
}

// Below 5000 mW a reset is arranged without a line, in every branch and with every power source.
struct LightRow {
    const MaxPerfReset& of;
    int power;
    std::uint32_t acMode;
};

class MaxPerfResetAtLightPower : public WithRow<Burst, LightRow> {};

TEST_ROWS(MaxPerfResetAtLightPower, ROW(.of = maxPerfResetOnClip, .power = INT_MIN, .acMode = 0),
          ROW(.of = maxPerfResetOnClip, .power = 4999, .acMode = 1),
          ROW(.of = maxPerfResetOnClip, .power = 4999, .acMode = 255),
          ROW(.of = maxPerfResetOnDown, .power = -1, .acMode = 0),
          ROW(.of = maxPerfResetOnDown, .power = 4999, .acMode = 1),
          ROW(.of = maxPerfResetOnDown, .power = 4999, .acMode = 255),
          ROW(.of = maxPerfResetOnUp, .power = INT_MIN, .acMode = 0),
          ROW(.of = maxPerfResetOnUp, .power = 4999, .acMode = 1),
          ROW(.of = maxPerfResetOnUp, .power = 4999, .acMode = 255));

TEST_P(MaxPerfResetAtLightPower, IsArrangedWithoutALine)
{
    pkgPower = row().power;
    acMode = row().acMode;
    exitCount = 7;

    resetMaxPerf(loop, row().of);

    EXPECT_EQ(exitCount, 2);
    EXPECT_EQ(loop.restorePending, 1);
    EXPECT_THAT(machine.messages(), testing::IsEmpty());
}

struct ResetRow {
    const MaxPerfReset& of;
    int power;
    std::uint32_t acMode = 1;
    int PL1 = 17000;
    int steps = 7;  // as before: not arranged
    const char* line;
};

class MaxPerfResetCase : public WithRow<Burst, ResetRow> {};

TEST_ROWS(MaxPerfResetCase,
          // the clip branch comes here on battery alone
          ROW(.of = maxPerfResetOnClip, .power = 5000, .acMode = 0, .steps = 2, .line = "set 3 ==2"),
          ROW(.of = maxPerfResetOnClip, .power = 8499, .acMode = 0, .steps = 2, .line = "set 3 ==2"),
          ROW(.of = maxPerfResetOnClip, .power = 8500, .acMode = 0, .steps = 3, .line = "set 4 ==3"),
          ROW(.of = maxPerfResetOnClip, .power = 16999, .acMode = 0, .steps = 3, .line = "set 4 ==3"),
          ROW(.of = maxPerfResetOnClip, .power = 17000, .acMode = 0, .line = "Not set 2 ==7"),
          // down: whatever the power source
          ROW(.of = maxPerfResetOnDown, .power = 5000, .steps = 2, .line = "set 1 exitCount ==2"),
          ROW(.of = maxPerfResetOnDown, .power = 8499, .acMode = 0, .steps = 2, .line = "set 1 exitCount ==2"),
          ROW(.of = maxPerfResetOnDown, .power = 8499, .acMode = 255, .steps = 2, .line = "set 1 exitCount ==2"),
          ROW(.of = maxPerfResetOnDown, .power = 8500, .steps = 3, .line = "set 2 exitCount ==3"),
          ROW(.of = maxPerfResetOnDown, .power = 16999, .acMode = 0, .steps = 3, .line = "set 2 exitCount ==3"),
          ROW(.of = maxPerfResetOnDown, .power = 17000, .line = "Not done =="),
          ROW(.of = maxPerfResetOnDown, .power = INT_MAX, .line = "Not done =="),
          // up: longer on mains
          ROW(.of = maxPerfResetOnUp, .power = 5000, .steps = 3, .line = "set 5 ==3"),
          ROW(.of = maxPerfResetOnUp, .power = 8499, .acMode = 255, .steps = 3, .line = "set 5 ==3"),
          ROW(.of = maxPerfResetOnUp, .power = 8499, .acMode = 0, .steps = 2, .line = "set 5 ==2"),
          ROW(.of = maxPerfResetOnUp, .power = 8500, .steps = 4, .line = "set 6 ==4"),
          ROW(.of = maxPerfResetOnUp, .power = 16999, .acMode = 255, .steps = 4, .line = "set 6 ==4"),
          ROW(.of = maxPerfResetOnUp, .power = 16999, .acMode = 0, .steps = 3, .line = "set 6 ==3"),
          ROW(.of = maxPerfResetOnUp, .power = 17000, .line = "Not set 3 ==7"),
          ROW(.of = maxPerfResetOnUp, .power = INT_MAX, .acMode = 0, .line = "Not set 3 ==7"),
          // half of the working limit is truncated
          ROW(.of = maxPerfResetOnDown, .power = 5999, .PL1 = 12001, .steps = 2, .line = "set 1 exitCount ==2"),
          ROW(.of = maxPerfResetOnDown, .power = 6000, .PL1 = 12001, .steps = 3, .line = "set 2 exitCount ==3"),
          ROW(.of = maxPerfResetOnDown, .power = 12000, .PL1 = 12001, .steps = 3, .line = "set 2 exitCount ==3"),
          ROW(.of = maxPerfResetOnDown, .power = 12001, .PL1 = 12001, .line = "Not done =="),
          // light power comes before a low limit
          ROW(.of = maxPerfResetOnDown, .power = 5000, .PL1 = 4000, .line = "Not done =="));

TEST_P(MaxPerfResetCase, FollowsPowerAndItsBranch)
{
    pkgPower = row().power;
    acMode = row().acMode;
    cpuPL1 = row().PL1;
    exitCount = 7;

    resetMaxPerf(loop, row().of);

    EXPECT_EQ(exitCount, row().steps);
    EXPECT_EQ(loop.restorePending, row().steps == 7 ? 0 : 1);
    EXPECT_THAT(machine.messages(), testing::ElementsAre(std::string("2  ******* Max Perf Reset ") + row().line));
}

}  // namespace
}  // namespace kelvane::tests
