// tests/engine/watched_buffer.h: a piece of memory that malloc hands out for one size, so that its use can be seen.
//
// What lies behind the piece is the test's, too: code that reads too far reads the test's text.
#pragma once

#include <cstddef>
#include <string>

namespace kelvane::tests {

class WatchedBuffer {
public:
    // malloc(size) answers the start of a memory that is full of `content`; a null pointer when `fails`.
    WatchedBuffer(std::size_t size, const std::string& content, bool fails = false);
    ~WatchedBuffer();
    WatchedBuffer(const WatchedBuffer&) = delete;
    WatchedBuffer& operator=(const WatchedBuffer&) = delete;

    int asked() const;
    int freed() const;
};

}  // namespace kelvane::tests
