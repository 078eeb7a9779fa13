// kelvanectl/places.h: where the files are that the service makes at run time.
#pragma once

#include "kelvanectl/log_entries.h"
#include "kelvanectl/registry.h"

#include <string>
#include <vector>

namespace kelvane {

// The roaming application-data folder of the account that the service runs under, which is seldom the caller's.
std::wstring roamingFolderOf(const std::wstring& account);

std::wstring logFileOf(const std::wstring& account);
std::wstring serviceDataFile();

struct LogFile {
    Presence presence = Presence::absent;
    bool isLog = true;  // there is an entry, or nothing at all
    std::vector<LogEntry> entries;
};

// May be read while the service writes it.
LogFile readLog(const std::wstring& path);

}  // namespace kelvane
