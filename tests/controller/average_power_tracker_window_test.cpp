// What the tracker takes as steady power, and how it averages it.
#include "controller/average_power_tracker.h"
#include "controller/state.h"
#include "state/state.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

constexpr int PL1 = 17000;

// Three samples of 1000 mW so far; a fourth like them is steady and does not fill the window of five.
void arrange()
{
    pkgPower = 1000;
    pkgPowerPrev = 1000;
    NewPIDAvgPwr = 1000;
    avgSum = 3000;
    avgN = 3;
    avgCnt = 3;
    avgWindowMin = 5;
    avgSampleLimit = 100;
    activeIdle = 0;
    PID_Change = 0;
}

struct Average {
    int avgWindowMin;
    int NewPIDAvgPwr;
    int avgSum;
    int avgN;
    int avgCnt;

    bool operator==(const Average&) const = default;
};

void PrintTo(const Average& a, std::ostream* out)
{
    *out << "window " << a.avgWindowMin << ", average " << a.NewPIDAvgPwr << ", sum " << a.avgSum << ", n " << a.avgN
         << ", count " << a.avgCnt;
}

Average average() { return { avgWindowMin, NewPIDAvgPwr, avgSum, avgN, avgCnt }; }

void track(bool clipCleared = false) { averagePowerTracker(1, PL1, 0, clipCleared); }

TEST(TrackerGate, TracksPowerFrom51MilliwattsToBelowPL1)
{
    struct Row {
        int power;
        Average after;
    };

    const Average untouched = { 5, 1000, 3000, 3, 3 };
    const Row rows[] = {
        { -1, untouched },
        { 0, untouched },
        { 50, untouched },
        { 51, { 5, 1000, 3051, 4, 4 } },
        { 1000, { 5, 1000, 4000, 4, 4 } },
        { 16999, { 5, 1000, 19999, 4, 4 } },
        { 17000, untouched },
        { INT_MAX, untouched },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.power);
        arrange();
        pkgPower = row.power;
        pkgPowerPrev = 0;  // anything is steady

        track();

        EXPECT_EQ(average(), row.after);
    }
}

TEST(TrackerGate, DoesNothingAfterAProcessStart)
{
    arrange();
    PID_Change = 1;
    NewPID = 1;
    exitCount = 2;
    g_workloadEventPending = 1;
    g_workloadEventHold = 3;

    track(true);

    EXPECT_EQ(average(), (Average{ 5, 1000, 3000, 3, 3 }));
    EXPECT_EQ(exitCount, 2);
    EXPECT_EQ(g_workloadEventHold, 3);
}

TEST(TrackerGate, CountsNothingDownOutsideItsRange)
{
    for (const int power : { 50, 17000 }) {
        SCOPED_TRACE(power);
        arrange();
        pkgPower = power;
        NewPID = 1;
        exitCount = 2;
        g_workloadEventPending = 1;
        g_workloadEventHold = 3;

        track();

        EXPECT_EQ(exitCount, 2);
        EXPECT_EQ(g_workloadEventHold, 3);
    }
}

TEST(TrackerGate, UsesTheLimitThatItIsGiven)
{
    arrange();
    cpuPL1 = 17000;

    averagePowerTracker(1, 1000, 0, false);
    EXPECT_EQ(avgCnt, 3);

    averagePowerTracker(1, 1001, 0, false);
    EXPECT_EQ(avgCnt, 4);
}

TEST(TrackerSteady, NearTheAverageOrTheStepBefore)
{
    struct Row {
        int NewPIDAvgPwr;  // 30% of it, truncated
        int pkgPowerPrev;  // 20% of it, truncated
        int pkgPower;
        bool steady;
    };

    const Row rows[] = {
        // 700..1300 around the average, 4000..6000 around the step before, and all between
        { 1000, 5000, 699, false },
        { 1000, 5000, 700, true },
        { 1000, 5000, 3000, true },
        { 1000, 5000, 6000, true },
        { 1000, 5000, 6001, false },
        // 3500..6500 and 800..1200
        { 5000, 1000, 799, false },
        { 5000, 1000, 800, true },
        { 5000, 1000, 6500, true },
        { 5000, 1000, 6501, false },
        // 3 x 1009 / 10 is 302: 707..1311
        { 1009, 5000, 706, false },
        { 1009, 5000, 707, true },
        { 1009, 500, 1311, true },
        { 1009, 500, 1312, false },
        // 1009 / 5 is 201: 808..1210
        { 1300, 1009, 807, false },
        { 1300, 1009, 808, true },
        { 900, 1009, 1210, true },
        { 900, 1009, 1211, false },
        // a step before that fits in no int with its band
        { 1000, INT_MAX, 16999, true },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.NewPIDAvgPwr) + " " + std::to_string(row.pkgPowerPrev) + " " +
                     std::to_string(row.pkgPower));
        arrange();
        NewPIDAvgPwr = row.NewPIDAvgPwr;
        pkgPowerPrev = row.pkgPowerPrev;
        pkgPower = row.pkgPower;

        track();

        EXPECT_EQ(avgWindowMin, row.steady ? 5 : 3);
        EXPECT_EQ(avgN, row.steady ? 4 : 1);
    }
}

TEST(TrackerSteady, TinyPowerAlwaysIs)
{
    struct Row {
        int pkgPower;
        int pkgPowerPrev;
        bool steady;
    };

    const Row rows[] = {
        { 200, 9000, true }, { 201, 9000, false }, { 16999, 300, true }, { 16999, 301, false }, { 16999, -1, true },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.pkgPower);
        arrange();
        NewPIDAvgPwr = 5000;
        pkgPower = row.pkgPower;
        pkgPowerPrev = row.pkgPowerPrev;

        track();

        EXPECT_EQ(avgN, row.steady ? 4 : 1);
    }
}

TEST(TrackerReset, UnsteadyPowerStartsAfreshWithATenthMore)
{
    arrange();
    pkgPower = 3019;

    track();

    EXPECT_EQ(average(), (Average{ 3, 3320, 3320, 1, 1 }));
}

TEST(TrackerReset, EndOfClippingStartsAfreshAlsoWhenPowerIsSteady)
{
    arrange();

    track(true);

    EXPECT_EQ(average(), (Average{ 3, 1100, 1100, 1, 1 }));
}

TEST(TrackerReset, EndOfClippingStartsAfreshAtTinyPower)
{
    arrange();
    pkgPower = 60;

    track(true);

    EXPECT_EQ(average(), (Average{ 3, 66, 66, 1, 1 }));
}

TEST(TrackerWindow, SteadyPowerIsOnlySummedUntilTheWindowIsFull)
{
    arrange();

    track();

    EXPECT_EQ(average(), (Average{ 5, 1000, 4000, 4, 4 }));
}

TEST(TrackerWindow, FullWindowAveragesAndAddsATenth)
{
    arrange();
    avgSum = 4200;
    avgN = 4;
    avgCnt = 4;

    track();

    // 5200 / 5 and a tenth; sum and divisor are kept
    EXPECT_EQ(average(), (Average{ 6, 1144, 5200, 5, 1 }));
}

TEST(TrackerWindow, AverageIsTruncatedBeforeItsTenthIsAdded)
{
    arrange();
    avgSum = 4098;
    avgN = 4;
    avgCnt = 4;

    track();

    // 5098 / 5 is 1019, its tenth 101
    EXPECT_EQ(NewPIDAvgPwr, 1120);
}

TEST(TrackerWindow, IsTwoHundredSamplesLongerInActiveIdle)
{
    arrange();
    activeIdle = 1;
    avgCnt = 203;
    track();
    EXPECT_EQ(average(), (Average{ 5, 1000, 4000, 4, 204 }));

    arrange();
    activeIdle = 1;
    avgCnt = 204;
    track();
    EXPECT_EQ(average(), (Average{ 6, 1100, 4000, 4, 1 }));
}

TEST(TrackerWindow, WindowFullByMoreThanOneAveragesToo)
{
    arrange();
    avgCnt = 50;

    track();

    EXPECT_EQ(average(), (Average{ 6, 1100, 4000, 4, 1 }));
}

TEST(TrackerWindow, DivisorLimitRestartsFromTheNewAverage)
{
    arrange();
    avgSampleLimit = 5;
    avgCnt = 4;
    track();
    EXPECT_EQ(average(), (Average{ 6, 1100, 4000, 4, 1 }));  // 4 samples are below the limit

    arrange();
    avgSampleLimit = 4;
    avgCnt = 4;
    track();
    EXPECT_EQ(average(), (Average{ 6, 1100, 1100, 1, 1 }));

    arrange();
    avgSampleLimit = 3;
    avgCnt = 4;
    track();
    EXPECT_EQ(average(), (Average{ 6, 1100, 1100, 1, 1 }));
}

TEST(TrackerWindow, ShortWindowRestartsFromTheSample)
{
    for (const int limit : { 100, 4, 1 }) {
        SCOPED_TRACE(limit);
        arrange();
        avgWindowMin = 3;
        avgSum = 3400;
        avgSampleLimit = limit;

        track();

        // 4400 / 4 and a tenth; the next sum begins with the 1000 of this sample
        EXPECT_EQ(average(), (Average{ 6, 1210, 1000, 1, 1 }));
    }
}

TEST(TrackerWindow, WindowOfFourCountsAsALongOne)
{
    arrange();
    avgWindowMin = 4;
    track();
    EXPECT_EQ(average(), (Average{ 6, 1100, 4000, 4, 1 }));

    arrange();
    avgWindowMin = 4;
    avgSampleLimit = 4;
    track();
    EXPECT_EQ(average(), (Average{ 6, 1100, 1100, 1, 1 }));
}

TEST(TrackerWindow, ThirdSampleAfterAResetAverages)
{
    arrange();
    track(true);  // sum 1100, one sample

    track();
    EXPECT_EQ(average(), (Average{ 3, 1100, 2100, 2, 2 }));

    track();
    EXPECT_EQ(average(), (Average{ 6, 1136, 1000, 1, 1 }));  // 3100 / 3 is 1033, its tenth 103
}

}  // namespace
}  // namespace kelvane::tests
