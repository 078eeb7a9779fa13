// The linker sends every call of clock_gettime here.
#include "tests/diagnostics/fixed_clock.h"

#include <pthread.h>

namespace kelvane::tests {

namespace {

bool stopped;
timespec moment;
int readings;

}  // namespace

void stopClockAt(std::time_t seconds, long nanoseconds)
{
    stopped = true;
    moment = {};
    moment.tv_sec = seconds;
    moment.tv_nsec = nanoseconds;
    readings = 0;
}

int clockReadings() { return readings; }

}  // namespace kelvane::tests

extern "C" {
int __real_clock_gettime(clockid_t clock, timespec* now);
int __wrap_clock_gettime(clockid_t clock, timespec* now);

int __wrap_clock_gettime(clockid_t clock, timespec* now)
{
    if (!kelvane::tests::stopped) return __real_clock_gettime(clock, now);
    kelvane::tests::readings += 1;
    *now = kelvane::tests::moment;
    return 0;
}
}
