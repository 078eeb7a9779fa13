// tests/service/fake_service_manager.h: the service control manager, and the kernel objects of the service host.
//
// Every call is noted; a status report as "status TYPE STATE CONTROLS EXITCODE SPECIFIC CHECKPOINT HINT". A call that
// can fail asks failing_calls.h under its function's name, a report under "SetServiceStatus, STATE". Nothing sleeps.
// What concerns other handles is passed on.
#pragma once

#include "diagnostics/ansi_text.h"
#include "service/service_host.h"
#include "tests/support/call_list.h"
#include "tests/support/failing_calls.h"
#include "tests/support/import_swap.h"

#include <functional>
#include <string>

namespace kelvane::tests {

const auto fakeStopEvent = reinterpret_cast<HANDLE>(0xE0E0);
const auto workerHandle = reinterpret_cast<HANDLE>(0x3030);
const auto statusHandle = reinterpret_cast<SERVICE_STATUS_HANDLE>(0x5C0);

class FakeServiceManager {
public:
    FakeServiceManager() { manager = this; }  // one at a time

    FakeServiceManager(const FakeServiceManager&) = delete;
    FakeServiceManager& operator=(const FakeServiceManager&) = delete;

    DWORD lastError = 1234;  // after a call that failed

    std::function<void()> onDispatch;    // in place of the service's thread
    std::function<void()> onThreadWait;  // while ServiceMain waits for the worker
    std::function<DWORD()> onPoll;       // result of a wait for the stop event
    std::function<void(DWORD ms)> onSleep;
    std::function<void(DWORD state)> onStatus;
    DWORD waitHintLeft = 0;  // what a report leaves in its caller's record

private:
    static bool fails(const std::string& call)
    {
        if (!callFails(call)) return false;
        SetLastError(manager->lastError);
        return true;
    }

    static BOOL WINAPI dispatch(const SERVICE_TABLE_ENTRYW* table)
    {
        note("dispatch " + toAnsi(table[0].lpServiceName) +
             (table[0].lpServiceProc == ServiceMain ? "" : ", another function") +
             (!table[1].lpServiceName && !table[1].lpServiceProc ? "" : ", no end"));
        if (fails("StartServiceCtrlDispatcherW")) return FALSE;
        if (manager->onDispatch) manager->onDispatch();
        return TRUE;
    }

    static SERVICE_STATUS_HANDLE WINAPI registerHandler(LPCWSTR name, LPHANDLER_FUNCTION handler)
    {
        note("register handler " + toAnsi(name) + (handler == serviceControlHandler ? "" : ", another function"));
        return fails("RegisterServiceCtrlHandlerW") ? nullptr : statusHandle;
    }

    static BOOL WINAPI setStatus(SERVICE_STATUS_HANDLE handle, LPSERVICE_STATUS status)
    {
        std::string text = handle == statusHandle ? "status" : "status of something else";
        for (const DWORD field :
             { status->dwServiceType, status->dwCurrentState, status->dwControlsAccepted, status->dwWin32ExitCode,
               status->dwServiceSpecificExitCode, status->dwCheckPoint, status->dwWaitHint }) {
            text += " " + std::to_string(field);
        }
        note(text);
        if (manager->onStatus) manager->onStatus(status->dwCurrentState);
        status->dwWaitHint = manager->waitHintLeft;
        return fails("SetServiceStatus, " + std::to_string(status->dwCurrentState)) ? FALSE : TRUE;
    }

    static HANDLE WINAPI createEvent(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL signalled, LPCWSTR name)
    {
        if (!manualReset) return manager->event.real()(attributes, manualReset, signalled, name);
        note("create event " + std::to_string(manualReset) + ", " + std::to_string(signalled) +
             (!attributes && !name ? "" : ", unusual"));
        return fails("CreateEventW, stop") ? nullptr : fakeStopEvent;
    }

    static BOOL WINAPI setEvent(HANDLE event)
    {
        if (event != fakeStopEvent) return manager->eventSetting.real()(event);
        note("set event");
        return fails("SetEvent") ? FALSE : TRUE;
    }

    static HANDLE WINAPI createThread(LPSECURITY_ATTRIBUTES attributes, SIZE_T stack, LPTHREAD_START_ROUTINE start,
                                      LPVOID argument, DWORD flags, LPDWORD id)
    {
        if (start != serviceWorker) {
            return manager->thread.real()(attributes, stack, start, argument, flags, id);
        }
        const bool plain = !attributes && stack == 0 && !argument && flags == 0;
        note(plain ? "create worker" : "create unusual worker");
        return fails("CreateThread") ? nullptr : workerHandle;
    }

    static DWORD WINAPI wait(HANDLE handle, DWORD ms)
    {
        const std::string time = ms == INFINITE ? "without limit" : std::to_string(ms);
        if (handle == fakeStopEvent) {
            note("poll " + time);
            return manager->onPoll ? manager->onPoll() : WAIT_OBJECT_0;
        }
        if (handle != workerHandle && handle != nullptr) return manager->waiting.real()(handle, ms);
        note((handle ? "wait for worker " : "wait for nothing ") + time);
        if (handle && manager->onThreadWait) manager->onThreadWait();
        return handle ? WAIT_OBJECT_0 : WAIT_FAILED;
    }

    static BOOL WINAPI closeHandle(HANDLE handle)
    {
        if (handle && handle != fakeStopEvent && handle != workerHandle) return manager->closing.real()(handle);
        note(handle == fakeStopEvent ? "close event" : handle ? "close worker" : "close nothing");
        return TRUE;
    }

    static void WINAPI sleep(DWORD ms)
    {
        if (ms == 0) return;
        note("sleep " + std::to_string(ms));
        if (manager->onSleep) manager->onSleep(ms);
    }

    static inline FakeServiceManager* manager;
    ImportSwap<decltype(&StartServiceCtrlDispatcherW)> dispatcher{ __imp_StartServiceCtrlDispatcherW, &dispatch };
    ImportSwap<decltype(&RegisterServiceCtrlHandlerW)> handler{ __imp_RegisterServiceCtrlHandlerW, &registerHandler };
    ImportSwap<decltype(&SetServiceStatus)> status{ __imp_SetServiceStatus, &setStatus };
    ImportSwap<decltype(&CreateEventW)> event{ __imp_CreateEventW, &createEvent };
    ImportSwap<decltype(&SetEvent)> eventSetting{ __imp_SetEvent, &setEvent };
    ImportSwap<decltype(&CreateThread)> thread{ __imp_CreateThread, &createThread };
    ImportSwap<decltype(&WaitForSingleObject)> waiting{ __imp_WaitForSingleObject, &wait };
    ImportSwap<decltype(&CloseHandle)> closing{ __imp_CloseHandle, &closeHandle };
    ImportSwap<decltype(&Sleep)> sleeping{ __imp_Sleep, &sleep };
};

// The reports of the service's states.
constexpr char startPending[] = "status 16 2 0 0 0 0 0";
constexpr char running[] = "status 16 4 65 0 0 0 0";
constexpr char stopPending[] = "status 16 3 0 0 0 4 0";
constexpr char stopped[] = "status 16 1 0 0 0 3 0";
constexpr char stoppedByError[] = "status 16 1 0 1234 0 1 0";

}  // namespace kelvane::tests
