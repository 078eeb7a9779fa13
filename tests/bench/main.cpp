// native-bench THING: does one thing and tells, on standard error, how often and with how many allocations. What it
// takes in instructions is callgrind's to tell.
#include "tests/bench/benches.h"

#include <cstdio>
#include <cstring>

namespace {

using namespace kelvane::bench;

// For the counts themselves to be checked.
Result knownWork()
{
    constexpr int units = 100;
    volatile int seen = 0;
    return counted(units, [&] {
        for (int i = 0; i < units; ++i) {
            for (int round = 0; round < 1000; ++round) seen = seen + round;
            for (int n = 0; n < 7; ++n) ::operator delete(::operator new(16));
        }
    });
}

Things allThings()
{
    Things all = { { "known-work", knownWork } };
    for (const Things& some : { loopThings(), messageThings(), startThings() }) {
        all.insert(all.end(), some.begin(), some.end());
    }
    return all;
}

int countDay()
{
    const HeapOverDay heap = heapOverDay();
    std::fprintf(stderr, "%lld %lld\n", static_cast<long long>(heap.afterFirstHour),
                 static_cast<long long>(heap.afterLastHour));
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    const char* const wanted = argc == 2 ? argv[1] : "";
    if (std::strcmp(wanted, "day") == 0) return countDay();
    const Things things = allThings();
    for (const Thing& thing : things) {
        if (std::strcmp(wanted, thing.name) != 0) continue;
        const Result result = thing.count();
        std::fprintf(stderr, "%d %llu\n", result.units, static_cast<unsigned long long>(allocations()));
        return 0;
    }
    std::fprintf(stderr, "usage: native-bench day");
    for (const Thing& thing : things) std::fprintf(stderr, "|%s", thing.name);
    std::fprintf(stderr, "\n");
    return 2;
}
