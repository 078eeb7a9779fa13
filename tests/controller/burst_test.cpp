// Starting a process-start burst, and the Max Perf Reset of the three branches.
#include "controller/branches.h"
#include "controller/burst.h"
#include "tests/controller/part_of_step.h"

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

const std::string resetLine = "2  ******* Max Perf Reset ";

class Burst : public PartOfStep {};

TEST_F(Burst, TakesTheProcessStartAndGoesForFullPerformance)
{
    PID_Change = 1;
    loop.prefMax = 3000;
    loop.probeSleep = 300;

    startBurst(loop, 3);

    EXPECT_EQ(PID_Change, 0);
    EXPECT_EQ(NewPID, 1);
    EXPECT_EQ(loop.PostPID, 1);
    EXPECT_EQ(loop.prefMax, 10000);
    EXPECT_EQ(loop.probeSleep, 200U);
    EXPECT_THAT(machine.happened(), IsEmpty());
}

struct StepsRow {
    int before;
    int steps;
    int after;
};

class BurstSteps : public WithRow<Burst, StepsRow> {};

TEST_ROWS(BurstSteps,
          // none is counting
          ROW(.before = -1, .steps = 2, .after = 2), ROW(.before = -1, .steps = 3, .after = 3),
          ROW(.before = 0, .steps = 2, .after = 2), ROW(.before = 0, .steps = 3, .after = 3),
          // one is: prolonged by one step at the most
          ROW(.before = 1, .steps = 2, .after = 2), ROW(.before = 1, .steps = 3, .after = 2),
          ROW(.before = 2, .steps = 2, .after = 2), ROW(.before = 2, .steps = 3, .after = 3),
          ROW(.before = 3, .steps = 2, .after = 2), ROW(.before = 3, .steps = 3, .after = 3),
          ROW(.before = 4, .steps = 2, .after = 2), ROW(.before = 4, .steps = 3, .after = 3));

TEST_ROW(BurstSteps, AreAsManyAsAskedForUnlessOneIsCounting)
{
    exitCount = row().before;

    startBurst(loop, row().steps);

    EXPECT_EQ(exitCount, row().after);
    EXPECT_EQ(loop.prev_exitCount, row().before);
}

struct ResetRow {
    const MaxPerfReset* reset;
    std::uint32_t acMode = 1;
    int cpuPL1 = 17000;
    int power;
    int exitCount;  // 7: as before
    const char* line = nullptr;
};

class MaxPerfResetCounts : public WithRow<Burst, ResetRow> {};

const MaxPerfReset* const clip = &maxPerfResetOnClip;
const MaxPerfReset* const down = &maxPerfResetOnDown;
const MaxPerfReset* const up = &maxPerfResetOnUp;

TEST_ROWS(MaxPerfResetCounts,
          // light power has no line
          ROW(.reset = clip, .power = INT_MIN, .exitCount = 2), ROW(.reset = down, .power = -1, .exitCount = 2),
          ROW(.reset = clip, .power = 4999, .exitCount = 2), ROW(.reset = down, .power = 4999, .exitCount = 2),
          ROW(.reset = up, .power = 4999, .exitCount = 2),
          ROW(.reset = clip, .acMode = 0, .power = 4999, .exitCount = 2),
          ROW(.reset = down, .acMode = 0, .power = 4999, .exitCount = 2),
          ROW(.reset = up, .acMode = 0, .power = 4999, .exitCount = 2),
          ROW(.reset = up, .acMode = 255, .power = 4999, .exitCount = 2),
          // below the half of PL1
          ROW(.reset = clip, .acMode = 0, .power = 8499, .exitCount = 2, .line = "set 3 ==2"),
          ROW(.reset = clip, .power = 8499, .exitCount = 2, .line = "set 3 ==2"),
          ROW(.reset = down, .acMode = 0, .power = 8499, .exitCount = 2, .line = "set 1 exitCount ==2"),
          ROW(.reset = down, .power = 5000, .exitCount = 2, .line = "set 1 exitCount ==2"),
          ROW(.reset = down, .power = 8499, .exitCount = 2, .line = "set 1 exitCount ==2"),
          ROW(.reset = down, .acMode = 255, .power = 8499, .exitCount = 2, .line = "set 1 exitCount ==2"),
          ROW(.reset = up, .acMode = 0, .power = 8499, .exitCount = 2, .line = "set 5 ==2"),
          ROW(.reset = up, .power = 8499, .exitCount = 3, .line = "set 5 ==3"),
          ROW(.reset = up, .acMode = 255, .power = 8499, .exitCount = 3, .line = "set 5 ==3"),
          // below PL1
          ROW(.reset = clip, .acMode = 0, .power = 8500, .exitCount = 3, .line = "set 4 ==3"),
          ROW(.reset = clip, .power = 8500, .exitCount = 3, .line = "set 4 ==3"),
          ROW(.reset = down, .acMode = 0, .power = 8500, .exitCount = 3, .line = "set 2 exitCount ==3"),
          ROW(.reset = down, .power = 8500, .exitCount = 3, .line = "set 2 exitCount ==3"),
          ROW(.reset = down, .power = 16999, .exitCount = 3, .line = "set 2 exitCount ==3"),
          ROW(.reset = down, .acMode = 255, .power = 8500, .exitCount = 3, .line = "set 2 exitCount ==3"),
          ROW(.reset = up, .acMode = 0, .power = 8500, .exitCount = 3, .line = "set 6 ==3"),
          ROW(.reset = up, .power = 8500, .exitCount = 4, .line = "set 6 ==4"),
          ROW(.reset = up, .acMode = 255, .power = 8500, .exitCount = 4, .line = "set 6 ==4"),
          // not below it
          ROW(.reset = clip, .acMode = 0, .power = 17000, .exitCount = 7, .line = "Not set 2 ==7"),
          ROW(.reset = down, .power = 17000, .exitCount = 7, .line = "Not done =="),
          ROW(.reset = down, .power = INT_MAX, .exitCount = 7, .line = "Not done =="),
          ROW(.reset = up, .power = 17000, .exitCount = 7, .line = "Not set 3 ==7"),
          // the half is truncated, and light power comes before a low limit
          ROW(.reset = down, .cpuPL1 = 12001, .power = 5999, .exitCount = 2, .line = "set 1 exitCount ==2"),
          ROW(.reset = down, .cpuPL1 = 12001, .power = 6000, .exitCount = 3, .line = "set 2 exitCount ==3"),
          ROW(.reset = down, .cpuPL1 = 12001, .power = 12000, .exitCount = 3, .line = "set 2 exitCount ==3"),
          ROW(.reset = down, .cpuPL1 = 12001, .power = 12001, .exitCount = 7, .line = "Not done =="),
          ROW(.reset = down, .cpuPL1 = 4000, .power = 4999, .exitCount = 2),
          ROW(.reset = down, .cpuPL1 = 4000, .power = 5000, .exitCount = 7, .line = "Not done =="));

TEST_ROW(MaxPerfResetCounts, StepsByPowerAndSource)
{
    acMode = row().acMode;
    cpuPL1 = row().cpuPL1;
    pkgPower = row().power;
    exitCount = 7;

    resetMaxPerf(loop, *row().reset);

    EXPECT_EQ(exitCount, row().exitCount);
    EXPECT_EQ(loop.restorePending, row().exitCount == 7 ? 0 : 1);
    if (row().line) {
        EXPECT_THAT(machine.messages(), ElementsAre(resetLine + row().line));
    } else {
        EXPECT_THAT(machine.messages(), IsEmpty());
    }
}

struct BranchRow {
    void (*branch)(LoopState& loop);
    std::uint32_t acMode = 1;
    int power = 9000;
    int prefMax = 10000;
    int restorePending = 0;
    const char* line = nullptr;
};

class MaxPerfResetOfBranch : public WithRow<Burst, BranchRow> {};

TEST_ROWS(MaxPerfResetOfBranch, ROW(.branch = onPowerDown, .line = "set 2 exitCount ==3"),
          ROW(.branch = onPowerDown, .prefMax = 9999), ROW(.branch = onPowerDown, .restorePending = 1),
          ROW(.branch = onPowerUp, .line = "set 6 ==4"), ROW(.branch = onPowerUp, .prefMax = 9600, .line = "set 6 ==4"),
          ROW(.branch = onPowerUp, .prefMax = 9599), ROW(.branch = onPowerUp, .restorePending = 1),
          // a clip decides its ceiling by power alone, and is never reset on mains
          ROW(.branch = onClip, .acMode = 0, .prefMax = 3000, .line = "set 4 ==3"),
          ROW(.branch = onClip, .acMode = 0, .power = 7501, .line = "set 3 ==2"),
          ROW(.branch = onClip, .acMode = 0, .power = 7500), ROW(.branch = onClip, .acMode = 0, .restorePending = 1),
          ROW(.branch = onClip, .acMode = 1), ROW(.branch = onClip, .acMode = 255));

TEST_ROW(MaxPerfResetOfBranch, FollowsTheWriteOfFullPerformanceUnlessARestoreIsPending)
{
    acMode = row().acMode;
    pkgPower = row().power;
    pwrCeiling = 15000;
    exitCount = 1;
    loop.prev = 7500;
    loop.prefMax = row().prefMax;
    loop.restorePending = row().restorePending;

    row().branch(loop);

    const auto write = StartsWith("SET_PERF_PREFERENCE_MAX");
    const auto line = StartsWith("log 2  ***");
    if (row().line) {
        EXPECT_THAT(machine.happened(), ElementsAre(write, line, "log " + resetLine + row().line));
    } else {
        EXPECT_THAT(machine.happened(), ElementsAre(write, line));
        EXPECT_EQ(exitCount, 1);
        EXPECT_EQ(loop.restorePending, row().restorePending);
    }
}

}  // namespace
}  // namespace kelvane::tests
