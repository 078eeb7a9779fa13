// diagnostics/service_data.h: the service host's own text file.
//
// The service host does not use the diagnostic log, which opens only when the engine starts. It appends lines to the
// file "KVServicedata.txt" in the process's current directory. Nothing rotates or trims the file. No state is kept
// between calls and no lock is taken: each call opens the file for itself. Any thread; stream exceptions are the
// caller's.
#pragma once

#include <string>

namespace kelvane {

// A bare file name; set before main runs.
extern const char* const g_serviceDataFileName;

// Appends "TIME,message". A failure to open or write is silent.
void writeServiceData(std::string message);

// The current local time in `format` (as of strftime), followed by the milliseconds within the second, three digits.
std::string formatTimestamp(const std::string& format);

}  // namespace kelvane
