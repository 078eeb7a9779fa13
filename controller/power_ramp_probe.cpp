// The probe is the loop's clock: sample, react, sleep, ten times a step.
//
// A ramp is recognised by the running average pp: when it runs ahead of both its own last value and the last step's
// power, the ceiling is raised on the spot by how far it is ahead; when it falls back, the raise is taken back.
#include "controller/power_ramp_probe.h"

#include "controller/actuators.h"
#include "controller/state.h"
#include "diagnostics/diagnostic_log.h"
#include "framework/primitives.h"
#include "state/state.h"

#include <windows.h>

#include <algorithm>

namespace kelvane {

namespace {

constexpr int probeSamplesIdle = 2;
constexpr int pkgPowerMwMax = 50000;  // the average is capped here
constexpr unsigned clipBit = 0x400;

constexpr int rampPrefMax = 8000;  // from here on a ramp is not followed
constexpr int rampPowerMw = 501;   // below, a ramp says nothing

int rampPercent()
{
    if (pkgPower < 1000) return 50;
    if (pkgPower < 2000) return 40;
    if (pkgPower < 4000) return 30;
    return 20;
}

std::int64_t raisedBy(std::int64_t power, int percent) { return power + power * percent / 100; }

// A rise of power within one probe, and the ceiling raised for it.
struct Ramp {
    int prefMax;  // the ceiling to come back to
    int tempPwr;  // the raised one
    bool raised = false;
    int pct = rampPercent();
    std::int64_t rampHigh = raisedBy(pkgPower, pct);
    std::int64_t ppd_dash = raisedBy(pkgPower, pct - 10);
};

void raiseCeilingFor(Ramp& ramp, std::int64_t deltaloop)
{
    if (deltaloop > 6000) {
        setPerfmax(fullPreference);
    } else if (deltaloop > 3000) {
        setPerfmax(8000);
    } else if (deltaloop > 2000) {
        ramp.tempPwr += 1000;
        setPerfmax(ramp.tempPwr);
    } else if (deltaloop > 1000) {
        ramp.tempPwr += 500;
        setPerfmax(ramp.tempPwr);
    }
}

void followRamp(Ramp& ramp, int pwr, int pp, int i)
{
    if (pp > raisedBy(lastLoopAvg, ramp.pct) && pp > ramp.rampHigh) {
        const std::int64_t deltaloop = std::int64_t{ pp } - pkgPower;
        raiseCeilingFor(ramp, deltaloop);
        if (appliedPrefMax > ramp.prefMax) {
            ramp.raised = true;
            logLine(logInfo, " * Increase tempPwr ==", pwr, " * pp ==", pp, " * deltaloop ==", deltaloop,
                    " * ppd_dash ==", ramp.ppd_dash, " * i ==", i);
        }
    } else if (pp <= ramp.ppd_dash && ramp.raised) {
        ramp.tempPwr = ramp.prefMax;
        setPerfmax(ramp.prefMax);
        ramp.raised = false;
        logLine(logInfo, " * Reset tempPwr ==", pwr, " * pp ==", pp, " * prefMax ==", ramp.prefMax, " * i ==", i);
    }
}

// Deliberate: bit 1 of the sample's index decides, not a bit of the clip reasons.
bool looksForRamp(int i, int prefMax) { return (i & 2) != 0 && prefMax < rampPrefMax; }

void answerSample(Ramp& ramp, int pwr, int pp, int i, std::int64_t PL1Mw)
{
    clipPending = 0;
    if (PID_Change == 0 && pkgPower >= rampPowerMw && pwr < PL1Mw) followRamp(ramp, pwr, pp, i);
}

void answerClip()
{
    clipPending = 0;
    setPerfmax(fullPreference);
}

}  // namespace

int powerRampProbe(std::uint32_t lineStatus, int prefMax, std::uint32_t PL1Mw, std::uint32_t sleepMs)
{
    const int n = activeIdle ? probeSamplesIdle : probeSamples;
    const int idleExitMw = lineStatus != 0 ? idleEntryMw.mains : idleEntryMw.battery;
    Ramp ramp = { .prefMax = prefMax, .tempPwr = prefMax };
    int clipped = 0;
    std::int64_t sum = 0;
    int pp = 0;

    for (int i = 0; i < n; ++i) {
        const int clipReasons = getIaClipReasons(g_sessionHandle);
        const int pwr = toMilliwatts(getRaplPower(g_sessionHandle));
        if (clipReasons == -1 && g_reportPerfFailures == 1) return -1;
        sum += pwr;
        pp = static_cast<int>(sum / (i + 1));

        if (static_cast<unsigned>(clipReasons) & clipBit) {
            clipped += 1;
            answerClip();
        } else if (looksForRamp(i, prefMax)) {
            answerSample(ramp, pwr, pp, i, PL1Mw);
        }
        if (pp > idleExitMw && activeIdle) {
            sleepMs = probeSleepMsAfterWake;
            setPerfmax(PerfRange);
        }
        lastLoopAvg = pp;
        Sleep(sleepMs);
    }
    pkgPower = std::min(pp, pkgPowerMwMax);
    return clipped;
}

}  // namespace kelvane
