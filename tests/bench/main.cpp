// native-bench THING: does one thing and tells, on standard error, how often and with how many allocations. What it
// takes in instructions is callgrind's to tell.
#include "tests/bench/benches.h"
#include "tests/bench/meter.h"

#include <cstdio>
#include <cstring>

namespace {

using namespace kelvane::bench;

// For the counts themselves to be checked.
Result knownWork()
{
    constexpr int units = 100;
    volatile int seen = 0;
    begin();
    for (int i = 0; i < units; ++i) {
        for (int round = 0; round < 1000; ++round) seen = seen + round;
        for (int n = 0; n < 7; ++n) ::operator delete(::operator new(16));
    }
    end();
    return { units };
}

constexpr struct {
    const char* name;
    Result (*count)();
} things[] = {
    { "quiet-step", quietStep },
    { "least-quiet-step", leastQuietStep },
    { "idle-step", idleStep },
    { "least-idle-step", leastIdleStep },
    { "ramp-step", rampStep },
    { "least-ramp-step", leastRampStep },
    { "clip-step", clipStep },
    { "least-clip-step", leastClipStep },
    { "process-start-step", processStartStep },
    { "least-process-start-step", leastProcessStartStep },
    { "sample", sample },
    { "least-sample", leastSample },
    { "dropped-message", droppedMessage },
    { "written-message", writtenMessage },
    { "least-written-message", leastWrittenMessage },
    { "listed-start", listedStart },
    { "acting-start", actingStart },
    { "start-to-write", startToWrite },
    { "least-start", leastStart },
    { "known-work", knownWork },
};

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
    for (const auto& thing : things) {
        if (std::strcmp(wanted, thing.name) != 0) continue;
        const Result result = thing.count();
        std::fprintf(stderr, "%d %llu\n", result.units, static_cast<unsigned long long>(allocations()));
        return 0;
    }
    std::fprintf(stderr, "usage: native-bench day");
    for (const auto& thing : things) std::fprintf(stderr, "|%s", thing.name);
    std::fprintf(stderr, "\n");
    return 2;
}
