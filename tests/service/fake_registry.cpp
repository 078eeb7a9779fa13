// The imports of advapi32 and kernel32; what concerns other handles is passed on.
#include "tests/service/fake_registry.h"

#include "diagnostics/ansi_text.h"
#include "simulator/platform/import_slots.h"
#include "tests/support/call_list.h"
#include "tests/support/failing_calls.h"

#include <cstring>
#include <utility>

namespace kelvane::tests {

namespace {

const auto changeEvent = reinterpret_cast<HANDLE>(0xE0E4);
constexpr LSTATUS keyDeleted = 1018;
FakeRegistry* registry;

std::string nameOf(HKEY key) { return "key" + std::to_string(reinterpret_cast<std::uintptr_t>(key)); }

}  // namespace

struct RegistryCalls {
    static LSTATUS WINAPI open(HKEY root, LPCWSTR subkey, DWORD options, REGSAM access, PHKEY key)
    {
        if (registry->onOpen) registry->onOpen();
        const std::string call = (root == HKEY_LOCAL_MACHINE ? "open " : "open elsewhere ") + toAnsi(subkey) + ", " +
                                 std::to_string(options) + ", " + std::to_string(access);
        note(call);
        if (registry->nullKeys) *key = nullptr;
        if (callFails(call)) return ERROR_FILE_NOT_FOUND;
        registry->opened.push_back(call);
        if (!registry->nullKeys) *key = reinterpret_cast<HKEY>(registry->opened.size());
        return ERROR_SUCCESS;
    }

    static LSTATUS WINAPI closeKey(HKEY key)
    {
        note("close " + nameOf(key));
        if (key) registry->closed.push_back(registry->opened.at(reinterpret_cast<std::uintptr_t>(key) - 1));
        return ERROR_SUCCESS;
    }

    static LSTATUS WINAPI query(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size)
    {
        note("query " + nameOf(key) + ", " + toAnsi(name) + ", " + std::to_string(*size) +
             (!reserved && type && data ? "" : ", unusual"));
        if (callFails("RegQueryValueExW") || !registry->valueExists) return ERROR_FILE_NOT_FOUND;
        const DWORD offered = *size;
        *size = static_cast<DWORD>(registry->value.size());
        if (*size > offered) return ERROR_MORE_DATA;
        *type = registry->type;
        std::memcpy(data, registry->value.data(), registry->value.size());
        return ERROR_SUCCESS;
    }

    static LSTATUS WINAPI set(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size)
    {
        DWORD number = 0;
        std::memcpy(&number, data, sizeof number);
        note("set " + nameOf(key) + ", " + toAnsi(name) + ", " + std::to_string(reserved) + ", " +
             std::to_string(type) + ", " + std::to_string(size) + " bytes: " + std::to_string(number));
        return callFails("RegSetValueExW") ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
    }

    static LSTATUS WINAPI notify(HKEY key, BOOL subtree, DWORD filter, HANDLE event, BOOL asynchronous)
    {
        note("notify " + nameOf(key) + ", " + std::to_string(subtree) + ", " + std::to_string(filter) +
             (event == changeEvent ? ", event, " : ", ?, ") + std::to_string(asynchronous));
        const bool again = std::exchange(registry->watched, true);
        if (callFails(again ? "RegNotifyChangeKeyValue again" : "RegNotifyChangeKeyValue")) return keyDeleted;
        return registry->onNotify ? registry->onNotify() : ERROR_SUCCESS;
    }

    static HANDLE WINAPI createEvent(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL signalled, LPCWSTR name)
    {
        // The run-time library makes events without manual reset, others before any key is open.
        if (!manualReset || registry->opened.empty()) {
            return registry->createEvent.real()(attributes, manualReset, signalled, name);
        }
        note("create event " + std::to_string(manualReset) + ", " + std::to_string(signalled) +
             (!attributes && !name ? "" : ", unusual"));
        return callFails("CreateEventW, change") ? nullptr : changeEvent;
    }

    static DWORD WINAPI wait(HANDLE handle, DWORD ms)
    {
        if (handle != changeEvent) return registry->wait.real()(handle, ms);
        note(ms == INFINITE ? "wait" : "wait " + std::to_string(ms));
        if (registry->waits.empty()) return WAIT_FAILED;
        const std::function<DWORD()> happens = registry->waits.front();
        registry->waits.pop_front();
        return happens();
    }

    static BOOL WINAPI closeHandle(HANDLE handle)
    {
        if (handle != changeEvent) return registry->closeHandle.real()(handle);
        note("close event");
        return TRUE;
    }
};

FakeRegistry::FakeRegistry()
    : open(__imp_RegOpenKeyExW, &RegistryCalls::open), closeKey(__imp_RegCloseKey, &RegistryCalls::closeKey),
      query(__imp_RegQueryValueExW, &RegistryCalls::query), set(__imp_RegSetValueExW, &RegistryCalls::set),
      notify(__imp_RegNotifyChangeKeyValue, &RegistryCalls::notify),
      createEvent(__imp_CreateEventW, &RegistryCalls::createEvent),
      wait(__imp_WaitForSingleObject, &RegistryCalls::wait), closeHandle(__imp_CloseHandle, &RegistryCalls::closeHandle)
{
    registry = this;
}

std::string dword(std::uint32_t number)
{
    std::string bytes(sizeof number, '\0');
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
}

std::string wideText(const std::wstring& text)
{
    return { reinterpret_cast<const char*>(text.c_str()), (text.size() + 1) * sizeof(wchar_t) };
}

}  // namespace kelvane::tests
