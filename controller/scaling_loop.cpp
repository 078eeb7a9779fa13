// Start-up, steps, end.
//
//   start-up -> step -> step -> ... -> service stops: end of service, limits and session left as they are
//                  \-> scaling stops: stop path, default preference, limits restored, session closed
#include "controller/scaling_loop.h"

#include "controller/actuators.h"
#include "controller/control_step.h"
#include "diagnostics/diagnostic_log.h"
#include "framework/core_library.h"
#include "framework/events.h"
#include "framework/primitives.h"
#include "framework/session.h"
#include "framework/status.h"
#include "state/state.h"

namespace kelvane {

namespace {

constexpr int initialPowerReads = 5;
constexpr int maxConnectAttempts = 1;
constexpr std::uint32_t loopResult = 0xFFFFFFFF;

// A process start meanwhile may store another status: the result itself decides.
bool initializeFramework()
{
    g_orqStatus = TOVA_OK;
    const int status = Init();
    g_orqStatus = status;
    logLine(logDebug, "KV scaling is started : ");
    if (status == TOVA_OK) return true;
    logLine(logDebug, " KV Start MS/CS is initializing the ORQ, Scaling is stopped ");
    return false;
}

bool createSession()
{
    g_sessionOpen = 0;
    const SessionHandle session = SessionCreate(applicationRecord());
    if (session == noSession) return false;
    g_sessionHandle = session;
    return true;
}

// The count of retries is never reset, so there is one attempt in each run; without a connection the loop runs all the
// same.
bool connectSession()
{
    while (SessionConnect(g_sessionHandle) != TOVA_OK) {
        sessionRetry += 1;
        if (sessionRetry >= maxConnectAttempts) return false;
    }
    g_sessionOpen = 1;
    return true;
}

void readInitialPower()
{
    for (int read = 0; read < initialPowerReads; ++read) pkgPower = toMilliwatts(getRaplPower(g_sessionHandle));
    if (pkgPower == -1) {
        logLine(logError, "OrqCore pkgPower SessionExecute failed");
    } else {
        logLine(logInfo, "pkg power data is : ", pkgPower);
    }
}

void followEvents()
{
    const int status = registerEvents(g_sessionHandle);
    g_orqStatus = status;
    if (status != TOVA_OK) {
        logLine(logError, "OrqCore workload classification SessionExecute failed");
    } else {
        logLine(logInfo, "workload classification is success : ");
    }
}

// Deliberate: the limit is written twice in a row.
void writeStartLimits()
{
    setPL1(startPL1Mw);
    cpuPL1 = defaultPL1Mw;
    pl1ResetLevel = defaultPL1Mw;
    setPL1(defaultPL1Mw);
}

bool startScaling()
{
    if (!initializeFramework() || !createSession()) return false;
    if (connectSession()) readInitialPower();
    followEvents();
    writeStartLimits();
    readPowerSource();
    setPerfmax(defaultPreference);
    logLine(logInfo, " ** Default Init Pref ==", defaultPreference);
    return true;
}

bool stopRequested()
{
    return g_engineState != engineRunning && g_sessionHandle != noSession && g_stopEnabled != 0 &&
           g_loopStopEnabled != 0;
}

// g_engineState stays as the request left it.
std::uint32_t runStopPath()
{
    g_stopDone = 0;
    {
        const std::lock_guard stopLock(g_loopStopLock());
        g_serviceStopping = 0;
        setPerfmax(defaultPreference);
        resetPL1Level();
        UnregisterEvents(g_sessionHandle);
        SessionDisconnect(g_sessionHandle);
        SessionDestroy(g_sessionHandle);
        g_sessionHandle = noSession;
        logLine(logDebug, "Stop is called from the registry ");
    }
    g_stopDone = 1;
    return loopResult;
}

// Deliberate: neither resets the preference nor closes the session.
std::uint32_t endOfService()
{
    logLine(logDebug, "KV Windows service is stopped ");
    g_engineState = engineRunning;
    return loopResult;
}

}  // namespace

std::uint32_t scalingLoop()
{
    if (!startScaling()) return loopResult;
    LoopState loop;
    while (g_serviceStopping != 1) {
        if (stopRequested()) return runStopPath();
        controlStep(loop);
    }
    return endOfService();
}

}  // namespace kelvane
