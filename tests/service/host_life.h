// tests/service/host_life.h: the life of the service's process on fakes of everything that it calls.
//
//     dispatcher -> ServiceMain -> worker, capability check, watcher of the control value
//     the control value becomes 2: an engine starts; 0: it is asked to stop; STOP: everything ends but the watcher
//
// The watcher runs on its thread, everything else on the test's, one at a time: the worker's sleeps hand over to the
// watcher, and its wait hands back. Each call that can fail is counted (failing_calls.h). The engine is a note. The
// service data file lies in a folder of its own.
#pragma once

#include "tests/diagnostics/fake_event_log.h"
#include "tests/service/fake_registry.h"
#include "tests/service/fake_service_manager.h"
#include "tests/support/data_file.h"
#include "tests/support/failing_calls.h"

#include <string>
#include <vector>

namespace kelvane::tests {

class HostLife {
public:
    // Without drivers the capability check has something to report.
    explicit HostLife(bool driversPresent);  // one at a time, and one in each process

    // Lives it, from the process entry to its return.
    void live(FailurePlan plan);
    int exitCode = -1;

    // "event TEXT" of the event log, then "data TEXT" of the service data file.
    std::vector<std::string> reports() const;

    // Virtual time that the worker slept, in ms. A stop that is never noticed is made to be noticed after patienceMs.
    unsigned slept = 0;
    static constexpr unsigned patienceMs = 60000;

    // Engines that were started, when `count` of them or ten seconds have come.
    static std::size_t engineStarts(std::size_t count);

    FakeServiceManager manager;
    FakeRegistry registry;

private:
    void passTime(DWORD ms);
    DWORD poll() const;
    DWORD waitForChange();

    bool settingChanged = false;
    FakeEventLog eventLog;
    DataFile file;
    FailingImport<__imp_RegisterEventSourceW> registerSource{ "RegisterEventSourceW", nullptr };
    FailingImport<__imp_ReportEventW> report{ "ReportEventW", FALSE };
    ImportSwap<std::FILE* (*)(const char*, const char*)> open;
};

}  // namespace kelvane::tests
