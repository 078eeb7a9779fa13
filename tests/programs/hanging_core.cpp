// A framework core that cannot be initialised, and that never lets go of a process that tells it of its end.
#include "framework/orq_interface.h"

#include <windows.h>

#include <cstring>

static int refuse() { return 1000; }

extern "C" __declspec(dllexport) int GetOrqInterface(kelvane::OrqInterface* record)
{
    const kelvane::OrqSlot slot = refuse;
    for (std::size_t at = offsetof(kelvane::OrqInterface, Init); at < sizeof *record; at += sizeof slot) {
        std::memcpy(reinterpret_cast<char*>(record) + at, &slot, sizeof slot);
    }
    return 0;
}

BOOL WINAPI DllMain(HINSTANCE /*library*/, DWORD reason, LPVOID /*unused*/)
{
    if (reason == DLL_PROCESS_DETACH) Sleep(INFINITE);
    return TRUE;
}
