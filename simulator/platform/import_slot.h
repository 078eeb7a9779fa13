// simulator/platform/import_slot.h: puts a function of one's own into a slot of the import table.
//
// An import's slot, `__imp_NAME` to the linker, holds the address of the function that a call of NAME reaches. Most
// linkers keep the table in a read-only section, so a slot is writable only while it is written here, and nobody writes
// to one in another way. Code inside a loop around the call may have read the slot before.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <type_traits>

namespace kelvane::simulator {

// Makes some bytes of the import table writable for the life of a scope; scopes of other threads wait. Throws
// std::runtime_error, with nothing changed, where Windows refuses.
class WritableSlot {
public:
    WritableSlot(void* firstByte, std::size_t byteCount);
    ~WritableSlot();
    WritableSlot(const WritableSlot&) = delete;
    WritableSlot& operator=(const WritableSlot&) = delete;

private:
    std::unique_lock<std::mutex> turn;
    void* first;
    std::size_t bytes;
    std::uint32_t protection = 0;  // of before
};

// Stores `value` in `slot`. Throws what WritableSlot throws. Any thread.
template<class Slot>
void setImport(Slot& slot, std::type_identity_t<Slot> value)
{
    const WritableSlot writable(reinterpret_cast<void*>(&slot), sizeof slot);
    slot = value;
}

}  // namespace kelvane::simulator
