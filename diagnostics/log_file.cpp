// The diagnostic log's file: where it lies, how it is emptied and opened, and what a line looks like.
//
// The file lies below the roaming application-data folder of the account that runs the process. It is emptied when the
// process starts and once more when it is opened for good. Each line is flushed as it is written; there is no rotation.
#include "diagnostics/ansi_text.h"
#include "diagnostics/diagnostic_log.h"
#include "diagnostics/log_names.h"

#include <windows.h>

#include <knownfolders.h>
#include <objbase.h>
#include <shlobj.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <new>
#include <stdexcept>

namespace kelvane {

namespace {

std::wstring roamingFolder()
{
    PWSTR folder = nullptr;
    if (FAILED(SHGetKnownFolderPath(FOLDERID_RoamingAppData, KF_FLAG_CREATE, nullptr, &folder))) {
        std::fputs("SHGetKnownFolderPath failed with error", stdout);
        return L"";  // the path then starts at the current drive's root
    }
    std::wstring path = folder;
    CoTaskMemFree(folder);
    return path;
}

}  // namespace

std::string DiagnosticLog::makeLogFile()
{
    std::wstring path = roamingFolder() + logHomeFolder;
    // Deliberate: only the bare attribute counts as "is there". A folder with a further one is made again, which
    // harms nothing; a folder without its "logs" is not repaired, and the log stays closed.
    if (GetFileAttributesA(toAnsi(path).c_str()) == FILE_ATTRIBUTE_DIRECTORY) {
        path += logFileInHome;
    } else {
        CreateDirectoryW(path.c_str(), nullptr);
        path += L"logs\\";
        CreateDirectoryW(path.c_str(), nullptr);
        path += L"KelvanneApp.log";
    }
    std::string narrow = toAnsi(path);
    std::ofstream(narrow, std::ios::out | std::ios::trunc).close();
    return narrow;
}

void DiagnosticLog::open()
{
    const std::lock_guard line(lineLock);
    if (opened) return;
    try {
        // A stream opens its file with all sharing allowed, so that the log can be read while the service runs.
        std::ofstream stream(filePath, std::ios::out | std::ios::trunc | std::ios::binary);
        if (!stream.is_open()) throw std::runtime_error("Coudn't open a log file ");
        file = std::move(stream);
        opened = file.is_open();
    } catch (const std::runtime_error&) {
        // Nobody is told: the log is the only place that could tell.
    }
}

bool DiagnosticLog::writesLevel(int level) { return level == 0 || level == 3 || level == 4; }

void DiagnosticLog::writeLine(int level, const std::string& text)
{
    if (!opened || !writesLevel(level)) return;
    std::string line;
    try {
        line = openingBracket + timeStamp() + closingBracket + openingBracket + levelWord(level) + closingBracket +
               " " + text + "\n";
    } catch (const std::bad_alloc&) {
        return;  // the line is lost, whosever it is: those of other threads that are due with it are not
    }
    const std::lock_guard lock(lineLock);
    if (echo == 1) {
        std::fwrite(line.data(), 1, line.size(), stdout);
        std::fflush(stdout);
    }
    file << line << std::flush;
}

void DiagnosticLog::flushFile() { file.flush(); }

std::string logTimeStamp()
{
    const std::time_t now = std::time(nullptr);
    std::array<char, 26> text{};
    // ctime_s ends its text with a line feed, which stays inside the brackets: one message, two lines in the file.
    ctime_s(text.data(), text.size(), &now);
    return text.data();
}

}  // namespace kelvane
