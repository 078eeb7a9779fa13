// For a program linked with -Wl,--wrap=malloc,--wrap=free: both go through the slots that they have on Windows.
#include <cstdlib>

extern "C" {
decltype(std::malloc) __real_malloc;
decltype(std::free) __real_free;
decltype(std::malloc) __wrap_malloc;
decltype(std::free) __wrap_free;

constinit decltype(&std::malloc) __imp_malloc = __real_malloc;
constinit decltype(&std::free) __imp_free = __real_free;

void* __wrap_malloc(std::size_t size) noexcept { return __imp_malloc(size); }

void __wrap_free(void* memory) noexcept { __imp_free(memory); }
}
