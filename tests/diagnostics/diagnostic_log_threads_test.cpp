// Many threads at once, with their real identifiers.
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"

#include <algorithm>
#include <atomic>
#include <iterator>
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

// Word and pieces of a message.
std::vector<std::string> wordsOf(const std::string& message)
{
    std::istringstream in(message);
    return { std::istream_iterator<std::string>(in), {} };
}

// The messages of each thread, by the number before the first full stop.
std::map<int, std::vector<std::string>> messagesByThread()
{
    std::map<int, std::vector<std::string>> byThread;
    for (const std::string& message : loggedMessages()) {
        const std::string first = message.substr(message.find(' ') + 1);
        if (!first.empty()) byThread[std::stoi(first)].push_back(message);
    }
    return byThread;
}

TEST(ManyThreads, MessagesOfOneLevelAreAllWrittenWhole)
{
    onAllThreads(0, [](int thread) {
        for (int message = 0; message < messageCount; ++message) logThreePieces(0, thread, message);
    });

    const auto byThread = messagesByThread();
    ASSERT_EQ(byThread.size(), 8U);
    for (const auto& [thread, messages] : byThread) {
        ASSERT_EQ(messages.size(), 150U);
        for (int message = 0; message < messageCount; ++message) {
            EXPECT_EQ(messages[static_cast<std::size_t>(message)],
                      "DEBUG " + piece(thread, message, 0) + piece(thread, message, 1) + piece(thread, message, 2));
        }
    }
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), 0U);
    EXPECT_EQ(DiagnosticLogInspector::threadsWithLevel(), 0U);
    EXPECT_TRUE(DiagnosticLog::instance().leavesNoTrace(2));
}

// Changes of level split messages of other threads, but lose, repeat, reorder and mix nothing.
TEST(ManyThreads, ChangesOfLevelLoseNoPieceAndMixNoThreads)
{
    onAllThreads(0, [](int thread) {
        const int level = thread % 2 == 0 ? 0 : 4;
        for (int message = 0; message < messageCount; ++message) logThreePieces(level, thread, message);
    });

    const auto byThread = messagesByThread();
    ASSERT_EQ(byThread.size(), 8U);
    for (const auto& [thread, messages] : byThread) {
        SCOPED_TRACE(thread);
        std::vector<std::string> written;
        for (const std::string& message : messages) {
            const std::vector<std::string> words = wordsOf(message);
            ASSERT_TRUE(words[0] == "DEBUG" || (words[0] == "ERROR" && thread % 2 == 1)) << message;
            written.insert(written.end(), words.begin() + 1, words.end());
        }
        std::vector<std::string> said;
        for (int message = 0; message < messageCount; ++message) {
            for (const int number : { 0, 1, 2 }) {
                said.push_back(std::to_string(thread) + "." + std::to_string(message) + "." + std::to_string(number));
            }
        }
        EXPECT_EQ(written, said);
    }
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), 0U);
    EXPECT_EQ(DiagnosticLogInspector::threadsWithLevel(), 0U);
}

TEST(ManyThreads, LevelTwoMessagesAmongOthersNeitherTearLinesNorLeaveAnythingBehind)
{
    onAllThreads(0, [](int thread) {
        for (int message = 0; message < messageCount; ++message) {
            logLine(thread % 2 == 0 ? 2 : 4, piece(thread, message, 0), piece(thread, message, 1));
        }
    });

    std::size_t errorPieces = 0;
    for (const auto& [thread, messages] : messagesByThread()) {
        for (const std::string& message : messages) {
            const std::vector<std::string> words = wordsOf(message);
            const std::string owner = std::to_string(thread) + ".";
            EXPECT_TRUE(std::all_of(words.begin() + 1, words.end(), [&](const auto& w) {
                return w.starts_with(owner);
            })) << message;
            if (thread % 2 == 1) errorPieces += words.size() - 1;
        }
    }
    EXPECT_EQ(errorPieces, 1200U);  // 4 threads, 150 messages, 2 pieces
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), 0U);
    EXPECT_EQ(DiagnosticLogInspector::threadsWithLevel(), 0U);
    EXPECT_TRUE(DiagnosticLog::instance().leavesNoTrace(2));
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
    std::thread([&log] {
        log << "other"
            << "\n";
    }).join();
    log << "thread"
        << "\n";

    EXPECT_THAT(loggedMessages(), testing::ElementsAre("DEBUG other", "ERROR main thread"));
}

}  // namespace
}  // namespace kelvane::tests
