// Defines the product's functions themselves, so that the test program does not link the real ones.
#include "tests/service/fake_reports.h"

#include "diagnostics/ansi_text.h"
#include "diagnostics/event_log.h"
#include "diagnostics/service_data.h"
#include "tests/support/call_list.h"

#include <windows.h>

namespace kelvane {

const wchar_t serviceName[] = L"Tarvo(R) Kelvane";

void writeServiceData(std::string message)
{
    if (tests::onServiceData) tests::onServiceData(message);
    tests::note("data " + message);
}

// Leaves a last error of its own, as the real one may.
void reportServiceEvent(const wchar_t* message) noexcept
{
    tests::note("event " + toAnsi(message));
    if (tests::onServiceEvent) tests::onServiceEvent();
    SetLastError(ERROR_ACCESS_DENIED);
}

}  // namespace kelvane
