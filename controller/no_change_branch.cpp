// PIDx 6, and the counting of steps in which prefMax stood still.
#include "controller/branches.h"
#include "diagnostics/diagnostic_log.h"

namespace kelvane {

bool countUnchanged(LoopState& loop, int step)
{
    if (loop.prefMax != lastPrefMax) return false;
    if (leastRangeCount > leastRangeLimit) {
        loop.prefMax += step;
        leastRangeCount = 1;
    } else {
        leastRangeCount += 1;
    }
    loop.incnttype = unchanged;
    return true;
}

void logUnchanged(const LoopState& loop)
{
    logLine(logInfo, " *** PIDx 6 No change in PrefMax, within least range = ", leastRangeCount,
            " ** incnttype = ", loop.incnttype);
}

void onNoChange(LoopState& loop)
{
    const bool isUnchanged = countUnchanged(loop, leastRangeStep);
    loop.PostPID = 0;
    pkgPowerPrev = pkgPower;
    prevClipCount = loop.clipCount;
    if (isUnchanged) logUnchanged(loop);
}

}  // namespace kelvane
