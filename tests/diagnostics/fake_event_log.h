// tests/diagnostics/fake_event_log.h: the imports with which an event is reported.
//
// A reported event is noted as "event MESSAGE" when it is exactly the error event that the service writes, else with
// all that differs.
#pragma once

#include "tests/support/import_swap.h"

#include <windows.h>

#include <functional>

namespace kelvane::tests {

class FakeEventLog {
public:
    FakeEventLog();  // one at a time
    ~FakeEventLog();
    FakeEventLog(const FakeEventLog&) = delete;
    FakeEventLog& operator=(const FakeEventLog&) = delete;

    bool registers = true;
    bool reports = true;
    bool notesEachCall = false;  // also RegisterEventSourceW and DeregisterEventSource
    std::function<void()> onRegister;

private:
    template<class Function>
    using Swap = ImportSwap<Function>;

    Swap<decltype(&RegisterEventSourceW)> registerSource;
    Swap<decltype(&ReportEventW)> report;
    Swap<decltype(&DeregisterEventSource)> deregister;
};

}  // namespace kelvane::tests
