// Opening and configuring.
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/rows.h"

#include <fstream>
#include <stdexcept>
#include <typeinfo>

namespace {

// The last runtime error that was raised anywhere in the process.
std::string& lastRuntimeError()
{
    static std::string text;
    return text;
}

}  // namespace

// The linker sends every throw of the program here first.
extern "C" {
[[noreturn]] void __real___cxa_throw(void* thrown, std::type_info* type, void (*destroy)(void*));

[[noreturn]] void __wrap___cxa_throw(void* thrown, std::type_info* type, void (*destroy)(void*))
{
    if (*type == typeid(std::runtime_error)) lastRuntimeError() = static_cast<std::runtime_error*>(thrown)->what();
    __real___cxa_throw(thrown, type, destroy);
}
}

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

std::filesystem::path logFile() { return roamingFolder() / "KelvanneApp" / "logs" / "KelvanneApp.log"; }

TEST_F(ClosedLog, DropsMessagesOfEveryLevelSilently)
{
    const std::string output = standardOutputOf([this] {
        for (const int level : { 0, 1, 2, 3, 4, 5, -1 }) {
            log.log(level) << "too early" << lineFeed;
            logLine(level, "too early");
        }
    });

    EXPECT_EQ(output, "");
    log.open();
    EXPECT_EQ(logFileBytes(), "");
}

TEST_F(ClosedLog, KeepsAnUnfinishedMessageAcrossLevelChangesUntilItEndsAfterTheOpening)
{
    log.configure(0, "info");
    as("a").log(4) << "begun ";
    as("b").log(3) << "other";
    as("a").log(0) << "early, ";

    log.open();
    as("a") << "ended late" << lineFeed;

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG begun early, ended late"));
}

TEST_F(ClosedLog, OpeningEmptiesTheFileASecondTimeAndRaisesNothing)
{
    std::ofstream(logFile()) << "written since the process started\n";

    log.open();

    EXPECT_TRUE(DiagnosticLogInspector::opened());
    EXPECT_EQ(logFileBytes(), "");
    EXPECT_EQ(lastRuntimeError(), "");
}

TEST_F(OpenLog, OpeningAgainDoesNothing)
{
    log.log(0) << "first" << lineFeed;

    log.open();
    log.log(0) << "second" << lineFeed;

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG first", "DEBUG second"));
}

// The logs folder in an existing application folder is missing.
class UnopenableLog : public ClosedLog {
protected:
    UnopenableLog()
    {
        std::filesystem::remove_all(logFile().parent_path());
        DiagnosticLogInspector::setPath(DiagnosticLogInspector::makeLogFile());
    }
};

TEST_F(UnopenableLog, FailureToOpenIsRaisedAndSwallowed)
{
    const std::string output = standardOutputOf([this] { EXPECT_NO_THROW(log.open()); });

    EXPECT_EQ(log.path(), roamingFolder().string() + "\\KelvanneApp\\logs\\KelvanneApp.log");
    EXPECT_EQ(lastRuntimeError(), "Coudn't open a log file ");
    EXPECT_EQ(output, "");
}

TEST_F(UnopenableLog, StaysClosedDropsEveryLineAndRepairsNothing)
{
    const std::string output = standardOutputOf([this] {
        for (const int level : { 4, 0 }) {
            log.open();
            log.log(level) << "lost" << lineFeed;
        }
    });

    EXPECT_EQ(output, "");
    EXPECT_FALSE(DiagnosticLogInspector::opened());
    EXPECT_FALSE(std::filesystem::exists(logFile().parent_path()));
}

TEST_F(UnopenableLog, ConfiguringStillTakesEffectAfterAFailedOpening)
{
    log.open();

    log.configure(0, "debug");

    EXPECT_EQ(DiagnosticLogInspector::echo(), 0);
    EXPECT_EQ(DiagnosticLogInspector::verbosity(), 0);
}

struct VerbosityRow {
    const char* word;
    int verbosity = 2;
};

using Verbosity = WithRow<ClosedLog, VerbosityRow>;

TEST_ROWS(Verbosity, ROW(.word = "debug", .verbosity = 0), ROW(.word = "warning", .verbosity = 3), ROW(.word = "info"),
          // any other word means info
          ROW(.word = "error"), ROW(.word = ""), ROW(.word = "Warning"), ROW(.word = "debug "));

TEST_P(Verbosity, IsSetByAWordAndDecidesNothing)
{
    for (const char* const before : { "debug", "warning" }) {
        log.configure(1, before);
        log.configure(0, row().word);
        EXPECT_EQ(DiagnosticLogInspector::verbosity(), row().verbosity);
    }

    log.open();
    for (const int level : { 0, 1, 2, 3, 4 }) logLine(level, "level ", level);

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG level 0", "WARNING level 3", "ERROR level 4"));
}

TEST_P(Verbosity, AndEchoStayWhenTheFileIsOpen)
{
    log.open();

    log.configure(0, row().word);

    EXPECT_EQ(DiagnosticLogInspector::echo(), 1);
    EXPECT_EQ(DiagnosticLogInspector::verbosity(), 2);
}

TEST_F(ClosedLog, ConfiguringStoresTheEchoSwitchAsGiven)
{
    for (const int echo : { 0, 1, 2, -7 }) {
        log.configure(echo, "info");
        EXPECT_EQ(DiagnosticLogInspector::echo(), echo);
    }
}

}  // namespace
}  // namespace kelvane::tests
