#include "simulator/replay/recorded_log.h"
#include "tests/engine/standby_event.h"

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Texts = std::vector<std::string>;

constexpr wchar_t entryXml[] = L"<Event><System><EventID>506</EventID></System></Event>";
constexpr wchar_t exitXml[] = L"<Event><System><EventID>507</EventID></System></Event>";

TEST_F(Standby, SubscriptionIsForTheTwoEventsOfTheSystemChannel)
{
    EXPECT_EQ(std::wstring(standbyChannel), L"System");
    EXPECT_EQ(std::wstring(standbyQuery), L"(*[System[(EventID=\"506\") or (EventID=\"507\")]])");
}

struct EntryRow {
    int engineState = 3;
    std::uint64_t session = 5;
    std::uint8_t stopDone = 1;
    bool stopsScaling = true;
};

class Entry : public WithRow<Standby, EntryRow> {};

TEST_ROWS(Entry, ROW(.session = 5), ROW(.session = 0), ROW(.session = noFrameworkSession, .stopsScaling = false),
          ROW(.engineState = 0, .stopsScaling = false), ROW(.engineState = 2, .stopsScaling = false),
          ROW(.stopDone = 0, .stopsScaling = false));

TEST_P(Entry, AsksScalingToStopWhileTheEngineRunsWithASessionAndIsNotStopping)
{
    g_engineState = row().engineState;
    g_sessionHandle = row().session;
    g_stopDone = row().stopDone;
    g_serviceStopping = 1;
    g_loopStopEnabled = 0;

    deliver(entryXml);

    EXPECT_EQ(notedOf("log"), row().stopsScaling ? Texts{ "log 0 Entering MS-506 " } : Texts{});
    EXPECT_EQ(g_engineState, row().stopsScaling ? 0 : row().engineState);
    EXPECT_EQ(g_serviceStopping, row().stopsScaling ? 0 : 1);
    EXPECT_EQ(g_reportPerfFailures, row().stopsScaling ? 0 : 1);
    EXPECT_EQ(g_loopStopEnabled, row().stopsScaling ? 1 : 0);
    EXPECT_EQ(g_standbyExitCount, 0);
}

struct ExitRow {
    std::uint64_t session = noFrameworkSession;
    std::uint8_t stopDone = 1;
    std::uint8_t sessionOpen = 1;
    int counted = 0;
};

class Exit : public WithRow<Standby, ExitRow> {};

TEST_ROWS(Exit, ROW(.session = noFrameworkSession, .counted = 2), ROW(.session = 5), ROW(.stopDone = 0),
          ROW(.sessionOpen = 0));

TEST_P(Exit, IsCountedUnlessASessionIsOpenOrTheLoopStartsOrStops)
{
    g_sessionHandle = row().session;
    g_stopDone = row().stopDone;
    g_sessionOpen = row().sessionOpen;

    deliver(exitXml);
    deliver(exitXml);

    EXPECT_EQ(g_standbyExitCount, row().counted);
    EXPECT_EQ(g_engineState, 3);
    EXPECT_EQ(g_reportPerfFailures, 1);
}

TEST_F(Standby, TextWithBothIdentifiersCountsAsEntryOnly)
{
    deliver(L"<EventID>507</EventID><EventID>506</EventID>");

    EXPECT_EQ(g_standbyExitCount, 0);
}

TEST_F(Standby, IdentifiersAreFoundByTheirExactTextAlone)
{
    for (const wchar_t* const id : { L"508", L"5070", L"1507", L" 507", L"507 ", L"" }) {
        deliver(L"<Event><System><EventID>" + std::wstring(id) + L"</EventID></System></Event>");
    }
    deliver(L"<eventid>507</eventid>");
    deliver(L"<EventID Qualifiers=''>507</EventID>");

    EXPECT_EQ(g_standbyExitCount, 0);
}

TEST_F(Standby, IdentifierAtTheVeryStartOfTheTextIsFound)
{
    deliver(L"<EventID>507</EventID>");

    EXPECT_EQ(g_standbyExitCount, 1);
}

TEST_F(Standby, ErrorActionTellsMissingRecordsFromOtherErrors)
{
    const auto stale = reinterpret_cast<EVT_HANDLE>(15011);
    const auto other = reinterpret_cast<EVT_HANDLE>(15012);

    EXPECT_EQ(SubscriptionCallback(EvtSubscribeActionError, nullptr, stale), 0U);
    EXPECT_EQ(SubscriptionCallback(EvtSubscribeActionError, nullptr, other), 0U);

    EXPECT_THAT(noted(), ElementsAre("log 4 The subscription callback was notified that event records are missing",
                                     "log 4 The subscription callback received the following Win32 error"));
}

TEST_F(Standby, UnknownActionIsLoggedAtInfo)
{
    volatile int unknown = 2;  // at run time: the compiler knows of no such action

    EXPECT_EQ(SubscriptionCallback(static_cast<EVT_SUBSCRIBE_NOTIFY_ACTION>(unknown), nullptr, standbyEvent), 0U);

    EXPECT_THAT(noted(), ElementsAre("log 2 SubscriptionCallback: Unknown action"));
}

TEST_F(Standby, ExceptionIsKeptFromTheThreadOfTheEventLogAndIsWantOfMemory)
{
    simulator::recordLog([](int, const std::string&) { throw std::bad_alloc(); });

    EXPECT_EQ(SubscriptionCallback(EvtSubscribeActionError, nullptr, standbyEvent), ERROR_OUTOFMEMORY);
    EXPECT_EQ(SubscriptionCallback(EvtSubscribeActionDeliver, nullptr, standbyEvent), 0U);

    simulator::recordLog(nullptr);
}

TEST_F(Standby, DeliveryThatLeavesNoErrorIsASuccess)
{
    EXPECT_EQ(deliver(L"<EventID>508</EventID>"), 0U);

    EXPECT_THAT(notedOf("log"), IsEmpty());
}

TEST_F(Standby, DeliveryThatLeavesAnErrorIsLoggedAndItsStatusReturned)
{
    eventService.errorAfterSuccess = 122;

    EXPECT_EQ(deliver(L"<EventID>508</EventID>"), 14U);

    EXPECT_THAT(notedOf("log"), ElementsAre("log 4 SubscriptionCallback is failed with out ERROR_SUCCESS "));
}

}  // namespace
}  // namespace kelvane::tests
