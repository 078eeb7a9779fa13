// A file whose handle says that it is to be deleted goes away with the handle, however the process ends. At the end the
// handle takes that back.
#include "simulator/replay/new_file.h"

#include <windows.h>

#include <cerrno>
#include <fcntl.h>
#include <io.h>
#include <system_error>

namespace kelvane::simulator {

namespace {

constexpr int renameTries = 100;
constexpr DWORD renamePauseMs = 20;

int interruptedCode = 1;

void keepError(DWORD code)
{
    errno = std::error_code(static_cast<int>(code), std::system_category()).default_error_condition().value();
}

bool deleteOnClose(HANDLE file, BOOLEAN wanted)
{
    FILE_DISPOSITION_INFO disposition{ wanted };
    return SetFileInformationByHandle(file, FileDispositionInfo, &disposition, sizeof disposition) != FALSE;
}

std::FILE* streamOf(HANDLE file)
{
    const int descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(file), _O_BINARY);
    return descriptor < 0 ? nullptr : _fdopen(descriptor, "wb");
}

HANDLE handleOf(std::FILE* file) { return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file))); }

// Another program that is putting its own file there, or looks at it, is done in a moment. (Sleep is the replay's own.)
bool replace(const std::filesystem::path& unfinished, const std::filesystem::path& place)
{
    for (int tries = renameTries;; --tries) {
        if (MoveFileExW(unfinished.c_str(), place.c_str(), MOVEFILE_REPLACE_EXISTING)) return true;
        const DWORD error = GetLastError();
        if (tries == 0 || (error != ERROR_ACCESS_DENIED && error != ERROR_SHARING_VIOLATION)) return false;
        SleepEx(renamePauseMs, FALSE);
    }
}

// The files go away with their handles.
BOOL WINAPI endProcess(DWORD /*kind*/)
{
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(interruptedCode));
    return TRUE;
}

}  // namespace

bool isNoFile(const std::filesystem::path& place)
{
    HANDLE there = CreateFileW(place.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                               OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (there == INVALID_HANDLE_VALUE) return false;
    const bool file = GetFileType(there) == FILE_TYPE_DISK;
    CloseHandle(there);
    const DWORD attributes = GetFileAttributesW(place.c_str());
    return !file || (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0);
}

std::FILE* openUnfinished(const std::filesystem::path& path)
{
    HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE | DELETE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                              CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        keepError(GetLastError());
        return nullptr;
    }
    deleteOnClose(file, TRUE);
    return streamOf(file);
}

std::FILE* openInPlace(const std::filesystem::path& path) { return _wfopen(path.c_str(), L"wb"); }

bool takePlace(std::FILE* file, const std::filesystem::path& unfinished, const std::filesystem::path& place)
{
    deleteOnClose(handleOf(file), FALSE);
    if (std::fclose(file) == 0 && replace(unfinished, place)) return true;
    keepError(GetLastError());
    const int error = errno;
    DeleteFileW(unfinished.c_str());
    errno = error;
    return false;
}

std::filesystem::path nameBeside(const std::filesystem::path& place)
{
    // Programs of different Wine prefixes may have the same process id.
    LARGE_INTEGER ticks{};
    QueryPerformanceCounter(&ticks);
    return place.parent_path() /
           (".kelvane-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(ticks.QuadPart) + ".new");
}

void endWhenInterrupted(int code)
{
    interruptedCode = code;
    SetConsoleCtrlHandler(endProcess, TRUE);
}

}  // namespace kelvane::simulator
