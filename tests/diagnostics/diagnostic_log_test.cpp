// The object's life: from before main until after the last exit handler.
#include "diagnostics/diagnostic_log.h"

#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/import_swap.h"
#include "tests/support/rows.h"

#include <array>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <thread>

namespace kelvane::tests {
namespace {

using testing::Each;
using testing::HasSubstr;

struct WordRow {
    int level;
    const char* word = "NONE";
};

using LevelWord = WithRow<testing::Test, WordRow>;

TEST_ROWS(LevelWord, ROW(.level = 0, .word = "DEBUG"), ROW(.level = 2, .word = "INFO"),
          ROW(.level = 3, .word = "WARNING"), ROW(.level = 4, .word = "ERROR"), ROW(.level = 1), ROW(.level = -1),
          ROW(.level = 5), ROW(.level = 6), ROW(.level = INT_MIN), ROW(.level = INT_MAX));

TEST_P(LevelWord, IsThatOfAKnownLevelOrNone) { EXPECT_EQ(levelWord(row().level), row().word); }

TEST(DiagnosticLog, IsMadeAndItsFileBelowTheRoamingFolderEmptiedBeforeAnybodyAsksForIt)
{
    EXPECT_EQ(knownFolderLookups.count, 1);
    EXPECT_EQ(logFileBytes(), "");
    EXPECT_EQ(DiagnosticLog::instance().path(), roamingFolder().string() + "\\KelvanneApp\\logs\\KelvanneApp.log");
}

TEST(DiagnosticLog, IsOneObjectForAllThreads)
{
    std::array<DiagnosticLog*, 8> seen{};

    {
        std::vector<std::jthread> threads;
        for (DiagnosticLog*& log : seen) threads.emplace_back([&log] { log = &DiagnosticLog::instance(); });
    }

    EXPECT_THAT(seen, Each(&DiagnosticLog::instance()));
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
            DiagnosticLog::instance().log(4) << "last words" << lineFeed;
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
