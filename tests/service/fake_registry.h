// tests/service/fake_registry.h: the registry, and the event and the wait of those who watch it.
//
// Every call is noted. Handles count up from 1 with each successful opening; all calls succeed until a test says
// otherwise.
#pragma once

#include "tests/support/import_swap.h"

#include <windows.h>

#include <deque>
#include <functional>
#include <map>
#include <string>

namespace kelvane::tests {

class FakeRegistry {
public:
    FakeRegistry();  // one at a time
    ~FakeRegistry();
    FakeRegistry(const FakeRegistry&) = delete;
    FakeRegistry& operator=(const FakeRegistry&) = delete;

    std::function<LSTATUS(const std::string& subkey)> onOpen;
    std::function<LSTATUS()> onNotify;
    LSTATUS setResult = ERROR_SUCCESS;
    bool makesEvent = true;

    // The one value that a query finds.
    bool valueExists = true;
    DWORD type = REG_DWORD;
    std::string value;

    // What happens at each wait, and its result. A wait for which there is no entry fails.
    std::deque<std::function<DWORD()>> waits;

private:
    template<class Function>
    using Swap = ImportSwap<Function>;

    Swap<decltype(&RegOpenKeyExW)> open;
    Swap<decltype(&RegCloseKey)> closeKey;
    Swap<decltype(&RegQueryValueExW)> query;
    Swap<decltype(&RegSetValueExW)> set;
    Swap<decltype(&RegNotifyChangeKeyValue)> notify;
    Swap<decltype(&CreateEventW)> createEvent;
    Swap<decltype(&WaitForSingleObject)> wait;
    Swap<decltype(&CloseHandle)> closeHandle;
    std::uintptr_t opened = 0;

    friend struct RegistryCalls;
};

// The bytes of a REG_DWORD and of a text with its terminator.
std::string dword(std::uint32_t number);
std::string wideText(const std::wstring& text);

}  // namespace kelvane::tests
