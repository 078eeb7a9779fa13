// PIDx- -1.
#include "controller/branches.h"
#include "tests/controller/part_of_step.h"

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

// Three clipped samples at 7000 mW.
class ClipBranch : public PartOfStep {
protected:
    ClipBranch()
    {
        appliedPrefMax = 3000;
        pkgPower = 7000;
        prevClipCount = 0;
        clipPending = 1;
        leastRangeCount = 4;
        exitCount = 3;
        NewPID = 1;
        loop.prefMax = 3500;
        loop.floor = 1800;
        loop.clipCount = 3;
    }

    void expectStepIsRemembered() const
    {
        EXPECT_EQ(pkgPowerPrev, pkgPower);
        EXPECT_EQ(prevClipCount, 3);
        EXPECT_EQ(leastRangeCount, 0);
        EXPECT_EQ(clipPending, 0);
    }
};

struct ClipRow {
    std::uint32_t acMode = 1;
    int power;
    int ceiling;
};

class ClipBranchCeiling : public WithRow<ClipBranch, ClipRow> {};

TEST_ROWS(ClipBranchCeiling, ROW(.power = -1, .ceiling = 5000), ROW(.power = 6499, .ceiling = 5000),
          ROW(.power = 6500, .ceiling = 5000), ROW(.power = 6501, .ceiling = 10000),
          ROW(.power = INT_MAX, .ceiling = 10000), ROW(.acMode = 0, .power = 7499, .ceiling = 5000),
          ROW(.acMode = 0, .power = 7500, .ceiling = 5000), ROW(.acMode = 0, .power = 7501, .ceiling = 10000),
          ROW(.acMode = 255, .power = 6500, .ceiling = 5000), ROW(.acMode = 255, .power = 6501, .ceiling = 10000));

TEST_ROW(ClipBranchCeiling, IsFullPerformanceAtHighPowerAndHalfBelow)
{
    acMode = row().acMode;
    pkgPower = row().power;
    loop.restorePending = 1;  // so that nothing is arranged

    onClip(loop);

    const std::string ceiling = std::to_string(row().ceiling);
    EXPECT_THAT(machine.happened(), ElementsAre("SET_PERF_PREFERENCE_MAX " + ceiling + " 0",
                                                "log 2  ****** PIDx- -1 Clip error Step Up Pref ==" + ceiling));
    EXPECT_EQ(loop.prefMax, row().ceiling);
    EXPECT_EQ(PerfRange, 4800);  // floor and 3000
    EXPECT_EQ(loop.restorePending, 1);
    EXPECT_EQ(exitCount, 3);
    EXPECT_EQ(NewPID, 1);
    EXPECT_EQ(loop.PostPID, 0);
    expectStepIsRemembered();
}

TEST_ROW(ClipBranchCeiling, IsNotWrittenAtAProcessStartButPausedFor)
{
    PID_Change = 1;
    minPrefReset = -1;
    acMode = row().acMode;
    pkgPower = row().power;
    loop.restorePending = 1;
    int PIDInPause = -1;
    machine.onSleep = [&](std::uint32_t) { PIDInPause = PID_Change; };

    onClip(loop);

    EXPECT_THAT(machine.happened(), ElementsAre("log 2  ******** PIDx- -1 Clip error PrefMax ==10000", "sleep 2000"));
    EXPECT_EQ(PIDInPause, 0);
    EXPECT_EQ(PID_Change, 0);
    EXPECT_EQ(loop.PostPID, 1);
    EXPECT_EQ(exitCount, 0);
    EXPECT_EQ(NewPID, 0);
    EXPECT_EQ(loop.restorePending, 0);
    EXPECT_EQ(appliedPrefMax, 3000);
    EXPECT_EQ(loop.prefMax, row().ceiling);
    EXPECT_EQ(PerfRange, 4800);
    expectStepIsRemembered();
}

struct TargetRow {
    std::uint32_t acMode = 0;
    int power = 8000;
    int restorePending = 0;
    int PerfRange;
};

class ClipBranchTarget : public WithRow<ClipBranch, TargetRow> {};

TEST_ROWS(ClipBranchTarget,
          // a thousand less where full performance has to end again, even if that is not arranged
          ROW(.PerfRange = 4345), ROW(.power = 17000, .PerfRange = 4345), ROW(.power = 7500, .PerfRange = 5345),
          ROW(.restorePending = 1, .PerfRange = 5345), ROW(.acMode = 1, .PerfRange = 5345),
          ROW(.acMode = 255, .PerfRange = 5345));

TEST_ROW(ClipBranchTarget, FollowsTheFloor)
{
    acMode = row().acMode;
    pkgPower = row().power;
    loop.floor = 2345;
    loop.restorePending = row().restorePending;

    onClip(loop);

    EXPECT_EQ(PerfRange, row().PerfRange);
}

}  // namespace
}  // namespace kelvane::tests
