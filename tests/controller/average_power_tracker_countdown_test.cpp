// How the tracker counts a burst, and the steps after a workload change, down.
#include "controller/average_power_tracker.h"
#include "controller/state.h"
#include "state/state.h"

#include <gtest/gtest.h>

#include <string>

namespace kelvane::tests {
namespace {

constexpr int notReset = 5;
constexpr int reset = 3;

// Steady power in a window that is not full; nothing to count.
void arrange()
{
    pkgPower = 1000;
    pkgPowerPrev = 1000;
    NewPIDAvgPwr = 1000;
    avgSum = 0;
    avgN = 0;
    avgCnt = 0;
    avgWindowMin = 5;
    avgSampleLimit = 100;
    exitCount = -1;
    NewPID = 0;
    g_workloadEventPending = 0;
    g_workloadEventHold = 0;
    prevWorkload = -1;
    g_workload = 0;
}

void track(int restorePending) { averagePowerTracker(1, 17000, restorePending, false); }

TEST(TrackerCountdown, RunsForARestoreABurstOrAWorkloadChange)
{
    struct Row {
        int restorePending;
        int NewPID;
        int eventPending;
        int exitCount;  // 3 before
        int hold;       // 3 before
    };

    const Row rows[] = {
        { 0, 0, 0, 3, 3 }, { 1, 0, 0, 2, 2 }, { 0, 1, 0, 2, 2 }, { 0, 0, 1, 2, 2 },
        { 2, 2, 2, 3, 3 }, { 0, 2, 0, 3, 3 }, { 1, 2, 0, 2, 2 }, { 1, 1, 1, 2, 2 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.restorePending) + std::to_string(row.NewPID) +
                     std::to_string(row.eventPending));
        arrange();
        NewPID = row.NewPID;
        g_workloadEventPending = row.eventPending;
        exitCount = 3;
        g_workloadEventHold = 3;

        track(row.restorePending);

        EXPECT_EQ(exitCount, row.exitCount);
        EXPECT_EQ(g_workloadEventHold, row.hold);
        EXPECT_EQ(NewPID, row.NewPID);
    }
}

TEST(TrackerCountdown, BurstEndsAtOneAndTheRestoreIsAllowed)
{
    struct Row {
        int NewPID;
        int pkgPower;
        int window;
    };

    const Row rows[] = {
        { 1, 200, reset },                         // a burst always starts the average afresh
        { 1, 5000, reset }, { 0, 200, notReset },  // a restore alone only from 201 mW on
        { 0, 201, reset },  { 2, 200, notReset }, { 2, 201, reset },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.NewPID) + " " + std::to_string(row.pkgPower));
        arrange();
        NewPID = row.NewPID;
        pkgPower = row.pkgPower;
        pkgPowerPrev = row.pkgPower;
        exitCount = 1;

        track(1);

        EXPECT_EQ(NewPID, 2);
        EXPECT_EQ(exitCount, -1);
        EXPECT_EQ(avgWindowMin, row.window);
    }
}

TEST(TrackerCountdown, ResetAtTheEndOfABurstTakesTheSampleAndATenth)
{
    arrange();
    NewPID = 1;
    exitCount = 1;
    pkgPower = 1009;

    track(0);

    EXPECT_EQ(NewPIDAvgPwr, 1109);
    EXPECT_EQ(avgSum, 1109);
    EXPECT_EQ(avgN, 1);
    EXPECT_EQ(avgCnt, 1);
}

TEST(TrackerCountdown, BurstIsCountedDownByOneInAStep)
{
    arrange();
    NewPID = 1;
    exitCount = 3;

    track(1);
    EXPECT_EQ(exitCount, 2);
    EXPECT_EQ(NewPID, 1);

    track(1);
    EXPECT_EQ(exitCount, 1);
    EXPECT_EQ(NewPID, 1);

    track(1);
    EXPECT_EQ(exitCount, -1);
    EXPECT_EQ(NewPID, 2);

    track(1);
    EXPECT_EQ(exitCount, -1);
    EXPECT_EQ(NewPID, 2);
}

TEST(TrackerCountdown, BurstWithoutACountIsForgotten)
{
    struct Row {
        int exitCount;
        int NewPID;
        int NewPIDAfter;
    };

    const Row rows[] = {
        { 0, 1, 0 }, { -1, 1, 0 }, { -2, 1, 0 }, { 0, 2, 2 }, { -1, 2, 2 }, { 0, 0, 0 }, { 2, 1, 1 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.exitCount);
        arrange();
        exitCount = row.exitCount;
        NewPID = row.NewPID;

        track(1);

        EXPECT_EQ(NewPID, row.NewPIDAfter);
        EXPECT_EQ(avgWindowMin, notReset);
    }
}

TEST(TrackerWorkloadChange, HoldIsCountedDownToOneFirst)
{
    for (const int hold : { 4, 3, 2 }) {
        SCOPED_TRACE(hold);
        arrange();
        g_workloadEventPending = 1;
        g_workloadEventHold = hold;

        track(0);

        EXPECT_EQ(g_workloadEventHold, hold - 1);
        EXPECT_EQ(g_workloadEventPending, 1);
        EXPECT_EQ(prevWorkload, -1);
        EXPECT_EQ(avgWindowMin, notReset);
    }
}

TEST(TrackerWorkloadChange, AverageStartsAfreshForTheNewClassWhenTheHoldIsOver)
{
    arrange();
    g_workloadEventPending = 1;
    g_workloadEventHold = 1;
    g_workload = 4;
    prevWorkload = 3;

    track(0);

    EXPECT_EQ(g_workloadEventHold, -1);
    EXPECT_EQ(g_workloadEventPending, 0);
    EXPECT_EQ(prevWorkload, 4);
    EXPECT_EQ(avgWindowMin, reset);
    EXPECT_EQ(NewPIDAvgPwr, 1100);
    EXPECT_EQ(avgSum, 1100);
    EXPECT_EQ(avgN, 1);
    EXPECT_EQ(avgCnt, 1);
}

TEST(TrackerWorkloadChange, WaitsForABurstAndForADifferentClass)
{
    struct Row {
        int hold;
        int NewPID;
        int workload;  // 3 before
    };

    for (const Row& row : { Row{ 1, 1, 4 }, Row{ 1, 0, 3 }, Row{ 0, 0, 4 }, Row{ -1, 0, 4 } }) {
        SCOPED_TRACE(std::to_string(row.hold) + " " + std::to_string(row.NewPID) + " " + std::to_string(row.workload));
        arrange();
        g_workloadEventPending = 1;
        g_workloadEventHold = row.hold;
        NewPID = row.NewPID;
        exitCount = 3;
        g_workload = row.workload;
        prevWorkload = 3;

        track(0);

        EXPECT_EQ(g_workloadEventHold, row.hold);
        EXPECT_EQ(g_workloadEventPending, 1);
        EXPECT_EQ(prevWorkload, 3);
        EXPECT_EQ(avgWindowMin, notReset);
    }
}

TEST(TrackerWorkloadChange, ComesInTheSamePassAsTheEndOfTheBurst)
{
    for (const int count : { 1, 0 }) {
        SCOPED_TRACE(count);
        arrange();
        NewPID = 1;
        exitCount = count;
        g_workloadEventPending = 1;
        g_workloadEventHold = 1;
        g_workload = 4;
        prevWorkload = 3;

        track(1);

        EXPECT_EQ(g_workloadEventHold, -1);
        EXPECT_EQ(prevWorkload, 4);
    }
}

TEST(TrackerWorkloadChange, CountsDownAlsoWhileOnlyARestoreIsPending)
{
    arrange();
    g_workloadEventHold = 1;
    g_workload = 4;
    prevWorkload = 3;

    track(1);

    EXPECT_EQ(g_workloadEventHold, -1);
    EXPECT_EQ(prevWorkload, 4);
}

}  // namespace
}  // namespace kelvane::tests
