// The object's life, from before main until after the last exit handler, and where its file lies.
#include "diagnostics/diagnostic_log.h"

#include "diagnostics/ansi_text.h"
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/import_swap.h"
#include "tests/support/rows.h"

#include <objbase.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string_view>
#include <thread>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(DiagnosticLog, IsMadeBelowTheRoamingFolderAndItsFileEmptiedBeforeAnybodyAsksForIt)
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
TEST(DiagnosticLogDeathTest, StillWritesAfterTheLastExitHandler)
{
    DiagnosticLog::instance().configure(0, "info");
    DiagnosticLog::instance().open();
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

TEST(DiagnosticLogDeathTest, OutlivesDetachedThreadsThatLogWhileTheProcessEnds)
{
    DiagnosticLog::instance().configure(0, "info");
    DiagnosticLog::instance().open();
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

// makeLogFile is run again: what its calls into Windows are answered, and all of them in order.
struct Windows {
    DWORD attributes = FILE_ATTRIBUTE_DIRECTORY;
    BOOL created = TRUE;
    decltype(&GetFileAttributesA) realAttributes = nullptr;
    decltype(&CoTaskMemFree) realFree = nullptr;
    std::vector<std::string> calls;
} windows;

DWORD WINAPI fakeAttributes(LPCSTR name)
{
    if (std::string_view(name).find("KelvanneApp") == std::string_view::npos) return windows.realAttributes(name);
    windows.calls.push_back(std::string("look for ") + name);
    return windows.attributes;
}

BOOL WINAPI fakeCreateDirectory(LPCWSTR name, LPSECURITY_ATTRIBUTES security)
{
    windows.calls.push_back((security ? "make guarded " : "make ") + toAnsi(name));
    return windows.created;
}

void WINAPI fakeFree(LPVOID memory)
{
    if (memory) windows.calls.push_back(memory == knownFolderLookups.handedOut ? "free the text" : "free another");
    windows.realFree(memory);
}

// A path on a drive that does not exist: no file comes into being.
class LogPath : public testing::Test {
protected:
    LogPath() { knownFolderLookups.path = &folder; }

    // Finds the path with the calls recorded.
    void find()
    {
        const ImportSwap attributes(__imp_GetFileAttributesA, &fakeAttributes);
        const ImportSwap creation(__imp_CreateDirectoryW, &fakeCreateDirectory);
        const ImportSwap freeing(__imp_CoTaskMemFree, &fakeFree);
        windows.realAttributes = attributes.real();
        windows.realFree = freeing.real();
        output = standardOutputOf([this] {
            path = DiagnosticLogInspector::makeLogFile();
            std::fflush(stdout);
        });
    }

    const std::filesystem::path folder = L"Q:\\Users\\Ann\\AppData\\Roaming";
    std::string path;
    std::string output;
};

TEST_F(LogPath, LiesInTheRoamingFolderOfTheProcessWhichIsCreated)
{
    constexpr GUID roamingAppData{ 0x3EB685DB, 0x65F9, 0x4CF6, { 0xA0, 0x3A, 0xE3, 0xEF, 0x65, 0x72, 0x9F, 0x3D } };

    find();

    EXPECT_EQ(std::memcmp(&knownFolderLookups.folder, &roamingAppData, sizeof roamingAppData), 0);
    EXPECT_EQ(knownFolderLookups.flags, 0x8000U);
    EXPECT_EQ(knownFolderLookups.token, nullptr);
    EXPECT_EQ(output, "");
}

TEST_F(LogPath, MakesNothingInAnExistingApplicationFolder)
{
    windows.attributes = 16;

    find();

    EXPECT_EQ(path, "Q:\\Users\\Ann\\AppData\\Roaming\\KelvanneApp\\logs\\KelvanneApp.log");
    EXPECT_THAT(windows.calls,
                ElementsAre("free the text", "look for Q:\\Users\\Ann\\AppData\\Roaming\\KelvanneApp\\"));
}

struct FolderRow {
    DWORD attributes;
    BOOL created = TRUE;
};

class LogPathFolders : public WithRow<LogPath, FolderRow> {};

TEST_ROWS(LogPathFolders,
          // hidden, read-only and linked directories
          ROW(.attributes = 0x12), ROW(.attributes = 0x11), ROW(.attributes = 0x410),
          // a file, nothing at all, no attribute
          ROW(.attributes = 0x30), ROW(.attributes = 0x20), ROW(.attributes = 0xFFFFFFFF), ROW(.attributes = 0),
          ROW(.attributes = 0x12, .created = FALSE), ROW(.attributes = 0xFFFFFFFF, .created = FALSE));

TEST_ROW(LogPathFolders, AreBothMadeUnlessTheAttributesAreExactlyADirectorys)
{
    windows.attributes = row().attributes;
    windows.created = row().created;

    find();

    EXPECT_EQ(path, "Q:\\Users\\Ann\\AppData\\Roaming\\KelvanneApp\\logs\\KelvanneApp.log");
    EXPECT_THAT(windows.calls, ElementsAre("free the text", "look for Q:\\Users\\Ann\\AppData\\Roaming\\KelvanneApp\\",
                                           "make Q:\\Users\\Ann\\AppData\\Roaming\\KelvanneApp\\",
                                           "make Q:\\Users\\Ann\\AppData\\Roaming\\KelvanneApp\\logs\\"));
}

class FailedFolderLookup : public LogPath {
protected:
    FailedFolderLookup() { knownFolderLookups.answer = E_FAIL; }
};

TEST_F(FailedFolderLookup, IsToldWithoutALineEndAndLeavesAPathFromTheRootOfTheCurrentDrive)
{
    windows.attributes = 16;

    find();

    EXPECT_EQ(output, "SHGetKnownFolderPath failed with error");
    EXPECT_EQ(path, "\\KelvanneApp\\logs\\KelvanneApp.log");
    EXPECT_THAT(windows.calls, ElementsAre("look for \\KelvanneApp\\"));
}

TEST_F(FailedFolderLookup, StillMakesBothFoldersBelowTheRoot)
{
    windows.attributes = INVALID_FILE_ATTRIBUTES;

    find();

    EXPECT_EQ(path, "\\KelvanneApp\\logs\\KelvanneApp.log");
    EXPECT_THAT(windows.calls,
                ElementsAre("look for \\KelvanneApp\\", "make \\KelvanneApp\\", "make \\KelvanneApp\\logs\\"));
}

}  // namespace
}  // namespace kelvane::tests
