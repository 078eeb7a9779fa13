// The engine's flags with their start values.
#include "engine/state.h"

#include <mutex>

namespace kelvane {

std::atomic<int> g_engineState = engineRunning;
std::atomic<std::uint8_t> g_serviceStopping = 0;
std::atomic<std::uint8_t> g_engineStarted = 0;
std::atomic<std::uint8_t> g_startReentered = 0;
std::atomic<std::uint8_t> g_wmiConnected = 0;
std::atomic<std::uint8_t> g_wmiQueryIssued = 0;

std::atomic<int> g_trackedProcessSeen = 0;
std::array<std::atomic<int>, trackedProcessCapacity> g_trackedProcessIds = {};
std::atomic<int> g_trackedProcessIdCount = 0;

std::atomic<std::uint8_t> g_reportPerfFailures = 1;
std::atomic<std::uint8_t> g_loopStopEnabled = 1;

namespace {

// A string cannot be assigned and read at once like the plain flags. Never destroyed: WMI's threads outlive main.
struct GuardedName {
    std::mutex lock;  // nothing is called while it is held
    std::string text;
};

GuardedName& g_processName()
{
    static auto& name = *new GuardedName;
    return name;
}

}  // namespace

void setProcessName(const std::string& name)
{
    const std::lock_guard hold(g_processName().lock);
    g_processName().text = name;
}

std::string processName()
{
    const std::lock_guard hold(g_processName().lock);
    return g_processName().text;
}

void clearProcessName()
{
    const std::lock_guard hold(g_processName().lock);
    g_processName().text.clear();
}

int requestEngineStop(bool serviceStopping)
{
    g_engineState = 0;
    g_serviceStopping = serviceStopping ? 1 : 0;
    return 0;
}

}  // namespace kelvane
