// What a log tells of scaling: every way in which it starts, ends, or never starts.
#include "kelvanectl/scaling_by_log.h"

#include "tests/support/rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

constexpr char engine[] = "processidCapture started";
constexpr char on[] = "KV scaling is started : ";
constexpr char restored[] = "Stop is called from the registry ";
constexpr char complete[] = "Kiostot registry: Stop KV completed";
constexpr char noCore[] = " KV Start MS/CS is initializing the ORQ, Scaling is stopped ";
constexpr char noWmi[] = "Could not connect. Error code = 0x";
constexpr char writeTwo[] = "write 0, wait a second, write 2";
constexpr char restart[] = "restart the service, then write 0, wait a second, write 2";

struct LogRow {
    std::vector<std::string> texts;  // of one entry each second
    bool runs = true;
    std::string state = "off";
    int second = -1;  // of the entry since when it is so; -1: none
    std::string endedBy = "";
    std::string toGoOn = writeTwo;
    std::string canReturn = "yes";
};

std::string timeOf(std::size_t second) { return std::string("2026-11-22 08:58:0") + std::to_string(second); }

class ScalingByTheLog : public WithRow<testing::Test, LogRow> {};

TEST_ROWS(ScalingByTheLog,
          // never switched on
          ROW(.texts = {}),
          ROW(.texts = {}, .runs = false, .toGoOn = "start the service, then write 0, wait a second, write 2"),
          // on
          ROW(.texts = { engine, on }, .state = "on", .second = 1, .toGoOn = "",
              .canReturn = "unknown until the next stop"),
          ROW(.texts = { engine, on, restored, complete, engine, on }, .state = "on", .second = 5, .endedBy = "value",
              .toGoOn = "", .canReturn = "unknown until the next stop"),
          ROW(.texts = { engine, on, "Disconnected" }, .state = "on", .second = 1, .toGoOn = "",
              .canReturn = "unknown until the next stop"),
          // switched off, with and without a start that was turned away before
          ROW(.texts = { engine, on, restored, complete }, .second = 2, .endedBy = "value"),
          ROW(.texts = { engine, on, restored }, .second = 2, .endedBy = "value", .toGoOn = restart, .canReturn = "no"),
          // standby, and a later stop by the value
          ROW(.texts = { engine, on, "Entering MS-506 ", restored, complete }, .second = 3, .endedBy = "standby"),
          ROW(.texts = { engine, on, "Entering MS-506 ", restored, complete, engine, on, restored, complete },
              .second = 7, .endedBy = "value"),
          // starts that failed
          ROW(.texts = { engine }, .state = "starting", .second = 0,
              .toGoOn = "wait ten seconds; if it is still starting then, restart the service, then write 0, wait a "
                        "second, write 2",
              .canReturn = "unknown until the next stop"),
          ROW(.texts = { engine, noWmi }, .second = 1, .endedBy = "failed start", .toGoOn = restart, .canReturn = "no"),
          ROW(.texts = { engine, on, noCore, complete }, .second = 2, .endedBy = "failed start"),
          ROW(.texts = { engine, on, complete }, .second = 2, .endedBy = "failed start"),
          // what follows an end is not its reason
          ROW(.texts = { engine, on, restored, noWmi, complete }, .second = 2, .endedBy = "value"),
          ROW(.texts = { engine, on, restored, complete, "KV Windows service is stopped " }, .runs = false, .second = 2,
              .endedBy = "value", .toGoOn = "start the service, then write 0, wait a second, write 2"),
          // the end of the service, by its own word, and without one
          ROW(.texts = { engine, on, "KV Windows service is stopped ", "KV Windows Service is stopped" }, .runs = false,
              .second = 2, .endedBy = "service stop",
              .toGoOn = "start the service, then write 0, wait a second, write 2"),
          ROW(.texts = { engine, on }, .runs = false, .endedBy = "service stop",
              .toGoOn = "start the service, then write 0, wait a second, write 2"));

TEST_ROW(ScalingByTheLog, IsToldWithWhatItNeeds)
{
    std::vector<LogEntry> entries;
    for (const std::string& text : row().texts) entries.push_back({ timeOf(entries.size()), "DEBUG", text });

    const ScalingByLog scaling = scalingByLog(entries, row().runs);

    EXPECT_EQ(scaling.state, row().state);
    EXPECT_EQ(scaling.since, row().second < 0 ? "" : timeOf(static_cast<std::size_t>(row().second)));
    EXPECT_EQ(scaling.endedBy, row().endedBy);
    EXPECT_EQ(scaling.toGoOn, row().toGoOn);
    EXPECT_EQ(scaling.canReturn, row().canReturn);
}

}  // namespace
}  // namespace kelvane::tests
