// The ceiling, the floor and PL1, with what is logged when a write fails.
#include "controller/actuators.h"

#include "controller/state.h"
#include "diagnostics/diagnostic_log.h"
#include "framework/primitives.h"
#include "state/state.h"

#include <algorithm>

namespace kelvane {

namespace {

constexpr int negativePreference = 2000;  // written in place of a negative value

int writablePreference(int value) { return value < 0 ? negativePreference : std::min(value, fullPreference); }

// Entry into standby makes failures expected, so none is reported from then on.
void reportFailure(int result)
{
    if (result == -1 && g_reportPerfFailures != 0) {
        logLine(logInfo, "OrqCore setPerfmax SessionExecute failed : first 2 times expeted in MS/startup");
    }
}

void writeCeiling(int value)
{
    if (kv_off_f == 0) kv_off_f = 1;
    const int applied = appliedPrefMax;
    if (applied != fullPreference && value >= fullPreference) PrevPerf = applied;
    const int w = writablePreference(value);
    if (w != appliedPrefMax) reportFailure(setPerfPreferenceMax(g_sessionHandle, static_cast<unsigned>(w)));
    appliedPrefMax = w;
    clipPending = 0;
    if (minPrefReset != 0) reportFailure(setPerfPreferenceMin(g_sessionHandle, 0));
    minPrefReset = clipPending.load();
}

void switchOff()
{
    if (kv_off_f != 0 && appliedPrefMax != fullPreference) {
        setPerfPreferenceMax(g_sessionHandle, fullPreference);
        appliedPrefMax = fullPreference;
        clipPending = 0;
        setPerfPreferenceMin(g_sessionHandle, 0);
    }
    kv_off_f = 0;
}

}  // namespace

void setPerfmax(int value)
{
    if (Kv_opt != 0) {
        writeCeiling(value);
    } else {
        switchOff();
    }
}

void setPL1(unsigned milliwatts)
{
    if (setRaplPowerLimit1(g_sessionHandle, milliwatts) != -1) {
        logLine(logInfo, " **** Current CPU PL1 == : ", cpuPL1);
    } else {
        logLine(logError, "OrqCore CpuPowerLimit1 SessionExecute failed");
    }
}

void resetPL1Level()
{
    const SessionHandle session = g_sessionHandle;
    if (session == noSession) return;
    setPerfPreferenceMin(session, 0);
    setPerfPreferenceMax(session, fullPreference);
    setRaplPowerLimit1(session, static_cast<unsigned>(pl1ResetLevel));
    logLine(logInfo, "PL1 level reset : ", pl1ResetLevel);
}

}  // namespace kelvane
