// tests/bench/benches.h: the things whose cost is counted; "least" is the smallest code that makes the same calls.
#pragma once

#include <cstdint>

namespace kelvane::bench {

struct Result {
    int units;  // steps, samples, messages: the cost is to be shared among them
};

Result quietStep();
Result leastQuietStep();
Result idleStep();
Result leastIdleStep();
Result rampStep();
Result leastRampStep();
Result clipStep();
Result leastClipStep();
Result processStartStep();
Result leastProcessStartStep();
Result sample();
Result leastSample();

Result droppedMessage();
Result writtenMessage();
Result leastWrittenMessage();

Result listedStart();
Result actingStart();
Result startToWrite();
Result leastStart();

struct HeapOverDay {
    std::int64_t afterFirstHour = 0;  // bytes
    std::int64_t afterLastHour = 0;
};

HeapOverDay heapOverDay();

}  // namespace kelvane::bench
