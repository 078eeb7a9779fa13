// tests/support/guarded_block.h: memory that ends where the next page cannot be touched, so that reading or writing one
// byte too many crashes the test.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstring>
#include <new>

namespace kelvane::tests {

class GuardedBlock {
public:
    explicit GuardedBlock(std::size_t bytes, unsigned char fill = 0xCC) : size(bytes)
    {
        constexpr std::size_t page = 4096;
        const std::size_t usable = (bytes + page - 1) / page * page;
        void* const pages = VirtualAlloc(nullptr, usable + page, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
        if (!pages) throw std::bad_alloc();
        start = static_cast<char*>(pages);
        DWORD before = 0;
        VirtualProtect(start + usable, page, PAGE_NOACCESS, &before);
        block = start + usable - bytes;
        std::memset(block, fill, bytes);
    }

    ~GuardedBlock() { VirtualFree(start, 0, MEM_RELEASE); }

    GuardedBlock(const GuardedBlock&) = delete;
    GuardedBlock& operator=(const GuardedBlock&) = delete;

    char* data() const { return block; }

    const std::size_t size;

private:
    char* start;
    char* block;
};

}  // namespace kelvane::tests
