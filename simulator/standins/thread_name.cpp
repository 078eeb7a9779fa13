// Looked up at run time, since import libraries of older tool chains do not have the function.
#include "simulator/standins/thread_name.h"

#include <windows.h>

namespace kelvane::simulator {

void nameThread(const wchar_t* name)
{
    using SetDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);
    const FARPROC found = GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "SetThreadDescription");
    const auto setDescription = reinterpret_cast<SetDescription>(reinterpret_cast<void*>(found));
    if (setDescription) setDescription(GetCurrentThread(), name);
}

}  // namespace kelvane::simulator
