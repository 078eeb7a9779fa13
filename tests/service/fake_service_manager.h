// tests/service/fake_service_manager.h: the service control manager, and the kernel objects of the service host.
//
// Every call is noted; a status report as "status TYPE STATE CONTROLS EXITCODE SPECIFIC CHECKPOINT HINT". All calls
// succeed until a test says otherwise. Nothing sleeps. What concerns other handles is passed on.
#pragma once

#include "tests/support/import_swap.h"

#include <windows.h>

#include <functional>
#include <set>
#include <string>

namespace kelvane::tests {

class FakeServiceManager {
public:
    FakeServiceManager();  // one at a time
    ~FakeServiceManager();
    FakeServiceManager(const FakeServiceManager&) = delete;
    FakeServiceManager& operator=(const FakeServiceManager&) = delete;

    bool dispatches = true;
    bool registersHandler = true;
    std::set<DWORD> refusedStates;  // reports of these states fail
    bool makesEvent = true;
    bool setsEvent = true;
    bool makesThread = true;
    DWORD lastError = 1234;  // after a call that failed

    std::function<void()> onThreadWait;  // while ServiceMain waits for the worker
    std::function<DWORD()> onPoll;       // result of a wait for the stop event
    std::function<void(DWORD ms)> onSleep;
    std::function<void(DWORD state)> onStatus;

private:
    template<class Function>
    using Swap = ImportSwap<Function>;

    Swap<decltype(&StartServiceCtrlDispatcherW)> dispatch;
    Swap<decltype(&RegisterServiceCtrlHandlerW)> registerHandler;
    Swap<decltype(&SetServiceStatus)> setStatus;
    Swap<decltype(&CreateEventW)> createEvent;
    Swap<decltype(&SetEvent)> setEvent;
    Swap<decltype(&CreateThread)> createThread;
    Swap<decltype(&WaitForSingleObject)> wait;
    Swap<decltype(&CloseHandle)> closeHandle;
    Swap<decltype(&Sleep)> sleep;

    friend struct ManagerCalls;
};

extern const HANDLE fakeStopEvent;

}  // namespace kelvane::tests
