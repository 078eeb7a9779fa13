// PIDx- -1.
#include "controller/branches.h"
#include "state/state.h"

#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

// Three clipped samples at 7000 mW on mains.
class ClipBranch : public testing::Test {
protected:
    ClipBranch() { arrange(); }

    void arrange()
    {
        minPrefReset = 0;
        appliedPrefMax = 3000;
        acMode = 1;
        cpuPL1 = 17000;
        pkgPower = 7000;
        pkgPowerPrev = 2000;
        prevClipCount = 0;
        clipPending = 1;
        leastRangeCount = 4;
        PerfRange = 4800;
        PID_Change = 0;
        exitCount = -1;
        NewPID = 1;
        loop = {};
        loop.prefMax = 3500;
        loop.floor = 1800;
        loop.clipCount = 3;
        machine.forget();
    }

    SimulatedMachine machine;
    LoopState loop;
};

TEST_F(ClipBranch, WritesTheCandidateAndRemembersTheStep)
{
    onClip(loop);

    EXPECT_THAT(machine.happened(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000 0",
                                                "log 2  ****** PIDx- -1 Clip error Step Up Pref ==10000"));
    EXPECT_EQ(loop.prefMax, 10000);
    EXPECT_EQ(PerfRange, 4800);  // floor and 3000
    EXPECT_EQ(pkgPowerPrev, 7000);
    EXPECT_EQ(prevClipCount, 3);
    EXPECT_EQ(leastRangeCount, 0);
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(NewPID, 1);
    EXPECT_EQ(exitCount, -1);
    EXPECT_EQ(loop.restorePending, 0);
    EXPECT_EQ(loop.PostPID, 0);
}

TEST_F(ClipBranch, GivesFullPerformanceAtHighPowerAndHalfBelow)
{
    struct Row {
        std::uint32_t acMode;
        int pkgPower;
        int candidate;
    };

    const Row rows[] = {
        { 1, -1, 5000 },   { 1, 6499, 5000 },  { 1, 6500, 5000 },   { 1, 6501, 10000 },   { 0, 7499, 5000 },
        { 0, 7500, 5000 }, { 0, 7501, 10000 }, { 255, 6500, 5000 }, { 255, 6501, 10000 }, { 1, INT_MAX, 10000 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.acMode) + " " + std::to_string(row.pkgPower));
        arrange();
        acMode = row.acMode;
        pkgPower = row.pkgPower;

        onClip(loop);

        EXPECT_EQ(loop.prefMax, row.candidate);
        EXPECT_EQ(appliedPrefMax, row.candidate);
    }
}

TEST_F(ClipBranch, HalfPerformanceHasItsLine)
{
    pkgPower = 3000;

    onClip(loop);

    EXPECT_THAT(machine.happened(),
                ElementsAre("SET_PERF_PREFERENCE_MAX 5000 0", "log 2  ****** PIDx- -1 Clip error Step Up Pref ==5000"));
}

TEST_F(ClipBranch, TargetFollowsTheFloor)
{
    loop.floor = 2345;

    onClip(loop);

    EXPECT_EQ(PerfRange, 5345);
}

TEST_F(ClipBranch, ClipTogetherWithAProcessStartWritesNoPreferenceAndPausesTwoSeconds)
{
    struct Row {
        std::uint32_t acMode;
        int pkgPower;
        int candidate;
    };

    for (const Row& row : { Row{ 1, 7000, 10000 }, Row{ 1, 3000, 5000 }, Row{ 0, 8000, 10000 } }) {
        SCOPED_TRACE(row.pkgPower);
        arrange();
        acMode = row.acMode;
        pkgPower = row.pkgPower;
        PID_Change = 1;
        exitCount = 3;
        loop.restorePending = 1;
        minPrefReset = -1;

        onClip(loop);

        EXPECT_THAT(machine.happened(),
                    ElementsAre("log 2  ******** PIDx- -1 Clip error PrefMax ==10000", "sleep 2000"));
        EXPECT_EQ(loop.PostPID, 1);
        EXPECT_EQ(PID_Change, 0);
        EXPECT_EQ(exitCount, 0);
        EXPECT_EQ(NewPID, 0);
        EXPECT_EQ(loop.restorePending, 0);
        EXPECT_EQ(appliedPrefMax, 3000);
        EXPECT_EQ(loop.prefMax, row.candidate);
        EXPECT_EQ(PerfRange, 4800);
        EXPECT_EQ(pkgPowerPrev, row.pkgPower);
        EXPECT_EQ(prevClipCount, 3);
        EXPECT_EQ(leastRangeCount, 0);
        EXPECT_EQ(clipPending, 0);
    }
}

TEST_F(ClipBranch, ProcessStartIsOverBeforeThePause)
{
    PID_Change = 1;
    int seen = -1;
    machine.onSleep = [&](std::uint32_t) { seen = PID_Change; };

    onClip(loop);

    EXPECT_EQ(seen, 0);
}

using MaxPerfResetOnClip = ClipBranch;

TEST_F(MaxPerfResetOnClip, OnBatteryItIsArrangedByPower)
{
    struct Row {
        int pkgPower;
        int exitCount;  // -1 before
        int restorePending;
        const char* line;
    };

    const Row rows[] = {
        { 7501, 2, 1, "2  ******* Max Perf Reset set 3 ==2" },
        { 8499, 2, 1, "2  ******* Max Perf Reset set 3 ==2" },
        { 8500, 3, 1, "2  ******* Max Perf Reset set 4 ==3" },
        { 16999, 3, 1, "2  ******* Max Perf Reset set 4 ==3" },
        { 17000, -1, 0, "2  ******* Max Perf Reset Not set 2 ==-1" },
        { INT_MAX, -1, 0, "2  ******* Max Perf Reset Not set 2 ==-1" },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.pkgPower);
        arrange();
        acMode = 0;
        pkgPower = row.pkgPower;

        onClip(loop);

        EXPECT_EQ(exitCount, row.exitCount);
        EXPECT_EQ(loop.restorePending, row.restorePending);
        EXPECT_THAT(machine.messages(), ElementsAre("2  ****** PIDx- -1 Clip error Step Up Pref ==10000", row.line));
        EXPECT_EQ(PerfRange, 3800);  // floor and 2000
    }
}

TEST_F(MaxPerfResetOnClip, NeverHappensOnMains)
{
    for (const std::uint32_t source : { 1U, 255U }) {
        SCOPED_TRACE(source);
        arrange();
        acMode = source;
        pkgPower = 8000;

        onClip(loop);

        EXPECT_EQ(exitCount, -1);
        EXPECT_EQ(loop.restorePending, 0);
        EXPECT_EQ(PerfRange, 4800);
        EXPECT_THAT(machine.messages(), ElementsAre("2  ****** PIDx- -1 Clip error Step Up Pref ==10000"));
    }
}

TEST_F(MaxPerfResetOnClip, NeedsFullPerformanceAndNoRestoreThatIsPending)
{
    acMode = 0;
    pkgPower = 7500;
    onClip(loop);
    EXPECT_EQ(exitCount, -1);
    EXPECT_EQ(PerfRange, 4800);

    arrange();
    acMode = 0;
    pkgPower = 8000;
    loop.restorePending = 1;
    onClip(loop);
    EXPECT_EQ(exitCount, -1);
    EXPECT_EQ(loop.restorePending, 1);
    EXPECT_EQ(PerfRange, 4800);
}

}  // namespace
}  // namespace kelvane::tests
