// Opening and configuring.
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/import_swap.h"

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
using testing::IsEmpty;

std::filesystem::path logFile() { return roamingFolder() / "KelvanneApp" / "logs" / "KelvanneApp.log"; }

TEST_F(ClosedLog, DropsMessagesOfEveryLevelSilently)
{
    const std::string output = standardOutputOf([this] {
        for (const int level : { 0, 1, 2, 3, 4, 5, -1 })
            log.log(level) << "too early"
                           << "\n";
    });

    EXPECT_EQ(output, "");
    EXPECT_EQ(logFileBytes(), "");
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
    as("a") << "ended late"
            << "\n";

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG begun early, ended late"));
}

TEST_F(ClosedLog, OpeningEmptiesTheFileASecondTime)
{
    std::ofstream(logFile()) << "written since the process started\n";

    log.open();

    EXPECT_TRUE(DiagnosticLogInspector::opened());
    EXPECT_EQ(logFileBytes(), "");
}

TEST_F(OpenLog, OpeningAgainDoesNothing)
{
    log.log(0) << "first"
               << "\n";

    log.open();
    log.log(0) << "second"
               << "\n";

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG first", "DEBUG second"));
}

class UnopenableLog : public ClosedLog {
protected:
    UnopenableLog()
    {
        std::filesystem::remove_all(roamingFolder() / "KelvanneApp" / "logs");
        DiagnosticLogInspector::setPath(DiagnosticLogInspector::makeLogFile());
    }
};

TEST_F(UnopenableLog, MissingLogsFolderInAnExistingApplicationFolderIsNotRepaired)
{
    log.open();

    EXPECT_EQ(log.path(), roamingFolder().string() + "\\KelvanneApp\\logs\\KelvanneApp.log");
    EXPECT_FALSE(std::filesystem::exists(roamingFolder() / "KelvanneApp" / "logs"));
    EXPECT_FALSE(DiagnosticLogInspector::opened());
}

TEST_F(UnopenableLog, FailureToOpenIsRaisedAndSwallowed)
{
    const std::string output = standardOutputOf([this] { EXPECT_NO_THROW(log.open()); });

    EXPECT_EQ(lastRuntimeError(), "Coudn't open a log file ");
    EXPECT_EQ(output, "");
    EXPECT_FALSE(DiagnosticLogInspector::opened());
}

TEST_F(UnopenableLog, StaysClosedAndDropsEveryLine)
{
    const std::string output = standardOutputOf([this] {
        log.open();
        log.log(4) << "lost"
                   << "\n";
        log.open();
        log.log(0) << "lost too"
                   << "\n";
    });

    EXPECT_EQ(output, "");
    EXPECT_FALSE(DiagnosticLogInspector::opened());
    EXPECT_EQ(logFileBytes(), "(no file)");
}

TEST_F(ClosedLog, RaisesNothingWhenTheFileOpens)
{
    log.open();

    EXPECT_EQ(lastRuntimeError(), "");
}

TEST_F(ClosedLog, VerbosityWordsAreDebugInfoAndWarningAndAnyOtherMeansInfo)
{
    const std::pair<std::string, int> words[] = {
        { "debug", 0 }, { "warning", 3 }, { "info", 2 },  { "debug", 0 },   { "error", 2 },
        { "debug", 0 }, { "", 2 },        { "debug", 0 }, { "Warning", 2 }, { "debug ", 2 },
    };
    for (const auto& [word, verbosity] : words) {
        log.configure(1, word);
        EXPECT_EQ(DiagnosticLogInspector::verbosity(), verbosity) << word;
    }
}

TEST_F(ClosedLog, ConfiguringStoresTheEchoSwitchAsGiven)
{
    for (const int echo : { 0, 1, 2, -7 }) {
        log.configure(echo, "info");
        EXPECT_EQ(DiagnosticLogInspector::echo(), echo);
    }
}

TEST_F(ClosedLog, ConfiguringAfterTheOpeningLeavesTheEchoOnAndVerbosityTwo)
{
    log.open();

    for (const char* word : { "info", "debug", "warning" }) {
        log.configure(0, word);
        EXPECT_EQ(DiagnosticLogInspector::echo(), 1) << word;
        EXPECT_EQ(DiagnosticLogInspector::verbosity(), 2) << word;
    }
}

TEST_F(UnopenableLog, ConfiguringStillTakesEffectAfterAFailedOpening)
{
    log.open();

    log.configure(0, "debug");

    EXPECT_EQ(DiagnosticLogInspector::echo(), 0);
    EXPECT_EQ(DiagnosticLogInspector::verbosity(), 0);
}

TEST_F(ClosedLog, VerbosityWarningDoesNotHideDebugLines)
{
    log.configure(0, "warning");

    log.open();
    for (const int level : { 0, 1, 2, 3, 4 }) log.log(level) << "level " << std::to_string(level) << "\n";

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG level 0", "WARNING level 3", "ERROR level 4"));
}

TEST_F(ClosedLog, VerbosityDebugDoesNotBringInfoLines)
{
    log.configure(0, "debug");

    log.open();
    log.log(2) << "info"
               << "\n";

    EXPECT_THAT(loggedMessages(), IsEmpty());
}

}  // namespace
}  // namespace kelvane::tests
