#include "kelvanectl/registry.h"

#include <cstring>

namespace kelvane {

Presence presenceBy(LSTATUS status)
{
    switch (status) {
    case ERROR_SUCCESS: return Presence::present;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_SERVICE_DOES_NOT_EXIST: return Presence::absent;
    default: return Presence::unseen;
    }
}

Presence keyPresence(const std::wstring& key)
{
    HKEY opened = nullptr;
    const LSTATUS status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &opened);
    if (status == ERROR_SUCCESS) RegCloseKey(opened);
    return presenceBy(status);
}

RegistryValue readValue(const std::wstring& key, const wchar_t* name)
{
    RegistryValue value;
    HKEY opened = nullptr;
    LSTATUS status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &opened);
    if (status == ERROR_SUCCESS) {
        DWORD size = 0;
        do {  // until it has not grown in between
            value.data.resize(size);
            status = RegQueryValueExW(opened, name, nullptr, &value.type, size ? value.data.data() : nullptr, &size);
        } while (status == ERROR_MORE_DATA || (status == ERROR_SUCCESS && size > value.data.size()));
        value.data.resize(status == ERROR_SUCCESS ? size : 0);
        RegCloseKey(opened);
    }
    value.presence = presenceBy(status);
    return value;
}

std::optional<DWORD> numberOf(const RegistryValue& value)
{
    DWORD number = 0;
    if (value.data.size() < sizeof number) return {};
    std::memcpy(&number, value.data.data(), sizeof number);
    return number;
}

std::wstring textOf(const RegistryValue& value)
{
    if (value.type != REG_SZ && value.type != REG_EXPAND_SZ) return {};
    std::wstring text(value.data.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), value.data.data(), text.size() * sizeof(wchar_t));
    text.resize(text.find(L'\0') == std::wstring::npos ? text.size() : text.find(L'\0'));
    std::wstring expanded(ExpandEnvironmentStringsW(text.c_str(), nullptr, 0), L'\0');
    const DWORD length = ExpandEnvironmentStringsW(text.c_str(), expanded.data(), static_cast<DWORD>(expanded.size()));
    if (length == 0 || length > expanded.size()) return text;
    expanded.resize(length - 1);
    return expanded;
}

}  // namespace kelvane
