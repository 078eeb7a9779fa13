#include "engine/standby_watcher.h"

#include "simulator/replay/recorded_log.h"
#include "state/state.h"
#include "tests/engine/fake_event_service.h"
#include "tests/engine/watched_buffer.h"
#include "tests/support/call_list.h"
#include "tests/support/failing_calls.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

#include <thread>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uint64_t noFrameworkSession = 0xFFFFFFFFFFFFFFFF;
const auto standbyEvent = reinterpret_cast<EVT_HANDLE>(0xE7);  // 231

// Without a session, so that an exit is counted.
class Standby : public testing::Test {
protected:
    Standby()
    {
        noteLog();
        g_sessionHandle = noFrameworkSession;
        SetLastError(0);
    }

    // The event, as the log renders it.
    static DWORD deliver(const std::wstring& xml)
    {
        eventService.setXml(xml);
        return SubscriptionCallback(EvtSubscribeActionDeliver, nullptr, standbyEvent);
    }
};

using Texts = std::vector<std::string>;

constexpr wchar_t entryXml[] = L"<Event><System><EventID>506</EventID></System></Event>";
constexpr wchar_t exitXml[] = L"<Event><System><EventID>507</EventID></System></Event>";  // 54 characters and the NUL
constexpr std::size_t exitBytes = 55 * sizeof(wchar_t);

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

TEST_ROW(Entry, AsksScalingToStopWhileTheEngineRunsWithASessionAndIsNotStopping)
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

TEST_ROW(Exit, IsCountedUnlessASessionIsOpenOrTheLoopStartsOrStops)
{
    g_sessionHandle = row().session;
    g_stopDone = row().stopDone;
    g_sessionOpen = row().sessionOpen;

    EXPECT_EQ(deliver(exitXml), 0U);
    EXPECT_EQ(deliver(exitXml), 0U);

    EXPECT_THAT(notedOf("log"), IsEmpty());
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
    eventService.onRender = [] { throw std::bad_alloc(); };
    EXPECT_EQ(deliver(exitXml), ERROR_OUTOFMEMORY);
    eventService.onRender = [] { throw 7; };
    EXPECT_EQ(deliver(exitXml), ERROR_OUTOFMEMORY);
    EXPECT_EQ(g_standbyExitCount, 0);

    eventService.onRender = nullptr;
    deliver(exitXml);
    EXPECT_EQ(g_standbyExitCount, 1);
}

TEST_F(Standby, StopIsAskedForThoughItsLineCannotBeWritten)
{
    g_sessionHandle = 5;
    simulator::recordLog([](int, const std::string&) { throw std::bad_alloc(); });

    deliver(entryXml);

    EXPECT_EQ(g_engineState, 0);
    EXPECT_EQ(g_reportPerfFailures, 0);
    simulator::recordLog(nullptr);
}

// Whoever has left it.
TEST_F(Standby, DeliveryThatLeavesAnErrorIsTakenAndLoggedAndItsStatusReturned)
{
    eventService.errorAfterSuccess = 122;

    EXPECT_EQ(deliver(exitXml), 14U);

    EXPECT_EQ(g_standbyExitCount, 1);
    EXPECT_THAT(notedOf("log"), ElementsAre("log 4 SubscriptionCallback is failed with out ERROR_SUCCESS "));
}

class Rendering : public Standby {
protected:
    Rendering() { eventService.setXml(exitXml); }
};

TEST_F(Rendering, SizeIsAskedForFirstAndThenTheWholeText)
{
    EXPECT_EQ(renderStandbyEvent(standbyEvent), 0U);

    EXPECT_THAT(noted(),
                ElementsAre("EvtRender no context, event 231, 1, 0 without buffer",
                            "EvtRender no context, event 231, 1, " + std::to_string(exitBytes) + " with buffer"));
    EXPECT_EQ(g_standbyExitCount, 1);
}

TEST_F(Rendering, SizeQueryThatSucceedsEndsItAtOnceWhateverTheLastErrorIs)
{
    eventService.succeedsWithoutBuffer = true;
    SetLastError(5);

    EXPECT_EQ(renderStandbyEvent(standbyEvent), 0U);

    EXPECT_EQ(noted().size(), 1U);
    EXPECT_EQ(g_standbyExitCount, 0);
}

struct SizeErrorRow {
    DWORD error;
    DWORD status = 14;
};

class SizeQuery : public WithRow<Rendering, SizeErrorRow> {};

// Without an error code it is no failure.
TEST_ROWS(SizeQuery, ROW(.error = 6), ROW(.error = 121), ROW(.error = 123), ROW(.error = 15003),
          ROW(.error = 0, .status = 0));

TEST_ROW(SizeQuery, ThatFailsOtherwiseRendersNothing)
{
    eventService.sizeError = row().error;

    EXPECT_EQ(renderStandbyEvent(standbyEvent), row().status);

    EXPECT_EQ(noted().size(), 1U);
    EXPECT_EQ(g_standbyExitCount, 0);
}

struct BufferRow {
    DWORD renderError = 0;
    const char* failing = "";
    DWORD status = 14;
    int held = 0;
    std::size_t calls = 2;
    int exits = 0;
};

class RenderBuffer : public WithRow<Rendering, BufferRow> {};

TEST_ROWS(RenderBuffer, ROW(.status = 0, .exits = 1),
          // one that could not be filled is kept
          ROW(.renderError = 13, .held = 1),
          // and none is nothing to render into
          ROW(.failing = "malloc, rendered event", .calls = 1));

TEST_ROW(RenderBuffer, IsFreedAfterUseAndTheNextEventIsTakenAllTheSame)
{
    const WatchedBuffer buffer(exitBytes, "");
    eventService.renderError = row().renderError;
    failCalls({ row().failing });

    EXPECT_EQ(renderStandbyEvent(standbyEvent), row().status);

    EXPECT_EQ(WatchedBuffer::asked, 1);
    EXPECT_EQ(WatchedBuffer::held, row().held);
    EXPECT_THAT(noted(), SizeIs(row().calls));
    EXPECT_EQ(g_standbyExitCount, row().exits);
    eventService.renderError = 0;
    failCalls({});
    renderStandbyEvent(standbyEvent);
    EXPECT_EQ(g_standbyExitCount, row().exits + 1);
}

const std::wstring whole = L"<EventID>507</EventID>";  // 22 characters
const std::string wholeBytes(reinterpret_cast<const char*>(whole.data()), 22 * sizeof(wchar_t));

struct BytesRow {
    std::size_t bytes;
    std::optional<DWORD> told = {};
};

class RenderedBytes : public WithRow<Rendering, BytesRow> {};

TEST_ROWS(RenderedBytes, ROW(.bytes = 0), ROW(.bytes = 1), ROW(.bytes = 2), ROW(.bytes = 22 * sizeof(wchar_t) - 3),
          ROW(.bytes = 22 * sizeof(wchar_t) - 2), ROW(.bytes = 22 * sizeof(wchar_t) - 1),
          // more than there was room for, and less than was written
          ROW(.bytes = 22 * sizeof(wchar_t) - 1, .told = 22 * sizeof(wchar_t)),
          ROW(.bytes = 22 * sizeof(wchar_t), .told = 22 * sizeof(wchar_t) - 1));

// What lies behind the bytes that count would complete the identifier.
TEST_ROW(RenderedBytes, AreAllThatIsRead)
{
    const WatchedBuffer buffer(row().bytes, wholeBytes);
    eventService.bytes = wholeBytes.substr(0, row().bytes);
    eventService.toldBytes = row().told;

    renderStandbyEvent(standbyEvent);

    EXPECT_EQ(WatchedBuffer::asked, 1);
    EXPECT_EQ(noted().size(), 2U);
    EXPECT_EQ(g_standbyExitCount, 0);
}

TEST_F(Rendering, TextOfTheIdentifierAloneWithoutATerminatorIsReadToItsEnd)
{
    for (const char* const oddByte : { "", "x" }) {
        eventService.bytes = wholeBytes + oddByte;

        renderStandbyEvent(standbyEvent);
    }

    EXPECT_EQ(g_standbyExitCount, 2);
}

TEST_F(Rendering, TextEndsAtItsFirstTerminator)
{
    using namespace std::string_literals;
    eventService.setXml(L"<Event/>\0<EventID>507</EventID>"s);

    renderStandbyEvent(standbyEvent);

    EXPECT_EQ(g_standbyExitCount, 0);
}

TEST_F(Rendering, CharactersOutsideTheCodePageDoNotHideTheIdentifier)
{
    eventService.setXml(L"<Computer>\x4E2D\xD83D\xDE00\x00FC</Computer><EventID>507</EventID>");

    renderStandbyEvent(standbyEvent);

    EXPECT_EQ(g_standbyExitCount, 1);
}

TEST_F(Rendering, EventsOfTwoThreadsAreRenderedOneAtATime)
{
    std::atomic<int> rendering = 0;
    std::atomic<int> together = 0;
    eventService.onRender = [&] {
        if (++rendering > 1) together += 1;
        for (int i = 0; i < 20; ++i) std::this_thread::yield();
        --rendering;
    };
    const auto deliverMany = [] {
        for (int i = 0; i < 100; ++i) renderStandbyEvent(standbyEvent);
    };

    std::thread other(deliverMany);
    deliverMany();
    other.join();

    EXPECT_EQ(together, 0);
    EXPECT_EQ(g_standbyExitCount, 200);
}

}  // namespace
}  // namespace kelvane::tests
