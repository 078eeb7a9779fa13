// tests/engine/watched_buffer.h: a piece of memory that malloc hands out for one size, so that its use can be seen.
//
// What lies behind the piece is the test's, too: code that reads too far reads the test's text. The call that can fail
// is "malloc, rendered event" (failing_calls.h).
#pragma once

#include <cstddef>
#include <string>

namespace kelvane::tests {

class WatchedBuffer {
public:
    // malloc(size) answers the start of a memory that is full of `content`.
    WatchedBuffer(std::size_t size, const std::string& content);  // one in each process
    ~WatchedBuffer();
    WatchedBuffer(const WatchedBuffer&) = delete;
    WatchedBuffer& operator=(const WatchedBuffer&) = delete;

    // How often it was asked for, and how often handed out but not freed.
    static int asked();
    static int held();
};

}  // namespace kelvane::tests
