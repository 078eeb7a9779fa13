// The imports of advapi32 and kernel32 that the service host calls.
#include "tests/service/fake_service_manager.h"

#include "diagnostics/ansi_text.h"
#include "service/service_host.h"
#include "simulator/platform/import_slots.h"
#include "tests/support/call_list.h"
#include "tests/support/failing_calls.h"

namespace kelvane::tests {

namespace {

const auto statusHandle = reinterpret_cast<SERVICE_STATUS_HANDLE>(0x5C0);
const auto workerHandle = reinterpret_cast<HANDLE>(0x3030);
FakeServiceManager* manager;

bool fails(const std::string& call)
{
    if (!callFails(call)) return false;
    SetLastError(manager->lastError);
    return true;
}

}  // namespace

const HANDLE fakeStopEvent = reinterpret_cast<HANDLE>(0xE0E0);

struct ManagerCalls {
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
        return fails("SetServiceStatus, " + std::to_string(status->dwCurrentState)) ? FALSE : TRUE;
    }

    static HANDLE WINAPI createEvent(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL signalled, LPCWSTR name)
    {
        if (!manualReset) return manager->createEvent.real()(attributes, manualReset, signalled, name);
        note("create event " + std::to_string(manualReset) + ", " + std::to_string(signalled) +
             (!attributes && !name ? "" : ", unusual"));
        return fails("CreateEventW, stop") ? nullptr : fakeStopEvent;
    }

    static BOOL WINAPI setEvent(HANDLE event)
    {
        if (event != fakeStopEvent) return manager->setEvent.real()(event);
        note("set event");
        return fails("SetEvent") ? FALSE : TRUE;
    }

    static HANDLE WINAPI createThread(LPSECURITY_ATTRIBUTES attributes, SIZE_T stack, LPTHREAD_START_ROUTINE start,
                                      LPVOID argument, DWORD flags, LPDWORD id)
    {
        if (start != serviceWorker) {
            return manager->createThread.real()(attributes, stack, start, argument, flags, id);
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
        if (handle != workerHandle && handle != nullptr) return manager->wait.real()(handle, ms);
        note((handle ? "wait for worker " : "wait for nothing ") + time);
        if (handle && manager->onThreadWait) manager->onThreadWait();
        return handle ? WAIT_OBJECT_0 : WAIT_FAILED;
    }

    static BOOL WINAPI closeHandle(HANDLE handle)
    {
        if (handle && handle != fakeStopEvent && handle != workerHandle) return manager->closeHandle.real()(handle);
        note(handle == fakeStopEvent ? "close event" : handle ? "close worker" : "close nothing");
        return TRUE;
    }

    static void WINAPI sleep(DWORD ms)
    {
        if (ms == 0) return;
        note("sleep " + std::to_string(ms));
        if (manager->onSleep) manager->onSleep(ms);
    }
};

FakeServiceManager::FakeServiceManager()
    : dispatch(__imp_StartServiceCtrlDispatcherW, &ManagerCalls::dispatch),
      registerHandler(__imp_RegisterServiceCtrlHandlerW, &ManagerCalls::registerHandler),
      setStatus(__imp_SetServiceStatus, &ManagerCalls::setStatus),
      createEvent(__imp_CreateEventW, &ManagerCalls::createEvent), setEvent(__imp_SetEvent, &ManagerCalls::setEvent),
      createThread(__imp_CreateThread, &ManagerCalls::createThread),
      wait(__imp_WaitForSingleObject, &ManagerCalls::wait), closeHandle(__imp_CloseHandle, &ManagerCalls::closeHandle),
      sleep(__imp_Sleep, &ManagerCalls::sleep)
{
    manager = this;
}

}  // namespace kelvane::tests
