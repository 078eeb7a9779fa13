// tests/engine/engine_life.h: the life of the engine on fakes of everything that it calls, in virtual time.
//
//     run 1   start-up, two steps; a process starts, workload class and slider change; standby ends scaling
//     run 2   start-up, a step; the service stops
//
// Everything happens in the calls that the engine makes, on its threads, so that it happens in one order. Each call
// that can fail is counted (failing_calls.h). A life whose standby event is lost, or whose clock stands still, is ended
// by a stop of scaling.
#pragma once

#include "tests/engine/fake_com.h"
#include "tests/support/failing_calls.h"
#include "tests/support/fake_system.h"

#include <memory>
#include <string>
#include <vector>

namespace kelvane::tests {

class EngineLife {
public:
    EngineLife();  // one at a time, and one in each process
    ~EngineLife();
    EngineLife(const EngineLife&) = delete;
    EngineLife& operator=(const EngineLife&) = delete;

    // Lives it. Results of the runs, and what was left on standard error, line by line.
    void live(FailurePlan plan);
    std::vector<int> results;
    std::vector<std::string> standardError;

    // Virtual time, in ms.
    static std::uint64_t duration();

    // Messages of the diagnostic log, "LEVEL TEXT".
    static std::vector<std::string> messages();

    // Framework sessions and registered events that are still held.
    static int sessions();
    static std::size_t registeredEvents();

    FakeCom com;
    FakeSystem system;

private:
    struct Imports;

    FakeClassObject process{ "process" };
    FakeClassObject event{ "event" };
    std::unique_ptr<Imports> imports;
};

}  // namespace kelvane::tests
