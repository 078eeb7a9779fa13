// tests/bench/benches.h: the things whose cost is counted; "least" is the smallest code that makes the same calls.
#pragma once

#include "tests/bench/meter.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace kelvane::bench {

struct Thing {
    const char* name;
    std::function<Result()> count;
};

using Things = std::vector<Thing>;

Things loopThings();
Things messageThings();
Things startThings();

struct HeapOverDay {
    std::int64_t afterFirstHour = 0;  // bytes
    std::int64_t afterLastHour = 0;
};

HeapOverDay heapOverDay();

}  // namespace kelvane::bench
