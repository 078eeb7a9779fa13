// Traps as exceptions: a refused store, and the end of a single step.
#include "tests/support/store_watch.h"

#include <windows.h>

namespace kelvane::tests {

namespace {

constexpr DWORD singleStep = 0x100;  // the trap flag

PVOID handler;

LONG CALLBACK onTrap(EXCEPTION_POINTERS* trap)
{
    const EXCEPTION_RECORD& record = *trap->ExceptionRecord;
    if (record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION && record.ExceptionInformation[0] == 1 &&
        StoreWatch::beforeStore(record.ExceptionInformation[1])) {
        trap->ContextRecord->EFlags |= singleStep;
        return EXCEPTION_CONTINUE_EXECUTION;
    }
    if (record.ExceptionCode == EXCEPTION_SINGLE_STEP && StoreWatch::afterStore()) return EXCEPTION_CONTINUE_EXECUTION;
    return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

void StoreWatch::catchTraps() { handler = AddVectoredExceptionHandler(1, &onTrap); }

void StoreWatch::releaseTraps() { RemoveVectoredExceptionHandler(handler); }

void StoreWatch::allowStores(std::uintptr_t page, bool allowed)
{
    DWORD before = 0;
    VirtualProtect(reinterpret_cast<void*>(page), pageSize, allowed ? PAGE_READWRITE : PAGE_READONLY, &before);
}

}  // namespace kelvane::tests
