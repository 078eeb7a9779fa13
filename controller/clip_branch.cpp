// PIDx- -1: the processor was clipped, so it gets full or half performance, by how much power it draws.
#include "controller/actuators.h"
#include "controller/branches.h"
#include "controller/burst.h"
#include "diagnostics/diagnostic_log.h"
#include "state/state.h"

#include <windows.h>

namespace kelvane {

namespace {

constexpr int halfPreference = 5000;
constexpr std::uint32_t clipPauseMs = 2000;
constexpr BySource clipFullMw = { 6500, 7500 };  // a clip above: full performance, else half

// The process start is taken as the cause of the clipping: wait for it to settle.
void waitForProcessStart(LoopState& loop)
{
    loop.PostPID = 1;
    PID_Change = 0;
    exitCount = 0;
    NewPID = 0;
    loop.restorePending = 0;
    logLine(logInfo, " ******** PIDx- -1 Clip error PrefMax ==", fullPreference);
    Sleep(clipPauseMs);
}

void stepUpPreference(LoopState& loop, int candidate)
{
    setPerfmax(candidate);
    logLine(logInfo, " ****** PIDx- -1 Clip error Step Up Pref ==", candidate);
    if (candidate >= fullPreference && loop.restorePending == 0 && !onMains()) {
        resetMaxPerf(loop, maxPerfResetOnClip);
        PerfRange = loop.floor + 2000;
    }
}

}  // namespace

void onClip(LoopState& loop)
{
    clipPending = 0;
    const int candidate = pkgPower > bySource(clipFullMw) ? fullPreference : halfPreference;
    PerfRange = loop.floor + 3000;
    if (PID_Change != 0) {
        waitForProcessStart(loop);
    } else {
        stepUpPreference(loop, candidate);
    }
    pkgPowerPrev = pkgPower;
    prevClipCount = loop.clipCount;
    leastRangeCount = 0;
    loop.prefMax = candidate;
}

}  // namespace kelvane
