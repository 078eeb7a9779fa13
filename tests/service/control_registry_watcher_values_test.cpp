#include "state/state.h"
#include "tests/service/control_watch.h"

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char notPresent[] = "event KV::LITSSVC: Registry value KV is not present in the registry";

TEST_F(ControlWatch, TwoOpensTheGateAndAsksNothingToStop)
{
    change(dword(2));

    runToEnd();

    EXPECT_EQ(g_engineGate, 0);
    EXPECT_EQ(g_engineState, 3);
    EXPECT_EQ(g_serviceStopping, 1);
    EXPECT_THAT(notedOf("event"), IsEmpty());
}

TEST_F(ControlWatch, AnyOtherValueAsksScalingToStopAndShutsTheGate)
{
    struct Row {
        const char* what;
        std::string bytes;
    };

    for (const Row& row : { Row{ "0", dword(0) }, Row{ "1", dword(1) }, Row{ "3", dword(3) },
                            Row{ "2 in the upper half", dword(0x20000) }, Row{ "2 and more", dword(0x10002) },
                            Row{ "514", dword(0x202) }, Row{ "the digit 2", wideText(L"2") },
                            Row{ "two units", wideText(L"\x02\x02") }, Row{ "the narrow digit", "2" } }) {
        SCOPED_TRACE(row.what);
        g_serviceRunning = true;
        g_engineGate = 7;
        g_engineState = 3;
        g_serviceStopping = 1;
        change(row.bytes);

        runToEnd();

        EXPECT_EQ(g_engineGate, 1);
        EXPECT_EQ(g_engineState, 0);
        EXPECT_EQ(g_serviceStopping, 0);
    }
}

TEST_F(ControlWatch, OneAfterTwoShutsTheGateAgain)
{
    change(dword(2));
    change(dword(1));
    int gateAfterTwo = -1;
    registry.onNotify = [&] {
        if (gateAfterTwo == -1 && g_engineGate != 7) gateAfterTwo = g_engineGate;
        return ERROR_SUCCESS;
    };

    runToEnd();

    EXPECT_EQ(gateAfterTwo, 0);
    EXPECT_EQ(g_engineGate, 1);
    EXPECT_EQ(g_engineState, 0);
}

TEST_F(ControlWatch, TextWhoseOneUnitIsTwoCountsAsTwo)
{
    change(wideText(L"\x02"));

    runToEnd();

    EXPECT_EQ(g_engineGate, 0);
}

TEST_F(ControlWatch, LongerNumberThatBeginsLikeTwoCountsAsTwo)
{
    change(wideText(L"\x02") + dword(99));

    runToEnd();

    EXPECT_EQ(g_engineGate, 0);
}

TEST_F(ControlWatch, ChangeOfAnotherValueWhileTwoStaysOpensTheGateOnceMore)
{
    int opened = 0;
    change(dword(2));
    change([&] { g_engineGate = 1; });  // the worker has taken the first start
    registry.onNotify = [&] {
        if (g_engineGate == 0) opened += 1;
        return ERROR_SUCCESS;
    };

    runToEnd();

    EXPECT_EQ(opened, 2);
}

TEST_F(ControlWatch, EveryReadOfAnotherValueAsksToStopOnceMore)
{
    change(dword(1));
    change([] { g_engineState = 3; });

    runToEnd();

    EXPECT_EQ(g_engineState, 0);
}

TEST_F(ControlWatch, DeletedValueIsReportedAndLeavesGateAndEngineAsTheyAre)
{
    change([this] { registry.valueExists = false; });

    runToEnd();

    EXPECT_THAT(notedOf("event"), ElementsAre(notPresent));
    EXPECT_EQ(g_engineGate, 7);
    EXPECT_EQ(g_engineState, 3);
}

TEST_F(ControlWatch, ValueLongerThanTheOneBeforeIsNotPresentOnceAndThenRead)
{
    int gateAfterTheFirst = -1;
    std::string tenBytes = wideText(L"\x02");
    tenBytes.resize(10, 'x');
    change(dword(1));
    change(tenBytes);
    change([&] { gateAfterTheFirst = g_engineGate; });

    runToEnd();

    EXPECT_THAT(notedOf("query"), ElementsAre("query key2, CurrentSetting, " + wholeBuffer,
                                              "query key3, CurrentSetting, 4", "query key4, CurrentSetting, 10"));
    EXPECT_THAT(notedOf("event"), ElementsAre(notPresent));
    EXPECT_EQ(gateAfterTheFirst, 1);
    EXPECT_EQ(g_engineGate, 0);
}

TEST_F(ControlWatch, NeverMoreThanTheBufferIsOffered)
{
    change(std::string(bufferBytes + 1976, 'x'));
    change(std::string(bufferBytes + 1976, 'x'));
    change(std::string(bufferBytes + 1, 'x'));
    change(std::string(bufferBytes, 'x'));

    runToEnd();

    EXPECT_THAT(notedOf("query"),
                ElementsAre("query key2, CurrentSetting, " + wholeBuffer, "query key3, CurrentSetting, " + wholeBuffer,
                            "query key4, CurrentSetting, " + wholeBuffer,
                            "query key5, CurrentSetting, " + wholeBuffer));
    EXPECT_THAT(notedOf("event"), ElementsAre(notPresent, notPresent, notPresent));
    EXPECT_EQ(g_engineGate, 1);
}

TEST_F(ControlWatch, EmptyValueIsJudgedByWhatTheBufferHoldsFromBefore)
{
    change(dword(2));
    change([this] {
        g_engineGate = 7;
        registry.value = "";
    });

    runToEnd();

    EXPECT_EQ(g_engineGate, 0);
    EXPECT_EQ(g_engineState, 3);
}

TEST_F(ControlWatch, EmptyValueAtFirstIsNotTwo)
{
    change("");

    runToEnd();

    EXPECT_EQ(g_engineGate, 1);
    EXPECT_EQ(g_engineState, 0);
}

TEST_F(ControlWatch, AfterAnEmptyValueTheNextOneIsNotPresentOnce)
{
    change("");
    change(dword(2));
    change(dword(2));

    runToEnd();

    EXPECT_THAT(notedOf("query"), ElementsAre("query key2, CurrentSetting, " + wholeBuffer,
                                              "query key3, CurrentSetting, 0", "query key4, CurrentSetting, 4"));
    EXPECT_THAT(notedOf("event"), ElementsAre(notPresent));
    EXPECT_EQ(g_engineGate, 0);
}

TEST_F(ControlWatch, BytesOfAnEarlierValueCompleteAShorterOne)
{
    change(dword(0x00000005));
    change(std::string("\x02\x00", 2));

    runToEnd();

    EXPECT_EQ(g_engineGate, 0);
}

TEST_F(ControlWatch, BytesOfAnEarlierValueSpoilAShorterOne)
{
    change(dword(0x00050002));
    change(std::string("\x02\x00", 2));

    runToEnd();

    EXPECT_EQ(g_engineGate, 1);
}

TEST_F(ControlWatch, SettingPointsAtTheConstantTwoAndThenAtWhatWasRead)
{
    const auto* const before = static_cast<const DWORD*>(g_currentSettingData.load());
    EXPECT_EQ(*before, 2U);
    change([this] { registry.valueExists = false; });
    const void* afterTheFailure = nullptr;
    change([&] {
        afterTheFailure = g_currentSettingData;
        registry.valueExists = true;
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
    change([this] { registry.valueExists = false; });

    runToEnd();

    EXPECT_THAT(stored, ElementsAre(0U, 2U));
    EXPECT_EQ(g_lastRegistryStatus, 0U);
}

}  // namespace
}  // namespace kelvane::tests
