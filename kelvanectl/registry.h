// kelvanectl/registry.h: reads below HKEY_LOCAL_MACHINE; nothing is written.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace kelvane {

// Of anything on this machine: it is there or not, or this prompt may not see it.
enum class Presence { absent, present, unseen };

// By the error of a call that looked for it.
Presence presenceBy(LSTATUS status);

struct RegistryValue {
    Presence presence = Presence::absent;
    DWORD type = REG_NONE;
    std::vector<BYTE> data;
};

Presence keyPresence(const std::wstring& key);
RegistryValue readValue(const std::wstring& key, const wchar_t* name);

// Its first four bytes as a number; none when there are fewer.
std::optional<DWORD> numberOf(const RegistryValue& value);

// Its text, with variables of the environment replaced; empty when it is no text.
std::wstring textOf(const RegistryValue& value);

}  // namespace kelvane
