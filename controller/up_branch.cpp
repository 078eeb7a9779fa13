// PIDx- 2: the larger the rise in power against its fifth, the further the ceiling goes up; small powers need more.
//
// Order: rise -> raised ceiling -> cap above the tier -> burst or write.
#include "controller/actuators.h"
#include "controller/branches.h"
#include "controller/burst.h"
#include "diagnostics/diagnostic_log.h"
#include "state/state.h"

#include <windows.h>

namespace kelvane {

namespace {

constexpr std::uint32_t pauseMs = 1000;
constexpr std::uint32_t pauseMsAfterLeastRange = 500;
constexpr std::uint32_t pauseMsAtLightPower = 2000;
constexpr int lightPowerMw = 5000;
constexpr int steepRiseMw = 5000;

void measureRise(LoopState& loop)
{
    loop.DeltaPkgpwr = std::int64_t{ pkgPower } - loop.prev;
    loop.Xf = loop.prev / 5;
    if (pkgPower < 500 && loop.prev < 800) {
        loop.Xf *= 5;
    } else if (pkgPower < 1000 && loop.DeltaPkgpwr < 200) {
        loop.Xf *= 3;
    } else if (pkgPower < 2000 && loop.DeltaPkgpwr < 500) {
        loop.Xf *= 2;
    }
}

void riseWithinLeastRange(LoopState& loop)
{
    if (standStill(loop, upStep)) return;
    leastRangeCount = 0;
    if (loop.prefMax < loop.floor) loop.prefMax = loop.floor + 100;
}

// Raises prefMax; returns how long a burst that begins now is to pause, in ms.
std::uint32_t raiseCeiling(LoopState& loop)
{
    const bool afterBurst = loop.PostPID == 1 && loop.prefMax < fullPreference;
    if (pkgPower > pwrCeiling || loop.DeltaPkgpwr > steepRiseMw || afterBurst) {
        loop.prefMax = fullPreference;
    } else if (loop.DeltaPkgpwr >= std::int64_t{ 2 } * loop.Xf) {
        loop.prefMax += loop.DeltaPkgpwr < 1000 && pkgPower < 4000 ? 1000 : 1500;
    } else if (loop.DeltaPkgpwr >= loop.Xf) {
        loop.prefMax += 400;
    } else if (loop.DeltaPkgpwr >= loop.Xf / 2) {
        loop.prefMax += 200;
    } else {
        riseWithinLeastRange(loop);
        return pauseMsAfterLeastRange;
    }
    return pauseMs;
}

void capAboveTier(LoopState& loop)
{
    const int upMargin = (acFactor() + 2) * 200 + (PerfRange >= 4200 ? acFactor() * 200 + 300 : 0);
    if (loop.prefMax >= fullPreference) {
        loop.prefMax = fullPreference;
    } else if (loop.prefMax > PerfRange + upMargin && exitCount < 1) {
        loop.prefMax = PerfRange;
    }
}

// Deliberate: unlike in the Down branch, the power source does not count here.
void beginBurst(LoopState& loop, std::uint32_t pauseAfter)
{
    const bool light = pkgPower < lightPowerMw;
    if (light) pauseAfter = pauseMsAtLightPower;
    startBurst(loop, light ? 2 : 3);
    Sleep(loop.restorePending != 0 ? pauseAfter : pauseMsAtLightPower);
    loop.restorePending = 1;
    logLine(logInfo, " **** PIDx- 2 PIDC Pkg power = ", pkgPower, " *Perf Max = ", loop.prefMax,
            " *DeltaPkgpwr ==: ", loop.DeltaPkgpwr, " *Xf ==: ", loop.Xf, " *exitCount = ", exitCount,
            " *prev_exitCount ==: ", loop.prev_exitCount, " *WLC ==: ", g_workload);
}

void writeRaised(LoopState& loop)
{
    loop.PostPID = 0;
    setPerfmax(loop.prefMax);
    logLine(logInfo, " **** PIDx- 2 Up   Pkg power = ", pkgPower, " *Perf Max = ", loop.prefMax,
            " *DeltaPkgpwr ==: ", loop.DeltaPkgpwr, " *Xf ==: ", loop.Xf, " *NewPIDAvgPwr = ", NewPIDAvgPwr,
            " *PerfRange ==: ", PerfRange, " *WLC ==: ", g_workload);
    if (loop.prefMax >= fullPreference && loop.restorePending == 0) resetMaxPerf(loop, maxPerfResetOnUp);
}

}  // namespace

void onPowerUp(LoopState& loop)
{
    clipPending = 0;
    measureRise(loop);
    const std::uint32_t pauseAfter = raiseCeiling(loop);
    capAboveTier(loop);
    if (PID_Change != 0) {
        beginBurst(loop, pauseAfter);
    } else {
        writeRaised(loop);
    }
    pkgPowerPrev = pkgPower;
    prevClipCount = loop.clipCount;
    if (loop.incnttype == standsStill) logStandStill(loop);
}

}  // namespace kelvane
