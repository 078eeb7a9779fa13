// Many threads at once, with their real identifiers.
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"

#include <atomic>
#include <map>
#include <thread>

namespace kelvane::tests {

// A piece in whose place another thread changes its level.
struct LevelChange {};

static std::string asText(const LevelChange&)
{
    std::thread([] { logLine(3, "of another"); }).join();
    return " changed,";
}

namespace {

using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::StartsWith;

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

// All messages of a thread.
std::vector<std::string> saidBy(int thread)
{
    std::vector<std::string> said;
    for (int message = 0; message < messageCount; ++message) said.push_back(threePieces(thread, message));
    return said;
}

std::string joined(const std::vector<std::string>& texts)
{
    std::string all;
    for (const std::string& text : texts) all += text;
    return all;
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

// What was written of each thread, by the number before the first full stop; a message without text is nobody's.
std::map<int, std::vector<std::string>> textsByThread()
{
    std::map<int, std::vector<std::string>> byThread;
    for (const std::string& message : loggedMessages()) {
        const std::string text = message.substr(message.find(' ') + 1);
        if (!text.empty()) byThread[std::stoi(text)].push_back(text);
    }
    return byThread;
}

TEST_F(ManyThreads, MessagesOfOneLevelAreAllWrittenWhole)
{
    onAllThreads([this](int thread, int message) { logThreePieces(0, thread, message); });

    auto texts = textsByThread();
    for (int thread = 0; thread < threadCount; ++thread) EXPECT_EQ(texts[thread], saidBy(thread));
    EXPECT_THAT(loggedMessages(), Each(StartsWith("DEBUG ")));
    expectNothingLeftBehind();
}

// Changes of level split messages of other threads, but lose, repeat, reorder and mix nothing.
TEST_F(ManyThreads, ChangesOfLevelLoseNoPieceAndMixNoThreads)
{
    onAllThreads([this](int thread, int message) { logThreePieces(thread % 2 == 0 ? 0 : 4, thread, message); });

    auto texts = textsByThread();
    for (int thread = 0; thread < threadCount; ++thread) EXPECT_EQ(joined(texts[thread]), joined(saidBy(thread)));
    EXPECT_THAT(loggedMessages(), Each(AnyOf(StartsWith("DEBUG "), StartsWith("ERROR 1."), StartsWith("ERROR 3."),
                                             StartsWith("ERROR 5."), StartsWith("ERROR 7."))));
    expectNothingLeftBehind();
}

// What is left of a level 2 message after a split becomes visible.
TEST_F(ManyThreads, LevelTwoMessagesAmongOthersNeitherTearLinesNorLeaveAnythingBehind)
{
    onAllThreads([](int thread, int message) {
        logLine(thread % 2 == 0 ? 2 : 4, piece(thread, message, 0), piece(thread, message, 1),
                piece(thread, message, 2));
    });

    auto texts = textsByThread();
    for (const int thread : { 1, 3, 5, 7 }) EXPECT_EQ(joined(texts[thread]), joined(saidBy(thread)));
    for (const int thread : { 0, 2, 4, 6 }) {
        for (const std::string& text : texts[thread]) EXPECT_THAT(saidBy(thread), Contains(HasSubstr(text)));
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

TEST_F(ManyThreads, SplitALogLineBetweenItsPiecesWhichGoesOnAtLevelZero)
{
    log.open();

    logLine(4, "head,", " middle,", LevelChange(), " rest");

    EXPECT_THAT(loggedMessages(),
                testing::ElementsAre("ERROR head, middle,", "WARNING of another", "DEBUG  changed, rest"));
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
