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

// The pause of a burst that prolongs another.
constexpr std::uint32_t pauseMs = 1000;
constexpr std::uint32_t pauseMsAfterSmallRise = 500;
constexpr std::uint32_t pauseMsAtLightPower = 2000;  // also of a burst that begins afresh
constexpr int steepRiseMw = 5000;

enum class Rise { full, twoFifths, fifth, tenth, small };

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

void raiseWithinLeastRange(LoopState& loop)
{
    if (countUnchanged(loop, upStep)) return;
    leastRangeCount = 0;
    if (loop.prefMax < loop.floor) loop.prefMax = loop.floor + 100;
}

// How large the rise is against Xf, the fifth of the power before.
Rise classifyRise(const LoopState& loop)
{
    const bool afterBurst = loop.PostPID == 1 && loop.prefMax < fullPreference;
    if (pkgPower > pwrCeiling || loop.DeltaPkgpwr > steepRiseMw || afterBurst) return Rise::full;
    if (loop.DeltaPkgpwr >= std::int64_t{ 2 } * loop.Xf) return Rise::twoFifths;
    if (loop.DeltaPkgpwr >= loop.Xf) return Rise::fifth;
    if (loop.DeltaPkgpwr >= loop.Xf / 2) return Rise::tenth;
    return Rise::small;
}

void raiseCeiling(LoopState& loop, Rise rise)
{
    switch (rise) {
    case Rise::full: loop.prefMax = fullPreference; break;
    case Rise::twoFifths: loop.prefMax += loop.DeltaPkgpwr < 1000 && pkgPower < 4000 ? 1000 : 1500; break;
    case Rise::fifth: loop.prefMax += 400; break;
    case Rise::tenth: loop.prefMax += 200; break;
    case Rise::small: raiseWithinLeastRange(loop); break;
    }
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

std::uint32_t pauseOfBurst(const LoopState& loop, Rise rise)
{
    if (loop.restorePending == 0 || pkgPower < lightPowerMw) return pauseMsAtLightPower;
    return rise == Rise::small ? pauseMsAfterSmallRise : pauseMs;
}

// Deliberate: unlike in the Down branch, the power source does not count here.
void beginBurst(LoopState& loop, Rise rise)
{
    startBurst(loop, pkgPower < lightPowerMw ? 2 : 3);
    Sleep(pauseOfBurst(loop, rise));
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
    const Rise rise = classifyRise(loop);
    raiseCeiling(loop, rise);
    capAboveTier(loop);
    if (PID_Change != 0) {
        beginBurst(loop, rise);
    } else {
        writeRaised(loop);
    }
    pkgPowerPrev = pkgPower;
    prevClipCount = loop.clipCount;
    if (loop.incnttype == unchanged) logUnchanged(loop);
}

}  // namespace kelvane
