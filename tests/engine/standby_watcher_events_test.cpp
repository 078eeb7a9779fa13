#include "simulator/replay/recorded_log.h"
#include "state/state.h"
#include "tests/engine/standby_event.h"

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

TEST_F(Standby, SubscriptionIsForTheTwoEventsOfTheSystemChannel)
{
    EXPECT_EQ(std::wstring(standbyChannel), L"System");
    EXPECT_EQ(std::wstring(standbyQuery), L"(*[System[(EventID=\"506\") or (EventID=\"507\")]])");
}

TEST_F(Standby, EntryWhileTheEngineRunsWithASessionAsksScalingToStop)
{
    g_serviceStopping = 1;
    g_loopStopEnabled = 0;

    deliver(L"506");

    EXPECT_THAT(notedOf("log 0"), ElementsAre("log 0 Entering MS-506 "));
    EXPECT_EQ(g_engineState, 0);
    EXPECT_EQ(g_serviceStopping, 0);
    EXPECT_EQ(g_reportPerfFailures, 0);
    EXPECT_EQ(g_loopStopEnabled, 1);
    EXPECT_EQ(g_standbyExitCount, 0);
}

TEST_F(Standby, EntryChangesNothingUnlessTheEngineRunsWithASessionAndIsNotStopping)
{
    struct Row {
        const char* why;
        int engineState;
        std::uint64_t session;
        std::uint8_t stopDone;
    };

    for (const Row& row : { Row{ "engine not running", 0, 5, 1 }, Row{ "engine in another state", 2, 5, 1 },
                            Row{ "no session", 3, noFrameworkSession, 1 }, Row{ "already stopping", 3, 5, 0 } }) {
        SCOPED_TRACE(row.why);
        g_engineState = row.engineState;
        g_sessionHandle = row.session;
        g_stopDone = row.stopDone;
        g_serviceStopping = 1;
        g_reportPerfFailures = 1;
        g_loopStopEnabled = 0;

        deliver(L"506");

        EXPECT_THAT(notedOf("log 0"), IsEmpty());
        EXPECT_EQ(g_engineState, row.engineState);
        EXPECT_EQ(g_serviceStopping, 1);
        EXPECT_EQ(g_reportPerfFailures, 1);
        EXPECT_EQ(g_loopStopEnabled, 0);
        EXPECT_EQ(g_standbyExitCount, 0);
    }
}

TEST_F(Standby, SessionZeroIsASession)
{
    g_sessionHandle = 0;

    deliver(L"506");

    EXPECT_EQ(g_engineState, 0);
}

TEST_F(Standby, ExitWithoutASessionIsCounted)
{
    g_sessionHandle = noFrameworkSession;

    deliver(L"507");
    deliver(L"507");

    EXPECT_EQ(g_standbyExitCount, 2);
    EXPECT_EQ(g_engineState, 3);
    EXPECT_EQ(g_reportPerfFailures, 1);
}

TEST_F(Standby, ExitWhileASessionIsOpenOrTheLoopStartsOrStopsIsNotCounted)
{
    struct Row {
        const char* why;
        std::uint64_t session;
        std::uint8_t stopDone;
        std::uint8_t sessionOpen;
    };

    for (const Row& row : { Row{ "a session is open", 5, 1, 1 }, Row{ "stopping", noFrameworkSession, 0, 1 },
                            Row{ "the loop is starting", noFrameworkSession, 1, 0 } }) {
        SCOPED_TRACE(row.why);
        g_sessionHandle = row.session;
        g_stopDone = row.stopDone;
        g_sessionOpen = row.sessionOpen;

        deliver(L"507");

        EXPECT_EQ(g_standbyExitCount, 0);
    }
}

TEST_F(Standby, TextWithBothIdentifiersCountsAsEntryOnly)
{
    g_sessionHandle = noFrameworkSession;

    deliver(L"507</EventID><EventID>506");

    EXPECT_EQ(g_standbyExitCount, 0);
}

TEST_F(Standby, IdentifiersAreFoundByTheirExactTextAlone)
{
    g_sessionHandle = noFrameworkSession;
    for (const wchar_t* const id : { L"508", L"5070", L"1507", L" 507", L"507 ", L"" }) {
        deliver(id);
    }
    eventService.setXml(L"<eventid>507</eventid>");
    SubscriptionCallback(EvtSubscribeActionDeliver, nullptr, standbyEvent);
    eventService.setXml(L"<EventID Qualifiers=''>507</EventID>");
    SubscriptionCallback(EvtSubscribeActionDeliver, nullptr, standbyEvent);

    EXPECT_EQ(g_standbyExitCount, 0);
}

TEST_F(Standby, IdentifierAtTheVeryStartOfTheTextIsFound)
{
    g_sessionHandle = noFrameworkSession;
    eventService.setXml(L"<EventID>507</EventID>");

    SubscriptionCallback(EvtSubscribeActionDeliver, nullptr, standbyEvent);

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
    eventService.setXml(L"<EventID>508</EventID>");

    EXPECT_EQ(SubscriptionCallback(EvtSubscribeActionDeliver, nullptr, standbyEvent), 0U);

    EXPECT_THAT(noted(), Not(Contains("log 4 SubscriptionCallback is failed with out ERROR_SUCCESS ")));
}

TEST_F(Standby, DeliveryThatLeavesAnErrorIsLoggedAndItsStatusReturned)
{
    eventService.setXml(L"<EventID>508</EventID>");
    eventService.errorAfterSuccess = 122;

    EXPECT_EQ(SubscriptionCallback(EvtSubscribeActionDeliver, nullptr, standbyEvent), 14U);

    EXPECT_THAT(notedOf("log"), ElementsAre("log 4 SubscriptionCallback is failed with out ERROR_SUCCESS "));
}

}  // namespace
}  // namespace kelvane::tests
