#include "tests/support/store_watch.h"

#include <algorithm>

namespace kelvane::tests {

StoreWatch::StoreWatch(std::vector<WatchedVariable> variables, Note note)
    : watched(std::move(variables)), noteStore(std::move(note))
{
    for (const WatchedVariable& variable : watched) {
        const std::uintptr_t page = reinterpret_cast<std::uintptr_t>(variable.address) / pageSize * pageSize;
        if (std::find(pages.begin(), pages.end(), page) == pages.end()) pages.push_back(page);
    }
    catchTraps();
    current = this;
    allowStores(false);
}

StoreWatch::~StoreWatch()
{
    allowStores(true);
    current = nullptr;
    releaseTraps();
}

bool StoreWatch::beforeStore(std::uintptr_t address)
{
    if (!current) return false;
    const std::vector<std::uintptr_t>& pages = current->pages;
    if (std::find(pages.begin(), pages.end(), address / pageSize * pageSize) == pages.end()) return false;
    current->allowStores(true);
    current->stored = address;
    return true;
}

bool StoreWatch::afterStore()
{
    if (!current || current->stored == 0) return false;
    for (const WatchedVariable& variable : current->watched) {
        if (reinterpret_cast<std::uintptr_t>(variable.address) == current->stored) {
            current->noteStore(variable.name, variable.value());
        }
    }
    current->stored = 0;
    current->allowStores(false);
    return true;
}

void StoreWatch::allowStores(bool allowed) const
{
    for (const std::uintptr_t page : pages) allowStores(page, allowed);
}

}  // namespace kelvane::tests
