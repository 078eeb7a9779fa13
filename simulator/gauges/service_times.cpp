// service_times start|stop NAME: asks for the service's start or stop, and prints when it asked and when the service
// was RUNNING or STOPPED, in milliseconds since 1970; ends with 1 when it did not come to that.
//
// The control manager's own tool starts anew for each look, which takes longer than what is measured here.
#include <windows.h>

#include <winsvc.h>

#include <cstdint>
#include <cstdio>
#include <cwchar>

namespace {

constexpr int looksMax = 15000;  // a millisecond apart
constexpr double ticksPerMs = 10000;
constexpr double epochOffsetMs = 11644473600000.0;  // from 1601 to 1970

double nowMs()
{
    FILETIME time = {};
    GetSystemTimePreciseAsFileTime(&time);
    const std::uint64_t ticks = std::uint64_t{ time.dwHighDateTime } << 32 | time.dwLowDateTime;
    return static_cast<double>(ticks) / ticksPerMs - epochOffsetMs;
}

bool stateReached(SC_HANDLE service, DWORD wanted)
{
    for (int look = 0; look < looksMax; ++look) {
        SERVICE_STATUS status = {};
        if (QueryServiceStatus(service, &status) && status.dwCurrentState == wanted) return true;
        Sleep(1);
    }
    return false;
}

bool request(SC_HANDLE service, bool start)
{
    SERVICE_STATUS status = {};
    return start ? StartServiceW(service, 0, nullptr) : ControlService(service, SERVICE_CONTROL_STOP, &status);
}

}  // namespace

int wmain(int argc, wchar_t** argv)
{
    const bool start = argc == 3 && std::wcscmp(argv[1], L"start") == 0;
    if (!start && (argc != 3 || std::wcscmp(argv[1], L"stop") != 0)) {
        std::fputs("usage: service_times start|stop NAME\n", stderr);
        return 2;
    }
    auto* const manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    auto* const service = OpenServiceW(manager, argv[2], SERVICE_START | SERVICE_STOP | SERVICE_QUERY_STATUS);
    const double asked = nowMs();
    if (!service || !request(service, start) || !stateReached(service, start ? SERVICE_RUNNING : SERVICE_STOPPED)) {
        return 1;
    }
    std::printf("%.3f %.3f\n", asked, nowMs());
    return 0;
}
