// Nothing reaches a real event log: a source has the handle 0xE1, and its calls are noted.
#include "diagnostics/event_log.h"

#include "diagnostics/ansi_text.h"
#include "tests/support/call_list.h"
#include "tests/support/import_swap.h"

#include <gmock/gmock.h>

#include <windows.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

const auto source = reinterpret_cast<HANDLE>(0xE1);
bool registers = true;
BOOL reports = TRUE;

HANDLE WINAPI fakeRegister(LPCWSTR server, LPCWSTR name)
{
    note(std::string("register ") + (server ? "elsewhere " : "here ") + toAnsi(name));
    return registers ? source : nullptr;
}

// Noted as "event MESSAGE" when it is exactly the error event that the service writes.
BOOL WINAPI fakeReport(HANDLE log, WORD type, WORD category, DWORD id, PSID user, WORD stringCount, DWORD dataSize,
                       LPCWSTR* strings, LPVOID data)
{
    const bool asUsual = log == source && type == 1 && category == 0 && id == 0 && !user && stringCount == 2 &&
                         dataSize == 0 && !data && std::wstring(strings[0]) == L"Tarvo(R) Kelvane";
    note((asUsual ? "event " : "strange event ") + toAnsi(strings[1]));
    return reports;
}

BOOL WINAPI fakeDeregister(HANDLE log)
{
    note(log == source ? "deregister" : "deregister something else");
    return TRUE;
}

class EventReport : public testing::Test {
    const ImportSwap<decltype(&RegisterEventSourceW)> registerSource{ __imp_RegisterEventSourceW, &fakeRegister };
    const ImportSwap<decltype(&ReportEventW)> report{ __imp_ReportEventW, &fakeReport };
    const ImportSwap<decltype(&DeregisterEventSource)> deregister{ __imp_DeregisterEventSource, &fakeDeregister };
};

TEST_F(EventReport, IsOneErrorEventOfTheServicesSourceOnThisComputerWhichIsRegisteredAnewForEach)
{
    reportServiceEvent(L"something failed");
    reportServiceEvent(L"");

    EXPECT_THAT(noted(), ElementsAre("register here Tarvo(R) Kelvane", "event something failed", "deregister",
                                     "register here Tarvo(R) Kelvane", "event ", "deregister"));
}

TEST_F(EventReport, IsLostWithoutATraceWhenTheSourceCannotBeRegistered)
{
    registers = false;

    reportServiceEvent(L"something failed");

    EXPECT_THAT(noted(), ElementsAre("register here Tarvo(R) Kelvane"));
}

TEST_F(EventReport, GivesTheSourceBackAlsoWhenTheReportFails)
{
    reports = FALSE;

    reportServiceEvent(L"something failed");

    EXPECT_THAT(noted(), ElementsAre("register here Tarvo(R) Kelvane", "event something failed", "deregister"));
}

}  // namespace
}  // namespace kelvane::tests
