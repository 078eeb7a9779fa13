#include "diagnostics/event_log.h"

#include "version.h"

#include <windows.h>

namespace kelvane {

const wchar_t serviceName[] = KELVANE_PRODUCT;

void reportServiceEvent(const wchar_t* message) noexcept
{
    HANDLE source = RegisterEventSourceW(nullptr, serviceName);
    if (!source) return;
    const wchar_t* strings[] = { serviceName, message };
    ReportEventW(source, EVENTLOG_ERROR_TYPE, 0, 0, nullptr, 2, 0, strings, nullptr);
    DeregisterEventSource(source);
}

}  // namespace kelvane
