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

struct Result {
    int units;  // steps, samples, messages: the cost is to be shared among them
};

// The cost of `work`.
template<class Work>
Result counted(int units, const Work& work)
{
    begin();
    work();
    end();
    return { units };
}

// The same when it was done once before.
template<class Work>
Result countedWarm(int units, const Work& work)
{
    work();
    return counted(units, work);
}

std::uint64_t allocations();

std::int64_t heapBytes();  // allocated and not yet freed, counted or not

}  // namespace kelvane::bench
