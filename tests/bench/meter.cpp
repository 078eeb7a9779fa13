// Callgrind is told by requests that mean nothing to a program that runs without it.
#include "tests/bench/meter.h"

#include <malloc.h>
#include <valgrind/callgrind.h>

#include <cstdlib>
#include <new>

namespace kelvane::bench {

namespace {

bool measuring = false;
bool aside = false;
std::uint64_t allocationCount = 0;
std::int64_t live = 0;

void* allocate(std::size_t bytes)
{
    void* const memory = std::malloc(bytes);
    if (!memory) throw std::bad_alloc();
    if (measuring && !aside) allocationCount += 1;
    live += static_cast<std::int64_t>(malloc_usable_size(memory));
    return memory;
}

void release(void* memory)
{
    live -= static_cast<std::int64_t>(malloc_usable_size(memory));
    std::free(memory);
}

}  // namespace

void begin()
{
    measuring = true;
    CALLGRIND_START_INSTRUMENTATION;
}

void end()
{
    CALLGRIND_STOP_INSTRUMENTATION;
    measuring = false;
}

Aside::Aside()
{
    CALLGRIND_TOGGLE_COLLECT;
    aside = true;
}

Aside::~Aside()
{
    aside = false;
    CALLGRIND_TOGGLE_COLLECT;
}

std::uint64_t allocations() { return allocationCount; }

std::int64_t heapBytes() { return live; }

}  // namespace kelvane::bench

void* operator new(std::size_t bytes) { return kelvane::bench::allocate(bytes); }

void operator delete(void* memory) noexcept { kelvane::bench::release(memory); }

void operator delete(void* memory, std::size_t /*bytes*/) noexcept { kelvane::bench::release(memory); }
