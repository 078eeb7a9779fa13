#include "diagnostics/service_data.h"

#include "tests/support/data_file.h"
#include "tests/support/rows.h"

#include <pthread.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

constexpr long ms = 1000000;  // ns

// What every reading of the clock gives from now on, and how often it was read; without it the clock goes.
bool stopped;
timespec moment;
int readings;

void stopClockAt(std::time_t seconds, long nanoseconds)
{
    stopped = true;
    moment.tv_sec = seconds;
    moment.tv_nsec = nanoseconds;
    readings = 0;
}

}  // namespace

// The linker sends every call of clock_gettime, which is behind std::chrono::system_clock, here.
extern "C" {
int __real_clock_gettime(clockid_t clock, timespec* now);
int __wrap_clock_gettime(clockid_t clock, timespec* now);

int __wrap_clock_gettime(clockid_t clock, timespec* now)
{
    if (!stopped) return __real_clock_gettime(clock, now);
    readings += 1;
    *now = moment;
    return 0;
}
}

namespace kelvane::tests {
namespace {

constexpr std::time_t morning = 1794807364;  // 2026-11-16 05:36:04 UTC

const std::string lineEnd = "\r\n";

class ServiceData : public testing::Test {
protected:
    ServiceData()
    {
        setZone("TZ=UTC0");
        stopClockAt(morning, 7 * ms);
    }

    static void setZone(const char* zone)
    {
        _putenv(zone);
        _tzset();
    }

    DataFile file;
};

TEST_F(ServiceData, LineIsTheTimeACommaAndTheMessageInAFileThatIsMadeOrAppendedToAndClosed)
{
    writeServiceData("Capability key is present");
    stopClockAt(morning + 1, 20 * ms);

    writeServiceData("");

    EXPECT_EQ(file.bytes(),
              "2026/11/16 05:36:04:007,Capability key is present" + lineEnd + "2026/11/16 05:36:05:020," + lineEnd);
    EXPECT_TRUE(std::filesystem::remove(g_serviceDataFileName));
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

struct TimestampRow {
    const char* zone = "TZ=UTC0";
    long ns = 7 * ms;
    const char* format = "";
    const char* text;
};

class Timestamp : public WithRow<ServiceData, TimestampRow> {};

TEST_ROWS(Timestamp,
          // three digits, cut and not rounded
          ROW(.ns = 0, .text = "000"), ROW(.ns = 999999, .text = "000"), ROW(.ns = 7 * ms, .text = "007"),
          ROW(.ns = 42 * ms, .text = "042"), ROW(.ns = 999 * ms, .text = "999"),
          ROW(.ns = 999 * ms + 999999, .text = "999"),
          // behind the caller's own format
          ROW(.format = "%H.%M ", .text = "05.36 007"),
          // five hours east
          ROW(.zone = "TZ=ABC-5", .format = "%Y/%m/%d %H:%M:%S:", .text = "2026/11/16 10:36:04:007"));

TEST_ROW(Timestamp, IsTheLocalTimeOfOneReadingInTheCallersFormatWithMilliseconds)
{
    setZone(row().zone);
    stopClockAt(morning, row().ns);

    EXPECT_EQ(formatTimestamp(row().format), row().text);
    EXPECT_EQ(readings, 1);
}

TEST(ServiceDataFile, HasItsBareName) { EXPECT_STREQ(g_serviceDataFileName, "KVServicedata.txt"); }

}  // namespace
}  // namespace kelvane::tests
