// tests/service/host_life.h: the life of the service's process on fakes of everything that it calls.
//
//     dispatcher -> ServiceMain -> worker, capability check, watcher of the control value
//     the control value becomes 2: an engine starts; 0: it is asked to stop; STOP: everything ends but the watcher
//
// The watcher runs on its thread, everything else on the test's, one at a time: the worker's sleeps hand over to the
// watcher, and its wait hands back. Each call that can fail is counted (failing_calls.h). The engine is a note. The
// service data file lies in a folder of its own.
#pragma once

#include "tests/support/data_file.h"
#include "tests/support/failing_calls.h"

#include <memory>
#include <string>
#include <vector>

namespace kelvane::tests {

class HostLife {
public:
    HostLife();  // one at a time, and one in each process
    ~HostLife();
    HostLife(const HostLife&) = delete;
    HostLife& operator=(const HostLife&) = delete;

    // Lives it, from the process entry to its return. Without drivers the capability check has something to report.
    void live(FailurePlan plan, bool driversPresent);
    int exitCode = -1;

    // "event TEXT" of the event log, then "data TEXT" of the service data file.
    std::vector<std::string> reports() const;

    // States that the control manager was told, failed reports among them.
    static std::vector<std::string> states();

    // Keys that were opened, and those of them that are still open; "control", "driver" or "capability".
    static int opened(const std::string& key);
    static int open(const std::string& key);

    // The other things that are still open: events, sources of the event log, the handle of the worker's thread.
    static int events();
    static int sources();
    static int threads();

    static bool watcherWaits();

    // Virtual time that the worker slept, in ms. A stop that is never noticed is made to be noticed after patienceMs.
    static unsigned slept();
    static constexpr unsigned patienceMs = 60000;

    // Engines that were started, when `count` of them or ten seconds have come.
    static int engineStarts(int count);

private:
    struct Imports;

    DataFile file;
    std::unique_ptr<Imports> imports;
};

}  // namespace kelvane::tests
