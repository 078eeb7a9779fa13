#include "tests/service/control_watch.h"

namespace kelvane::tests {
namespace {

using namespace std::string_literals;

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char notPresent[] = "event KV::LITSSVC: Registry value KV is not present in the registry";

struct ValueRow {
    std::string bytes;
    int gate = 1;
};

class ControlValue : public WithRow<ControlWatch, ValueRow> {};

TEST_ROWS(ControlValue,
          // the number 2, and what begins like the text whose one unit is 2
          ROW(.bytes = dword(2), .gate = 0), ROW(.bytes = wideText(L"\x02"), .gate = 0),
          ROW(.bytes = wideText(L"\x02") + dword(99), .gate = 0),
          // anything else
          ROW(.bytes = dword(0)), ROW(.bytes = dword(1)), ROW(.bytes = dword(3)), ROW(.bytes = dword(0x20000)),
          ROW(.bytes = dword(0x10002)), ROW(.bytes = dword(0x202)), ROW(.bytes = wideText(L"2")),
          ROW(.bytes = wideText(L"\x02\x02")), ROW(.bytes = "2"), ROW(.bytes = ""));

TEST_P(ControlValue, OpensTheGateWhenItIsTwoElseAsksScalingToStopAndShutsTheGate)
{
    change(row().bytes);

    runToEnd();

    EXPECT_EQ(g_engineGate, row().gate);
    EXPECT_EQ(g_engineState, row().gate == 0 ? 3 : 0);
    EXPECT_EQ(g_serviceStopping, row().gate == 0 ? 1 : 0);
    EXPECT_THAT(notedOf("event"), IsEmpty());
}

// Two values, one after the other.
struct ValuesRow {
    std::string first;
    int firstGate = 1;
    std::string second;
    int secondGate = 1;
};

class ControlValues : public WithRow<ControlWatch, ValuesRow> {};

TEST_ROWS(ControlValues, ROW(.first = dword(2), .firstGate = 0, .second = dword(1)),
          ROW(.first = dword(2), .firstGate = 0, .second = dword(2), .secondGate = 0),
          ROW(.first = dword(1), .second = dword(1)),
          // the buffer keeps what a shorter value does not overwrite
          ROW(.first = dword(2), .firstGate = 0, .second = "", .secondGate = 0),
          ROW(.first = dword(5), .second = "\x02\0"s, .secondGate = 0),
          ROW(.first = dword(0x00050002), .second = "\x02\0"s));

TEST_P(ControlValues, AreFollowedOneByOne)
{
    int gateAfterTheFirst = -1;
    change(row().first);
    change([&] {
        gateAfterTheFirst = g_engineGate;
        g_engineGate = 7;
        g_engineState = 3;
        registry.value = row().second;
    });

    runToEnd();

    EXPECT_EQ(gateAfterTheFirst, row().firstGate);
    EXPECT_EQ(g_engineGate, row().secondGate);
    EXPECT_EQ(g_engineState, row().secondGate == 0 ? 3 : 0);
}

TEST_F(ControlWatch, DeletedValueIsReportedAndLeavesGateAndEngineAsTheyAre)
{
    change([] { failCalls({ "RegQueryValueExW" }); });

    runToEnd();

    EXPECT_THAT(notedOf("event"), ElementsAre(notPresent));
    EXPECT_EQ(g_engineGate, 7);
    EXPECT_EQ(g_engineState, 3);
}

// Values of these sizes, all of which begin like the text of 2.
struct SizesRow {
    std::vector<std::size_t> values;
    std::vector<std::string> offered;
    std::vector<int> gates;  // 7 where the value is not read
    std::size_t notPresent;
};

class OfferedSize : public WithRow<ControlWatch, SizesRow> {};

TEST_ROWS(OfferedSize,
          // a value longer than the one before is not present once, and then read
          ROW(.values = { 4, 10, 10 }, .offered = { wholeBuffer, "4", "10" }, .gates = { 0, 7, 0 }, .notPresent = 1),
          ROW(.values = { 0, 4, 4 }, .offered = { wholeBuffer, "0", "4" }, .gates = { 1, 7, 0 }, .notPresent = 1),
          // never more than the buffer is offered
          ROW(.values = { bufferBytes + 1976, bufferBytes + 1976, bufferBytes + 1, bufferBytes },
              .offered = { wholeBuffer, wholeBuffer, wholeBuffer, wholeBuffer }, .gates = { 7, 7, 7, 0 },
              .notPresent = 3));

TEST_P(OfferedSize, IsThatOfTheValueBeforeAndAtMostTheBuffers)
{
    std::vector<int> gates;
    std::vector<std::string> queries;
    for (std::size_t i = 0; i < row().values.size(); ++i) {
        change([&, i] {
            if (i > 0) gates.push_back(g_engineGate);
            g_engineGate = 7;
            registry.value = wideText(L"\x02").append(bufferBytes * 3, 'x').substr(0, row().values[i]);
        });
        queries.push_back("query key" + std::to_string(i + 2) + ", CurrentSetting, " + row().offered[i]);
    }

    runToEnd();

    gates.push_back(g_engineGate);
    EXPECT_EQ(gates, row().gates);
    EXPECT_EQ(notedOf("query"), queries);
    EXPECT_EQ(notedOf("event"), std::vector<std::string>(row().notPresent, notPresent));
}

TEST_F(ControlWatch, SettingPointsAtTheConstantTwoAndThenAtWhatWasRead)
{
    const auto* const before = static_cast<const DWORD*>(g_currentSettingData.load());
    EXPECT_EQ(*before, 2U);
    change([] { failCalls({ "RegQueryValueExW" }); });
    const void* afterTheFailure = nullptr;
    change([&] {
        afterTheFailure = g_currentSettingData;
        failCalls({});
        registry.value = dword(77);
    });

    runToEnd();

    EXPECT_EQ(afterTheFailure, before);
    EXPECT_EQ(*static_cast<const DWORD*>(g_currentSettingData.load()), 77U);
}

TEST_F(ControlWatch, StatusOfEachCallIsStored)
{
    std::vector<DWORD> stored;
    registry.onNotify = [&] {
        stored.push_back(g_lastRegistryStatus);
        return ERROR_SUCCESS;
    };
    change([] { failCalls({ "RegQueryValueExW" }); });

    runToEnd();

    EXPECT_THAT(stored, ElementsAre(0U, 2U));
    EXPECT_EQ(g_lastRegistryStatus, 0U);
}

}  // namespace
}  // namespace kelvane::tests
