// The event callback: which payloads count, what each event changes and logs, and what it leaves alone.
#include "framework/events.h"
#include "state/state.h"

#include "simulator/replay/recorded_log.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/guarded_block.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

#include <cstring>
#include <map>
#include <new>
#include <thread>

namespace kelvane::tests {
namespace {

using testing::Each;
using testing::IsEmpty;
using testing::SizeIs;

using Messages = std::vector<std::string>;
using Values = std::map<std::string, std::int64_t>;

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

class EventCallback : public testing::Test {
protected:
    EventCallback()
    {
        g_sessionHandle = 7;
        g_sessionOpen = 1;
        before = values();
        simulator::recordLog(
            [this](int level, const std::string& text) { messages.push_back(std::to_string(level) + " " + text); });
    }

    ~EventCallback() override { simulator::recordLog(nullptr); }

    // The values that are others than at the start.
    Values changes() const
    {
        Values changed = values();
        std::erase_if(changed, [this](const auto& value) { return before.at(value.first) == value.second; });
        return changed;
    }

    Values before;
    Messages messages;
};

TEST_F(EventCallback, StartsFromTheseValues)
{
    const Values start = { { "verbosity", 1 },
                           { "prevWorkload", -1 },
                           { "session", 7 },
                           { "session open", 1 },
                           { "the service's own verbosity", 2 } };

    std::erase_if(before, [](const auto& value) { return value.second == 0; });
    EXPECT_EQ(before, start);
}

struct EventRow {
    std::uint32_t type;
    std::uint32_t word = 0;
    const char* participant = nullptr;
    Messages messages = {};
    Values changes = {};
};

using FrameworkEvents = WithRow<EventCallback, EventRow>;

TEST_ROWS(FrameworkEvents,
          // suspension of whatever participant, but not of none
          ROW(.type = 5, .participant = "TCPU", .messages = { "2 Participant suspended" }),
          ROW(.type = 6, .participant = "", .messages = { "2 Participant resumed" }), ROW(.type = 5), ROW(.type = 6),
          // the log's verbosity
          ROW(.type = 34, .word = 3, .messages = { "2 Log verbosity changed to3" }, .changes = { { "verbosity", 3 } }),
          ROW(.type = 34, .word = 4000000000, .messages = { "2 Log verbosity changed to4000000000" },
              .changes = { { "verbosity", 4000000000 } }),
          // the power scheme
          ROW(.type = 72, .word = 0x8C5E7FDA, .messages = { "2 powerScheme type = 2data.Data1 =2355003354" },
              .changes = { { "scheme", 2 }, { "scheme data", 1 } }),
          // the power slider
          ROW(.type = 106, .word = 50, .messages = { "2 Event powerSlider type =50" },
              .changes = { { "slider", 50 }, { "slider changed", 1 } }),
          // the workload, without a word, and with any participant or none
          ROW(.type = 183, .word = 1,
              .changes = { { "raw", 1 }, { "workload", 5 }, { "pending", 1 }, { "hold", 4 }, { "seen", 1 } }),
          ROW(.type = 183, .word = 2, .participant = "TCPU",
              .changes = { { "raw", 2 }, { "workload", 4 }, { "pending", 1 }, { "hold", 4 }, { "seen", 1 } }),
          // the disconnection; the session stays
          ROW(.type = 10000, .messages = { "4 Disconnected" }, .changes = { { "disconnected", 1 } }));

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

    EXPECT_EQ(changes(), Values{});
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(EventCallback, DisconnectionNeedsNoPayload)
{
    EXPECT_EQ(deliver(10000, nullptr), 0U);

    EXPECT_EQ(changes(), (Values{ { "disconnected", 1 } }));
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
    EXPECT_EQ(changes(), Values{});
    EXPECT_THAT(messages, IsEmpty());

    EXPECT_EQ(deliver(row().type, &enoughWithoutData), 0U);
    EXPECT_NE(changes(), Values{});
    EXPECT_THAT(messages, SizeIs(row().messages));
}

struct SchemeRow {
    std::uint32_t data1;
    int scheme;
    const char* message;
};

using PowerScheme = WithRow<EventCallback, SchemeRow>;

TEST_ROWS(PowerScheme, ROW(.data1 = 0xA1841308, .scheme = 0, .message = "2 powerScheme type = 0data.Data1 =2709787400"),
          ROW(.data1 = 0x381B4222, .scheme = 1, .message = "2 powerScheme type = 1data.Data1 =941310498"),
          ROW(.data1 = 0x8C5E7FDA, .scheme = 2, .message = "2 powerScheme type = 2data.Data1 =2355003354"),
          ROW(.data1 = 0, .scheme = 1, .message = "2 powerScheme type = 1data.Data1 =0"),
          ROW(.data1 = 0xA1841309, .scheme = 1, .message = "2 powerScheme type = 1data.Data1 =2709787401"),
          ROW(.data1 = 0x8C5E7FDB, .scheme = 1, .message = "2 powerScheme type = 1data.Data1 =2355003355"),
          ROW(.data1 = 0xFFFFFFFF, .scheme = 1, .message = "2 powerScheme type = 1data.Data1 =4294967295"));

TEST_P(PowerScheme, IsClassedByTheFirstWordOfItsGuid)
{
    g_powerScheme = 7;

    deliverWord(72, row().data1);

    EXPECT_EQ(g_powerScheme, row().scheme);
    EXPECT_EQ(messages, Messages{ row().message });
}

TEST_F(EventCallback, PowerSchemeKeepsThePointerToItsPayload)
{
    unsigned char guid[16] = { 0xDA, 0x7F, 0x5E, 0x8C, 0x9A, 0xE7, 0x85, 0x4B };
    const OrqData payload = { 3, guid, 16, 16 };

    deliver(72, &payload);

    EXPECT_EQ(g_powerSchemeData, guid);
    EXPECT_EQ(g_powerScheme, 2);
}

struct WorkloadRow {
    std::uint32_t raw;
    int workload;
};

using WorkloadClass = WithRow<EventCallback, WorkloadRow>;

TEST_ROWS(WorkloadClass, ROW(.raw = 1, .workload = 5), ROW(.raw = 2, .workload = 4),
          // any other is kept as it is
          ROW(.raw = 0, .workload = 0), ROW(.raw = 3, .workload = 3), ROW(.raw = 4, .workload = 4),
          ROW(.raw = 5, .workload = 5), ROW(.raw = 6, .workload = 6), ROW(.raw = 2147483647, .workload = 2147483647),
          ROW(.raw = 0xFFFFFFFF, .workload = -1));

TEST_P(WorkloadClass, IsMadeOfTheRawOne)
{
    g_workload = 77;

    deliverWord(183, row().raw);

    EXPECT_EQ(g_workload, row().workload);
    EXPECT_EQ(g_workloadRaw, row().raw);
}

TEST_F(EventCallback, SliderAndWorkloadAreFlaggedAgainWhenTheyStayTheSame)
{
    deliverWord(106, 50);
    deliverWord(183, 1);
    const Values first = changes();
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

    EXPECT_EQ(changes(), (Values{ { "verbosity", 50 },
                                  { "scheme data", 1 },
                                  { "scheme", 1 },
                                  { "slider", 50 },
                                  { "slider changed", 1 },
                                  { "disconnected", 1 } }));
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
    EXPECT_EQ(changes(), (Values{ { "slider", 50 },
                                  { "slider changed", 1 },
                                  { "raw", 1 },
                                  { "workload", 5 },
                                  { "pending", 1 },
                                  { "hold", 4 },
                                  { "seen", 1 } }));
}

}  // namespace
}  // namespace kelvane::tests
