// What a written line looks like, where it goes, and which lines are written at all.
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/import_swap.h"

#include <climits>
#include <cstdlib>
#include <ctime>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

__time64_t fakeTime(__time64_t* /*result*/) { return 1234567890; }

TEST(LogTimeStamp, IsLocalTimeInTheFixedFormWithItsLineFeed)
{
    // 23:31:30 in Greenwich.
    _putenv("TZ=EST5");
    _tzset();
    const ImportSwap time(__imp__time64, &fakeTime);

    EXPECT_EQ(logTimeStamp(), "Fri Feb 13 18:31:30 2009\n");
}

TEST(DiagnosticLogLine, IsStampedWithTheLocalTime)
{
    _putenv("TZ=JST-9");
    _tzset();
    DiagnosticLog& log = DiagnosticLog::instance();
    log.configure(0, "info");
    log.open();

    {
        const ImportSwap time(__imp__time64, &fakeTime);
        log.log(0) << "stamped"
                   << "\n";
    }

    EXPECT_EQ(logFileBytes(), "[Sat Feb 14 08:31:30 2009\n][DEBUG] stamped\n");
}

TEST_F(OpenLog, MessageTakesTwoPhysicalLinesWithBareLineFeeds)
{
    DiagnosticLogInspector::setTimeStamp([] { return "Tue Mar 12 14:07:09 2024\n"; });

    log.log(4) << "OrqCore CpuPowerLimit1 "
               << "failed"
               << "\n";
    log.log(0) << "KV scaling is started : "
               << "\n";

    EXPECT_EQ(logFileBytes(), "[Tue Mar 12 14:07:09 2024\n"
                              "][ERROR] OrqCore CpuPowerLimit1 failed\n"
                              "[Tue Mar 12 14:07:09 2024\n"
                              "][DEBUG] KV scaling is started : \n");
}

TEST_F(OpenLog, EachLineIsStampedWhenItIsWritten)
{
    int stamps = 0;
    DiagnosticLogInspector::setTimeStamp([&stamps] { return "stamp " + std::to_string(++stamps) + "\n"; });

    log.log(0) << "one"
               << "\n";
    log.log(0) << "two"
               << "\n";

    EXPECT_EQ(logFileBytes(), "[stamp 1\n][DEBUG] one\n[stamp 2\n][DEBUG] two\n");
}

TEST_F(ClosedLog, OnlyDebugWarningAndErrorLinesAreWritten)
{
    log.open();

    const struct {
        int level;
        std::string written;
    } rows[] = {
        { 0, "[now\n][DEBUG] text\n" },
        { 3, "[now\n][WARNING] text\n" },
        { 4, "[now\n][ERROR] text\n" },
        { 1, "" },
        { 2, "" },
        { 5, "" },
        { -1, "" },
        { INT_MIN, "" },
        { INT_MAX, "" },
    };

    std::string file;
    for (const auto& [level, written] : rows) {
        SCOPED_TRACE(level);

        const std::string output = standardOutputOf([&, its = level] {
            log.log(its) << "text"
                         << "\n";
        });

        EXPECT_EQ(output, written);
        file += written;
        EXPECT_EQ(logFileBytes(), file);
    }
}

TEST_F(ClosedLog, LevelTwoMessageProducesNothingInTheFileOrOnStandardOutput)
{
    log.open();

    const std::string output = standardOutputOf([this] {
        log.log(2) << "pkg power data is : "
                   << "1500"
                   << "\n";
    });

    EXPECT_EQ(output, "");
    EXPECT_EQ(logFileBytes(), "");
}

TEST_F(ClosedLog, EchoCopiesLinesToStandardOutputAtOnce)
{
    log.configure(1, "info");
    log.open();

    const std::string output = standardOutputOf([this] {
        log.log(3) << "seen "
                   << "twice"
                   << "\n";
    });

    EXPECT_EQ(output, "[now\n][WARNING] seen twice\n");
    EXPECT_THAT(loggedMessages(), ElementsAre("WARNING seen twice"));
}

TEST_F(ClosedLog, OnlyTheEchoValueOneCopies)
{
    std::string output;
    log.configure(2, "info");
    log.open();

    output = standardOutputOf([this] {
        log.log(4) << "to the file"
                   << "\n";
    });

    EXPECT_EQ(output, "");
    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR to the file"));
}

TEST_F(OpenLog, WithoutTheEchoNothingReachesStandardOutput)
{
    const std::string output = standardOutputOf([this] {
        log.log(4) << "quiet"
                   << "\n";
        std::fflush(stdout);
    });

    EXPECT_EQ(output, "");
    EXPECT_THAT(loggedMessages(), ElementsAre("ERROR quiet"));
}

TEST_F(OpenLog, EachLineIsInTheFileWhenTheInsertionReturns)
{
    log.log(0) << "one"
               << "\n";
    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG one"));

    log.log(0) << "two"
               << "\n";
    EXPECT_THAT(loggedMessages(), ElementsAre("DEBUG one", "DEBUG two"));
}

TEST_F(OpenLog, MessageWithoutTextIsALineWithAnEmptyEnd)
{
    log.log(4) << "\n";

    EXPECT_EQ(logFileBytes(), "[now\n][ERROR] \n");
}

TEST_F(OpenLog, DroppedLinesAreNotStamped)
{
    int stamps = 0;
    DiagnosticLogInspector::setTimeStamp([&stamps] {
        ++stamps;
        return "now\n";
    });

    log.log(2) << "dropped"
               << "\n";

    EXPECT_EQ(stamps, 0);
    EXPECT_THAT(loggedMessages(), IsEmpty());
}

}  // namespace
}  // namespace kelvane::tests
