// For a program linked with -Wl,--wrap=time: std::time goes through the slot that it has on Windows.
#include <ctime>

extern "C" {
std::time_t __real_time(std::time_t* result);
std::time_t __wrap_time(std::time_t* result);

constinit decltype(__imp__time64) __imp__time64 = __real_time;

std::time_t __wrap_time(std::time_t* result) { return __imp__time64(result); }
}
