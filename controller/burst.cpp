// The start of a process-start burst, and the Max Perf Reset of the three branches that can write 10000.
#include "controller/burst.h"

#include "diagnostics/diagnostic_log.h"
#include "state/state.h"

namespace kelvane {

namespace {

constexpr int lightCount = 2;  // of a reset at light power, which has no line

void arrangeReset(LoopState& loop, int steps)
{
    exitCount = steps;
    loop.restorePending = 1;
}

}  // namespace

// clang-format off
const MaxPerfReset maxPerfResetOnClip = {
    " ******* Max Perf Reset set 3 ==", { 2, 2 },
    " ******* Max Perf Reset set 4 ==", { 3, 3 },
    " ******* Max Perf Reset Not set 2 ==", true,
};

const MaxPerfReset maxPerfResetOnDown = {
    " ******* Max Perf Reset set 1 exitCount ==", { 2, 2 },
    " ******* Max Perf Reset set 2 exitCount ==", { 3, 3 },
    " ******* Max Perf Reset Not done ==", false,
};

const MaxPerfReset maxPerfResetOnUp = {
    " ******* Max Perf Reset set 5 ==", { 3, 2 },
    " ******* Max Perf Reset set 6 ==", { 4, 3 },
    " ******* Max Perf Reset Not set 3 ==", true,
};

// clang-format on

void startBurst(LoopState& loop, int steps)
{
    loop.prev_exitCount = exitCount;
    PID_Change = 0;
    const bool stillCounting = loop.prev_exitCount >= 1;
    exitCount = stillCounting && steps > loop.prev_exitCount ? loop.prev_exitCount + 1 : steps;
    loop.PostPID = 1;
    NewPID = 1;
    loop.prefMax = fullPreference;
    loop.probeSleep = probeSleepMsAfterWake;
}

void resetMaxPerf(LoopState& loop, const MaxPerfReset& reset)
{
    if (pkgPower < lightPowerMw) {
        arrangeReset(loop, lightCount);
    } else if (pkgPower < cpuPL1 / 2) {
        arrangeReset(loop, bySource(reset.belowHalfCount));
        logLine(logInfo, reset.belowHalfLine, exitCount);
    } else if (pkgPower < cpuPL1) {
        arrangeReset(loop, bySource(reset.belowPL1Count));
        logLine(logInfo, reset.belowPL1Line, exitCount);
    } else if (reset.notSetShowsCount) {
        logLine(logInfo, reset.notSetLine, exitCount);
    } else {
        logLine(logInfo, reset.notSetLine);
    }
}

}  // namespace kelvane
