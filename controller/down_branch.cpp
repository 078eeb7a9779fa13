// PIDx- 1: the larger the fall in power, the further the ceiling comes down; never far below the floor.
//
// Order: fall -> lowered ceiling -> floor snap -> reasons to keep full performance after all -> burst or write.
#include "controller/actuators.h"
#include "controller/branches.h"
#include "controller/burst.h"
#include "diagnostics/diagnostic_log.h"
#include "state/state.h"

#include <algorithm>

namespace kelvane {

namespace {

constexpr int lowFloor = 2000;

bool isHigh(const LoopState& loop) { return loop.prefMax >= highPrefMax && loop.prefMax > PerfRange; }

void measureFall(LoopState& loop)
{
    if (loop.prev == 0) {
        pkgPowerPrev = pkgPower;
        loop.prev = pkgPower;
    }
    loop.DeltaPkgpwr = perfRestored ? 0 : std::int64_t{ loop.prev } - pkgPower;
    perfRestored = 0;
}

// A fall of 30% or more: straight to the floor, or a little above it from a high ceiling. Never upwards.
int ceilingAfterLargeFall(const LoopState& loop)
{
    int ceiling = loop.floor;
    if (loop.prefMax > lowPrefMax && loop.prefMax > PerfRange) {
        const int step = loop.prefMax <= highPrefMax ? 250 : 500;
        ceiling += (loop.floor < lowFloor ? step : 0) + (acFactor() + 1) * step;
    }
    return std::min(ceiling, loop.prefMax);
}

int ceilingAfterFall20To30(const LoopState& loop)
{
    if (loop.prefMax >= fullPreference) return loop.prefMax - 4000;
    if (isHigh(loop)) return loop.prefMax - 2000;
    if (loop.prefMax > lowPrefMax && loop.prefMax > PerfRange) return loop.prefMax - 1000;
    return loop.prefMax;
}

// The bands are tested in this order, also where a tiny or negative earlier power turns them round.
int ceilingAfterFall(const LoopState& loop)
{
    const std::int64_t fall = loop.DeltaPkgpwr;
    const std::int64_t prev = loop.prev;
    if (fall < prev / 20) return fall > 0 ? loop.prefMax - 100 : loop.prefMax;
    if (fall < prev / 10) return loop.prefMax - (isHigh(loop) ? 1000 : 200);
    if (fall < prev / 5) return loop.prefMax - (isHigh(loop) ? 2000 : 400);
    if (fall < prev / 100 * 30) return ceilingAfterFall20To30(loop);
    return ceilingAfterLargeFall(loop);
}

void snapToFloor(LoopState& loop)
{
    int margin = 300;
    if (loop.floor >= 4200) {
        margin = onMains() ? 700 : 900;
    } else if (loop.floor >= 2500) {
        margin = onMains() ? 500 : 700;
    }
    if (loop.prefMax < loop.floor - margin) loop.prefMax = loop.floor;
}

void keepFullOrStepUp(LoopState& loop)
{
    if (loop.prefMax >= fullPreference || pkgPower > pwrCeiling || loop.PostPID == 1) {
        loop.prefMax = fullPreference;
    } else if (PwrPause != 0 && appliedPrefMax < lowPrefMax) {
        loop.prefMax = appliedPrefMax + 200;
        logLine(logInfo, " *** PIDx 4 WLC Change prefMax ==", loop.prefMax, " PwrPause = ", PwrPause,
                " *WLC ==: ", g_workload);
    }
    PwrPause = 0;
    loop.PostPID = 0;
}

void beginBurst(LoopState& loop)
{
    const bool heavy = pkgPower >= lightPowerMw && pkgPower >= cpuPL1 / 2 && onMains();
    startBurst(loop, heavy ? 3 : 2);
    clipPending = 0;
    loop.restorePending = 1;
    logLine(logInfo, " **** PIDx- 1 PIDC Pkg power = ", pkgPower, " *exitCount = ", exitCount,
            " *prev_exitCount ==: ", loop.prev_exitCount, " *tempPerfRange = ", loop.tempPerfRange,
            " *WLC ==: ", g_workload);
}

void writeLowered(LoopState& loop)
{
    if (pkgPower > 10000 && onMains() && loop.prefMax < 6000 && appliedPrefMax == fullPreference) loop.prefMax = 8000;
    setPerfmax(loop.prefMax);
    logLine(logInfo, " **** PIDx- 1 Down Pkg power = ", pkgPower, " *Perf Max = ", loop.prefMax,
            " *DeltaPkgpwr = ", loop.DeltaPkgpwr, " *PerfRange ==: ", PerfRange,
            " *tempPerfRange = ", loop.tempPerfRange, " PwrPause = ", PwrPause, " *WLC ==: ", g_workload);
    if (loop.prefMax >= fullPreference && loop.restorePending == 0) resetMaxPerf(loop, maxPerfResetOnDown);
}

}  // namespace

void onPowerDown(LoopState& loop)
{
    clipPending = 0;
    measureFall(loop);
    loop.prefMax = ceilingAfterFall(loop);
    snapToFloor(loop);
    keepFullOrStepUp(loop);
    if (PID_Change != 0) {
        beginBurst(loop);
    } else {
        writeLowered(loop);
    }
    pkgPowerPrev = pkgPower;
    prevClipCount = 0;
}

}  // namespace kelvane
