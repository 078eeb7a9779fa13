// Many threads at once, with their real identifiers.
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"

#include <atomic>
#include <map>
#include <thread>

namespace kelvane::tests {
namespace {

constexpr int threadCount = 8;
constexpr int messageCount = 150;  // of each thread

// "1.7.0 ": thread, message, piece.
std::string piece(int thread, int message, int number)
{
    return std::to_string(thread) + "." + std::to_string(message) + "." + std::to_string(number) + " ";
}

std::string threePieces(int thread, int message)
{
    return piece(thread, message, 0) + piece(thread, message, 1) + piece(thread, message, 2);
}

// All that a thread says.
std::string saidBy(int thread)
{
    std::string said;
    for (int message = 0; message < messageCount; ++message) said += threePieces(thread, message);
    return said;
}

class ManyThreads : public testing::Test {
protected:
    ManyThreads()
    {
        DiagnosticLogInspector::setTimeStamp([] { return "now\n"; });
        log.configure(0, "info");
    }

    // Runs `log(thread, message)` for all messages of all threads, which start together and open the log themselves.
    void onAllThreads(const std::function<void(int thread, int message)>& logMessage)
    {
        std::atomic<int> ready = 0;
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < threadCount; ++thread) {
            threads.emplace_back([&, thread] {
                // Not std::latch: without futexes the library's wait may miss its wake-up.
                for (++ready; ready < threadCount;) std::this_thread::yield();
                log.open();
                for (int message = 0; message < messageCount; ++message) logMessage(thread, message);
            });
        }
    }

    void logThreePieces(int level, int thread, int message)
    {
        log.log(level) << piece(thread, message, 0) << piece(thread, message, 1) << piece(thread, message, 2) << end;
    }

    void expectNothingLeftBehind()
    {
        EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), 0U);
        EXPECT_EQ(DiagnosticLogInspector::threadsWithLevel(), 0U);
        EXPECT_TRUE(log.leavesNoTrace(2));
    }

    DiagnosticLog& log = DiagnosticLog::instance();
};

// Behind its level word.
std::string textOf(const std::string& message) { return message.substr(message.find(' ') + 1); }

std::string textOf(const std::vector<std::string>& messages)
{
    std::string text;
    for (const std::string& message : messages) text += textOf(message);
    return text;
}

// The messages of each thread, by the number before the first full stop; a message without text is nobody's.
std::map<int, std::vector<std::string>> messagesByThread()
{
    std::map<int, std::vector<std::string>> byThread;
    for (const std::string& message : loggedMessages()) {
        if (!textOf(message).empty()) byThread[std::stoi(textOf(message))].push_back(message);
    }
    return byThread;
}

TEST_F(ManyThreads, MessagesOfOneLevelAreAllWrittenWhole)
{
    onAllThreads([this](int thread, int message) { logThreePieces(0, thread, message); });

    auto byThread = messagesByThread();
    for (int thread = 0; thread < threadCount; ++thread) {
        std::vector<std::string> said;
        for (int message = 0; message < messageCount; ++message) {
            said.push_back("DEBUG " + threePieces(thread, message));
        }
        EXPECT_EQ(byThread[thread], said);
    }
    expectNothingLeftBehind();
}

// Changes of level split messages of other threads, but lose, repeat, reorder and mix nothing.
TEST_F(ManyThreads, ChangesOfLevelLoseNoPieceAndMixNoThreads)
{
    onAllThreads([this](int thread, int message) { logThreePieces(thread % 2 == 0 ? 0 : 4, thread, message); });

    auto byThread = messagesByThread();
    for (int thread = 0; thread < threadCount; ++thread) {
        EXPECT_EQ(textOf(byThread[thread]), saidBy(thread));
        for (const std::string& message : byThread[thread]) {
            EXPECT_TRUE(message.starts_with("DEBUG ") || (thread % 2 == 1 && message.starts_with("ERROR "))) << message;
        }
    }
    expectNothingLeftBehind();
}

// What is left of a level 2 message after a split becomes visible.
TEST_F(ManyThreads, LevelTwoMessagesAmongOthersNeitherTearLinesNorLeaveAnythingBehind)
{
    onAllThreads([](int thread, int message) {
        logLine(thread % 2 == 0 ? 2 : 4, piece(thread, message, 0), piece(thread, message, 1),
                piece(thread, message, 2));
    });

    auto byThread = messagesByThread();
    for (const int thread : { 1, 3, 5, 7 }) EXPECT_EQ(textOf(byThread[thread]), saidBy(thread));
    for (const int thread : { 0, 2, 4, 6 }) {
        const std::string said = saidBy(thread);
        for (const std::string& message : byThread[thread]) {
            EXPECT_NE(said.find(textOf(message)), std::string::npos) << message;
        }
    }
    expectNothingLeftBehind();
}

TEST_F(ManyThreads, EchoAndFileHoldTheSameLinesInTheSameOrder)
{
    log.configure(1, "info");

    const std::string output = standardOutputOf(
        [this] { onAllThreads([this](int thread, int message) { logThreePieces(4, thread, message); }); });

    EXPECT_GE(loggedMessages().size(), 1200U);
    EXPECT_EQ(output, logFileBytes());
}

TEST_F(ManyThreads, HaveTextsAndLevelsOfTheirOwn)
{
    log.open();

    log.log(4) << "main ";
    std::thread([this] { log << "other" << end; }).join();
    log << "thread" << end;

    EXPECT_THAT(loggedMessages(), testing::ElementsAre("DEBUG other", "ERROR main thread"));
}

}  // namespace
}  // namespace kelvane::tests
