// The event callback: which payloads count, what each event changes and logs, what it leaves alone, and when the
// workload event asks the loop for a pause.
#include "framework/events.h"
#include "state/state.h"

#include "simulator/replay/recorded_log.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/guarded_block.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

#include <new>
#include <optional>
#include <thread>

namespace kelvane::tests {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Texts = std::vector<std::string>;

std::uint32_t deliver(std::uint32_t type, const OrqData* payload, const char* participant = nullptr)
{
    return onFrameworkEvent(0, type, participant, payload);
}

// In a payload that is long enough for any event, so that one that is taken for another shows.
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
        simulator::recordLog(
            [this](int level, const std::string& text) { messages.push_back(std::to_string(level) + " " + text); });
    }

    ~EventCallback() override { simulator::recordLog(nullptr); }

    // All variables that the callback writes, and some that it must not.
    static Texts variables()
    {
        return {
            "verbosity " + std::to_string(g_logVerbosity),
            std::string("scheme data ") + (g_powerSchemeData ? "kept" : "none"),
            "scheme " + std::to_string(g_powerScheme),
            "slider " + std::to_string(g_powerSlider),
            "slider changed " + std::to_string(g_powerSliderChanged),
            "raw " + std::to_string(g_workloadRaw),
            "workload " + std::to_string(g_workload),
            "pending " + std::to_string(g_workloadEventPending),
            "hold " + std::to_string(g_workloadEventHold),
            "seen " + std::to_string(g_workloadEventSeen),
            "pause " + std::to_string(PwrPause),
            "disconnected " + std::to_string(g_orqDisconnected),
            "prevWorkload " + std::to_string(prevWorkload),
            "status " + std::to_string(g_orqStatus),
            "service's own verbosity " + std::to_string(DiagnosticLogInspector::verbosity()),
        };
    }

    // Those that are not as they were when the test began.
    Texts changes() const
    {
        Texts changed;
        const Texts now = variables();
        for (std::size_t i = 0; i < now.size(); ++i) {
            if (now[i] != before[i]) changed.push_back(now[i]);
        }
        return changed;
    }

    Texts messages;  // "LEVEL TEXT"
    const Texts before = variables();
};

TEST_F(EventCallback, StartsFromTheseValues)
{
    EXPECT_THAT(before, ElementsAre("verbosity 1", "scheme data none", "scheme 0", "slider 0", "slider changed 0",
                                    "raw 0", "workload 0", "pending 0", "hold 0", "seen 0", "pause 0", "disconnected 0",
                                    "prevWorkload -1", "status 0", "service's own verbosity 2"));
}

struct PayloadRow {
    std::uint32_t type;
    std::uint32_t bytes;
};

class EventPayload : public WithRow<EventCallback, PayloadRow> {};

TEST_ROWS(EventPayload, ROW(.type = 34, .bytes = 4), ROW(.type = 72, .bytes = 16), ROW(.type = 106, .bytes = 4),
          ROW(.type = 183, .bytes = 4));

TEST_ROW(EventPayload, CountsFromItsFullBufferLengthOnWhateverItsTypeAndDataLength)
{
    const auto [type, bytes] = row();
    const GuardedBlock shortBlock(bytes - 1, 2);
    const GuardedBlock block(bytes, 2);
    const OrqData noBuffer = { 3, nullptr, bytes, bytes };
    const OrqData empty = { 3, block.data(), 0, bytes };
    const OrqData tooShort = { 3, shortBlock.data(), bytes - 1, bytes };
    const OrqData enoughWithoutData = { 8, block.data(), bytes, 0 };

    for (const OrqData* const payload : { static_cast<const OrqData*>(nullptr), &noBuffer, &empty, &tooShort }) {
        EXPECT_EQ(deliver(type, payload), 0U);
        EXPECT_THAT(changes(), IsEmpty());
        EXPECT_THAT(messages, IsEmpty());
    }

    EXPECT_EQ(deliver(type, &enoughWithoutData), 0U);
    EXPECT_FALSE(changes().empty());
    EXPECT_THAT(messages, SizeIs(type == 183 ? 0 : 1));
}

struct EventRow {
    std::uint32_t type;
    const char* participant = nullptr;
    std::uint32_t word = 1;
    Texts changes = {};
    Texts messages = {};
};

class EventOfAWord : public WithRow<EventCallback, EventRow> {};

TEST_ROWS(EventOfAWord,
          // suspended and resumed, said of a participant
          ROW(.type = 5, .participant = "TCPU", .messages = { "2 Participant suspended" }),
          ROW(.type = 6, .participant = "", .messages = { "2 Participant resumed" }), ROW(.type = 5), ROW(.type = 6),
          // the framework's verbosity
          ROW(.type = 34, .word = 3, .changes = { "verbosity 3" }, .messages = { "2 Log verbosity changed to3" }),
          ROW(.type = 34, .word = 4000000000, .changes = { "verbosity 4000000000" },
              .messages = { "2 Log verbosity changed to4000000000" }),
          // slider, workload, disconnection
          ROW(.type = 106, .word = 50, .changes = { "slider 50", "slider changed 1" },
              .messages = { "2 Event powerSlider type =50" }),
          ROW(.type = 183, .changes = { "raw 1", "workload 5", "pending 1", "hold 4", "seen 1" }),
          ROW(.type = 183, .participant = "TCPU", .word = 2,
              .changes = { "raw 2", "workload 4", "pending 1", "hold 4", "seen 1" }),
          ROW(.type = 10000, .changes = { "disconnected 1" }, .messages = { "4 Disconnected" }));

TEST_ROW(EventOfAWord, ChangesAndLogsNothingElse)
{
    EXPECT_EQ(deliverWord(row().type, row().word, row().participant), 0U);

    EXPECT_EQ(changes(), row().changes);
    EXPECT_EQ(messages, row().messages);
}

TEST_F(EventCallback, DisconnectionNeedsNoPayloadAndTheSessionStays)
{
    g_sessionHandle = 7;
    g_sessionOpen = 1;

    EXPECT_EQ(deliver(10000, nullptr), 0U);

    EXPECT_THAT(changes(), ElementsAre("disconnected 1"));
    EXPECT_EQ(g_sessionHandle, 7U);
    EXPECT_EQ(g_sessionOpen, 1);
}

TEST_F(EventCallback, FlagsAreSetAgainForTheSameValue)
{
    deliverWord(106, 50);
    deliverWord(183, 1);
    g_powerSliderChanged = 0;
    g_workloadEventPending = 0;
    g_workloadEventHold = 2;
    g_workloadEventSeen = 0;

    deliverWord(106, 50);
    deliverWord(183, 1);

    EXPECT_THAT(changes(),
                ElementsAre("slider 50", "slider changed 1", "raw 1", "workload 5", "pending 1", "hold 4", "seen 1"));
}

struct SchemeRow {
    std::uint32_t data1;
    int scheme;
    const char* message;
};

class PowerSchemeEvent : public WithRow<EventCallback, SchemeRow> {};

TEST_ROWS(PowerSchemeEvent,
          ROW(.data1 = 0xA1841308, .scheme = 0, .message = "2 powerScheme type = 0data.Data1 =2709787400"),
          ROW(.data1 = 0x381B4222, .scheme = 1, .message = "2 powerScheme type = 1data.Data1 =941310498"),
          ROW(.data1 = 0x8C5E7FDA, .scheme = 2, .message = "2 powerScheme type = 2data.Data1 =2355003354"),
          ROW(.data1 = 0, .scheme = 1, .message = "2 powerScheme type = 1data.Data1 =0"),
          ROW(.data1 = 0xA1841309, .scheme = 1, .message = "2 powerScheme type = 1data.Data1 =2709787401"),
          ROW(.data1 = 0x8C5E7FDB, .scheme = 1, .message = "2 powerScheme type = 1data.Data1 =2355003355"),
          ROW(.data1 = 0xFFFFFFFF, .scheme = 1, .message = "2 powerScheme type = 1data.Data1 =4294967295"));

TEST_ROW(PowerSchemeEvent, IsClassedByTheFirstWordOfItsGuidAndKeepsThePointerToItsPayload)
{
    g_powerScheme = 7;
    std::uint32_t guid[4] = { row().data1, 0x4B85E79A };
    const OrqData payload = { 3, guid, 16, 16 };

    deliver(72, &payload);

    EXPECT_EQ(g_powerScheme, row().scheme);
    EXPECT_EQ(g_powerSchemeData, guid);
    EXPECT_THAT(messages, ElementsAre(row().message));
}

TEST_F(EventCallback, NoOtherTypeDoesAnything)
{
    unsigned char bytes[16] = { 2 };
    const OrqData payload = { 3, bytes, 16, 16 };
    std::vector<std::uint32_t> types = { 9999, 10001, 65570, 0x80000022, 0xFFFFFFFF };
    for (std::uint32_t type = 0; type <= 300; ++type) types.push_back(type);

    for (const std::uint32_t type : types) {
        if (type == 5 || type == 6 || type == 34 || type == 72 || type == 106 || type == 183) continue;
        EXPECT_EQ(deliver(type, &payload, "TCPU"), 0U) << type;
    }

    EXPECT_THAT(changes(), IsEmpty());
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(EventCallback, LetsNoExceptionOutAndKeepsWhatItStored)
{
    std::uint32_t guid[4] = { 0x8C5E7FDA };
    const OrqData scheme = { 3, guid, 16, 16 };
    simulator::recordLog([](int, const std::string&) { throw std::bad_alloc(); });

    EXPECT_NO_THROW(EXPECT_EQ(deliverWord(34, 3), 0U));
    EXPECT_NO_THROW(EXPECT_EQ(deliverWord(106, 50), 0U));
    EXPECT_NO_THROW(EXPECT_EQ(deliver(72, &scheme), 0U));
    EXPECT_NO_THROW(EXPECT_EQ(deliver(10000, nullptr), 0U));
    EXPECT_NO_THROW(EXPECT_EQ(deliver(5, nullptr, "TCPU"), 0U));

    EXPECT_THAT(changes(), ElementsAre("verbosity 3", "scheme data kept", "scheme 2", "slider 50", "slider changed 1",
                                       "disconnected 1"));
}

TEST_F(EventCallback, OverlappingDeliveriesKeepTheirMessagesWhole)
{
    constexpr int threads = 4;
    constexpr int deliveries = 200;
    {
        std::vector<std::jthread> framework;
        for (int i = 0; i < threads; ++i) {
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
    EXPECT_THAT(changes(),
                ElementsAre("slider 50", "slider changed 1", "raw 1", "workload 5", "pending 1", "hold 4", "seen 1"));
}

struct ClassRow {
    std::uint32_t raw;
    int workload;
};

class WorkloadEvent : public WithRow<EventCallback, ClassRow> {};

TEST_ROWS(WorkloadEvent, ROW(.raw = 0, .workload = 0), ROW(.raw = 1, .workload = 5), ROW(.raw = 2, .workload = 4),
          ROW(.raw = 3, .workload = 3), ROW(.raw = 4, .workload = 4), ROW(.raw = 5, .workload = 5),
          ROW(.raw = 6, .workload = 6), ROW(.raw = 2147483647, .workload = 2147483647),
          ROW(.raw = 0xFFFFFFFF, .workload = -1));

TEST_ROW(WorkloadEvent, MapsRawClassesOneAndTwoAndKeepsAllOthersWhateverItsContext)
{
    g_workload = 77;
    std::uint32_t raw = row().raw;
    const OrqData payload = { 3, &raw, 4, 4 };

    onFrameworkEvent(99, 183, "TCPU", &payload);

    EXPECT_EQ(g_workload, row().workload);
    EXPECT_EQ(g_workloadRaw, row().raw);
}

struct PauseRow {
    int previous;
    std::vector<int> pauses = { 0, 0, 0, 0, 0, 0, 0 };  // after the raw classes 0 to 6
};

class WorkloadPause : public WithRow<EventCallback, PauseRow> {};

TEST_ROWS(WorkloadPause, ROW(.previous = -1), ROW(.previous = 0), ROW(.previous = 1), ROW(.previous = 2),
          ROW(.previous = 3, .pauses = { 0, 0, 1, 0, 1, 0, 0 }), ROW(.previous = 4),
          ROW(.previous = 5, .pauses = { 1, 0, 1, 1, 1, 0, 1 }), ROW(.previous = 6));

TEST_ROW(WorkloadPause, IsAskedForWhenTheClassLeavesFiveOrGoesFromThreeToFourAndNeverTakenBack)
{
    prevWorkload = row().previous;
    for (std::uint32_t raw = 0; raw < 7; ++raw) {
        PwrPause = 0;
        deliverWord(183, raw);
        EXPECT_EQ(PwrPause, row().pauses[raw]) << "raw " << raw;

        PwrPause = 1;
        deliverWord(183, raw);
        EXPECT_EQ(PwrPause, 1) << "raw " << raw;
    }
    EXPECT_EQ(prevWorkload, row().previous);
}

}  // namespace
}  // namespace kelvane::tests
