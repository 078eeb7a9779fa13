// tests/support/simulated_machine.h: a simulated processor and platform under the code of one test.
//
// The service's own client code has loaded the simulated core, the session handle is 1, and the diagnostic log is
// recorded. What happens from then on is kept in order. Nothing waits.
#pragma once

#include "simulator/formats/scenario.h"
#include "simulator/formats/trace.h"
#include "tests/support/store_watch.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace kelvane::tests {

class SimulatedMachine {
public:
    SimulatedMachine();
    ~SimulatedMachine();
    SimulatedMachine(const SimulatedMachine&) = delete;
    SimulatedMachine& operator=(const SimulatedMachine&) = delete;

    // What the core delivers and answers from now on.
    void power(std::uint32_t milliwatts);
    void clipReasons(std::uint32_t bits);
    void socWorkload(std::uint32_t value);
    void answer(const std::string& operation, int status);  // "GET_RAPL_POWER", "REGISTER_EVENT/44", ...

    // Called on each Sleep, in ms: the place to change inputs in the middle of something.
    std::function<void(std::uint32_t ms)> onSleep;

    // From now on stores into these variables are rows among what happens. Only this thread may store into them.
    void watch(std::vector<WatchedVariable> variables);

    // Everything since the last forget(), one text a row:
    // "call NAME [TYPE] STATUS", "NAME VALUE STATUS" (primitives), "sleep MS", "log LEVEL TEXT", "store NAME VALUE".
    std::vector<std::string> happened() const;

    // Of it: the setters, as "SET_PERF_PREFERENCE_MAX 1200"; the sleeps, in ms; the messages, as "LEVEL TEXT".
    std::vector<std::string> writes() const;
    std::vector<std::uint32_t> sleeps() const;
    std::vector<std::string> messages() const;

    void forget();

private:
    std::ostringstream out;
    simulator::Trace trace;
    std::optional<StoreWatch> stores;
};

}  // namespace kelvane::tests
