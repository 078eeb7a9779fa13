// What is shared and more than a variable: the process name behind its lock, and the request to stop.
#include "state/state.h"

#include <mutex>

namespace kelvane {

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
