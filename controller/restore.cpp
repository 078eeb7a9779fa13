// Perf Restore: when it is due, when it waits for power to settle, and how far down it goes.
#include "controller/restore.h"

#include "diagnostics/diagnostic_log.h"
#include "state/state.h"

#include <algorithm>

namespace kelvane {

namespace {

constexpr int burstOver = 2;  // NewPID
constexpr int smallTarget = 4000;
constexpr int leastExcess = 501;  // of prefMax over PerfRange; less is left alone

// Down from above `abovePrefMax` in larger steps than from below; `lowFloor` gives one more.
struct RestoreBand {
    int abovePrefMax;
    int lowFloor;
    int step;
};

constexpr RestoreBand restoreBands[] = {
    { highPrefMax, 2000, 500 },
    { lowPrefMax, 1000, 250 },
};

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

// PerfRange and some room above it: a step for a low floor, and more steps on mains while that is little.
int restoreTarget(const RestoreBand& band, int floor)
{
    int t = PerfRange;
    if (floor < band.lowFloor) t += band.step;
    if (t < smallTarget) t += (acFactor() + 1) * band.step;
    return t;
}

// Never upwards.
int restoredCeiling(const LoopState& loop)
{
    const int prefMax = loop.prefMax;
    if (prefMax <= PerfRange) return prefMax;
    for (const RestoreBand& band : restoreBands) {
        if (prefMax > band.abovePrefMax) return std::min(prefMax, restoreTarget(band, loop.floor));
    }
    return prefMax - PerfRange >= leastExcess ? PerfRange : prefMax;
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
    const bool delayed = pkgPower > restoreLevel() && NewPID == burstOver;
    if (delayed) logLine(logInfo, " ** delayed Restore ==");
    if (loop.restorePending > 0 && NewPID == burstOver && PID_Change == 0 && !delayed && Kv_opt != 0) {
        restorePerformance(loop);
    } else {
        perfRestored = 0;
    }
}

}  // namespace kelvane
