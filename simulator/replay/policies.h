// simulator/replay/policies.h: who may have the processor in hand: the service, or a reference to compare it with.
//
// References reach the processor by the same framework and primitives as the service, in virtual time. They see how
// busy it is, which a kernel's governor does; the oracle sees the queue itself, which nobody does. They set PL1 once,
// to the service's own, so that only the ceiling makes the difference.
#pragma once

#include <cstdint>
#include <string_view>

namespace kelvane::simulator {

struct Policy {
    std::string_view name;
    std::uint32_t (*run)();  // until the engine is asked to stop
    bool watchesProcesses;
};

// Null when there is no policy of that name.
const Policy* findPolicy(std::string_view name);

}  // namespace kelvane::simulator
