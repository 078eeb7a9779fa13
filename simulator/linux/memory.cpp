// Heaps are the C library's; pages are the kernel's, each piece with its size in a page before it.
#include <windows.h>

#include <dlfcn.h>
#include <objbase.h>
#include <sys/mman.h>

#include <cstdlib>

namespace {

constexpr SIZE_T page = 4096;

void* allocate(HANDLE /*heap*/, DWORD flags, SIZE_T bytes)
{
    return flags & HEAP_ZERO_MEMORY ? std::calloc(1, bytes) : std::malloc(bytes);
}

int protectionOf(DWORD access)
{
    switch (access) {
    case PAGE_READWRITE: return PROT_READ | PROT_WRITE;
    case PAGE_READONLY: return PROT_READ;
    default: return PROT_NONE;
    }
}

BOOL protect(LPVOID address, SIZE_T bytes, DWORD access, PDWORD before)
{
    // Whole pages, as many as the bytes touch.
    const auto first = reinterpret_cast<std::uintptr_t>(address);
    const std::uintptr_t begin = first & ~(page - 1);
    *before = PAGE_READWRITE;
    return mprotect(reinterpret_cast<void*>(begin), first + bytes - begin, protectionOf(access)) == 0;
}

}  // namespace

HANDLE GetProcessHeap() { return reinterpret_cast<HANDLE>(0x4EA9); }

HLOCAL LocalAlloc(UINT /*flags*/, SIZE_T bytes) { return std::malloc(bytes); }

LPVOID CoTaskMemAlloc(SIZE_T bytes) { return std::malloc(bytes); }

LPVOID VirtualAlloc(LPVOID /*address*/, SIZE_T bytes, DWORD /*type*/, DWORD access)
{
    void* const pages = mmap(nullptr, page + bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) return nullptr;
    *static_cast<SIZE_T*>(pages) = page + bytes;
    char* const block = static_cast<char*>(pages) + page;
    mprotect(block, bytes, protectionOf(access));
    return block;
}

BOOL VirtualFree(LPVOID address, SIZE_T /*bytes*/, DWORD /*type*/)
{
    char* const pages = static_cast<char*>(address) - page;
    return munmap(pages, *reinterpret_cast<SIZE_T*>(pages)) == 0;
}

// Good for one question: whether an address lies in this program.
SIZE_T VirtualQuery(LPCVOID address, MEMORY_BASIC_INFORMATION* information, SIZE_T bytes)
{
    Dl_info found = {};
    Dl_info program = {};
    dladdr(address, &found);
    dladdr(reinterpret_cast<void*>(&GetProcessHeap), &program);
    *information = {};
    if (found.dli_fbase == program.dli_fbase) information->AllocationBase = GetModuleHandleA(nullptr);
    return bytes;
}

extern "C" {
constinit decltype(&HeapAlloc) __imp_HeapAlloc = allocate;
constinit decltype(&HeapFree) __imp_HeapFree = [](HANDLE, DWORD, LPVOID memory) -> BOOL {
    std::free(memory);
    return TRUE;
};
constinit decltype(&VirtualProtect) __imp_VirtualProtect = protect;
constinit decltype(&LocalFree) __imp_LocalFree = [](HLOCAL memory) -> HLOCAL {
    std::free(memory);
    return nullptr;
};
constinit decltype(&CoTaskMemFree) __imp_CoTaskMemFree = [](LPVOID memory) { std::free(memory); };
}
