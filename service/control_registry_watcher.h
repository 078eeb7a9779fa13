// service/control_registry_watcher.h: the control value with which a companion application switches scaling.
#pragma once

#include <windows.h>

#include <atomic>

namespace kelvane {

extern std::atomic<DWORD> g_lastRegistryStatus;        // of the watcher's last registry call or wait; nobody reads it
extern std::atomic<const void*> g_currentSettingData;  // the control value as read last; 2 before; nobody reads it

// Waits for changes of the control key and reads the value after each: 2 opens the engine's gate, anything else asks
// the engine to stop. Runs on a detached thread, started by the worker; it is not woken when the service stops. Returns
// 0. No exception leaves it.
DWORD registryNotify();

}  // namespace kelvane
