// tests/support/import_swap.h: replaces one imported function for the life of a scope.
//
// `__imp_NAME` is the import's slot in this program's own table (simulator/platform/import_slots.h):
//
//     const ImportSwap sleep(__imp_Sleep, &fakeSleep);
//
// Swap before the code under test is called: compiled loops may keep the slot's value in a register.
#pragma once

#include "simulator/platform/import_slot.h"
#include "simulator/platform/import_slots.h"

namespace kelvane::tests {

template<class Function>
class ImportSwap {
public:
    ImportSwap(Function& importSlot, Function fake) : slot(importSlot), original(importSlot)
    {
        simulator::setImport(slot, fake);
    }

    ~ImportSwap() { simulator::setImport(slot, original); }

    ImportSwap(const ImportSwap&) = delete;
    ImportSwap& operator=(const ImportSwap&) = delete;

    Function real() const { return original; }

private:
    Function& slot;
    Function original;
};

}  // namespace kelvane::tests
