// How pieces become messages, and what a change of level does to the messages of all threads.
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using Pieces = std::vector<std::string>;

struct InsertionRow {
    const char* name;
    Pieces pieces;
    Pieces messages;
    std::size_t pending;  // threads with unfinished text
};

void PrintTo(const InsertionRow& row, std::ostream* out) { *out << row.name; }

class Insertion : public OpenLog, public testing::WithParamInterface<InsertionRow> {};

TEST_P(Insertion, OfStringsFollowsTheLineFeedRules)
{
    for (const std::string& piece : GetParam().pieces) log << piece;

    EXPECT_THAT(loggedMessages(), ElementsAreArray(GetParam().messages));
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), GetParam().pending);
}

TEST_P(Insertion, OfCStringsFollowsTheSameRules)
{
    for (const std::string& piece : GetParam().pieces) log << piece.c_str();

    EXPECT_THAT(loggedMessages(), ElementsAreArray(GetParam().messages));
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), GetParam().pending);
}

const InsertionRow insertionRows[] = {
    { "OrdinaryPiecesAreGathered", { "pkg", "Power" }, {}, 1 },
    { "LineFeedAloneEndsTheMessage", { "pkg", "Power", "\n" }, { "DEBUG pkgPower" }, 0 },
    { "LastLineFeedStaysInsideAndAnEmptyLineFollows", { "text\n" }, { "DEBUG text\n" }, 0 },
    { "LastLineFeedEndsWhatWasGathered", { "some ", "text\n" }, { "DEBUG some text\n" }, 0 },
    { "LineFeedInTheMiddleEndsNothing", { "two\nlines" }, {}, 1 },
    { "LineFeedInTheMiddleIsKept", { "two\nlines", "\n" }, { "DEBUG two\nlines" }, 0 },
    { "LineFeedAtTheFrontEndsNothing", { "\n Initialized logger " }, {}, 1 },
    { "LineFeedAtTheFrontIsKept", { "\n Initialized logger ", "\n" }, { "DEBUG \n Initialized logger " }, 0 },
    { "FirstAndLastLineFeedEndTheMessage", { "\nframed\n" }, { "DEBUG \nframed\n" }, 0 },
    { "TwoLineFeedsArePartOfTheText", { "\n\n" }, { "DEBUG \n\n" }, 0 },
    { "LineFeedAfterATextThatHasEndedIsAnEmptyMessage", { "text\n", "\n" }, { "DEBUG text\n", "DEBUG " }, 0 },
    { "EmptyPieceEndsNothing", { "" }, {}, 1 },
    { "EmptyPieceAddsNothing", { "a", "", "b", "\n" }, { "DEBUG ab" }, 0 },
    { "CarriageReturnIsText", { "a\r", "b\r\n" }, { "DEBUG a\rb\r\n" }, 0 },
    { "MessagesFollowEachOther", { "one", "\n", "two", "\n" }, { "DEBUG one", "DEBUG two" }, 0 },
};

INSTANTIATE_TEST_SUITE_P(Pieces, Insertion, testing::ValuesIn(insertionRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(OpenLog, LastPieceWithALineFeedLeavesAnEmptyLineInTheFile)
{
    log.log(0) << "text\n";

    EXPECT_EQ(logFileBytes(), "[now\n][DEBUG] text\n\n");
}

TEST_F(OpenLog, SelectingALevelReturnsTheLogItself) { EXPECT_EQ(&log.log(4), &log); }

TEST_F(OpenLog, ThreadWithoutALevelCountsAsLevelZero)
{
    log << "no level"
        << "\n";

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG no level"));
}

TEST_F(OpenLog, AfterItsLineAThreadCountsAsLevelZeroAgain)
{
    log.log(4) << "error"
               << "\n";

    log << "rest"
        << "\n";

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR error", "DEBUG rest"));
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), 0U);
    EXPECT_EQ(DiagnosticLogInspector::threadsWithLevel(), 0U);
}

TEST_F(OpenLog, EndOfAMessageRemovesOnlyItsOwnThreadsTextAndLevel)
{
    as("a") << "of a";
    as("b") << "of b";
    as("a").log(0);
    as("b").log(0);

    as("a") << "\n";

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG of a"));
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), 1U);
    EXPECT_EQ(DiagnosticLogInspector::threadsWithLevel(), 1U);
    as("b") << "\n";
    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG of a", "DEBUG of b"));
}

TEST_F(OpenLog, TextsOfTwoThreadsDoNotMix)
{
    as("a").log(0) << "a1 ";
    as("b").log(0) << "b1 ";
    as("a") << "a2";
    as("b") << "b2"
            << "\n";
    as("a") << "\n";

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG b1 b2", "DEBUG a1 a2"));
}

TEST_F(OpenLog, SelectingTheSameLevelAgainEndsNothing)
{
    as("b") << "unfinished";
    as("a").log(0) << "one ";

    as("a").log(0) << "message";

    EXPECT_THAT(loggedMessages(), IsEmpty());
    as("a") << "\n";
    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG one message"));
}

TEST_F(OpenLog, SelectingTheSameLevelAgainInAnErrorMessageEndsNothing)
{
    as("a").log(4) << "one ";
    as("b") << "unfinished";

    as("a").log(4) << "message"
                   << "\n";

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR one message"));
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
    as("a") << "other half"
            << "\n";
    EXPECT_EQ(loggedMessages().back(), "DEBUG other half");
}

TEST_F(OpenLog, FullFlushWritesEachTextUnderItsOwnThreadsLevel)
{
    // Levels differ without a flush only when they were selected while the log held nothing.
    as("error").log(4);
    as("warning").log(3);
    as("error").log(4) << "e";
    as("warning") << "w";
    as("debug") << "d";

    as("other").log(2);

    EXPECT_THAT(loggedMessages(), UnorderedElementsAre("ERROR e", "DEBUG w", "DEBUG d"));
}

TEST_F(ClosedLog, FullFlushWritesTextsOfAllLevelsAndDropsThoseThatAreNeverWritten)
{
    log.configure(0, "info");
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

TEST_F(OpenLog, FullFlushTakesTheLevelFromEveryThread)
{
    as("a").log(4);

    as("b").log(4);
    as("a") << "level forgotten"
            << "\n";

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG level forgotten"));
}

TEST_F(OpenLog, NextMessageAtAnotherLevelThanZeroFlushesAllThreads)
{
    as("a").log(4) << "first"
                   << "\n";
    as("b").log(0) << "half";

    as("a").log(4) << "second"
                   << "\n";

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR first", "DEBUG half", "ERROR second"));
}

TEST_F(OpenLog, NextMessageAtLevelZeroFlushesNobody)
{
    as("a").log(4) << "first"
                   << "\n";
    as("b").log(0) << "half";

    as("a").log(0) << "second"
                   << "\n";

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR first", "DEBUG second"));
}

TEST_F(OpenLog, MessageSplitByAnotherThreadGoesOnAtLevelZero)
{
    as("a").log(4) << "head,";
    as("b").log(3) << "of b"
                   << "\n";

    as("a") << " middle,"
            << " rest"
            << "\n";

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR head,", "WARNING of b", "DEBUG  middle, rest"));
}

TEST_F(OpenLog, RestOfASplitInfoMessageBecomesVisible)
{
    as("a").log(2) << "never seen,";
    as("b").log(4) << "of b"
                   << "\n";

    as("a") << " rest"
            << "\n";

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR of b", "DEBUG  rest"));
}

TEST_F(OpenLog, FullFlushFlushesTheFileToo)
{
    DiagnosticLogInspector::writeUnflushed("left in the stream");
    ASSERT_EQ(logFileBytes(), "");

    log.log(4);

    EXPECT_EQ(logFileBytes(), "left in the stream");
}

TEST_F(OpenLog, FullFlushOfNothingWritesNothing)
{
    as("a").log(4);
    as("b").log(3);
    as("a").log(2);

    EXPECT_EQ(logFileBytes(), "");
}

}  // namespace
}  // namespace kelvane::tests
