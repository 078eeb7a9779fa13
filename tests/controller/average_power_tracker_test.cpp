// What the tracker takes as steady power, how it averages it, and how it counts a burst, and the steps after a workload
// change, down.
#include "controller/average_power_tracker.h"
#include "controller/state.h"
#include "state/state.h"

#include "tests/support/rows.h"
#include "tests/support/store_watch.h"

#include <array>
#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

// avgWindowMin, NewPIDAvgPwr, avgSum, avgN, avgCnt
using Average = std::array<int, 5>;

constexpr Average untouched = { 5, 1000, 3000, 3, 3 };
constexpr Average summed = { 5, 1000, 4000, 4, 4 };
constexpr Average reset = { 3, 1100, 1100, 1, 1 };

Average average() { return { avgWindowMin, NewPIDAvgPwr, avgSum, avgN, avgCnt }; }

// Three samples of 1000 mW so far; a fourth like them is steady and does not fill the window of five.
class Tracker : public testing::Test {
protected:
    Tracker()
    {
        pkgPower = 1000;
        pkgPowerPrev = 1000;
        NewPIDAvgPwr = 1000;
        avgSum = 3000;
        avgN = 3;
        avgCnt = 3;
        avgSampleLimit = 100;
    }

    static void track(int restorePending = 0, bool clipCleared = false)
    {
        averagePowerTracker(1, 17000, restorePending, clipCleared);
    }
};

struct AverageRow {
    int power = 1000;
    int prev = 1000;
    int PL1 = 17000;
    int PID_Change = 0;
    bool clipCleared = false;
    int activeIdle = 0;
    int window = 5;
    int sum = 3000;
    int samples = 3;
    int count = 3;
    int limit = 100;
    Average after = untouched;
};

using TrackerAverage = WithRow<Tracker, AverageRow>;

TEST_ROWS(TrackerAverage,
          // power is tracked from 51 mW to below PL1; a tiny step before makes it steady
          ROW(.power = -1), ROW(.power = 0), ROW(.power = 50),
          ROW(.power = 51, .prev = 0, .after = { 5, 1000, 3051, 4, 4 }),
          ROW(.power = 16999, .prev = 0, .after = { 5, 1000, 19999, 4, 4 }), ROW(.power = 17000, .prev = 0),
          ROW(.power = INT_MAX, .prev = 0), ROW(.PL1 = 1000), ROW(.PL1 = 1001, .after = summed),
          // but not after a process start
          ROW(.PID_Change = 1, .clipCleared = true),
          // unsteady power starts afresh with a tenth more, and so does the end of clipping at any power
          ROW(.power = 3019, .after = { 3, 3320, 3320, 1, 1 }), ROW(.clipCleared = true, .after = reset),
          ROW(.power = 60, .clipCleared = true, .after = { 3, 66, 66, 1, 1 }),
          // a full window averages and adds a tenth; sum and divisor are kept: 5200 / 5
          ROW(.sum = 4200, .samples = 4, .count = 4, .after = { 6, 1144, 5200, 5, 1 }),
          // 5098 / 5 is 1019, its tenth 101
          ROW(.sum = 4098, .samples = 4, .count = 4, .after = { 6, 1120, 5098, 5, 1 }),
          // full by more than one
          ROW(.count = 50, .after = { 6, 1100, 4000, 4, 1 }),
          // two hundred samples longer in Active Idle
          ROW(.activeIdle = 1, .count = 203, .after = { 5, 1000, 4000, 4, 204 }),
          ROW(.activeIdle = 1, .count = 204, .after = { 6, 1100, 4000, 4, 1 }),
          // from the divisor's limit on it restarts from the new average
          ROW(.count = 4, .limit = 5, .after = { 6, 1100, 4000, 4, 1 }),
          ROW(.count = 4, .limit = 4, .after = { 6, 1100, 1100, 1, 1 }),
          ROW(.count = 4, .limit = 3, .after = { 6, 1100, 1100, 1, 1 }),
          // a window of four counts as a long one
          ROW(.window = 4, .after = { 6, 1100, 4000, 4, 1 }),
          ROW(.window = 4, .limit = 4, .after = { 6, 1100, 1100, 1, 1 }),
          // a short one restarts from this sample's 1000: 4400 / 4
          ROW(.window = 3, .sum = 3400, .after = { 6, 1210, 1000, 1, 1 }),
          ROW(.window = 3, .sum = 3400, .limit = 4, .after = { 6, 1210, 1000, 1, 1 }),
          ROW(.window = 3, .sum = 3400, .limit = 1, .after = { 6, 1210, 1000, 1, 1 }));

TEST_ROW(TrackerAverage, TakesTheSample)
{
    pkgPower = row().power;
    pkgPowerPrev = row().prev;
    PID_Change = row().PID_Change;
    activeIdle = row().activeIdle;
    avgWindowMin = row().window;
    avgSum = row().sum;
    avgN = row().samples;
    avgCnt = row().count;
    avgSampleLimit = row().limit;

    averagePowerTracker(1, row().PL1, 0, row().clipCleared);

    EXPECT_EQ(average(), row().after);
}

TEST_F(Tracker, SumsFromTheSampleOfAResetAndAveragesTheThird)
{
    track(0, true);

    track();
    EXPECT_EQ(average(), (Average{ 3, 1100, 2100, 2, 2 }));

    track();
    EXPECT_EQ(average(), (Average{ 6, 1136, 1000, 1, 1 }));  // 3100 / 3 is 1033, its tenth 103
}

struct SteadyRow {
    int average = 5000;
    int prev;  // power of the step before
    int power;
    bool steady;
};

using TrackerSteady = WithRow<Tracker, SteadyRow>;

TEST_ROWS(TrackerSteady,
          // 30% around the average, 700..1300; 20% around the step before, 4000..6000; and all between
          ROW(.average = 1000, .prev = 5000, .power = 699, .steady = false),
          ROW(.average = 1000, .prev = 5000, .power = 700, .steady = true),
          ROW(.average = 1000, .prev = 5000, .power = 3000, .steady = true),
          ROW(.average = 1000, .prev = 5000, .power = 6000, .steady = true),
          ROW(.average = 1000, .prev = 5000, .power = 6001, .steady = false),
          // 3500..6500 and 800..1200
          ROW(.prev = 1000, .power = 799, .steady = false), ROW(.prev = 1000, .power = 800, .steady = true),
          ROW(.prev = 1000, .power = 6500, .steady = true), ROW(.prev = 1000, .power = 6501, .steady = false),
          // 3 x 1009 / 10 is 302: 707..1311
          ROW(.average = 1009, .prev = 5000, .power = 706, .steady = false),
          ROW(.average = 1009, .prev = 5000, .power = 707, .steady = true),
          ROW(.average = 1009, .prev = 500, .power = 1311, .steady = true),
          ROW(.average = 1009, .prev = 500, .power = 1312, .steady = false),
          // 1009 / 5 is 201: 808..1210
          ROW(.average = 1300, .prev = 1009, .power = 807, .steady = false),
          ROW(.average = 1300, .prev = 1009, .power = 808, .steady = true),
          ROW(.average = 900, .prev = 1009, .power = 1210, .steady = true),
          ROW(.average = 900, .prev = 1009, .power = 1211, .steady = false),
          // a step before that fits in no int with its band
          ROW(.average = 1000, .prev = INT_MAX, .power = 16999, .steady = true),
          // tiny power always is, now or in the step before
          ROW(.prev = 9000, .power = 200, .steady = true), ROW(.prev = 9000, .power = 201, .steady = false),
          ROW(.prev = 300, .power = 16999, .steady = true), ROW(.prev = 301, .power = 16999, .steady = false),
          ROW(.prev = -1, .power = 16999, .steady = true));

TEST_ROW(TrackerSteady, NearTheAverageOrTheStepBefore)
{
    NewPIDAvgPwr = row().average;
    pkgPowerPrev = row().prev;
    pkgPower = row().power;

    track();

    EXPECT_EQ(avgWindowMin, row().steady ? 5 : 3);
    EXPECT_EQ(avgN, row().steady ? 4 : 1);
}

struct CountingRow {
    int power = 1000;
    int PID_Change = 0;
    int restorePending = 0;
    int NewPID = 0;
    int eventPending = 0;
    bool counts = false;
};

using TrackerCounting = WithRow<Tracker, CountingRow>;

TEST_ROWS(TrackerCounting,
          // for a restore, a burst or a workload change
          ROW(.NewPID = 0), ROW(.restorePending = 1, .counts = true), ROW(.NewPID = 1, .counts = true),
          ROW(.eventPending = 1, .counts = true), ROW(.restorePending = 2, .NewPID = 2, .eventPending = 2),
          ROW(.NewPID = 2), ROW(.restorePending = 1, .NewPID = 2, .counts = true),
          ROW(.restorePending = 1, .NewPID = 1, .eventPending = 1, .counts = true),
          // not outside the tracked power, nor after a process start
          ROW(.power = 50, .NewPID = 1, .eventPending = 1), ROW(.power = 17000, .NewPID = 1, .eventPending = 1),
          ROW(.PID_Change = 1, .NewPID = 1, .eventPending = 1));

TEST_ROW(TrackerCounting, RunsOnlyWithAReason)
{
    pkgPower = row().power;
    PID_Change = row().PID_Change;
    NewPID = row().NewPID;
    g_workloadEventPending = row().eventPending;
    exitCount = 3;
    g_workloadEventHold = 3;

    track(row().restorePending);

    EXPECT_EQ(exitCount, row().counts ? 2 : 3);
    EXPECT_EQ(g_workloadEventHold, row().counts ? 2 : 3);
    EXPECT_EQ(NewPID, row().NewPID);
}

struct BurstRow {
    int power = 1000;
    int NewPID;
    int exitCount;
    int NewPIDAfter;
    int exitCountAfter;
    Average after = summed;
};

using TrackerBurst = WithRow<Tracker, BurstRow>;

TEST_ROWS(TrackerBurst, ROW(.NewPID = 1, .exitCount = 3, .NewPIDAfter = 1, .exitCountAfter = 2),
          ROW(.NewPID = 1, .exitCount = 2, .NewPIDAfter = 1, .exitCountAfter = 1),
          // at one it ends, and the restore is allowed; the average of a burst always starts afresh then
          ROW(.power = 200, .NewPID = 1, .exitCount = 1, .NewPIDAfter = 2, .exitCountAfter = -1,
              .after = { 3, 220, 220, 1, 1 }),
          ROW(.power = 5000, .NewPID = 1, .exitCount = 1, .NewPIDAfter = 2, .exitCountAfter = -1,
              .after = { 3, 5500, 5500, 1, 1 }),
          // a restore's alone from 201 mW on
          ROW(.power = 200, .NewPID = 0, .exitCount = 1, .NewPIDAfter = 2, .exitCountAfter = -1,
              .after = { 5, 1000, 3200, 4, 4 }),
          ROW(.power = 201, .NewPID = 0, .exitCount = 1, .NewPIDAfter = 2, .exitCountAfter = -1,
              .after = { 3, 221, 221, 1, 1 }),
          ROW(.power = 200, .NewPID = 2, .exitCount = 1, .NewPIDAfter = 2, .exitCountAfter = -1,
              .after = { 5, 1000, 3200, 4, 4 }),
          ROW(.power = 201, .NewPID = 2, .exitCount = 1, .NewPIDAfter = 2, .exitCountAfter = -1,
              .after = { 3, 221, 221, 1, 1 }),
          // one without a count is forgotten
          ROW(.NewPID = 1, .exitCount = 0, .NewPIDAfter = 0, .exitCountAfter = 0),
          ROW(.NewPID = 1, .exitCount = -1, .NewPIDAfter = 0, .exitCountAfter = -1),
          ROW(.NewPID = 1, .exitCount = -2, .NewPIDAfter = 0, .exitCountAfter = -2),
          ROW(.NewPID = 2, .exitCount = 0, .NewPIDAfter = 2, .exitCountAfter = 0),
          ROW(.NewPID = 2, .exitCount = -1, .NewPIDAfter = 2, .exitCountAfter = -1),
          ROW(.NewPID = 0, .exitCount = 0, .NewPIDAfter = 0, .exitCountAfter = 0));

TEST_ROW(TrackerBurst, IsCountedDownByOneInAStep)
{
    pkgPower = row().power;
    pkgPowerPrev = row().power;
    NewPID = row().NewPID;
    exitCount = row().exitCount;

    track(1);

    EXPECT_EQ(NewPID, row().NewPIDAfter);
    EXPECT_EQ(exitCount, row().exitCountAfter);
    EXPECT_EQ(average(), row().after);
}

// The class was 3 before.
struct WorkloadRow {
    int restorePending = 0;
    int NewPID = 0;
    int exitCount = -1;
    int eventPending = 1;
    int hold = 1;
    int workload = 4;
    int holdAfter;
    int classAfter = 3;
    int eventPendingAfter = 1;
    Average after = summed;
};

using TrackerWorkloadChange = WithRow<Tracker, WorkloadRow>;

TEST_ROWS(TrackerWorkloadChange,
          // the hold is counted down to one first
          ROW(.hold = 4, .holdAfter = 3), ROW(.hold = 3, .holdAfter = 2), ROW(.hold = 2, .holdAfter = 1),
          // when it is over, the average starts afresh for the new class
          ROW(.holdAfter = -1, .classAfter = 4, .eventPendingAfter = 0, .after = reset),
          // also while only a restore is pending
          ROW(.restorePending = 1, .eventPending = 0, .holdAfter = -1, .classAfter = 4, .eventPendingAfter = 0,
              .after = reset),
          // it waits for a burst and for a different class
          ROW(.NewPID = 1, .exitCount = 3, .holdAfter = 1), ROW(.workload = 3, .holdAfter = 1),
          ROW(.hold = 0, .holdAfter = 0), ROW(.hold = -1, .holdAfter = -1),
          // in the same pass as the end of the burst
          ROW(.NewPID = 1, .exitCount = 1, .holdAfter = -1, .classAfter = 4, .eventPendingAfter = 0, .after = reset),
          ROW(.NewPID = 1, .exitCount = 0, .holdAfter = -1, .classAfter = 4, .eventPendingAfter = 0, .after = reset));

TEST_F(Tracker, ForgetsTheWorkloadEventThenItsHoldAndThenTakesTheClassAsSeen)
{
    g_workloadEventPending = 1;
    g_workloadEventHold = 1;
    g_workload = 4;
    std::string stores;
    const StoreWatch watch({ WATCHED(g_workloadEventPending), WATCHED(g_workloadEventHold), WATCHED(prevWorkload) },
                           [&](const std::string& name, const std::string&) { stores += name + " "; });

    track();

    EXPECT_EQ(stores, "g_workloadEventPending g_workloadEventHold prevWorkload ");
}

TEST_ROW(TrackerWorkloadChange, StartsTheAverageAfreshAfterItsHold)
{
    NewPID = row().NewPID;
    exitCount = row().exitCount;
    g_workloadEventPending = row().eventPending;
    g_workloadEventHold = row().hold;
    g_workload = row().workload;
    prevWorkload = 3;

    track(row().restorePending);

    EXPECT_EQ(g_workloadEventHold, row().holdAfter);
    EXPECT_EQ(prevWorkload, row().classAfter);
    EXPECT_EQ(g_workloadEventPending, row().eventPendingAfter);
    EXPECT_EQ(average(), row().after);
}

}  // namespace
}  // namespace kelvane::tests
