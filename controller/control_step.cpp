// The phases of a control step, in the order in which they run.
#include "controller/control_step.h"

#include "controller/actuators.h"
#include "controller/average_power_tracker.h"
#include "controller/branches.h"
#include "controller/power_ramp_probe.h"
#include "controller/process_watch_stop.h"
#include "controller/restore.h"
#include "controller/tiers.h"
#include "controller/workload.h"
#include "diagnostics/diagnostic_log.h"
#include "framework/primitives.h"
#include "state/state.h"

#include <windows.h>

#include <algorithm>
#include <limits>

namespace kelvane {

namespace {

constexpr int heavyWorkload = 4;
constexpr int highPowerMw = 6000;  // from here on the ceiling follows power more closely
constexpr int batteryPreferenceCut = 200;
constexpr int leastRangeRepeats = 5;
constexpr BySource ceilingBelowPL1Mw = { 2000, 1000 };

constexpr std::uint32_t idlePauseMs = 5000;
constexpr std::uint32_t firstIdlePauseMs = 2000;  // more, while the process watcher is stopped
constexpr int idleExitStep = 500;
constexpr BySource idleEntryPrevMw = { 1500, 1700 };  // the step before must be below
constexpr int restoreRiseMw = 500;  // a new reading more than this above the step's power takes its place
constexpr BySource pidOnTestMw = { 1600, 1800 };

// Statistics of a loop that may spin for days: they stop at their ends instead of overflowing.
int saturatedSum(int sum, int term)
{
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(std::clamp<std::int64_t>(std::int64_t{ sum } + term, Limits::min(), Limits::max()));
}

void stopProcessWatchOnce()
{
    if (activeIdleCount != 1 || pidOnTestState != 0) return;
    pidOnTestState = 1;
    if (g_wmiConnected == 1 && g_wmiQueryIssued == 1) stopProcessWatch(0);
    Sleep(firstIdlePauseMs);
    pidOnTestState = 2;
}

void enterActiveIdle(LoopState& loop)
{
    logLine(logInfo, " *** PIDx 5 Active Idle PerfRange = ", PerfRange, "  prefMax=  ", loop.prefMax,
            "  pkgPower=  ", pkgPower);
    loop.prefMax = defaultPreference;
    setPerfmax(defaultPreference);
    pkgPowerPrev = pkgPower;
    activeIdleCount += 1;
    prevClipCount = loop.clipCount;
    NewPID = 0;
    activeIdle = 1;
    loop.restorePending = 0;
    stopProcessWatchOnce();
    Sleep(idlePauseMs);
    loop.probeSleep = probeSleepMs;
}

void leaveActiveIdle(LoopState& loop)
{
    loop.prefMax += idleExitStep;
    setPerfmax(loop.prefMax);
    activeIdle = 0;
    loop.probeSleep = probeSleepMsAfterWake;
}

void forgetTrackedProcess()
{
    if (g_trackedProcessSeen != 0) g_trackedProcessSeen = 0;
}

// PIDx 3: the process start came to nothing, so the ceiling goes back to where it was before it.
void restoreAfterProcessStart(LoopState& loop)
{
    loop.prefMax = std::max({ PerfRange, PrevPerf.load(), loop.floor });
    const int reading = toMilliwatts(getRaplPower(g_sessionHandle));
    if (reading > std::int64_t{ pkgPower } + restoreRiseMw) pkgPower = reading;
    perfRestored = 1;
    logLine(logInfo, " * PIDx 3 PID Restored ** PerfRange =", PerfRange, " ** prefMax =", loop.prefMax);
}

}  // namespace

void controlStep(LoopState& loop)
{
    readPowerSource();
    readWorkloadClassification();
    measure(loop);
    countStep(loop);
    if (stepThroughActiveIdle(loop)) return;
    leavePidOnTest();
    selectTier(loop);
    applyPowerCeiling(loop);
    resetOnWorkloadChange(loop);
    decideRestore(loop);
    logStatus(loop);
    noteModeChange();
    handleProcessStart(loop);
    clearStepInputs();
    preparePowers(loop);
    switch (chooseBranch(loop)) {
    case Branch::clip: onClip(loop); break;
    case Branch::noChange: onNoChange(loop); break;
    case Branch::up: onPowerUp(loop); break;
    case Branch::down: onPowerDown(loop); break;
    }
}

void readPowerSource()
{
    SYSTEM_POWER_STATUS status{};
    if (GetSystemPowerStatus(&status)) acMode = status.ACLineStatus;
}

void measure(LoopState& loop)
{
    loop.clipCount = powerRampProbe(acMode, loop.prefMax, static_cast<std::uint32_t>(cpuPL1), loop.probeSleep);
    const bool clipCleared = prevClipCount != 0 && loop.clipCount == 0;
    averagePowerTracker(acMode, cpuPL1, loop.restorePending, clipCleared);
}

void countStep(LoopState& loop)
{
    pwrCeiling = cpuPL1 - bySource(ceilingBelowPL1Mw);
    if (onMains() && g_workload != heavyWorkload && pkgPower > cpuPL1 / 2) PerfRange += 1000;
    clipSum = saturatedSum(clipSum, loop.clipCount);
    pwrSum += pkgPower;
    avgCount = saturatedSum(avgCount, 1);
    prefSum += loop.prefMax;
    lastPrefMax = loop.prefMax;
    loop.probeSleep = probeSleepMs;
}

bool stepThroughActiveIdle(LoopState& loop)
{
    if (PID_Change != 0) return false;
    if (loop.PostPID == 0 && pkgPower <= bySource(idleEntryMw) && pkgPowerPrev < bySource(idleEntryPrevMw)) {
        enterActiveIdle(loop);
        return true;
    }
    if (!activeIdle) return false;
    logLine(logInfo, " *** PIDx 5 Active Idle exit PerfRange = ", PerfRange, "  prefMax=  ", loop.prefMax,
            "  pkgPower=  ", pkgPower);
    leaveActiveIdle(loop);
    return true;
}

void leavePidOnTest()
{
    if (pidOnTestState != 2 || pkgPower <= bySource(pidOnTestMw)) return;
    pidOnTestState = 0;
    logLine(logInfo, " ** PIDx 5 PID ON test ");
}

void selectTier(LoopState& loop)
{
    loop.prefMax = appliedPrefMax;
    activeIdleCount = 0;
    leastRangeLimit = leastRangeRepeats;
    loop.tempPerfRange = PerfRange - (onMains() ? 0 : batteryPreferenceCut);
    const Tier& tier = findTier(pkgPower, cpuPL1);
    PerfRange = tier.PerfRange;
    leastRangeStep = tier.leastRangeStep;
    pwrDeltaThreshold = tier.pwrDeltaThresholdMw;
    upStep = tier.upStep;
    if (g_workload == heavyWorkload) PerfRange = std::max(PerfRange, loop.tempPerfRange);
    if (PerfRange > 1200 && !onMains()) PerfRange -= PerfRange / 10;
    logLine(logInfo, " **** New pkgPower ==", pkgPower, " prefMax = ", loop.prefMax, " PerfRange = ", PerfRange,
            " tempPerfRange = ", loop.tempPerfRange, " g_workload = ", g_workload);
}

void applyPowerCeiling(LoopState& loop)
{
    if (pkgPower > pwrCeiling) {
        if (loop.tempPerfRange < 2000) loop.tempPerfRange += 1000;
        PerfRange = loop.tempPerfRange + 3000;
        loop.prefMax = PerfRange;
    } else if (pkgPower > NewPIDAvgPwr && pkgPower > highPowerMw) {
        loop.prefMax = std::max(loop.prefMax, PerfRange);
        logLine(logInfo, " *** PIDx 7 NewPIDAvgPwr ==", NewPIDAvgPwr, " pkgPower = ", pkgPower,
                " prefMax = ", loop.prefMax);
    }
}

void resetOnWorkloadChange(LoopState& loop)
{
    if (g_workloadEventSeen != 0 && loop.prefMax < PerfRange && pkgPower > highPowerMw) {
        loop.prefMax = loop.tempPerfRange;
        logLine(logInfo, " *** PIDx 3 reset WLC Change prefMax ==", loop.prefMax, " pkgPower = ", pkgPower,
                " *WLC ==: ", g_workload);
    }
    g_workloadEventSeen = 0;
    PerfRange = std::min(PerfRange, fullPreference);
    loop.floor = std::min(PerfRange, loop.tempPerfRange);
    loop.tempPerfRange = loop.floor;
}

void logStatus(const LoopState& loop)
{
    logLine(logInfo, " * Kv_opt ==", Kv_opt, " ** PID_Change ==: ", PID_Change, " ** g_powerSlider =: ", g_powerSlider,
            " ** exitCount =: ", exitCount);
    const std::int64_t avgPwr = pwrSum / avgCount;  // never by 0: this step was counted
    logLine(logInfo, " ** NewPID = ", NewPID, " ** AC Mode = ", acMode, " ** PostPID = ", loop.PostPID,
            " ** Clip Count ==", loop.clipCount, " ** Avg Pwr==", avgPwr);
}

void noteModeChange()
{
    if ((Kv_opt == 0) != (kv_off_f != 0)) return;
    pwrSum = 0;
    prefSum = 0;
    avgCount = 0;
    logLine(logInfo, " *** Mode change avg pwr reset kv_opt = ", Kv_opt, "kv_off_f = ", kv_off_f);
}

void handleProcessStart(LoopState& loop)
{
    if (PID_Change == 0) return;
    logLine(logInfo, " **** PIDx- 0 PIC *Pkg power = ", pkgPower, " *Perf Max = ", loop.prefMax,
            " *pkgPowerPrev = ", pkgPowerPrev, " *pName = ", processName, " *WLC ==: ", g_workload,
            " *noOfPids ==: ", noOfPids);
    if (noOfPids != 0 && (pkgPower >= std::int64_t{ pkgPowerPrev } + 1000 || pkgPower >= highPowerMw)) {
        forgetTrackedProcess();
        return;  // a branch makes a burst of it
    }
    PID_Change = 0;
    if (activeIdle) leaveActiveIdle(loop);
    if (exitCount < 1) restoreAfterProcessStart(loop);
    logLine(logInfo, " **** PID_Change reset to 0 pkgPower = ", pkgPower, " * prefMax  = ", loop.prefMax,
            " * PrevPerf = ", PrevPerf, " * PID_Change = ", PID_Change);
    if (noOfPids != 0) forgetTrackedProcess();
}

void clearStepInputs()
{
    clearProcessName();
    noOfPids = 0;
    activeIdle = 0;
    g_trackedProcessIdCount = 0;
}

void preparePowers(LoopState& loop)
{
    loop.DeltaPkgpwr = 0;
    loop.incnttype = 0;
    loop.prev = pkgPowerPrev;
}

Branch chooseBranch(const LoopState& loop)
{
    if (loop.clipCount > 0) return Branch::clip;
    if (loop.clipCount < 0) return Branch::noChange;
    const bool rose = loop.prev != 0 && pkgPower >= std::int64_t{ loop.prev } + pwrDeltaThreshold;
    if (!rose) return Branch::down;
    return pkgPower > bySource(idleEntryMw) ? Branch::up : Branch::noChange;
}

}  // namespace kelvane
