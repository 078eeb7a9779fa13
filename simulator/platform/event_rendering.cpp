// Rendering as the event log does it: without room it fails with 122 and tells the size; success leaves the last error.
#include "simulator/platform/event_rendering.h"

#include <cstring>
#include <string>

namespace kelvane::simulator {

namespace {

std::wstring xmlOf(std::uint32_t eventId)
{
    return L"<Event xmlns='http://schemas.microsoft.com/win/2004/08/events/event'><System>"
           L"<Provider Name='Microsoft-Windows-Kernel-Power'/><EventID>" +
           std::to_wstring(eventId) +
           L"</EventID><Level>4</Level><Channel>System</Channel></System><EventData/></Event>";
}

}  // namespace

EVT_HANDLE eventHandle(std::uint32_t eventId)
{
    return reinterpret_cast<EVT_HANDLE>(static_cast<std::uintptr_t>(eventId));
}

}  // namespace kelvane::simulator

extern "C" BOOL WINAPI EvtRender(EVT_HANDLE /*context*/, EVT_HANDLE fragment, DWORD flags, DWORD size, PVOID buffer,
                                 PDWORD used, PDWORD propertyCount)
{
    if (!fragment || flags != EvtRenderEventXml) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const auto eventId = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(fragment));
    const std::wstring xml = kelvane::simulator::xmlOf(eventId);
    *used = static_cast<DWORD>((xml.size() + 1) * sizeof(wchar_t));
    *propertyCount = 0;
    if (!buffer || size < *used) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    std::memcpy(buffer, xml.c_str(), *used);
    return TRUE;
}
