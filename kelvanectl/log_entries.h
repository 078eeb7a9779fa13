// kelvanectl/log_entries.h: the entries of a diagnostic log, from the text of the file.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kelvane {

struct LogEntry {
    std::string time;   // local time of the log's machine, as "2026-03-31 23:59:58"
    std::string level;  // "DEBUG", "ERROR", ...
    std::string text;   // as it is, without the line feed that ends it
};

// Text that belongs to no entry, such as the rest of one that was cut off at its beginning, is passed over. Line ends
// may be of either kind.
std::vector<LogEntry> parseLog(std::string_view log);

// The entry on one line: time, level, text, and its plain meaning where the text is known.
std::string entryLine(const LogEntry& entry);

}  // namespace kelvane
