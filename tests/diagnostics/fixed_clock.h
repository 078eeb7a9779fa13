// tests/diagnostics/fixed_clock.h: the clock behind std::chrono::system_clock, for a program linked with
// -Wl,--wrap=clock_gettime.
#pragma once

#include <ctime>

namespace kelvane::tests {

// From now on every reading is this moment, in seconds and nanoseconds since 1970 UTC.
void stopClockAt(std::time_t seconds, long nanoseconds);

// How often the stopped clock was read.
int clockReadings();

}  // namespace kelvane::tests
