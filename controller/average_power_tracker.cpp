// Averages steady power over a window, in milliwatts plus 10%, and counts the burst and workload-change steps down.
#include "controller/average_power_tracker.h"

#include "controller/state.h"
#include "state/state.h"

namespace kelvane {

namespace {

constexpr int trackedFromMw = 51;
constexpr int tinyPowerMw = 201;
constexpr int tinyPrevPowerMw = 301;
constexpr int idleWindow = 200;  // further samples while in Active Idle

constexpr int windowAfterReset = 3;
constexpr int windowAfterAverage = 6;
constexpr int windowThatAverages = 4;

int plusTenth(int power) { return power + power / 10; }

void resetAverage(int p)
{
    avgWindowMin = windowAfterReset;
    NewPIDAvgPwr = plusTenth(p);
    avgSum = NewPIDAvgPwr;
    avgN = 1;
    avgCnt = 1;
}

bool isSteady(int p)
{
    const std::int64_t average = NewPIDAvgPwr;
    const std::int64_t previous = pkgPowerPrev;
    const std::int64_t band1 = 3 * average / 10;
    const std::int64_t band2 = previous / 5;
    const bool notBelow = p >= average - band1 || p >= previous - band2;
    const bool notAbove = p <= average + band1 || p <= previous + band2;
    return (notBelow && notAbove) || p < tinyPowerMw || previous < tinyPrevPowerMw;
}

void averageWhenWindowIsFull(int p)
{
    const int window = activeIdle != 0 ? avgWindowMin + idleWindow : avgWindowMin;
    if (avgCnt < window) return;
    NewPIDAvgPwr = plusTenth(avgSum / avgN);
    if (avgWindowMin < windowThatAverages || avgN >= avgSampleLimit) {
        avgSum = avgWindowMin >= windowThatAverages ? NewPIDAvgPwr : p;
        avgN = 1;
    }
    avgWindowMin = windowAfterAverage;
    avgCnt = 1;
}

void countBurstDown(int p)
{
    if (exitCount == 1) {
        if (NewPID == 1 || p >= tinyPowerMw) resetAverage(p);
        NewPID = 2;
        exitCount = -1;
    } else if (exitCount > 1) {
        exitCount -= 1;
    } else if (NewPID == 1) {
        NewPID = 0;
    }
}

void countWorkloadChangeDown(int p)
{
    const int workload = g_workload;
    if (g_workloadEventHold > 1) {
        g_workloadEventHold -= 1;
    } else if (g_workloadEventHold == 1 && NewPID != 1 && prevWorkload != workload) {
        resetAverage(p);
        g_workloadEventPending = 0;
        g_workloadEventHold = -1;
        prevWorkload = workload;
    }
}

}  // namespace

void averagePowerTracker(std::uint32_t /*acMode*/, int cpuPL1, int restorePending, bool clipCleared)
{
    if (pkgPower < trackedFromMw || pkgPower >= cpuPL1 || PID_Change != 0) return;
    const int p = pkgPower;
    avgCnt += 1;
    avgN += 1;
    avgSum += p;
    if (isSteady(p) && !clipCleared) {
        averageWhenWindowIsFull(p);
    } else {
        resetAverage(p);
    }
    if (restorePending != 1 && NewPID != 1 && g_workloadEventPending != 1) return;
    countBurstDown(p);
    countWorkloadChangeDown(p);
}

}  // namespace kelvane
