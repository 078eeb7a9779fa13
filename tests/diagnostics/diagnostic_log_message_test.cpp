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

TEST_F(OpenLog, LogLineEqualsTheSameInsertions)
{
    logLine(4, "failed : ", -1);
    log.log(4) << "failed : "
               << "-1"
               << "\n";

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR failed : -1", "ERROR failed : -1"));
}

TEST_F(ClosedLog, LogLineBeforeTheOpeningProducesNothing)
{
    const std::string output = standardOutputOf([] {
        for (const int level : { 0, 1, 2, 3, 4 }) logLine(level, "too early");
    });

    EXPECT_EQ(output, "");
    log.open();
    EXPECT_EQ(logFileBytes(), "");
}

TEST_F(OpenLog, InfoLogLineLeavesNoTraceWhenNothingIsPending)
{
    int keys = 0;
    DiagnosticLogInspector::setThreadKey([&keys] {
        ++keys;
        return "a";
    });

    for (const int level : { 2, 1, 5, -1 }) logLine(level, "unseen ", 1);

    EXPECT_EQ(logFileBytes(), "");
    EXPECT_EQ(keys, 0);  // not even put together
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), 0U);
    EXPECT_EQ(DiagnosticLogInspector::threadsWithLevel(), 0U);
}

TEST_F(OpenLog, InfoLogLineAfterFinishedMessagesLeavesNoTrace)
{
    as("a").log(4) << "finished"
                   << "\n";
    as("b").log(0) << "flushed";
    as("a").log(3) << "finished"
                   << "\n";
    ASSERT_TRUE(log.leavesNoTrace(2));

    logLine(2, "unseen");

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR finished", "DEBUG flushed", "WARNING finished"));
}

TEST_F(OpenLog, OnlyLevelsThatAreNeverWrittenLeaveNoTrace)
{
    for (const int level : { 0, 3, 4 }) EXPECT_FALSE(log.leavesNoTrace(level)) << level;
    for (const int level : { 2, 1, 5, -1 }) EXPECT_TRUE(log.leavesNoTrace(level)) << level;
}

TEST_F(OpenLog, NoLevelLeavesNoTraceWhileAThreadHasTextOrALevel)
{
    as("b") << "text";
    EXPECT_FALSE(log.leavesNoTrace(2));

    as("b") << "\n";
    EXPECT_TRUE(log.leavesNoTrace(2));

    as("b").log(0);
    EXPECT_FALSE(log.leavesNoTrace(2));
}

TEST_F(OpenLog, InfoLogLineFlushesOtherThreadsTexts)
{
    as("b") << "text of b";

    as("a");
    logLine(2, "unseen");

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG text of b"));
}

TEST_F(OpenLog, InfoLogLineTakesTheLevelOfAnotherThread)
{
    as("b").log(4);

    as("a");
    logLine(2, "unseen");
    as("b") << "level forgotten"
            << "\n";

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG level forgotten"));
}

TEST_F(OpenLog, InfoLogLineEndsTheCallersOwnUnfinishedMessage)
{
    log.log(4) << "half an error";

    logLine(2, "unseen");
    log << "rest"
        << "\n";

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR half an error", "DEBUG rest"));
}

TEST_F(OpenLog, PieceThatEndsAnInfoMessageMakesTheRestADebugLine)
{
    const std::string name = "notepad.exe\n";

    logLine(2, "started ", name, " id ", 12);

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG  id 12"));
}

TEST_F(OpenLog, LastPieceThatEndsAnInfoMessageLeavesAnEmptyDebugLine)
{
    logLine(2, "started ", std::string("notepad.exe\n"));

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG "));
}

TEST_F(OpenLog, LineFeedAloneAsATextPieceEndsAnInfoMessageToo)
{
    logLine(2, "unseen", std::string("\n"), "seen");

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG seen"));
}

TEST_F(OpenLog, CharactersAndLiteralsEndAnInfoMessageLikeStrings)
{
    const char* const name = "notepad.exe\n";

    logLine(2, "started ", name, "hidden");
    logLine(2, "literal\n", "shown");

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG hidden", "DEBUG shown"));
}

TEST_F(OpenLog, TextPieceWithALineFeedElsewhereKeepsAnInfoMessageUnseen)
{
    logLine(2, "a", std::string("\nb"), std::string("c\nd"), std::string());

    EXPECT_THAT(loggedMessages(), IsEmpty());
    EXPECT_TRUE(log.leavesNoTrace(2));
}

TEST_F(OpenLog, PieceThatEndsAnErrorMessageMakesTheRestADebugLine)
{
    logLine(4, "no ", std::string("file\n"), "there");

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR no file\n", "DEBUG there"));
}

}  // namespace
}  // namespace kelvane::tests
