// smallest_service rest|scaling|idle [CORE.DLL]: a service that keeps the pauses of kelvane.exe in one of its states
// and does nothing else; with a core's library it also makes the same calls into it. What kelvane.exe takes is weighed
// against it.
#include "framework/orq_interface.h"
#include "simulator/standins/thread_name.h"

#include <windows.h>

#include <winsvc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <exception>
#include <iterator>
#include <thread>

namespace {

using namespace kelvane;

constexpr DWORD pollMs = 3000;

// One round of the loop's thread: samples, a pause after each, and a pause of its own.
struct Round {
    const wchar_t* state;
    int samples;
    DWORD sampleMs;
    DWORD roundMs;
};

constexpr Round rounds[] = {
    { L"rest", 0, 0, 0 },  // no loop
    { L"scaling", 10, 300, 0 },
    { L"idle", 2, 300, 5000 },
};

const Round* g_round = std::end(rounds);
const wchar_t* g_corePath = nullptr;
OrqInterface g_core = {};
HANDLE g_stop = nullptr;
SERVICE_STATUS_HANDLE g_statusHandle = nullptr;

void connectToCore()
{
    if (!g_corePath) return;
    const FARPROC found = GetProcAddress(LoadLibraryW(g_corePath), "GetOrqInterface");
    const auto fill = reinterpret_cast<GetOrqInterfaceFunction>(reinterpret_cast<void*>(found));
    g_core.type = orqInterfaceType;
    g_core.version = orqInterfaceVersion;
    g_core.size = sizeof g_core;
    if (!fill || fill(&g_core) != 0 || g_core.Init() != 0) std::terminate();
    g_core.SessionConnect(g_core.SessionCreate(nullptr));
}

template<std::size_t size>
void get(const char (&command)[size], std::uint32_t type)
{
    if (!g_core.SessionExecute) return;
    char text[size];
    std::memcpy(text, command, size);
    std::uint32_t word = 0;
    const OrqData request = { orqTypeText, text, size, size };
    OrqData response = { type, &word, sizeof word, 0 };
    g_core.SessionExecute(1, &request, nullptr, &response);
}

void getPowerSource()
{
    SYSTEM_POWER_STATUS status = {};
    if (g_core.SessionExecute) GetSystemPowerStatus(&status);
}

void loop()
{
    simulator::nameThread(L"loop");
    connectToCore();
    for (;;) {
        getPowerSource();
        get("execute-primitive TCPU GET_SOC_WORKLOAD", orqTypeUint32);
        for (int sample = 0; sample < g_round->samples; ++sample) {
            get("execute-primitive TCPU GET_IA_CLIP_REASONS", orqTypeUint32);
            get("execute-primitive TCPU GET_RAPL_POWER", orqTypePower);
            Sleep(g_round->sampleMs);
        }
        if (g_round->roundMs) Sleep(g_round->roundMs);
    }
}

void report(DWORD state)
{
    SERVICE_STATUS status = {};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    status.dwControlsAccepted = state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP : 0;
    SetServiceStatus(g_statusHandle, &status);
}

void WINAPI handleControl(DWORD control)
{
    if (control == SERVICE_CONTROL_STOP) SetEvent(g_stop);
}

void WINAPI runService(DWORD /*argc*/, LPWSTR* /*argv*/)
{
    g_stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    g_statusHandle = RegisterServiceCtrlHandlerW(L"", handleControl);
    report(SERVICE_RUNNING);
    if (g_round->samples) std::thread(loop).detach();
    while (WaitForSingleObject(g_stop, 0) != WAIT_OBJECT_0) Sleep(pollMs);
    report(SERVICE_STOPPED);
}

}  // namespace

int wmain(int argc, wchar_t** argv)
{
    if (argc == 2 || argc == 3) {
        g_round = std::ranges::find_if(rounds, [&](const Round& any) { return !std::wcscmp(any.state, argv[1]); });
    }
    if (g_round == std::end(rounds)) {
        std::fputs("usage: smallest_service rest|scaling|idle [CORE.DLL]\n", stderr);
        return 2;
    }
    if (argc == 3) g_corePath = argv[2];
    wchar_t name[] = L"";
    const SERVICE_TABLE_ENTRYW table[] = { { name, runService }, { nullptr, nullptr } };
    if (!StartServiceCtrlDispatcherW(table)) return 1;
    std::_Exit(0);
}
