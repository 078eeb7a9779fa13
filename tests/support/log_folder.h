// tests/support/log_folder.h: a roaming application-data folder of the test process's own.
//
// The diagnostic log is made before main, so this program defines SHGetKnownFolderPath itself. The first lookup makes a
// temporary folder in which an earlier process seems to have left "KelvanneApp\logs\KelvanneApp.log" with some text.
// The folder is removed when the process ends, after everything that was registered later than the log's construction.
#pragma once

#include <windows.h>

#include <knownfolders.h>

#include <filesystem>
#include <string>

namespace kelvane::tests {

// What the lookups were asked, and what the next one answers.
struct KnownFolderLookups {
    int count = 0;
    GUID folder{};
    DWORD flags = 0;
    HANDLE token = nullptr;
    const void* handedOut = nullptr;  // the text that the caller has to free; null after a failure

    HRESULT answer = S_OK;
    const std::filesystem::path* path = nullptr;  // null: the process's own folder
};

extern KnownFolderLookups knownFolderLookups;

// The process's own roaming folder.
const std::filesystem::path& roamingFolder();

// Called once, when the process has all but ended: a destroyed static object of the log would be gone by then.
extern void (*atProcessEnd)();

// The bytes of a file; "(no file)" when it cannot be read.
std::string bytesOf(const std::filesystem::path& file);

// The bytes of the log file.
std::string logFileBytes();

}  // namespace kelvane::tests
