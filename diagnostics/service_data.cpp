// One time-stamped line per message, appended with all sharing allowed.
#include "diagnostics/service_data.h"

#include <chrono>
#include <ctime>
#include <fstream>
#include <iomanip>
#include <sstream>

namespace kelvane {

const char* const g_serviceDataFileName = "KVServicedata.txt";

// The message is taken by value: callers hand over texts that they put together.
void writeServiceData(std::string message)  // NOLINT(performance-unnecessary-value-param)
{
    const std::string line = formatTimestamp("%Y/%m/%d %H:%M:%S:") + "," + message + "\r\n";
    // In binary mode a line goes to the file as it is, in one write: the lines of two threads do not tear each other.
    std::ofstream file(g_serviceDataFileName, std::ios::out | std::ios::app | std::ios::binary);
    file.write(line.data(), static_cast<std::streamsize>(line.size()));
}

std::string formatTimestamp(const std::string& format)
{
    using std::chrono::duration_cast, std::chrono::milliseconds, std::chrono::system_clock;
    const system_clock::time_point now = system_clock::now();
    const auto sinceEpoch = duration_cast<milliseconds>(now.time_since_epoch());
    const std::time_t seconds = system_clock::to_time_t(now);
    std::tm local{};
    localtime_s(&local, &seconds);
    std::ostringstream text;
    text << std::put_time(&local, format.c_str()) << std::setfill('0') << std::setw(3) << sinceEpoch.count() % 1000;
    return text.str();
}

}  // namespace kelvane
