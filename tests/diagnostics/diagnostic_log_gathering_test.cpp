// How pieces become messages, and what a change of level does to the messages of all threads.
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/rows.h"

#include <atomic>
#include <climits>
#include <cstdint>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

struct PiecesRow {
    std::vector<std::string> pieces;
    std::vector<std::string> messages = {};
    std::size_t threadsWithText = 0;
};

class Pieces : public WithRow<OpenLog, PiecesRow> {
protected:
    void expectMessages()
    {
        EXPECT_THAT(loggedMessages(), ElementsAreArray(row().messages));
        EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), row().threadsWithText);
    }
};

TEST_ROWS(Pieces,
          // ordinary ones are gathered
          ROW(.pieces = { "pkg", "Power" }, .threadsWithText = 1),
          ROW(.pieces = { "pkg", "Power", "\n" }, .messages = { "DEBUG pkgPower" }),
          ROW(.pieces = { "one", "\n", "two", "\n" }, .messages = { "DEBUG one", "DEBUG two" }),
          // a line feed at the end stays inside
          ROW(.pieces = { "text\n" }, .messages = { "DEBUG text\n" }),
          ROW(.pieces = { "some ", "text\n" }, .messages = { "DEBUG some text\n" }),
          ROW(.pieces = { "text\n", "\n" }, .messages = { "DEBUG text\n", "DEBUG " }),
          // one elsewhere ends nothing
          ROW(.pieces = { "two\nlines" }, .threadsWithText = 1),
          ROW(.pieces = { "two\nlines", "\n" }, .messages = { "DEBUG two\nlines" }),
          ROW(.pieces = { "\n Initialized logger " }, .threadsWithText = 1),
          ROW(.pieces = { "\n Initialized logger ", "\n" }, .messages = { "DEBUG \n Initialized logger " }),
          ROW(.pieces = { "\nframed\n" }, .messages = { "DEBUG \nframed\n" }),
          ROW(.pieces = { "\n\n" }, .messages = { "DEBUG \n\n" }),
          // nothing, and a carriage return
          ROW(.pieces = { "" }, .threadsWithText = 1),
          ROW(.pieces = { "a", "", "b", "\n" }, .messages = { "DEBUG ab" }),
          ROW(.pieces = { "\n" }, .messages = { "DEBUG " }),
          ROW(.pieces = { "a\r", "b\r\n" }, .messages = { "DEBUG a\rb\r\n" }));

TEST_ROW(Pieces, OfTextFollowTheLineFeedRules)
{
    for (const std::string& piece : row().pieces) log << piece;

    expectMessages();
}

TEST_ROW(Pieces, OfCharactersFollowTheSameRules)
{
    for (const std::string& piece : row().pieces) log << piece.c_str();

    expectMessages();
}

TEST_F(OpenLog, TextsOfTwoThreadsDoNotMix)
{
    as("a").log(0) << "a1 ";
    as("b").log(0) << "b1 ";
    as("a") << "a2";
    as("b") << "b2" << end;

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG b1 b2"));
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), 1U);
    EXPECT_EQ(DiagnosticLogInspector::threadsWithLevel(), 1U);
    as("a") << end;
    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG b1 b2", "DEBUG a1 a2"));
}

TEST_F(OpenLog, SelectingTheSameLevelAgainEndsNothing)
{
    as("a").log(4) << "one ";
    as("b").log(0) << "other ";

    as("a").log(4) << "message";
    as("b").log(0) << "text";

    EXPECT_THAT(loggedMessages(), IsEmpty());
    as("a") << end;
    as("b") << end;
    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR one message", "DEBUG other text"));
}

TEST_F(OpenLog, LevelFourToLevelZeroInMidMessageWritesItAndEveryOtherThreadsText)
{
    as("a").log(4) << "half an error";
    as("b") << "text of b";
    as("c").log(0) << "text of c";

    as("a").log(0);

    EXPECT_THAT(loggedMessages(), UnorderedElementsAre("ERROR half an error", "DEBUG text of b", "DEBUG text of c"));
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), 0U);
    EXPECT_EQ(DiagnosticLogInspector::threadsWithLevel(), 1U);
    as("a") << "other half" << end;
    EXPECT_EQ(loggedMessages().back(), "DEBUG other half");
}

// Levels differ without a flush only when they were selected while the log was closed.
TEST_F(ClosedLog, FullFlushWritesTextsOfAllLevelsAndDropsThoseThatAreNeverWritten)
{
    as("error").log(4) << "e";
    as("warning").log(3) << "w";
    as("info").log(2) << "i";
    as("none").log(1) << "n";
    as("debug").log(0) << "d";
    as("silent").log(4);
    as("empty").log(4) << "";
    log.open();

    as("other").log(4);

    EXPECT_THAT(loggedMessages(), UnorderedElementsAre("ERROR e", "WARNING w", "DEBUG d"));
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), 0U);
    EXPECT_EQ(DiagnosticLogInspector::threadsWithLevel(), 1U);
}

TEST_F(OpenLog, ThreadCountsAsLevelZeroAgainAfterEachMessageSoThatItsNextAtAnotherLevelFlushesAllThreads)
{
    as("a").log(4) << "first" << end;
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), 0U);
    EXPECT_EQ(DiagnosticLogInspector::threadsWithLevel(), 0U);

    as("b") << "half";
    as("a") << "second" << end;
    as("a").log(0) << "third" << end;
    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR first", "DEBUG second", "DEBUG third"));

    as("a").log(4) << "fourth" << end;
    EXPECT_THAT(loggedMessages(),
                ElementsAre("ERROR first", "DEBUG second", "DEBUG third", "DEBUG half", "ERROR fourth"));
}

TEST_F(OpenLog, MessageSplitByAnotherThreadGoesOnAtLevelZero)
{
    as("a").log(4) << "head,";
    as("b").log(3) << "of b" << end;
    as("a") << " middle,";
    as("a") << " rest" << end;
    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR head,", "WARNING of b", "DEBUG  middle, rest"));

    as("a").log(2) << "never seen,";
    as("b").log(4) << "of b" << end;
    as("a") << " visible" << end;
    EXPECT_EQ(loggedMessages().back(), "DEBUG  visible");
}

TEST_F(OpenLog, FullFlushFlushesTheFileToo)
{
    DiagnosticLogInspector::writeUnflushed("left in the stream");
    ASSERT_EQ(logFileBytes(), "");

    log.log(4);

    EXPECT_EQ(logFileBytes(), "left in the stream");
}

// logLine: one message in one statement.

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

TEST_F(OpenLog, LogLineThatWouldLeaveNoTraceIsNotEvenPutTogether)
{
    int keys = 0;
    DiagnosticLogInspector::setThreadKey([&keys] {
        ++keys;
        return "a";
    });

    for (const int level : { 2, 1, 5, -1 }) {
        EXPECT_TRUE(log.leavesNoTrace(level));
        logLine(level, "unseen ", level);
    }

    for (const int level : { 0, 3, 4 }) EXPECT_FALSE(log.leavesNoTrace(level));
    EXPECT_EQ(logFileBytes(), "");
    EXPECT_EQ(keys, 0);
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), 0U);
    EXPECT_EQ(DiagnosticLogInspector::threadsWithLevel(), 0U);
}

TEST_F(OpenLog, NoLevelLeavesNoTraceWhileAThreadHasTextOrALevel)
{
    as("b") << "text";
    EXPECT_FALSE(log.leavesNoTrace(2));

    as("b") << end;
    EXPECT_TRUE(log.leavesNoTrace(2));

    as("b").log(0);
    EXPECT_FALSE(log.leavesNoTrace(2));

    as("b") << "flushed";
    EXPECT_FALSE(log.leavesNoTrace(2));

    as("a").log(4) << end;
    EXPECT_TRUE(log.leavesNoTrace(2));
}

TEST_F(OpenLog, InfoLogLineFlushesTheTextsAndLevelsOfAllThreads)
{
    as("a").log(4) << "half an error";
    as("b") << "text of b";

    as("a");
    logLine(2, "unseen");
    as("a") << "rest" << end;
    EXPECT_THAT(loggedMessages(), UnorderedElementsAre("ERROR half an error", "DEBUG text of b", "DEBUG rest"));

    as("b").log(4);
    as("a");
    logLine(2, "unseen");
    as("b") << "level forgotten" << end;
    EXPECT_EQ(loggedMessages().back(), "DEBUG level forgotten");
}

TEST_F(OpenLog, TextThatEndsWithALineFeedMakesTheRestOfALogLineADebugLine)
{
    const char* const characters = "notepad.exe\n";
    const std::string text = characters;

    logLine(4, "no ", text, "there");
    logLine(2, "started ", text, "id ", 12);
    logLine(2, "started ", text);
    logLine(2, "started ", characters, "characters");
    logLine(2, "literal\n", "rest");
    logLine(2, "unseen", std::string("\n"), "seen");
    logLine(2, "unseen", std::string("\nb"), std::string("c\nd"), std::string());

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR no notepad.exe\n", "DEBUG there", "DEBUG id 12", "DEBUG ",
                                              "DEBUG characters", "DEBUG rest", "DEBUG seen"));
}

}  // namespace
}  // namespace kelvane::tests
