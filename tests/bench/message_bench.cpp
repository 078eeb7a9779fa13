// Messages of ten pieces, as the loop has them.
#include "tests/bench/benches.h"

#include "diagnostics/diagnostic_log.h"
#include "tests/bench/machine.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <fstream>

namespace kelvane::bench {

namespace {

constexpr int messages = 100;

void writeMessages(int level)
{
    for (int i = 0; i < messages; ++i) {
        logLine(level, " **** New pkgPower ==", i, " prefMax = ", 2500, " PerfRange = ", 3000,
                " tempPerfRange = ", 2000, " g_workload = ", 0);
    }
}

Result countMessages(int level)
{
    startMachine();
    return countedWarm(messages, [level] { writeMessages(level); });
}

void writeWithoutLog(std::ofstream& file, int i)
{
    const std::time_t now = std::time(nullptr);
    std::array<char, 200> line;
    const int length = std::snprintf(
        line.data(), line.size(),
        "[%s][DEBUG]  **** New pkgPower ==%d prefMax = %d PerfRange = %d tempPerfRange = %d g_workload = %d\n",
        std::ctime(&now), i, 2500, 3000, 2000, 0);
    std::fwrite(line.data(), 1, static_cast<std::size_t>(length), stdout);
    std::fflush(stdout);
    file.write(line.data(), length).flush();
}

Result leastWrittenMessage()
{
    std::ofstream file("/dev/null");
    return countedWarm(messages, [&file] {
        for (int i = 0; i < messages; ++i) writeWithoutLog(file, i);
    });
}

}  // namespace

Things messageThings()
{
    return {
        { "dropped-message", [] { return countMessages(logInfo); } },
        { "written-message", [] { return countMessages(logDebug); } },
        { "least-written-message", leastWrittenMessage },
    };
}

}  // namespace kelvane::bench
