// One write at a time: a slot's page holds other slots, and the end of one write would protect them under another's.
#include "simulator/platform/import_slot.h"

#include <windows.h>

#include <stdexcept>
#include <string>

namespace kelvane::simulator {

namespace {

// Never destroyed: a program may swap imports until its very end.
std::mutex& writing()
{
    static std::mutex& mutex = *new std::mutex;
    return mutex;
}

}  // namespace

WritableSlot::WritableSlot(void* firstByte, std::size_t byteCount) : turn(writing()), first(firstByte), bytes(byteCount)
{
    DWORD before = 0;
    if (!VirtualProtect(first, bytes, PAGE_READWRITE, &before)) {
        throw std::runtime_error("an import cannot be replaced: its slot stays read-only, error " +
                                 std::to_string(GetLastError()));
    }
    protection = before;
}

WritableSlot::~WritableSlot()
{
    DWORD ignored = 0;
    VirtualProtect(first, bytes, protection, &ignored);
}

}  // namespace kelvane::simulator
