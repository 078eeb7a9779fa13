// simulator/linux/include/knownfolders.h: the one folder that the service asks for.
#pragma once

#include <windows.h>

constexpr GUID FOLDERID_RoamingAppData = {
    0x3EB685DB, 0x65F9, 0x4CF6, { 0xA0, 0x3A, 0xE3, 0xEF, 0x65, 0x72, 0x9F, 0x3D }
};
