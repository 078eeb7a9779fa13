// tests/service/fake_service_manager.h: the service control manager, and the kernel objects of the service host.
//
// Every call is noted; a status report as "status TYPE STATE CONTROLS EXITCODE SPECIFIC CHECKPOINT HINT". A call that
// can fail asks failing_calls.h under its function's name, a report under "SetServiceStatus, STATE". Nothing sleeps.
// What concerns other handles is passed on.
#pragma once

#include "tests/support/import_swap.h"

#include <windows.h>

#include <functional>
#include <string>

namespace kelvane::tests {

class FakeServiceManager {
public:
    FakeServiceManager();  // one at a time
    FakeServiceManager(const FakeServiceManager&) = delete;
    FakeServiceManager& operator=(const FakeServiceManager&) = delete;

    DWORD lastError = 1234;  // after a call that failed

    std::function<void()> onDispatch;    // in place of the service's thread
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

// The reports of the service's states.
constexpr char startPending[] = "status 16 2 0 0 0 0 0";
constexpr char running[] = "status 16 4 65 0 0 0 0";
constexpr char stopPending[] = "status 16 3 0 0 0 4 0";
constexpr char stopped[] = "status 16 1 0 0 0 3 0";
constexpr char stoppedByError[] = "status 16 1 0 1234 0 1 0";

}  // namespace kelvane::tests
