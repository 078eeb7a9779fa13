// Many threads at once, with their real identifiers.
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <sstream>
#include <thread>

namespace kelvane::tests {
namespace {

constexpr int threadCount = 8;
constexpr int messageCount = 150;  // of each thread

// Runs `work(thread)` on all threads, which start together and open the log themselves.
void onAllThreads(int echo, const std::function<void(int thread)>& work)
{
    DiagnosticLogInspector::setTimeStamp([] { return "now\n"; });
    DiagnosticLog::instance().configure(echo, "info");
    std::atomic<int> ready = 0;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&work, &ready, thread] {
            // Not std::latch: without futexes the library's wait may miss its wake-up.
            for (++ready; ready < threadCount;) std::this_thread::yield();
            DiagnosticLog::instance().open();
            work(thread);
        });
    }
}

// "1.7.0 1.7.1 1.7.2 ": thread, message, piece.
std::string piece(int thread, int message, int number)
{
    return std::to_string(thread) + "." + std::to_string(message) + "." + std::to_string(number) + " ";
}

void logThreePieces(int level, int thread, int message)
{
    DiagnosticLog& log = DiagnosticLog::instance();
    log.log(level) << piece(thread, message, 0) << piece(thread, message, 1) << piece(thread, message, 2) << "\n";
}

// What each thread has written: its pieces, in their order. Each message holds those of one thread alone.
std::map<int, std::vector<std::string>> piecesByThread()
{
    std::map<int, std::vector<std::string>> byThread;
    for (const std::string& message : loggedMessages()) {
        std::istringstream words(message);
        std::string word;
        words >> word;
        const bool isError = word == "ERROR";
        for (int thread = -1; words >> word;) {
            if (thread == -1) thread = std::stoi(word);
            EXPECT_EQ(std::stoi(word), thread) << message;
            EXPECT_FALSE(isError && thread % 2 == 0) << message;
            byThread[thread].push_back(word + " ");
        }
    }
    return byThread;
}

void expectPiecesOf(const std::vector<int>& threads, int inEachMessage)
{
    auto written = piecesByThread();
    for (const int thread : threads) {
        std::vector<std::string> said;
        for (int message = 0; message < messageCount; ++message) {
            for (int number = 0; number < inEachMessage; ++number) said.push_back(piece(thread, message, number));
        }
        EXPECT_EQ(written[thread], said);
    }
}

void expectNothingUnfinished()
{
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), 0U);
    EXPECT_EQ(DiagnosticLogInspector::threadsWithLevel(), 0U);
    EXPECT_TRUE(DiagnosticLog::instance().leavesNoTrace(2));
}

TEST(ManyThreads, MessagesOfOneLevelAreAllWrittenWhole)
{
    onAllThreads(0, [](int thread) {
        for (int message = 0; message < messageCount; ++message) logThreePieces(0, thread, message);
    });

    EXPECT_EQ(loggedMessages().size(), 1200U);
    for (const std::string& message : loggedMessages()) {
        EXPECT_TRUE(message.starts_with("DEBUG ") && std::ranges::count(message, '.') == 6) << message;
    }
    expectPiecesOf({ 0, 1, 2, 3, 4, 5, 6, 7 }, 3);
    expectNothingUnfinished();
}

// Changes of level split messages of other threads, but lose, repeat, reorder and mix nothing.
TEST(ManyThreads, ChangesOfLevelLoseNoPieceAndMixNoThreads)
{
    onAllThreads(0, [](int thread) {
        for (int message = 0; message < messageCount; ++message)
            logThreePieces(thread % 2 == 0 ? 0 : 4, thread, message);
    });

    expectPiecesOf({ 0, 1, 2, 3, 4, 5, 6, 7 }, 3);
    expectNothingUnfinished();
}

TEST(ManyThreads, LevelTwoMessagesAmongOthersNeitherTearLinesNorLeaveAnythingBehind)
{
    onAllThreads(0, [](int thread) {
        for (int message = 0; message < messageCount; ++message) {
            logLine(thread % 2 == 0 ? 2 : 4, piece(thread, message, 0), piece(thread, message, 1));
        }
    });

    expectPiecesOf({ 1, 3, 5, 7 }, 2);
    expectNothingUnfinished();
}

TEST(ManyThreads, EchoAndFileHoldTheSameLinesInTheSameOrder)
{
    const std::string output = standardOutputOf([] {
        onAllThreads(1, [](int thread) {
            for (int message = 0; message < messageCount; ++message) logThreePieces(4, thread, message);
        });
    });

    EXPECT_GE(loggedMessages().size(), 1200U);
    EXPECT_EQ(output, logFileBytes());
}

TEST(ManyThreads, ThreadsHaveTextsAndLevelsOfTheirOwn)
{
    DiagnosticLogInspector::setTimeStamp([] { return "now\n"; });
    DiagnosticLog& log = DiagnosticLog::instance();
    log.configure(0, "info");
    log.open();

    log.log(4) << "main ";
    std::thread([&log] { log << "other" << lineFeed; }).join();
    log << "thread" << lineFeed;

    EXPECT_THAT(loggedMessages(), testing::ElementsAre("DEBUG other", "ERROR main thread"));
}

}  // namespace
}  // namespace kelvane::tests
