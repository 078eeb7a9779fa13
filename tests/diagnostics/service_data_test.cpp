#include "diagnostics/service_data.h"

#include "tests/diagnostics/fixed_clock.h"
#include "tests/support/data_file.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace kelvane::tests {
namespace {

constexpr std::time_t morning = 1794807364;  // 2026-11-16 05:36:04 UTC
constexpr long ms = 1000000;                 // ns

#ifdef _WIN32
const std::string lineEnd = "\r\n";
#else
const std::string lineEnd = "\n";
#endif

class ServiceData : public testing::Test {
protected:
    ServiceData()
    {
        setZone("UTC0");
        stopClockAt(morning, 7 * ms);
    }

    static void setZone(const char* zone)
    {
#ifdef _WIN32
        _putenv_s("TZ", zone);
        _tzset();
#else
        setenv("TZ", zone, 1);
        tzset();
#endif
    }

    DataFile file;
};

TEST_F(ServiceData, MissingFileIsCreatedAndAnExistingOneGetsALineAtItsEnd)
{
    EXPECT_FALSE(file.exists());
    writeServiceData("Capability key is present");
    stopClockAt(morning + 1, 20 * ms);

    writeServiceData("");

    EXPECT_EQ(file.bytes(),
              "2026/11/16 05:36:04:007,Capability key is present" + lineEnd + "2026/11/16 05:36:05:020," + lineEnd);
}

TEST_F(ServiceData, FileIsClosedAfterEachLine)
{
    writeServiceData("x");

    EXPECT_TRUE(std::filesystem::remove(g_serviceDataFileName));
    EXPECT_FALSE(file.exists());
}

TEST_F(ServiceData, FileThatAnotherProgramHoldsOpenIsWrittenAllTheSame)
{
    std::ofstream other(g_serviceDataFileName, std::ios::app);
    other << "theirs " << std::flush;

    writeServiceData("ours");

    EXPECT_EQ(file.bytes(), "theirs 2026/11/16 05:36:04:007,ours" + lineEnd);
}

TEST_F(ServiceData, FileThatCannotBeOpenedIsSilentlyDoneWithout)
{
    std::filesystem::create_directory(g_serviceDataFileName);

    EXPECT_NO_THROW(writeServiceData("lost"));

    EXPECT_EQ(file.bytes(), "");
    std::filesystem::remove(g_serviceDataFileName);
    writeServiceData("kept");
    EXPECT_EQ(file.bytes(), "2026/11/16 05:36:04:007,kept" + lineEnd);
}

struct MillisecondsRow {
    long nanoseconds;
    const char* text;
};

using Milliseconds = WithRow<ServiceData, MillisecondsRow>;

TEST_ROWS(Milliseconds, ROW(.nanoseconds = 0, .text = "000"), ROW(.nanoseconds = 999999, .text = "000"),
          ROW(.nanoseconds = 7000000, .text = "007"), ROW(.nanoseconds = 42000000, .text = "042"),
          ROW(.nanoseconds = 999000000, .text = "999"), ROW(.nanoseconds = 999999999, .text = "999"));

TEST_P(Milliseconds, HaveThreeDigitsAndAreCutNotRounded)
{
    stopClockAt(morning, row().nanoseconds);

    EXPECT_EQ(formatTimestamp(""), row().text);
    EXPECT_EQ(clockReadings(), 1);
}

TEST_F(ServiceData, FormatIsTheCallers) { EXPECT_EQ(formatTimestamp("%H.%M "), "05.36 007"); }

TEST_F(ServiceData, TimeIsTheLocalOne)
{
    setZone("ABC-5");  // five hours east

    EXPECT_EQ(formatTimestamp("%Y/%m/%d %H:%M:%S:"), "2026/11/16 10:36:04:007");
}

TEST(ServiceDataFile, HasItsBareName) { EXPECT_STREQ(g_serviceDataFileName, "KVServicedata.txt"); }

}  // namespace
}  // namespace kelvane::tests
