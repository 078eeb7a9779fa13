#include "simulator/formats/trace.h"

#include "diagnostics/diagnostic_log.h"
#include "simulator/replay/recorded_log.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

#include <sstream>

namespace kelvane::tests {
namespace {

using simulator::Trace;
using simulator::TraceFlush;
using testing::ElementsAre;

const std::string header = "time_ms,kind,name,value,status\n";

TEST(TraceRows, HoldWhatTheirKindHas)
{
    std::ostringstream out;
    Trace trace(out, TraceFlush::eachRow);
    EXPECT_EQ(header, out.str());

    trace.call(0, "INIT", std::nullopt, 0);
    trace.call(7, "REGISTER_EVENT", 10000, -1);
    trace.primitive(8, "GET_RAPL_POWER", 4294967295, 0);
    trace.primitive(8, "GET_RAPL_POWER", std::nullopt, 1000);
    trace.primitive(8, "SET_PERF_PREFERENCE_MIN", 0, 1400);
    trace.sleep(18446744073709551615u, 5000);
    trace.processor(100, "demand_core_ms", 18446744073709551615u);
    trace.log(100, 4, "Disconnected");

    EXPECT_EQ(header + "0,call,INIT,,0\n"
                       "7,call,REGISTER_EVENT,10000,-1\n"
                       "8,primitive,GET_RAPL_POWER,4294967295,0\n"
                       "8,primitive,GET_RAPL_POWER,,1000\n"
                       "8,primitive,SET_PERF_PREFERENCE_MIN,0,1400\n"
                       "18446744073709551615,sleep,,5000,\n"
                       "100,processor,demand_core_ms,18446744073709551615,\n"
                       "100,log,4,Disconnected,\n",
              out.str());
}

struct TextRow {
    const char* text;
    const char* column;
};

class TraceLogText : public WithRow<testing::Test, TextRow> {};

TEST_ROWS(TraceLogText, ROW(.text = "", .column = ""),
          ROW(.text = "plain = 1; *** == :", .column = "plain = 1; *** == :"),
          ROW(.text = " blanks ", .column = " blanks "), ROW(.text = "a,b", .column = "\"a,b\""),
          ROW(.text = "say \"hi\"", .column = "\"say \"\"hi\"\"\""), ROW(.text = "a\nb", .column = "\"a\nb\""),
          ROW(.text = "a\rb", .column = "\"a\rb\""));

TEST_ROW(TraceLogText, IsQuotedOnlyWhereCsvNeedsIt)
{
    std::ostringstream out;
    Trace trace(out, TraceFlush::eachRow);

    trace.log(5, 2, row().text);

    EXPECT_EQ(header + "5,log,2," + row().column + ",\n", out.str());
}

TEST(TraceRows, AreGatheredUntilTheTraceEnds)
{
    std::ostringstream out;
    {
        Trace trace(out);
        trace.sleep(0, 300);

        EXPECT_EQ("", out.str());
    }

    EXPECT_EQ(header + "0,sleep,,300,\n", out.str());
}

TEST(TraceRows, AreAllWrittenWhenThereAreMoreThanAreGathered)
{
    std::ostringstream out;
    std::string expected = header;
    {
        Trace trace(out);
        for (std::uint32_t ms = 0; ms < 100000; ++ms) {
            trace.sleep(18446744073709551615u, ms);
            expected += "18446744073709551615,sleep,," + std::to_string(ms) + ",\n";
        }

        EXPECT_GT(out.str().size(), 1000000U);
    }

    EXPECT_TRUE(expected == out.str());
}

TEST(TraceRows, HoldATextThatIsLongerThanAnyRow)
{
    for (const TraceFlush flush : { TraceFlush::whenFull, TraceFlush::eachRow }) {
        const std::string text(3000000, 'x');
        std::ostringstream out;
        {
            Trace trace(out, flush);
            trace.sleep(0, 300);
            trace.log(1, 0, text);
            trace.sleep(1, 200);
        }

        EXPECT_TRUE(header + "0,sleep,,300,\n1,log,0," + text + ",\n1,sleep,,200,\n" == out.str());
    }
}

class RecordedLog : public testing::Test {
protected:
    RecordedLog()
    {
        simulator::recordLog(
            [this](int level, const std::string& text) { recorded.push_back(std::to_string(level) + " " + text); });
    }

    ~RecordedLog() override { simulator::recordLog(nullptr); }

    std::vector<std::string> recorded;
};

TEST_F(RecordedLog, HoldsMessagesOfEveryLevelInTheirOrder)
{
    for (const int level : { 2, 0, 4, 3, 1, -1 }) logLine(level, "value ", 7);

    EXPECT_THAT(recorded, ElementsAre("2 value 7", "0 value 7", "4 value 7", "3 value 7", "1 value 7", "-1 value 7"));
}

TEST_F(RecordedLog, LeavesOutTheFinalLineFeedAndNoOther)
{
    DiagnosticLog::instance().log(4) << "a\nb\n";
    DiagnosticLog::instance().log(4) << "a\n\n";

    EXPECT_THAT(recorded, ElementsAre("4 a\nb", "4 a\n"));
}

TEST_F(RecordedLog, EndsWhenNobodyListens)
{
    logLine(2, "heard");
    simulator::recordLog(nullptr);
    logLine(2, "not heard");

    EXPECT_THAT(recorded, ElementsAre("2 heard"));
}

}  // namespace
}  // namespace kelvane::tests
