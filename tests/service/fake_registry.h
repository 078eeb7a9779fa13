// tests/service/fake_registry.h: the registry, and the event and the wait of those who watch it.
//
// Every call is noted. Handles count up from 1 with each successful opening. A call that can fail asks failing_calls.h
// under its function's name, an opening under what is noted: "open PATH, OPTIONS, ACCESS".
#pragma once

#include "tests/support/import_swap.h"

#include <windows.h>

#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace kelvane::tests {

class FakeRegistry {
public:
    FakeRegistry();  // one at a time
    FakeRegistry(const FakeRegistry&) = delete;
    FakeRegistry& operator=(const FakeRegistry&) = delete;

    std::function<void()> onOpen;
    bool nullKeys = false;  // every opening, also one that succeeds, hands out none
    std::function<LSTATUS()> onNotify;
    std::vector<std::string> opened;  // the calls that opened the keys
    std::vector<std::string> closed;  // those of them whose keys have been closed

    // The one value that a query finds.
    bool valueExists = true;
    DWORD type = REG_DWORD;
    std::string value;

    // What happens at each wait, and its result. A wait for which there is no entry fails.
    std::deque<std::function<DWORD()>> waits;

private:
    ImportSwap<decltype(&RegOpenKeyExW)> open;
    ImportSwap<decltype(&RegCloseKey)> closeKey;
    ImportSwap<decltype(&RegQueryValueExW)> query;
    ImportSwap<decltype(&RegSetValueExW)> set;
    ImportSwap<decltype(&RegNotifyChangeKeyValue)> notify;
    ImportSwap<decltype(&CreateEventW)> createEvent;
    ImportSwap<decltype(&WaitForSingleObject)> wait;
    ImportSwap<decltype(&CloseHandle)> closeHandle;
    bool watched = false;

    friend struct RegistryCalls;
};

// Openings of the keys that the service looks at. KEY_NOTIFY is 16, KEY_READ 131097, KEY_ALL_ACCESS 983103.
constexpr char openToWatch[] = "open SYSTEM\\CurrentControlSet\\Services\\LITSSVC\\IC\\KV, 0, 16";
constexpr char openToRead[] = "open SYSTEM\\CurrentControlSet\\Services\\LITSSVC\\IC\\KV, 0, 131097";
constexpr char openAcpi[] = "open SYSTEM\\CurrentControlSet\\Services\\orq_acpi, 0, 131097";
constexpr char openCpu[] = "open SYSTEM\\CurrentControlSet\\Services\\orq_cpu, 0, 131097";
constexpr char openKv[] = "open SOFTWARE\\Tarvo\\KV, 0, 983103";

// The bytes of a REG_DWORD and of a text with its terminator.
std::string dword(std::uint32_t number);
std::string wideText(const std::wstring& text);

}  // namespace kelvane::tests
