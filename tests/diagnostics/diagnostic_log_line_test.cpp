// What a written line looks like, where it goes, and which lines are written at all.
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/import_swap.h"
#include "tests/support/rows.h"

#include <climits>
#include <cstdlib>
#include <ctime>

namespace kelvane::tests {
namespace {

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
        log.log(0) << "stamped" << lineFeed;
    }

    EXPECT_EQ(logFileBytes(), "[Sat Feb 14 08:31:30 2009\n][DEBUG] stamped\n");
}

TEST_F(OpenLog, MessageTakesTwoPhysicalLinesWithBareLineFeedsAndTheStampOfItsOwnTime)
{
    int seconds = 8;
    DiagnosticLogInspector::setTimeStamp(
        [&seconds] { return "Tue Mar 12 14:07:0" + std::to_string(++seconds) + " 2024\n"; });

    log.log(4) << "OrqCore CpuPowerLimit1 " << std::string("failed") << lineFeed;
    seconds = 3;
    log.log(0) << "KV scaling is started : " << lineFeed;

    EXPECT_EQ(logFileBytes(), "[Tue Mar 12 14:07:09 2024\n"
                              "][ERROR] OrqCore CpuPowerLimit1 failed\n"
                              "[Tue Mar 12 14:07:04 2024\n"
                              "][DEBUG] KV scaling is started : \n");
}

struct LevelRow {
    int level;
    const char* written = "";
    int stamps = 0;
};

using LineLevel = WithRow<ClosedLog, LevelRow>;

TEST_ROWS(LineLevel, ROW(.level = 0, .written = "[now\n][DEBUG] text\n", .stamps = 1),
          ROW(.level = 3, .written = "[now\n][WARNING] text\n", .stamps = 1),
          ROW(.level = 4, .written = "[now\n][ERROR] text\n", .stamps = 1),
          // all others are dropped, and not even stamped
          ROW(.level = 1), ROW(.level = 2), ROW(.level = 5), ROW(.level = -1), ROW(.level = INT_MIN),
          ROW(.level = INT_MAX));

TEST_P(LineLevel, DecidesWhetherItIsWritten)
{
    int stamps = 0;
    DiagnosticLogInspector::setTimeStamp([&stamps] {
        ++stamps;
        return "now\n";
    });
    log.open();

    const std::string output = standardOutputOf([this] { log.log(row().level) << "text" << lineFeed; });

    EXPECT_EQ(output, row().written);
    EXPECT_EQ(logFileBytes(), row().written);
    EXPECT_EQ(stamps, row().stamps);
}

struct EchoRow {
    int echo;
    const char* output = "";
};

using Echo = WithRow<ClosedLog, EchoRow>;

TEST_ROWS(Echo, ROW(.echo = 1, .output = "[now\n][ERROR] text\n"), ROW(.echo = 0), ROW(.echo = 2));

TEST_P(Echo, CopiesLinesToStandardOutputAtOnceWhenItIsOne)
{
    log.configure(row().echo, "info");
    log.open();

    const std::string output = standardOutputOf([this] {
        log.log(4) << "text" << lineFeed;
        if (row().echo == 0) std::fflush(stdout);
    });

    EXPECT_EQ(output, row().output);
    EXPECT_EQ(logFileBytes(), "[now\n][ERROR] text\n");
}

}  // namespace
}  // namespace kelvane::tests
