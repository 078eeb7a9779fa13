// tests/bench/machine.h: the simulated core and platform, with a look at the calls that reach them.
//
// What stands for the framework and for Windows lies in kelvane::simulator, in kelvane::bench::outside, or among the
// native build's stand-ins, so that the reader of callgrind's file can leave it out.
#pragma once

#include "framework/orq_interface.h"

#include <windows.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace kelvane::bench {

// A call that the service made, and all it takes to make it again.
struct Call {
    enum class Kind { powerStatus, execute, sleep } kind;
    std::string command;     // with its NUL
    std::uint32_t type = 0;  // of the value that goes in or out
    bool sets = false;
    std::uint32_t word = 0;  // the value that goes in; for a sleep, ms
};

struct Machine {
    std::function<void(std::uint32_t ms)> onSleep;
    std::function<void()> onWrite;       // a ceiling was written
    std::vector<Call>* calls = nullptr;  // where to note calls, if at all
};

extern Machine& machine;

// Puts it under the service's code, whose log is opened as the engine opens it.
void startMachine();

// The same, and the service's client code has loaded the core; the session handle is 1.
void startWithCore();

// The least that makes these calls.
void repeat(std::vector<Call>& calls);

}  // namespace kelvane::bench
