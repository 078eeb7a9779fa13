// tests/engine/watched_buffer.h: a piece of memory that malloc hands out for one size, so that its use can be seen.
//
// What lies behind the piece is the test's, too: code that reads too far reads the test's text. The call that can fail
// is "malloc, rendered event" (failing_calls.h). malloc and free are the C library's, imported like any other function.
#pragma once

#include "simulator/platform/import_slot.h"
#include "simulator/platform/import_slots.h"
#include "tests/support/failing_calls.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

namespace kelvane::tests {

class WatchedBuffer {
public:
    // malloc(size) answers the start of a memory that is full of `content`.
    WatchedBuffer(std::size_t size, const std::string& content)  // one in each process
    {
        std::memcpy(memory.data(), content.data(), content.size());
        watchedSize = size;
        simulator::setImport(__imp_malloc, allocate);
        simulator::setImport(__imp_free, release);
    }

    ~WatchedBuffer()
    {
        simulator::setImport(__imp_malloc, realMalloc);
        simulator::setImport(__imp_free, realFree);
    }

    WatchedBuffer(const WatchedBuffer&) = delete;
    WatchedBuffer& operator=(const WatchedBuffer&) = delete;

    // How often it was asked for, and how often handed out but not freed.
    static inline int asked = 0;
    static inline int held = 0;
    static inline std::function<void()> onAllocate;  // called before the memory is handed out

private:
    static void* allocate(std::size_t size) noexcept
    {
        if (size != watchedSize) return realMalloc(size);
        asked += 1;
        if (onAllocate) onAllocate();
        if (callFails("malloc, rendered event")) return nullptr;
        held += 1;
        return memory.data();
    }

    static void release(void* pointer) noexcept
    {
        if (pointer != memory.data()) return realFree(pointer);
        held -= 1;
    }

    alignas(16) static inline std::array<char, 4096> memory;
    static inline std::size_t watchedSize;
    static inline const auto realMalloc = __imp_malloc;
    static inline const auto realFree = __imp_free;
};

}  // namespace kelvane::tests
