// Opening and configuring; what a written line looks like, where it goes, and which lines are written at all.
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/import_swap.h"
#include "tests/support/rows.h"

#include <climits>
#include <cstdlib>
#include <ctime>
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

TEST_F(ClosedLog, DropsMessagesOfEveryLevelSilently)
{
    const std::string output = standardOutputOf([this] {
        for (const int level : { 0, 1, 2, 3, 4, 5, -1 }) {
            log.log(level) << "too early" << end;
            logLine(level, "too early");
        }
    });

    EXPECT_EQ(output, "");
    EXPECT_EQ(logFileBytes(), "");
    log.open();
    EXPECT_EQ(logFileBytes(), "");
}

TEST_F(ClosedLog, KeepsAnUnfinishedMessageAcrossLevelChangesUntilItEndsAfterTheOpening)
{
    as("a").log(4) << "begun ";
    as("b").log(3) << "other";
    as("a").log(0) << "early, ";

    log.open();
    as("a") << "ended late" << end;

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG begun early, ended late"));
}

TEST_F(ClosedLog, OpeningEmptiesTheFileASecondTimeAndRaisesNothing)
{
    std::ofstream(roamingFolder() / "KelvanneApp" / "logs" / "KelvanneApp.log") << "since the process started\n";

    log.open();

    EXPECT_TRUE(DiagnosticLogInspector::opened());
    EXPECT_EQ(logFileBytes(), "");
    EXPECT_EQ(lastRuntimeError(), "");
}

TEST_F(OpenLog, OpeningAgainDoesNothing)
{
    log.log(0) << "first" << end;

    log.open();
    log.log(0) << "second" << end;

    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG first", "DEBUG second"));
}

// The application folder exists, its "logs" does not.
class UnopenableLog : public ClosedLog {
protected:
    UnopenableLog()
    {
        std::filesystem::remove_all(roamingFolder() / "KelvanneApp" / "logs");
        DiagnosticLogInspector::setPath(DiagnosticLogInspector::makeLogFile());
    }
};

TEST_F(UnopenableLog, RaisesAndSwallowsTheFailureDropsEveryLineAndRepairsNothing)
{
    const std::string output = standardOutputOf([this] {
        EXPECT_NO_THROW(log.open());
        log.log(4) << "lost" << end;
        log.open();
        log.log(0) << "lost too" << end;
    });

    EXPECT_EQ(lastRuntimeError(), "Coudn't open a log file ");
    EXPECT_EQ(output, "");
    EXPECT_FALSE(DiagnosticLogInspector::opened());
    EXPECT_EQ(log.path(), roamingFolder().string() + "\\KelvanneApp\\logs\\KelvanneApp.log");
    EXPECT_FALSE(std::filesystem::exists(roamingFolder() / "KelvanneApp" / "logs"));
}

TEST_F(UnopenableLog, ConfiguringStillTakesEffectAfterAFailedOpening)
{
    log.open();

    log.configure(0, "debug");

    EXPECT_EQ(DiagnosticLogInspector::echo(), 0);
    EXPECT_EQ(DiagnosticLogInspector::verbosity(), 0);
}

TEST_F(UnopenableLog, IsTriedAgainByTheNextRunWithTheEchoOff)
{
    const std::string output = standardOutputOf([this] {
        for (int run = 1; run <= 2; ++run) {
            log.open();
            log.configure(0, "info");
            logLine(4, "of run ", run);
            std::filesystem::create_directories(roamingFolder() / "KelvanneApp" / "logs");
        }
        std::fflush(stdout);
    });

    EXPECT_EQ(output, "");
    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR of run 2"));
}

TEST_F(ClosedLog, ConfiguringAfterTheOpeningLeavesTheEchoOnAndVerbosityTwo)
{
    log.open();

    log.configure(0, "debug");

    EXPECT_EQ(DiagnosticLogInspector::echo(), 1);
    EXPECT_EQ(DiagnosticLogInspector::verbosity(), 2);
}

struct ConfigurationRow {
    int echo = 1;
    std::string word = "info";
    int verbosity = 2;
    std::string output = "[now\n][ERROR] text\n";
};

class LogConfiguration : public WithRow<ClosedLog, ConfigurationRow> {};

TEST_ROWS(LogConfiguration,
          // three words; any other means the same as "info"
          ROW(.word = "debug", .verbosity = 0), ROW(.word = "warning", .verbosity = 3),
          ROW(.word = "info", .verbosity = 2), ROW(.word = "error", .verbosity = 2), ROW(.word = "", .verbosity = 2),
          ROW(.word = "Warning", .verbosity = 2), ROW(.word = "debug ", .verbosity = 2),
          // any value is kept, but only 1 copies lines
          ROW(.echo = 0, .output = ""), ROW(.echo = 2, .output = ""), ROW(.echo = -7, .output = ""));

TEST_ROW(LogConfiguration, IsOfAVerbosityAndAnEcho)
{
    log.configure(5, "debug");

    log.configure(row().echo, row().word);

    EXPECT_EQ(DiagnosticLogInspector::echo(), row().echo);
    EXPECT_EQ(DiagnosticLogInspector::verbosity(), row().verbosity);
    log.open();
    const std::string output = standardOutputOf([this] {
        log.log(4) << "text" << end;
        std::fflush(stdout);
    });
    EXPECT_EQ(output, row().output);
    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR text"));
}

struct LevelRow {
    std::string verbosity = "info";
    int level;
    std::string word = "NONE";
    std::string line = "";
};

class LogLevel : public WithRow<ClosedLog, LevelRow> {};

TEST_ROWS(LogLevel, ROW(.level = 0, .word = "DEBUG", .line = "[now\n][DEBUG] text\n"),
          ROW(.level = 3, .word = "WARNING", .line = "[now\n][WARNING] text\n"),
          ROW(.level = 4, .word = "ERROR", .line = "[now\n][ERROR] text\n"), ROW(.level = 2, .word = "INFO"),
          ROW(.level = 1), ROW(.level = 5), ROW(.level = 6), ROW(.level = -1), ROW(.level = INT_MIN),
          ROW(.level = INT_MAX),
          // the verbosity neither hides a line nor brings one
          ROW(.verbosity = "warning", .level = 0, .word = "DEBUG", .line = "[now\n][DEBUG] text\n"),
          ROW(.verbosity = "debug", .level = 2, .word = "INFO"));

TEST_ROW(LogLevel, HasItsWordAndDecidesWhetherALineGoesToTheFileAndAtOnceToTheEcho)
{
    log.configure(1, row().verbosity);
    log.open();

    const std::string output = standardOutputOf([this] {
        log.log(row().level) << "text" << end;
        logLine(row().level, "te", "xt");
    });

    EXPECT_EQ(levelWord(row().level), row().word);
    EXPECT_EQ(output, row().line + row().line);
    EXPECT_EQ(logFileBytes(), row().line + row().line);
}

__time64_t fakeTime(__time64_t* /*result*/) { return 1234567890; }  // 23:31:30 in Greenwich

void logInZone(const char* zone)
{
    _putenv(zone);
    _tzset();
    logLine(0, "stamped");
}

TEST(DiagnosticLogLine, IsStampedWithTheLocalTimeInAFixedFormWithALineFeed)
{
    const ImportSwap time(__imp__time64, &fakeTime);
    DiagnosticLog::instance().open();

    logInZone("TZ=EST5");
    logInZone("TZ=JST-9");

    EXPECT_EQ(logFileBytes(), "[Fri Feb 13 18:31:30 2009\n][DEBUG] stamped\n"
                              "[Sat Feb 14 08:31:30 2009\n][DEBUG] stamped\n");
}

TEST_F(OpenLog, EachLineIsStampedWhenItIsWrittenAndADroppedOneNever)
{
    int stamps = 0;
    DiagnosticLogInspector::setTimeStamp([&stamps] { return "stamp " + std::to_string(++stamps) + "\n"; });

    log.log(0) << "one" << end;
    log.log(2) << "dropped" << end;
    log.log(0) << "two" << end;

    EXPECT_EQ(logFileBytes(), "[stamp 1\n][DEBUG] one\n[stamp 2\n][DEBUG] two\n");
    EXPECT_EQ(stamps, 2);
}

}  // namespace
}  // namespace kelvane::tests
