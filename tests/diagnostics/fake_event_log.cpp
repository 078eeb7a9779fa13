// A source has the handle 0xE1; nothing reaches a real event log.
#include "tests/diagnostics/fake_event_log.h"

#include "diagnostics/ansi_text.h"
#include "simulator/platform/import_slots.h"
#include "tests/support/call_list.h"

namespace kelvane::tests {

namespace {

const auto source = reinterpret_cast<HANDLE>(0xE1);
FakeEventLog* eventLog;

HANDLE WINAPI fakeRegister(LPCWSTR server, LPCWSTR name)
{
    if (eventLog->notesEachCall) note(std::string("register ") + (server ? "elsewhere " : "here ") + toAnsi(name));
    if (eventLog->onRegister) eventLog->onRegister();
    SetLastError(ERROR_ACCESS_DENIED);
    return eventLog->registers ? source : nullptr;
}

BOOL WINAPI fakeReport(HANDLE log, WORD type, WORD category, DWORD id, PSID user, WORD stringCount, DWORD dataSize,
                       LPCWSTR* strings, LPVOID data)
{
    const bool asUsual = log == source && type == 1 && category == 0 && id == 0 && !user && stringCount == 2 &&
                         dataSize == 0 && !data && std::wstring(strings[0]) == L"Tarvo(R) Kelvane";
    note((asUsual ? "event " : "strange event ") + toAnsi(strings[1]));
    SetLastError(ERROR_ACCESS_DENIED);
    return eventLog->reports ? TRUE : FALSE;
}

BOOL WINAPI fakeDeregister(HANDLE log)
{
    if (eventLog->notesEachCall) note(log == source ? "deregister" : "deregister something else");
    return TRUE;
}

}  // namespace

FakeEventLog::FakeEventLog()
    : registerSource(__imp_RegisterEventSourceW, &fakeRegister), report(__imp_ReportEventW, &fakeReport),
      deregister(__imp_DeregisterEventSource, &fakeDeregister)
{
    eventLog = this;
}

FakeEventLog::~FakeEventLog() { eventLog = nullptr; }

}  // namespace kelvane::tests
