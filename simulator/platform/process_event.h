// simulator/platform/process_event.h: what WMI hands to a sink when a process has started, without WMI.
#pragma once

#include <windows.h>

#include <oaidl.h>
#include <wbemcli.h>

#include <cstdint>
#include <string>

namespace kelvane::simulator {

// Returns an event object with one reference, the caller's. Its TargetInstance holds the process: Name as a string,
// ProcessId as a number. Other properties are unknown, and every operation but Get is refused.
IWbemClassObject* makeProcessEvent(const std::wstring& name, std::uint32_t processId);

// UTF-8 as Windows wants it; bytes that are none become the replacement character.
std::wstring fromUtf8(const std::string& text);

}  // namespace kelvane::simulator
