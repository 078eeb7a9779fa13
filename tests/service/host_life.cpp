// What happens in the calls of the service's host.
#include "tests/service/host_life.h"

#include "engine/engine.h"
#include "service/service_host.h"
#include "tests/service/turns.h"
#include "tests/support/call_list.h"

#include <cstdio>
#include <thread>

namespace kelvane {

int runEngine(int /*argument*/)
{
    tests::note("engine");
    return 0;
}

namespace tests {

namespace {

std::FILE* (*realOpen)(const char*, const char*);

// Only the service data file is opened for appending.
std::FILE* openFile(const char* path, const char* mode)
{
    const bool data = mode[0] == 'a';
    return data && callFails("fopen, service data") ? nullptr : realOpen(path, mode);
}

}  // namespace

HostLife::HostLife(bool driversPresent) : open(__imp_fopen, &openFile)
{
    takeFirstTurn();
    realOpen = open.real();
    if (!driversPresent) failCalls({ openAcpi });
    eventLog.notesEachCall = true;
    registry.onOpen = beginTurn;
    registry.waits.emplace_back([this] { return waitForChange(); });
    manager.onDispatch = [] { ServiceMain(0, nullptr); };
    manager.onThreadWait = [] { serviceWorker(nullptr); };
    manager.onSleep = [this](DWORD ms) { passTime(ms); };
    manager.onPoll = [this] { return poll(); };
}

void HostLife::live(FailurePlan plan)
{
    planFailures(plan);
    exitCode = runService();
}

void HostLife::passTime(DWORD ms)
{
    slept += ms;
    const std::size_t sleeps = notedOf("sleep").size();
    if (sleeps == 2 || sleeps == 6) {
        registry.value = dword(sleeps == 2 ? 2 : 0);
        settingChanged = true;
    }
    if (sleeps >= 8) serviceControlHandler(SERVICE_CONTROL_STOP);
    letWatcherRun();
}

DWORD HostLife::poll() const
{
    if (slept > patienceMs) return WAIT_OBJECT_0;
    if (callFails("WaitForSingleObject, stop")) return WAIT_FAILED;
    const bool signalled = !notedOf("set event").empty() && !callFailed("SetEvent");
    return signalled ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

DWORD HostLife::waitForChange()
{
    registry.waits.emplace_back([this] { return waitForChange(); });
    if (callFails("WaitForSingleObject, change")) return WAIT_FAILED;
    do letHostRun();
    while (!settingChanged);
    settingChanged = false;
    return WAIT_OBJECT_0;
}

std::vector<std::string> HostLife::reports() const
{
    std::vector<std::string> found = notedOf("event ");
    for (const std::string& message : file.messages()) found.push_back("data " + message);
    return found;
}

std::size_t HostLife::engineStarts(std::size_t count)
{
    const ULONGLONG end = GetTickCount64() + 10000;
    while (notedOf("engine").size() < count && GetTickCount64() < end) std::this_thread::yield();
    return notedOf("engine").size();
}

}  // namespace tests

}  // namespace kelvane
