// tests/bench/meter.h: what a piece of code costs: instructions under callgrind, allocations always.
//
// One thread. The program's own operator new counts.
#pragma once

#include <cstdint>

namespace kelvane::bench {

// Everything between the two counts, but what an Aside covers. Once per program.
void begin();
void end();

// While one lives, nothing counts. They do not nest, and the count neither begins nor ends in one.
class Aside {
public:
    Aside();
    ~Aside();
    Aside(const Aside&) = delete;
    Aside& operator=(const Aside&) = delete;
};

std::uint64_t allocations();

std::int64_t heapBytes();  // allocated and not yet freed, counted or not

}  // namespace kelvane::bench
