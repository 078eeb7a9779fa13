// service/capability_check.h: tells other software whether the framework's drivers are installed.
#pragma once

#include <windows.h>

#include <string>

namespace kelvane {

// Publishes 2 in the registry value "Capability" when both drivers are installed, else 1. Called once per service start
// by the worker. The service itself does not act on the answer. No exception leaves it.
void capabilityCheck();

// Writes `value` as "Capability" under `subkey` of HKEY_LOCAL_MACHINE, which must exist. No exception leaves it.
void registry_write(const std::wstring& subkey, DWORD type, DWORD value);

}  // namespace kelvane
