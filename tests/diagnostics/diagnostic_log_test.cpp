// The object's life: from before main until after the last exit handler.
#include "diagnostics/diagnostic_log.h"

#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/import_swap.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <set>
#include <thread>

namespace kelvane::tests {
namespace {

using testing::HasSubstr;

TEST(DiagnosticLog, IsMadeBelowTheRoamingFolderAndItsFileEmptiedBeforeAnybodyAsksForIt)
{
    EXPECT_EQ(knownFolderLookups.count, 1);
    EXPECT_EQ(logFileBytes(), "");
    EXPECT_EQ(DiagnosticLog::instance().path(), roamingFolder().string() + "\\KelvanneApp\\logs\\KelvanneApp.log");
}

TEST(DiagnosticLog, IsOneObjectForAllThreads)
{
    constexpr int threadCount = 8;
    std::array<DiagnosticLog*, threadCount> seen{};

    {
        std::vector<std::jthread> threads;
        for (DiagnosticLog*& log : seen) threads.emplace_back([&log] { log = &DiagnosticLog::instance(); });
    }

    EXPECT_EQ(std::set<DiagnosticLog*>(seen.begin(), seen.end()), std::set{ &DiagnosticLog::instance() });
    EXPECT_EQ(knownFolderLookups.count, 1);
}

TEST(DiagnosticLog, StartsClosedWithTheEchoOnAndVerbosityTwo)
{
    EXPECT_FALSE(DiagnosticLogInspector::opened());
    EXPECT_EQ(DiagnosticLogInspector::echo(), 1);
    EXPECT_EQ(DiagnosticLogInspector::verbosity(), 2);
}

TEST(DiagnosticLog, KeysThreadsByTheirDecimalIdentifier)
{
    const auto largeId = []() -> DWORD { return 4294967291; };
    const ImportSwap threadId(__imp_GetCurrentThreadId, +largeId);

    EXPECT_EQ(DiagnosticLogInspector::threadKey(), "4294967291");
}

// Ends the process with `last` as its last deed.
[[noreturn]] void endTheProcess(void (*last)())
{
    atProcessEnd = last;
    std::exit(0);
}

// The handler was registered while the log was being made, so it runs after a static object of the log would be gone.
TEST_F(OpenLog, StillWritesAfterTheLastExitHandler)
{
    const auto last = [] {
        DiagnosticLog::instance().log(4) << "last words" << end;
        std::fputs(logFileBytes().c_str(), stderr);
    };

    EXPECT_EXIT(endTheProcess(last), testing::ExitedWithCode(0), HasSubstr("\n][ERROR] last words\n"));
}

std::atomic<int> logging = 0;

[[noreturn]] void logForEver(int level)
{
    logLine(level, "first of level ", level);
    ++logging;
    for (;;) {
        logLine(level, "further of level ", level);
        // A thread that never pauses keeps the locks from the one that ends the process.
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

TEST_F(OpenLog, OutlivesDetachedThreadsThatLogWhileTheProcessEnds)
{
    const auto last = [] {
        const std::size_t before = logFileBytes().size();
        for (int tries = 0; logFileBytes().size() == before && tries < 1000; ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        std::fputs(logFileBytes().size() > before ? "still logging" : "silent", stderr);
    };
    const auto endAmongThreads = [&last] {
        for (const int level : { 0, 2, 3, 4 }) std::thread(logForEver, level).detach();
        while (logging < 4) std::this_thread::yield();
        endTheProcess(last);
    };

    EXPECT_EXIT(endAmongThreads(), testing::ExitedWithCode(0), "still logging");
}

}  // namespace
}  // namespace kelvane::tests
