// A message that cannot be had is lost as a whole, and nothing else happens.
#include "diagnostics/diagnostic_log.h"
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"

#include <new>

namespace kelvane::tests {

// A piece whose text cannot be had.
struct Unaffordable {};

static std::string asText(const Unaffordable&) { throw 7; }

namespace {

using testing::ElementsAre;

TEST_F(OpenLog, MessageWithAPieceThatCannotBeHadLeavesNothingBehind)
{
    logLine(4, "half", Unaffordable(), "rest");
    EXPECT_TRUE(log.leavesNoTrace(2));

    logLine(4, "next");

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR next"));
}

TEST_F(OpenLog, MessageThatCannotBeHadEndsNoMessageOfAnotherThreadsLater)
{
    as("b") << "text of b";

    as("a");
    logLine(4, "half", Unaffordable());
    as("b") << " goes on" << end;

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG text of b", "DEBUG  goes on"));
}

TEST_F(OpenLog, FunctionAsAPieceIsAskedForItsText)
{
    const auto name = [] { return std::string("game.exe"); };

    logLine(4, "name ", name, " id ", 12);

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR name game.exe id 12"));
}

TEST_F(OpenLog, WhatAFunctionAsAPieceThrowsLosesItsMessageAlone)
{
    logLine(4, "half", []() -> std::string { throw std::bad_alloc(); });
    logLine(4, "half", []() -> std::string { throw 7; });
    logLine(4, "next");

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR next"));
}

TEST_F(OpenLog, NullTextCountsAsEmpty)
{
    const char* const none = nullptr;

    logLine(4, "a", none, "b");
    logLine(2, "unseen", none);
    log.log(4) << "c" << none << end;

    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR ab", "ERROR c"));
}

TEST_F(OpenLog, LineThatCannotBePutTogetherIsLostAndThoseDueWithItAreNot)
{
    as("b") << "text of b";
    as("c") << "text of c";
    int lines = 0;
    DiagnosticLogInspector::setTimeStamp([&]() -> std::string {
        if (++lines == 1) throw std::bad_alloc();
        return "now\n";
    });

    as("a");
    logLine(4, "of a");

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG text of c", "ERROR of a"));
}

}  // namespace
}  // namespace kelvane::tests
