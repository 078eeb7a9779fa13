// The event callback: which payloads count, what each event changes and logs, and what it leaves alone.
#include "framework/events.h"
#include "state/state.h"

#include "simulator/replay/recorded_log.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/guarded_block.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

#include <cstring>
#include <new>
#include <thread>

namespace kelvane::tests {
namespace {

using testing::Each;
using testing::IsEmpty;
using testing::SizeIs;

using Messages = std::vector<std::string>;
using Values = std::vector<std::pair<std::string, std::int64_t>>;

// All that the callback writes, and some that it must not.
Values values()
{
    return { { "verbosity", g_logVerbosity },
             { "scheme data", g_powerSchemeData != nullptr },
             { "scheme", g_powerScheme },
             { "slider", g_powerSlider },
             { "slider changed", g_powerSliderChanged },
             { "raw", g_workloadRaw },
             { "workload", g_workload },
             { "pending", g_workloadEventPending },
             { "hold", g_workloadEventHold },
             { "seen", g_workloadEventSeen },
             { "pause", PwrPause },
             { "disconnected", g_orqDisconnected },
             { "prevWorkload", prevWorkload },
             { "status", g_orqStatus },
             { "session", g_sessionHandle },
             { "session open", g_sessionOpen },
             { "the service's own verbosity", DiagnosticLogInspector::verbosity() } };
}

std::uint32_t deliver(std::uint32_t type, const OrqData* payload, const char* participant = nullptr)
{
    return onFrameworkEvent(99, type, participant, payload);
}

// The word is the first of sixteen bytes, as a GUID has them.
std::uint32_t deliverWord(std::uint32_t type, std::uint32_t word, const char* participant = nullptr)
{
    std::uint32_t words[4] = { word, 0, 0, 0 };
    const OrqData payload = { 3, words, 16, 16 };
    return deliver(type, &payload, participant);
}

// What `now` has in another way than `before`: "slider 50, slider changed 1".
std::string changesOf(const Values& before, const Values& now)
{
    std::string text;
    for (std::size_t i = 0; i < now.size(); ++i) {
        if (now[i] == before[i]) continue;
        text += (text.empty() ? "" : ", ") + now[i].first + " " + std::to_string(now[i].second);
    }
    return text;
}

TEST(EventValues, AtTheStart)
{
    Values others = values();
    for (auto& [name, value] : others) value = 99;

    EXPECT_EQ(
        changesOf(others, values()),
        "verbosity 1, scheme data 0, scheme 0, slider 0, slider changed 0, raw 0, workload 0, pending 0, hold 0, "
        "seen 0, pause 0, disconnected 0, prevWorkload -1, status 0, session -1, session open 1, the service's own "
        "verbosity 2");
}

class EventCallback : public testing::Test {
protected:
    EventCallback()
    {
        simulator::recordLog(
            [this](int level, const std::string& text) { messages.push_back(std::to_string(level) + " " + text); });
        g_sessionHandle = 7;
        g_powerScheme = 7;
        g_workload = 77;
        g_workloadRaw = 77;
        before = values();
    }

    ~EventCallback() override { simulator::recordLog(nullptr); }

    std::string changes() const { return changesOf(before, values()); }

    Values before;
    Messages messages;
};

struct EventRow {
    std::uint32_t type;
    std::uint32_t word = 0;
    const char* participant = nullptr;
    Messages messages = {};
    const char* changes = "";
};

using FrameworkEvents = WithRow<EventCallback, EventRow>;

TEST_ROWS(
    FrameworkEvents,
    // suspension of whatever participant, but not of none
    ROW(.type = 5, .participant = "TCPU", .messages = { "2 Participant suspended" }),
    ROW(.type = 6, .participant = "", .messages = { "2 Participant resumed" }), ROW(.type = 5), ROW(.type = 6),
    // the log's verbosity
    ROW(.type = 34, .word = 3, .messages = { "2 Log verbosity changed to3" }, .changes = "verbosity 3"),
    ROW(.type = 34, .word = 4000000000, .messages = { "2 Log verbosity changed to4000000000" },
        .changes = "verbosity 4000000000"),
    // the power scheme, by the first word of its GUID
    ROW(.type = 72, .word = 0xA1841308, .messages = { "2 powerScheme type = 0data.Data1 =2709787400" },
        .changes = "scheme data 1, scheme 0"),
    ROW(.type = 72, .word = 0x381B4222, .messages = { "2 powerScheme type = 1data.Data1 =941310498" },
        .changes = "scheme data 1, scheme 1"),
    ROW(.type = 72, .word = 0x8C5E7FDA, .messages = { "2 powerScheme type = 2data.Data1 =2355003354" },
        .changes = "scheme data 1, scheme 2"),
    ROW(.type = 72, .word = 0, .messages = { "2 powerScheme type = 1data.Data1 =0" },
        .changes = "scheme data 1, scheme 1"),
    ROW(.type = 72, .word = 0xA1841309, .messages = { "2 powerScheme type = 1data.Data1 =2709787401" },
        .changes = "scheme data 1, scheme 1"),
    ROW(.type = 72, .word = 0x8C5E7FDB, .messages = { "2 powerScheme type = 1data.Data1 =2355003355" },
        .changes = "scheme data 1, scheme 1"),
    ROW(.type = 72, .word = 0xFFFFFFFF, .messages = { "2 powerScheme type = 1data.Data1 =4294967295" },
        .changes = "scheme data 1, scheme 1"),
    // the power slider
    ROW(.type = 106, .word = 50, .messages = { "2 Event powerSlider type =50" },
        .changes = "slider 50, slider changed 1"),
    // the workload, without a word, and with any participant or none: 1 and 2 have other classes, the rest its own
    ROW(.type = 183, .word = 1, .changes = "raw 1, workload 5, pending 1, hold 4, seen 1"),
    ROW(.type = 183, .word = 2, .participant = "TCPU", .changes = "raw 2, workload 4, pending 1, hold 4, seen 1"),
    ROW(.type = 183, .word = 0, .changes = "raw 0, workload 0, pending 1, hold 4, seen 1"),
    ROW(.type = 183, .word = 3, .changes = "raw 3, workload 3, pending 1, hold 4, seen 1"),
    ROW(.type = 183, .word = 4, .changes = "raw 4, workload 4, pending 1, hold 4, seen 1"),
    ROW(.type = 183, .word = 5, .changes = "raw 5, workload 5, pending 1, hold 4, seen 1"),
    ROW(.type = 183, .word = 6, .changes = "raw 6, workload 6, pending 1, hold 4, seen 1"),
    ROW(.type = 183, .word = 2147483647, .changes = "raw 2147483647, workload 2147483647, pending 1, hold 4, seen 1"),
    ROW(.type = 183, .word = 0xFFFFFFFF, .changes = "raw 4294967295, workload -1, pending 1, hold 4, seen 1"),
    // the disconnection; the session stays
    ROW(.type = 10000, .messages = { "4 Disconnected" }, .changes = "disconnected 1"));

TEST_P(FrameworkEvents, ChangeAndLog)
{
    EXPECT_EQ(deliverWord(row().type, row().word, row().participant), 0U);

    EXPECT_EQ(messages, row().messages);
    EXPECT_EQ(changes(), row().changes);
}

TEST_F(EventCallback, NoOtherTypeDoesAnything)
{
    std::vector<std::uint32_t> types = { 9999, 10001, 65570, 0x80000022, 0xFFFFFFFF };
    for (std::uint32_t type = 0; type <= 300; ++type) types.push_back(type);

    for (const std::uint32_t type : types) {
        if (type == 5 || type == 6 || type == 34 || type == 72 || type == 106 || type == 183) continue;
        EXPECT_EQ(deliverWord(type, 2, "TCPU"), 0U) << type;
    }

    EXPECT_EQ(changes(), "");
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(EventCallback, DisconnectionNeedsNoPayload)
{
    EXPECT_EQ(deliver(10000, nullptr), 0U);

    EXPECT_EQ(changes(), "disconnected 1");
}

struct PayloadRow {
    std::uint32_t type;
    std::uint32_t bytes = 4;
    std::size_t messages = 1;
};

using EventPayload = WithRow<EventCallback, PayloadRow>;

TEST_ROWS(EventPayload, ROW(.type = 34), ROW(.type = 72, .bytes = 16), ROW(.type = 106),
          ROW(.type = 183, .messages = 0));

TEST_P(EventPayload, CountsFromItsFullBufferLengthOnWhateverItsTypeAndDataLength)
{
    const GuardedBlock shortBlock(row().bytes - 1, 2);
    const GuardedBlock block(row().bytes, 2);
    const OrqData noBuffer = { 3, nullptr, row().bytes, row().bytes };
    const OrqData empty = { 3, block.data(), 0, row().bytes };
    const OrqData tooShort = { 3, shortBlock.data(), row().bytes - 1, row().bytes };
    const OrqData enoughWithoutData = { 8, block.data(), row().bytes, 0 };

    for (const OrqData* const payload : { static_cast<const OrqData*>(nullptr), &noBuffer, &empty, &tooShort }) {
        EXPECT_EQ(deliver(row().type, payload), 0U);
    }
    EXPECT_EQ(changes(), "");
    EXPECT_THAT(messages, IsEmpty());

    EXPECT_EQ(deliver(row().type, &enoughWithoutData), 0U);
    EXPECT_NE(changes(), "");
    EXPECT_THAT(messages, SizeIs(row().messages));
}

TEST_F(EventCallback, PowerSchemeKeepsThePointerToItsPayload)
{
    unsigned char guid[16] = { 0xDA, 0x7F, 0x5E, 0x8C, 0x9A, 0xE7, 0x85, 0x4B };
    const OrqData payload = { 3, guid, 16, 16 };

    deliver(72, &payload);

    EXPECT_EQ(g_powerSchemeData, guid);
    EXPECT_EQ(g_powerScheme, 2);
}

TEST_F(EventCallback, SliderAndWorkloadAreFlaggedAgainWhenTheyStayTheSame)
{
    deliverWord(106, 50);
    deliverWord(183, 1);
    const std::string first = changes();
    g_powerSliderChanged = 0;
    g_workloadEventPending = 0;
    g_workloadEventHold = 2;
    g_workloadEventSeen = 0;

    deliverWord(106, 50);
    deliverWord(183, 1);

    EXPECT_EQ(changes(), first);
}

// Whether a pause is asked for, by the raw class of the event.
struct PauseRow {
    int previous;
    std::vector<int> after0To6 = { 0, 0, 0, 0, 0, 0, 0 };
};

using WorkloadPause = WithRow<EventCallback, PauseRow>;

TEST_ROWS(WorkloadPause, ROW(.previous = -1), ROW(.previous = 0), ROW(.previous = 1), ROW(.previous = 2),
          ROW(.previous = 3, .after0To6 = { 0, 0, 1, 0, 1, 0, 0 }), ROW(.previous = 4),
          ROW(.previous = 5, .after0To6 = { 1, 0, 1, 1, 1, 0, 1 }), ROW(.previous = 6));

TEST_P(WorkloadPause, IsAskedForWhenItLeavesClassFiveOrGoesFromThreeToFourAndThenStays)
{
    for (std::uint32_t raw = 0; raw < 7; ++raw) {
        prevWorkload = row().previous;
        PwrPause = 0;
        deliverWord(183, raw);
        EXPECT_EQ(PwrPause, row().after0To6[raw]) << raw;

        PwrPause = 1;
        deliverWord(183, raw);
        EXPECT_EQ(PwrPause, 1) << raw;
        EXPECT_EQ(prevWorkload, row().previous) << raw;
    }
}

TEST_F(EventCallback, LetsNoExceptionOutAndKeepsWhatItStored)
{
    simulator::recordLog([](int, const std::string&) { throw std::bad_alloc(); });

    for (const std::uint32_t type : { 5U, 6U, 34U, 72U, 106U, 10000U }) {
        EXPECT_NO_THROW(EXPECT_EQ(deliverWord(type, 50, "TCPU"), 0U)) << type;
    }

    EXPECT_EQ(changes(), "verbosity 50, scheme data 1, scheme 1, slider 50, slider changed 1, disconnected 1");
}

TEST_F(EventCallback, OverlappingDeliveriesKeepTheirMessagesWhole)
{
    constexpr int deliveries = 200;
    {
        std::vector<std::jthread> framework;
        for (int i = 0; i < 4; ++i) {
            framework.emplace_back([] {
                for (int n = 0; n < deliveries; ++n) {
                    deliverWord(106, 50);
                    deliverWord(183, 1);
                }
            });
        }
    }

    EXPECT_THAT(messages, SizeIs(800));
    EXPECT_THAT(messages, Each("2 Event powerSlider type =50"));
    EXPECT_EQ(changes(), "slider 50, slider changed 1, raw 1, workload 5, pending 1, hold 4, seen 1");
}

}  // namespace
}  // namespace kelvane::tests
