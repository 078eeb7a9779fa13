// malloc and free are the C library's, imported like any other function.
#include "tests/engine/watched_buffer.h"

#include "simulator/platform/import_slot.h"
#include "simulator/platform/import_slots.h"

#include <array>
#include <cstdlib>
#include <cstring>

namespace kelvane::tests {

namespace {

alignas(16) std::array<char, 4096> memory;
std::size_t watchedSize;
bool refuses;
int timesAsked;
int timesFreed;
decltype(&std::malloc) realMalloc;
decltype(&std::free) realFree;

void* watchingMalloc(std::size_t size) noexcept
{
    if (size != watchedSize) return realMalloc(size);
    timesAsked += 1;
    return refuses ? nullptr : memory.data();
}

void watchingFree(void* pointer) noexcept
{
    if (pointer == memory.data()) {
        timesFreed += 1;
    } else {
        realFree(pointer);
    }
}

}  // namespace

WatchedBuffer::WatchedBuffer(std::size_t size, const std::string& content, bool fails)
{
    std::memcpy(memory.data(), content.data(), content.size());
    timesAsked = 0;
    timesFreed = 0;
    refuses = fails;
    watchedSize = size;
    realMalloc = __imp_malloc;
    realFree = __imp_free;
    simulator::setImport(__imp_malloc, watchingMalloc);
    simulator::setImport(__imp_free, watchingFree);
}

WatchedBuffer::~WatchedBuffer()
{
    simulator::setImport(__imp_malloc, realMalloc);
    simulator::setImport(__imp_free, realFree);
}

int WatchedBuffer::asked() const { return timesAsked; }

int WatchedBuffer::freed() const { return timesFreed; }

}  // namespace kelvane::tests
