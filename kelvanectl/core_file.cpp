#include "kelvanectl/core_file.h"

#include "framework/core_directory.h"
#include "kelvanectl/console.h"
#include "kelvanectl/installed_service.h"
#include "state/names.h"

#include <windows.h>

namespace kelvane {

CoreFile findCore()
{
    CoreFile core;
    char path[pathCapacity] = {};
    lookForCore(coreLibraryName, path);
    core.path = toWide(ansiToUtf8(path));
    const DWORD attributes = GetFileAttributesA(path);
    core.present = attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
    core.isLink = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT);
    if (core.present) core.version = fileVersion(core.path);
    return core;
}

}  // namespace kelvane
