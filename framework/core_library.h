// framework/core_library.h: loads the framework core and checks its interface record.
//
// The core is found and loaded at run time, so that the service starts on machines without the framework. Once loaded
// it stays loaded until the process ends. Init may be repeated in one process (each start of the engine does);
// meanwhile other threads may still call through the record of the earlier one, so records are replaced whole and never
// freed.
#pragma once

#include "framework/core_directory.h"
#include "framework/orq_interface.h"

#include <windows.h>

namespace kelvane {

// What is known of one load attempt; allocated, zeroed, from the process heap.
struct ModuleRecord {
    HMODULE module;   // null when the load failed
    DWORD lastError;  // right after the load attempt, or after a failed look-up of the export
    char* errorText;  // the system's words for lastError, released with LocalFree; null until asked for
};

// One per process, zero at start; touched only by the thread that runs Init.
struct LoaderState {
    char path[pathCapacity];  // the library's full path, as loaded
    ModuleRecord* module;     // null when nothing is loaded
    GetOrqInterfaceFunction getOrqInterface;
    OrqInterface record;  // the last one that was filled in
};

extern LoaderState g_loader;

// Loads the core and calls its slot 1. Returns the loader's status (framework/status.h), else slot 1's result. Called
// by the scaling loop's thread. A failing slot 1 leaves the library loaded.
int Init();

// Loads `name` (null: the module that this code lies in) and checks its interface record. A failure is written to the
// standard error stream, and everything is unloaded again.
int loadLibrary(LoaderState* state, const char* name);

// Releases the library and forgets its interface; the path stays for messages.
void unloadLibrary(LoaderState& state);

// The system's text for the record's last error, "N/A" when there is none. Valid until the next call for the record.
const char* systemErrorText(ModuleRecord* record);

// The interface that is in force; every slot is empty while nothing is loaded. Any thread. Callers check the slot
// before each call, and use one reference for the check and the call.
const OrqInterface& coreInterface();

}  // namespace kelvane
