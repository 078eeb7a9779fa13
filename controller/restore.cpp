// Perf Restore: when it is due, when it waits for power to settle, and how far down it goes.
#include "controller/restore.h"

#include "diagnostics/diagnostic_log.h"
#include "state/state.h"

#include <algorithm>

namespace kelvane {

namespace {

constexpr int burstOver = 2;  // NewPID
constexpr int highPrefMax = 5000;
constexpr int smallTarget = 4000;

// Power above this is still rising, in mW.
std::int64_t restoreLevel()
{
    const std::int64_t previous = pkgPowerPrev;
    if (pkgPower > cpuPL1 / 2) return previous - previous / 20;
    int pct = 10;
    if (pkgPower < 2500) {
        pct = 30;
    } else if (pkgPower < 4000) {
        pct = (acFactor() + 2) * 10;
    }
    return previous + previous * pct / 100;
}

// PerfRange and some room above it: `step` for a floor below `lowFloor`, and more steps on mains while that is little.
int restoreTarget(const LoopState& loop, int lowFloor, int step)
{
    int t = PerfRange;
    if (loop.floor < lowFloor) t += step;
    if (t < smallTarget) t += (acFactor() + 1) * step;
    return t;
}

int restoredCeiling(const LoopState& loop)
{
    const int prefMax = loop.prefMax;
    if (prefMax > highPrefMax) {
        return prefMax > PerfRange ? std::min(prefMax, restoreTarget(loop, 2000, 500)) : prefMax;
    }
    if (prefMax > 2000 && prefMax > PerfRange) return std::min(prefMax, restoreTarget(loop, 1000, 250));
    return prefMax - PerfRange >= 501 ? std::min(prefMax, PerfRange) : prefMax;
}

void restorePerformance(LoopState& loop)
{
    loop.prefMax = restoredCeiling(loop);
    logLine(logInfo, " * Perf Restored ** PerfRange =", PerfRange, " ** NewPID =", NewPID,
            " ** prefMax =", loop.prefMax);
    loop.restorePending = 0;
    perfRestored = 1;
    NewPID = 0;
}

}  // namespace

void decideRestore(LoopState& loop)
{
    if (pkgPower > restoreLevel() && NewPID == burstOver) {
        loop.delayedRestore = 1;
        logLine(logInfo, " ** delayed Restore ==");
    }
    if (loop.restorePending > 0 && NewPID == burstOver && PID_Change == 0 && loop.delayedRestore == 0 && Kv_opt != 0) {
        restorePerformance(loop);
    } else {
        loop.delayedRestore = 0;
        perfRestored = 0;
    }
}

}  // namespace kelvane
