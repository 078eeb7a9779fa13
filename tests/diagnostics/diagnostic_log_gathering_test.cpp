// How pieces become messages, and what a change of level does to the messages of all threads.
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/rows.h"

#include <optional>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::UnorderedElementsAre;

using Texts = std::vector<std::string>;

struct InsertionRow {
    Texts pieces;
    Texts messages = {};
    std::size_t unfinished = 0;  // threads with text
};

using Insertion = WithRow<OpenLog, InsertionRow>;

TEST_ROWS(Insertion,
          // ordinary pieces are gathered; a line feed alone ends the message
          ROW(.pieces = { "pkg", "Power" }, .unfinished = 1),
          ROW(.pieces = { "pkg", "Power", "\n" }, .messages = { "DEBUG pkgPower" }),
          ROW(.pieces = { "one", "\n", "two", "\n" }, .messages = { "DEBUG one", "DEBUG two" }),
          // a last one ends what was gathered, and stays inside
          ROW(.pieces = { "text\n" }, .messages = { "DEBUG text\n" }),
          ROW(.pieces = { "some ", "text\n" }, .messages = { "DEBUG some text\n" }),
          ROW(.pieces = { "\nframed\n" }, .messages = { "DEBUG \nframed\n" }),
          ROW(.pieces = { "\n\n" }, .messages = { "DEBUG \n\n" }),
          ROW(.pieces = { "text\n", "\n" }, .messages = { "DEBUG text\n", "DEBUG " }),
          // one in the middle or at the front is text
          ROW(.pieces = { "two\nlines" }, .unfinished = 1),
          ROW(.pieces = { "two\nlines", "\n" }, .messages = { "DEBUG two\nlines" }),
          ROW(.pieces = { "\n Initialized logger " }, .unfinished = 1),
          ROW(.pieces = { "\n Initialized logger ", "\n" }, .messages = { "DEBUG \n Initialized logger " }),
          // an empty piece adds and ends nothing; a carriage return is text
          ROW(.pieces = { "" }, .unfinished = 1), ROW(.pieces = { "a", "", "b", "\n" }, .messages = { "DEBUG ab" }),
          ROW(.pieces = { "a\r", "b\r\n" }, .messages = { "DEBUG a\rb\r\n" }));

TEST_P(Insertion, OfStringsFollowsTheLineFeedRules)
{
    for (const std::string& piece : row().pieces) log << piece;

    EXPECT_THAT(loggedMessages(), ElementsAreArray(row().messages));
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), row().unfinished);
}

TEST_P(Insertion, OfCStringsFollowsTheSameRules)
{
    for (const std::string& piece : row().pieces) log << piece.c_str();

    EXPECT_THAT(loggedMessages(), ElementsAreArray(row().messages));
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), row().unfinished);
}

TEST_F(OpenLog, LastPieceWithALineFeedLeavesAnEmptyLineInTheFile)
{
    log.log(0) << "text\n";

    EXPECT_EQ(logFileBytes(), "[now\n][DEBUG] text\n\n");
}

TEST_F(OpenLog, SelectingALevelReturnsTheLogItself) { EXPECT_EQ(&log.log(4), &log); }

// A thread selects a level, if any, and inserts some pieces.
struct Step {
    const char* thread;
    std::optional<int> level;
    Texts pieces;
};

constexpr std::nullopt_t noLevel = std::nullopt;

struct StepsRow {
    std::vector<Step> steps;
    Texts messages = {};
    std::size_t texts = 0;  // threads that have any at the end
    std::size_t levels = 0;
};

using ThreadsLog = WithRow<OpenLog, StepsRow>;

TEST_ROWS(
    ThreadsLog,
    // without a level, and after its line, a thread counts as level 0
    ROW(.steps = { { "a", noLevel, { "no level", "\n" } } }, .messages = { "DEBUG no level" }),
    ROW(.steps = { { "a", 4, { "error", "\n" } }, { "a", noLevel, { "rest", "\n" } } },
        .messages = { "ERROR error", "DEBUG rest" }),
    ROW(.steps = { { "a", 4, { "\n" } } }, .messages = { "ERROR " }),
    // the end of a message removes its own thread's text and level alone
    ROW(.steps = { { "a", noLevel, { "of a" } },
                   { "b", noLevel, { "of b" } },
                   { "a", 0, {} },
                   { "b", 0, {} },
                   { "a", noLevel, { "\n" } } },
        .messages = { "DEBUG of a" }, .texts = 1, .levels = 1),
    // texts do not mix
    ROW(.steps = { { "a", 0, { "a1 " } },
                   { "b", 0, { "b1 " } },
                   { "a", noLevel, { "a2" } },
                   { "b", noLevel, { "b2", "\n" } },
                   { "a", noLevel, { "\n" } } },
        .messages = { "DEBUG b1 b2", "DEBUG a1 a2" }),
    // the same level again ends nothing
    ROW(.steps = { { "b", noLevel, { "unfinished" } }, { "a", 0, { "one " } }, { "a", 0, { "message" } } }, .texts = 2,
        .levels = 1),
    ROW(.steps = { { "b", noLevel, { "unfinished" } }, { "a", 0, { "one " } }, { "a", 0, { "message", "\n" } } },
        .messages = { "DEBUG one message" }, .texts = 1),
    ROW(.steps = { { "a", 4, { "one " } }, { "b", noLevel, { "unfinished" } }, { "a", 4, { "message", "\n" } } },
        .messages = { "ERROR one message" }, .texts = 1),
    // another level flushes all threads and takes their levels; where there is no text, nothing is written
    ROW(.steps = { { "a", 4, {} }, { "b", 4, {} }, { "a", noLevel, { "level forgotten", "\n" } } },
        .messages = { "DEBUG level forgotten" }, .levels = 1),
    ROW(.steps = { { "a", 4, {} }, { "b", 3, {} }, { "a", 2, {} } }, .levels = 1),
    // so does the next message at another level than zero, and none at zero
    ROW(.steps = { { "a", 4, { "first", "\n" } }, { "b", 0, { "half" } }, { "a", 4, { "second", "\n" } } },
        .messages = { "ERROR first", "DEBUG half", "ERROR second" }),
    ROW(.steps = { { "a", 4, { "first", "\n" } }, { "b", 0, { "half" } }, { "a", 0, { "second", "\n" } } },
        .messages = { "ERROR first", "DEBUG second" }, .texts = 1, .levels = 1),
    // a message that another thread splits goes on at level 0, also one that would never have been seen
    ROW(.steps = { { "a", 4, { "head," } },
                   { "b", 3, { "of b", "\n" } },
                   { "a", noLevel, { " middle,", " rest", "\n" } } },
        .messages = { "ERROR head,", "WARNING of b", "DEBUG  middle, rest" }),
    ROW(.steps = { { "a", 2, { "never seen," } }, { "b", 4, { "of b", "\n" } }, { "a", noLevel, { " rest", "\n" } } },
        .messages = { "ERROR of b", "DEBUG  rest" }));

TEST_P(ThreadsLog, InTurn)
{
    for (const Step& step : row().steps) {
        as(step.thread);
        if (step.level) log.log(*step.level);
        for (const std::string& piece : step.pieces) log << piece;
    }

    EXPECT_THAT(loggedMessages(), ElementsAreArray(row().messages));
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), row().texts);
    EXPECT_EQ(DiagnosticLogInspector::threadsWithLevel(), row().levels);
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
    as("a") << "other half" << lineFeed;
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

TEST_F(OpenLog, FullFlushFlushesTheFileToo)
{
    DiagnosticLogInspector::writeUnflushed("left in the stream");
    ASSERT_EQ(logFileBytes(), "");

    log.log(4);

    EXPECT_EQ(logFileBytes(), "left in the stream");
}

}  // namespace
}  // namespace kelvane::tests
