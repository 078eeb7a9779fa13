// tests/framework/store_watch.h: the order in which code stores into global variables, seen by the processor's own
// means.
//
// The variables' pages are made read-only, so that each store traps; the trap notes the address and lets the one
// instruction run. One at a time, and only the thread that watches may store.
#pragma once

#include <windows.h>

#include <cstdint>
#include <set>
#include <stdexcept>
#include <vector>

namespace kelvane::tests {

class StoreWatch {
public:
    explicit StoreWatch(const std::vector<const void*>& variables)
    {
        for (const void* const variable : variables) {
            pages.insert(reinterpret_cast<std::uintptr_t>(variable) / pageSize * pageSize);
        }
        stores.reserve(100);
    }

    // The addresses that `code` stored to in the variables' pages, in order.
    template<class Code>
    std::vector<const void*> during(Code code)
    {
        const auto handler = AddVectoredExceptionHandler(1, &onTrap);
        current = this;
        protect(PAGE_READONLY);
        code();
        protect(PAGE_READWRITE);
        RemoveVectoredExceptionHandler(handler);
        return stores;
    }

private:
    static constexpr std::uintptr_t pageSize = 4096;
    static constexpr DWORD singleStep = 0x100;  // the trap flag

    static LONG CALLBACK onTrap(EXCEPTION_POINTERS* trap);

    void protect(DWORD access) const
    {
        for (const std::uintptr_t page : pages) {
            DWORD before = 0;
            VirtualProtect(reinterpret_cast<void*>(page), pageSize, access, &before);
        }
    }

    std::set<std::uintptr_t> pages;
    std::vector<const void*> stores;

    static inline StoreWatch* current = nullptr;
};

inline LONG CALLBACK StoreWatch::onTrap(EXCEPTION_POINTERS* trap)
{
    const EXCEPTION_RECORD& record = *trap->ExceptionRecord;
    if (record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION && record.ExceptionInformation[0] == 1 &&
        current->pages.count(record.ExceptionInformation[1] / pageSize * pageSize) != 0) {
        current->protect(PAGE_READWRITE);
        current->stores.push_back(reinterpret_cast<const void*>(record.ExceptionInformation[1]));
        trap->ContextRecord->EFlags |= singleStep;
        return EXCEPTION_CONTINUE_EXECUTION;
    }
    if (record.ExceptionCode == EXCEPTION_SINGLE_STEP) {
        current->protect(PAGE_READONLY);
        return EXCEPTION_CONTINUE_EXECUTION;
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace kelvane::tests
