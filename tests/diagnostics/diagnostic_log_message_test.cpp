// logLine: one message in one statement.
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"

#include <atomic>
#include <climits>
#include <cstdint>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(OpenLog, LogLineJoinsItsPiecesAndEndsTheMessage)
{
    const std::atomic<int> prefMax = -1;
    const std::atomic<std::uint32_t> scheme = 4294967295U;
    const std::string name = "OneDrive.exe";
    const char* const label = " id ";

    logLine(0, "name ", name, label, 4711, ", ", INT_MIN, " ", std::int64_t{ -9000000000 }, " ", prefMax, " ", scheme);

    EXPECT_THAT(loggedMessages(),
                ElementsAre("DEBUG name OneDrive.exe id 4711, -2147483648 -9000000000 -1 4294967295"));
}

TEST_F(OpenLog, LogLineWritesEachLevelUnderItsWord)
{
    for (const int level : { 0, 1, 2, 3, 4, 5 }) logLine(level, "level ", level);

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG level 0", "WARNING level 3", "ERROR level 4"));
}

TEST_F(OpenLog, InfoLogLineLeavesNoTraceWhenNothingIsPending)
{
    int keys = 0;
    DiagnosticLogInspector::setThreadKey([&keys] {
        ++keys;
        return "a";
    });

    for (const int level : { 2, 1, 5, -1 }) {
        EXPECT_TRUE(log.leavesNoTrace(level)) << level;
        logLine(level, "unseen ", 1);
    }
    for (const int level : { 0, 3, 4 }) EXPECT_FALSE(log.leavesNoTrace(level)) << level;

    EXPECT_EQ(logFileBytes(), "");
    EXPECT_EQ(keys, 0);  // not even put together
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), 0U);
    EXPECT_EQ(DiagnosticLogInspector::threadsWithLevel(), 0U);
}

TEST_F(OpenLog, InfoLogLineAfterFinishedMessagesLeavesNoTrace)
{
    as("a").log(4) << "finished" << lineFeed;
    as("b").log(0) << "flushed";
    as("a").log(3) << "finished" << lineFeed;
    ASSERT_TRUE(log.leavesNoTrace(2));

    logLine(2, "unseen");

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR finished", "DEBUG flushed", "WARNING finished"));
}

TEST_F(OpenLog, NoLevelLeavesNoTraceWhileAThreadHasTextOrALevel)
{
    as("b") << "text";
    EXPECT_FALSE(log.leavesNoTrace(2));

    as("b") << lineFeed;
    EXPECT_TRUE(log.leavesNoTrace(2));

    as("b").log(0);
    EXPECT_FALSE(log.leavesNoTrace(2));
}

TEST_F(OpenLog, InfoLogLineFlushesAnotherThreadsTextAndTakesItsLevel)
{
    as("b").log(4) << "text of b";

    as("a");
    logLine(2, "unseen");
    as("b") << "level forgotten" << lineFeed;

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR text of b", "DEBUG level forgotten"));
}

TEST_F(OpenLog, InfoLogLineTakesALevelWithoutText)
{
    as("b").log(4);

    as("a");
    logLine(2, "unseen");
    as("b") << "level forgotten" << lineFeed;

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG level forgotten"));
}

TEST_F(OpenLog, InfoLogLineEndsTheCallersOwnUnfinishedMessage)
{
    log.log(4) << "half an error";

    logLine(2, "unseen");
    log << "rest" << lineFeed;

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR half an error", "DEBUG rest"));
}

// What follows a piece with a line feed at its end is a message of its own, at level 0.
TEST_F(OpenLog, PieceThatEndsAMessageMakesTheRestADebugLine)
{
    const std::string name = "notepad.exe\n";

    logLine(2, "started ", name, " id ", 12);
    logLine(2, "started ", name);
    logLine(2, "unseen", std::string("\n"), "behind a line feed");
    logLine(2, "started ", name.c_str(), "behind characters");
    logLine(2, "literal\n", "behind a literal");
    logLine(4, "no ", std::string("file\n"), "there");

    EXPECT_THAT(loggedMessages(),
                ElementsAre("DEBUG  id 12", "DEBUG ", "DEBUG behind a line feed", "DEBUG behind characters",
                            "DEBUG behind a literal", "ERROR no file\n", "DEBUG there"));
}

TEST_F(OpenLog, TextPieceWithALineFeedElsewhereKeepsAnInfoMessageUnseen)
{
    logLine(2, "a", std::string("\nb"), std::string("c\nd"), std::string());

    EXPECT_THAT(loggedMessages(), IsEmpty());
    EXPECT_TRUE(log.leavesNoTrace(2));
}

}  // namespace
}  // namespace kelvane::tests
