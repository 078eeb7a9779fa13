// tests/support/store_watch.h: the order in which code stores into global variables, seen by the processor's own means.
//
// The variables' pages are made read-only, so that each store traps; the trap lets the one instruction run, and then
// notes what it has stored. One watch at a time, and only the thread that watches may store into the pages meanwhile.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace kelvane::tests {

struct WatchedVariable {
    const char* name;
    const void* address;
    std::string (*value)();
};

template<class Value>
std::string storedText(const Value& value)
{
    if constexpr (std::is_pointer_v<Value>) {
        return value ? "set" : "null";
    } else {
        return std::to_string(value);
    }
}

template<class Value>
std::string storedText(const std::atomic<Value>& value)
{
    return storedText(value.load());
}

// The versions of the formatter lay this out differently.
// clang-format off
#define WATCHED(variable) \
    kelvane::tests::WatchedVariable { #variable, &(variable), [] { return kelvane::tests::storedText(variable); } }

// clang-format on

class StoreWatch {
public:
    using Note = std::function<void(const std::string& name, const std::string& value)>;

    // From now on each store into one of `variables` is noted, with the value that it has left.
    StoreWatch(std::vector<WatchedVariable> variables, Note note);
    ~StoreWatch();
    StoreWatch(const StoreWatch&) = delete;
    StoreWatch& operator=(const StoreWatch&) = delete;

    // Called once, when a store into one of the variables is about to happen. What it changes there is lost, unless the
    // instruction that stores reads as well.
    std::function<void()> beforeNextStore;

    // For the system's handlers of traps: a store to `address` is about to happen, or has happened. Return false when
    // the trap is none of the watch's.
    static bool beforeStore(std::uintptr_t address);
    static bool afterStore();

private:
    static constexpr std::uintptr_t pageSize = 4096;

    // What the system does (store_watch_linux.cpp, store_watch_windows.cpp).
    static void catchTraps();
    static void releaseTraps();
    static void allowStores(std::uintptr_t page, bool allowed);

    void allowStores(bool allowed) const;

    std::vector<WatchedVariable> watched;
    Note noteStore;
    std::vector<std::uintptr_t> pages;
    std::uintptr_t stored = 0;  // address of the store that is under way

    static inline StoreWatch* current = nullptr;
};

inline StoreWatch::StoreWatch(std::vector<WatchedVariable> variables, Note note)
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

inline StoreWatch::~StoreWatch()
{
    allowStores(true);
    current = nullptr;
    releaseTraps();
}

inline bool StoreWatch::beforeStore(std::uintptr_t address)
{
    if (!current) return false;
    const std::vector<std::uintptr_t>& pages = current->pages;
    if (std::find(pages.begin(), pages.end(), address / pageSize * pageSize) == pages.end()) return false;
    current->allowStores(true);
    current->stored = address;
    const auto isIt = [=](const WatchedVariable& one) { return one.address == reinterpret_cast<void*>(address); };
    if (current->beforeNextStore && std::any_of(current->watched.begin(), current->watched.end(), isIt)) {
        std::exchange(current->beforeNextStore, nullptr)();
    }
    return true;
}

inline bool StoreWatch::afterStore()
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

inline void StoreWatch::allowStores(bool allowed) const
{
    for (const std::uintptr_t page : pages) allowStores(page, allowed);
}

}  // namespace kelvane::tests
