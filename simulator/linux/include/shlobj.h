// simulator/linux/include/shlobj.h: whoever links code that asks for a known folder defines the function.
#pragma once

#include <windows.h>

using REFKNOWNFOLDERID = const GUID&;
constexpr DWORD KF_FLAG_CREATE = 0x8000;

extern "C" HRESULT SHGetKnownFolderPath(REFKNOWNFOLDERID folder, DWORD flags, HANDLE token, PWSTR* path);
