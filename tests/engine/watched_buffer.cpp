// malloc and free are the C library's, imported like any other function.
#include "tests/engine/watched_buffer.h"

#include "simulator/platform/import_slot.h"
#include "simulator/platform/import_slots.h"
#include "tests/support/failing_calls.h"

#include <array>
#include <cstdlib>
#include <cstring>

namespace kelvane::tests {

namespace {

alignas(16) std::array<char, 4096> memory;
std::size_t watchedSize;
int timesAsked;
int timesHeld;
const auto realMalloc = __imp_malloc;
const auto realFree = __imp_free;

void* watchingMalloc(std::size_t size) noexcept
{
    if (size != watchedSize) return realMalloc(size);
    timesAsked += 1;
    if (callFails("malloc, rendered event")) return nullptr;
    timesHeld += 1;
    return memory.data();
}

void watchingFree(void* pointer) noexcept
{
    if (pointer != memory.data()) return realFree(pointer);
    timesHeld -= 1;
}

}  // namespace

WatchedBuffer::WatchedBuffer(std::size_t size, const std::string& content)
{
    std::memcpy(memory.data(), content.data(), content.size());
    watchedSize = size;
    simulator::setImport(__imp_malloc, watchingMalloc);
    simulator::setImport(__imp_free, watchingFree);
}

WatchedBuffer::~WatchedBuffer()
{
    simulator::setImport(__imp_malloc, realMalloc);
    simulator::setImport(__imp_free, realFree);
}

int WatchedBuffer::asked() { return timesAsked; }

int WatchedBuffer::held() { return timesHeld; }

}  // namespace kelvane::tests
