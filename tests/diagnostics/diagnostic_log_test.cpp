// The object's life: from before main until after the last exit handler.
#include "diagnostics/diagnostic_log.h"

#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/import_swap.h"

#include <array>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <set>
#include <thread>

namespace kelvane::tests {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

TEST(LevelWord, KnownLevelsHaveTheirWordsAndAllOthersAreNone)
{
    const std::pair<int, std::string> words[] = {
        { 0, "DEBUG" }, { 2, "INFO" }, { 3, "WARNING" }, { 4, "ERROR" },      { 1, "NONE" },
        { -1, "NONE" }, { 5, "NONE" }, { 6, "NONE" },    { INT_MIN, "NONE" }, { INT_MAX, "NONE" },
    };
    for (const auto& [level, word] : words) EXPECT_EQ(levelWord(level), word) << level;
}

TEST(DiagnosticLog, IsMadeAndItsFileEmptiedBeforeAnybodyAsksForIt)
{
    EXPECT_EQ(knownFolderLookups.count, 1);
    EXPECT_EQ(logFileBytes(), "");
}

TEST(DiagnosticLog, LiesBelowTheRoamingFolder)
{
    const std::string path = DiagnosticLog::instance().path();

    EXPECT_THAT(path, EndsWith("\\KelvanneApp\\logs\\KelvanneApp.log"));
    EXPECT_EQ(path, roamingFolder().string() + "\\KelvanneApp\\logs\\KelvanneApp.log");
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
    std::string key;

    {
        const auto largeId = []() -> DWORD { return 4294967291; };
        const ImportSwap threadId(__imp_GetCurrentThreadId, +largeId);
        key = DiagnosticLogInspector::threadKey();
    }

    EXPECT_EQ(key, "4294967291");
}

// The handler was registered while the log was being made, so it runs after a static object of the log would be gone.
TEST(DiagnosticLogDeathTest, StillWritesAfterTheLastExitHandler)
{
    const auto endTheProcess = [] {
        DiagnosticLog::instance().configure(0, "info");
        DiagnosticLog::instance().open();
        atProcessEnd = [] {
            DiagnosticLog::instance().log(4) << "last "
                                             << "words"
                                             << "\n";
            std::fputs(logFileBytes().c_str(), stderr);
        };
        std::exit(0);
    };

    EXPECT_EXIT(endTheProcess(), testing::ExitedWithCode(0), HasSubstr("\n][ERROR] last words\n"));
}

TEST(DiagnosticLogDeathTest, OutlivesDetachedThreadsThatLogWhileTheProcessEnds)
{
    const auto endTheProcess = [] {
        DiagnosticLog::instance().configure(0, "info");
        DiagnosticLog::instance().open();
        static std::atomic<int> logging = 0;
        for (const int level : { 0, 2, 3, 4 }) {
            std::thread([level] {
                logLine(level, "first of level ", level);
                ++logging;
                for (;;) {
                    logLine(level, "further of level ", level);
                    // A thread that never pauses keeps the locks from the one that ends the process.
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                }
            }).detach();
        }
        while (logging < 4) std::this_thread::yield();
        atProcessEnd = [] {
            const std::size_t before = logFileBytes().size();
            for (int tries = 0; logFileBytes().size() == before && tries < 1000; ++tries) {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
            std::fputs(logFileBytes().size() > before ? "still logging" : "silent", stderr);
        };
        std::exit(0);
    };

    EXPECT_EXIT(endTheProcess(), testing::ExitedWithCode(0), "still logging");
}

}  // namespace
}  // namespace kelvane::tests
