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
        pkgPowerPrev = 2000;
        clipPending = 1;
        leastRangeCount = 4;
        NewPID = 1;
        loop.prefMax = 3500;
        loop.floor = 1800;
        loop.clipCount = 3;
    }
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

struct CandidateRow {
    std::uint32_t acMode = 1;
    int power;
    int floor = 1800;
    int candidate;
    int PerfRange = 4800;  // floor and 3000
};

class ClipBranchCandidate : public WithRow<ClipBranch, CandidateRow> {};

TEST_ROWS(ClipBranchCandidate, ROW(.power = -1, .candidate = 5000), ROW(.power = 6499, .candidate = 5000),
          ROW(.power = 6500, .candidate = 5000), ROW(.power = 6501, .candidate = 10000),
          ROW(.power = INT_MAX, .candidate = 10000), ROW(.acMode = 0, .power = 7499, .candidate = 5000),
          ROW(.acMode = 0, .power = 7500, .candidate = 5000), ROW(.acMode = 255, .power = 6500, .candidate = 5000),
          ROW(.acMode = 255, .power = 6501, .candidate = 10000),
          ROW(.power = 3000, .floor = 2345, .candidate = 5000, .PerfRange = 5345),
          // on mains a clip never arranges a reset
          ROW(.power = 8000, .candidate = 10000), ROW(.acMode = 255, .power = 8000, .candidate = 10000));

TEST_P(ClipBranchCandidate, IsFullPerformanceAtHighPowerAndHalfBelow)
{
    acMode = row().acMode;
    pkgPower = row().power;
    loop.floor = row().floor;

    onClip(loop);

    EXPECT_THAT(machine.messages(),
                ElementsAre("2  ****** PIDx- -1 Clip error Step Up Pref ==" + std::to_string(row().candidate)));
    EXPECT_EQ(loop.prefMax, row().candidate);
    EXPECT_EQ(appliedPrefMax, row().candidate);
    EXPECT_EQ(PerfRange, row().PerfRange);
    EXPECT_EQ(exitCount, -1);
    EXPECT_EQ(loop.restorePending, 0);
}

struct StartRow {
    std::uint32_t acMode = 1;
    int power;
    int candidate;
};

class ClipBranchProcessStart : public WithRow<ClipBranch, StartRow> {};

TEST_ROWS(ClipBranchProcessStart, ROW(.power = 7000, .candidate = 10000), ROW(.power = 3000, .candidate = 5000),
          ROW(.acMode = 0, .power = 8000, .candidate = 10000));

TEST_P(ClipBranchProcessStart, TogetherWithAClipWritesNoPreferenceAndPausesTwoSeconds)
{
    acMode = row().acMode;
    pkgPower = row().power;
    PID_Change = 1;
    exitCount = 3;
    loop.restorePending = 1;
    minPrefReset = -1;
    int seen = -1;
    machine.onSleep = [&](std::uint32_t) { seen = PID_Change; };

    onClip(loop);

    EXPECT_THAT(machine.happened(), ElementsAre("log 2  ******** PIDx- -1 Clip error PrefMax ==10000", "sleep 2000"));
    EXPECT_EQ(seen, 0);  // the start is over before the pause
    EXPECT_EQ(loop.PostPID, 1);
    EXPECT_EQ(PID_Change, 0);
    EXPECT_EQ(exitCount, 0);
    EXPECT_EQ(NewPID, 0);
    EXPECT_EQ(loop.restorePending, 0);
    EXPECT_EQ(appliedPrefMax, 3000);
    EXPECT_EQ(loop.prefMax, row().candidate);
    EXPECT_EQ(PerfRange, 4800);
    EXPECT_EQ(pkgPowerPrev, row().power);
    EXPECT_EQ(prevClipCount, 3);
    EXPECT_EQ(leastRangeCount, 0);
    EXPECT_EQ(clipPending, 0);
}

struct ResetRow {
    int power;
    int restorePending = 0;
    int exitCount = -1;  // as before: not arranged
    int pendingAfter;
    int PerfRange = 3800;  // floor and 2000
    std::size_t messages = 2;
};

class ClipBranchReset : public WithRow<ClipBranch, ResetRow> {};

TEST_ROWS(ClipBranchReset, ROW(.power = 7501, .exitCount = 2, .pendingAfter = 1),
          ROW(.power = 17000, .pendingAfter = 0),
          // not of half performance, nor while a restore is pending
          ROW(.power = 7500, .pendingAfter = 0, .PerfRange = 4800, .messages = 1),
          ROW(.power = 8000, .restorePending = 1, .pendingAfter = 1, .PerfRange = 4800, .messages = 1));

TEST_P(ClipBranchReset, OfFullPerformanceIsArrangedOnBattery)
{
    acMode = 0;
    pkgPower = row().power;
    loop.restorePending = row().restorePending;

    onClip(loop);

    EXPECT_EQ(exitCount, row().exitCount);
    EXPECT_EQ(loop.restorePending, row().pendingAfter);
    EXPECT_EQ(PerfRange, row().PerfRange);
    EXPECT_THAT(machine.messages(), testing::SizeIs(row().messages));
}

}  // namespace
}  // namespace kelvane::tests
