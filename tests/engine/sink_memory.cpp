// The sink is the one thing that the product allocates without an exception.
#include "tests/engine/sink_memory.h"

#include "tests/support/call_list.h"

#include <cstdlib>
#include <new>

using kelvane::EventSink;
using kelvane::tests::note;
using kelvane::tests::sinksAreNoted;
using kelvane::tests::watchedSink;

namespace {

void* allocated(std::size_t size) noexcept { return std::malloc(size > 0 ? size : 1); }

void giveBack(void* memory)
{
    if (memory && memory == watchedSink) {
        watchedSink = nullptr;
        note("delete sink");
    }
    std::free(memory);
}

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    void* const memory = allocated(size);
    if (sinksAreNoted && size == sizeof(EventSink)) {
        watchedSink = static_cast<EventSink*>(memory);
        note("new sink");
    }
    return memory;
}

void* operator new(std::size_t size)
{
    void* const memory = allocated(size);
    if (!memory) throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept { giveBack(memory); }

void operator delete(void* memory, std::size_t /*size*/) noexcept { giveBack(memory); }

void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept { giveBack(memory); }
