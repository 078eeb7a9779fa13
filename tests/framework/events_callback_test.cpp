// The event callback: which payloads count, what each event changes and logs, and what it leaves alone.
#include "framework/events.h"
#include "state/state.h"

#include "tests/framework/event_inputs.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/guarded_block.h"

#include <gmock/gmock.h>

#include <cstring>
#include <new>
#include <thread>

namespace kelvane::tests {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char startValues[] = "verbosity 1, scheme data none, scheme 0, slider 0 changed 0, raw 0, workload 0, "
                               "pending 0, hold 0, seen 0, pause 0, disconnected 0, prevWorkload -1, status 0";

std::uint32_t deliver(std::uint32_t type, const OrqData* payload, const char* participant = nullptr)
{
    return onFrameworkEvent(0, type, participant, payload);
}

std::uint32_t deliverWord(std::uint32_t type, std::uint32_t word)
{
    const OrqData payload = { 3, &word, 4, 4 };
    return deliver(type, &payload);
}

void deliverScheme(std::uint32_t data1)
{
    unsigned char guid[16] = {};
    std::memcpy(guid, &data1, sizeof data1);
    const OrqData payload = { 3, guid, 16, 16 };
    deliver(72, &payload);
}

TEST(EventCallback, StartsFromTheseValues) { EXPECT_EQ(eventInputs(), startValues); }

TEST(EventCallback, APayloadCountsFromItsFullBufferLengthOn)
{
    struct Row {
        std::uint32_t type;
        std::uint32_t bytes;
    };

    constexpr Row rows[] = { { 34, 4 }, { 72, 16 }, { 106, 4 }, { 183, 4 } };
    RecordedMessages log;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.type);
        const std::string before = eventInputs();
        const GuardedBlock shortBlock(row.bytes - 1, 2);
        const GuardedBlock block(row.bytes, 2);
        const OrqData noBuffer = { 3, nullptr, row.bytes, row.bytes };
        const OrqData empty = { 3, block.data(), 0, row.bytes };
        const OrqData tooShort = { 3, shortBlock.data(), row.bytes - 1, row.bytes };
        const OrqData enoughWithoutData = { 3, block.data(), row.bytes, 0 };
        log.messages.clear();

        EXPECT_EQ(deliver(row.type, nullptr), 0U);
        EXPECT_EQ(deliver(row.type, &noBuffer), 0U);
        EXPECT_EQ(deliver(row.type, &empty), 0U);
        EXPECT_EQ(deliver(row.type, &tooShort), 0U);
        EXPECT_EQ(eventInputs(), before);
        EXPECT_THAT(log.messages, IsEmpty());

        EXPECT_EQ(deliver(row.type, &enoughWithoutData), 0U);
        EXPECT_NE(eventInputs(), before);
        EXPECT_THAT(log.messages, SizeIs(row.type == 183 ? 0 : 1));
    }
}

TEST(EventCallback, TheTypeOfThePayloadDoesNotMatter)
{
    std::uint32_t position = 2;
    const OrqData payload = { 8, &position, 4, 4 };

    deliver(106, &payload);

    EXPECT_EQ(g_powerSlider, 2);
}

TEST(EventCallback, SuspendAndResumeAreLoggedForAParticipant)
{
    RecordedMessages log;

    EXPECT_EQ(deliver(5, nullptr, "TCPU"), 0U);
    EXPECT_EQ(deliver(6, nullptr, ""), 0U);

    EXPECT_THAT(log.messages, ElementsAre("2 Participant suspended", "2 Participant resumed"));
    EXPECT_EQ(eventInputs(), startValues);
}

TEST(EventCallback, SuspendAndResumeWithoutParticipantLogNothing)
{
    RecordedMessages log;

    deliverWord(5, 1);
    deliverWord(6, 1);

    EXPECT_THAT(log.messages, IsEmpty());
    EXPECT_EQ(eventInputs(), startValues);
}

TEST(EventCallback, LogVerbosityIsStoredAndLoggedAndTheServicesOwnStays)
{
    RecordedMessages log;

    deliverWord(34, 3);
    deliverWord(34, 4000000000);

    EXPECT_THAT(log.messages, ElementsAre("2 Log verbosity changed to3", "2 Log verbosity changed to4000000000"));
    EXPECT_EQ(eventInputs(), "verbosity 4000000000, scheme data none, scheme 0, slider 0 changed 0, raw 0, workload 0, "
                             "pending 0, hold 0, seen 0, pause 0, disconnected 0, prevWorkload -1, status 0");
    EXPECT_EQ(DiagnosticLogInspector::verbosity(), 2);
}

TEST(EventCallback, PowerSliderIsStoredFlaggedAndLogged)
{
    RecordedMessages log;

    deliverWord(106, 50);

    EXPECT_THAT(log.messages, ElementsAre("2 Event powerSlider type =50"));
    EXPECT_EQ(eventInputs(), "verbosity 1, scheme data none, scheme 0, slider 50 changed 1, raw 0, workload 0, "
                             "pending 0, hold 0, seen 0, pause 0, disconnected 0, prevWorkload -1, status 0");
}

TEST(EventCallback, PowerSliderIsFlaggedAgainAtTheSamePosition)
{
    deliverWord(106, 50);
    g_powerSliderChanged = 0;

    deliverWord(106, 50);

    EXPECT_EQ(g_powerSlider, 50);
    EXPECT_EQ(g_powerSliderChanged, 1);
}

TEST(EventCallback, PowerSchemeIsClassedByTheFirstWordOfItsGuid)
{
    struct Row {
        std::uint32_t data1;
        int scheme;
        const char* message;
    };

    constexpr Row rows[] = {
        { 0xA1841308, 0, "2 powerScheme type = 0data.Data1 =2709787400" },
        { 0x381B4222, 1, "2 powerScheme type = 1data.Data1 =941310498" },
        { 0x8C5E7FDA, 2, "2 powerScheme type = 2data.Data1 =2355003354" },
        { 0, 1, "2 powerScheme type = 1data.Data1 =0" },
        { 0xA1841309, 1, "2 powerScheme type = 1data.Data1 =2709787401" },
        { 0x8C5E7FDB, 1, "2 powerScheme type = 1data.Data1 =2355003355" },
        { 0xFFFFFFFF, 1, "2 powerScheme type = 1data.Data1 =4294967295" },
    };
    RecordedMessages log;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.message);
        g_powerScheme = 7;
        log.messages.clear();

        deliverScheme(row.data1);

        EXPECT_EQ(g_powerScheme, row.scheme);
        EXPECT_THAT(log.messages, ElementsAre(row.message));
    }
}

TEST(EventCallback, PowerSchemeKeepsThePointerToItsPayload)
{
    unsigned char guid[16] = { 0xDA, 0x7F, 0x5E, 0x8C, 0x9A, 0xE7, 0x85, 0x4B };
    const OrqData payload = { 3, guid, 16, 16 };

    deliver(72, &payload);

    EXPECT_EQ(g_powerSchemeData, guid);
    EXPECT_EQ(eventInputs(), "verbosity 1, scheme data kept, scheme 2, slider 0 changed 0, raw 0, workload 0, "
                             "pending 0, hold 0, seen 0, pause 0, disconnected 0, prevWorkload -1, status 0");
}

TEST(EventCallback, PowerSchemeOfFifteenBytesChangesNothing)
{
    RecordedMessages log;
    unsigned char guid[16] = { 0xDA, 0x7F, 0x5E, 0x8C };
    const OrqData payload = { 3, guid, 15, 16 };

    deliver(72, &payload);

    EXPECT_EQ(eventInputs(), startValues);
    EXPECT_THAT(log.messages, IsEmpty());
}

TEST(EventCallback, DisconnectionIsNotedAndLoggedAsAnErrorAndTheSessionStays)
{
    RecordedMessages log;
    g_sessionHandle = 7;
    g_sessionOpen = 1;

    EXPECT_EQ(deliver(10000, nullptr), 0U);

    EXPECT_THAT(log.messages, ElementsAre("4 Disconnected"));
    EXPECT_EQ(eventInputs(), "verbosity 1, scheme data none, scheme 0, slider 0 changed 0, raw 0, workload 0, "
                             "pending 0, hold 0, seen 0, pause 0, disconnected 1, prevWorkload -1, status 0");
    EXPECT_EQ(g_sessionHandle, 7U);
    EXPECT_EQ(g_sessionOpen, 1);
}

TEST(EventCallback, NoOtherTypeDoesAnything)
{
    RecordedMessages log;
    unsigned char bytes[16] = { 2 };
    const OrqData payload = { 3, bytes, 16, 16 };
    std::vector<std::uint32_t> types = { 9999, 10001, 65570, 0x80000022, 0xFFFFFFFF };
    for (std::uint32_t type = 0; type <= 300; ++type) types.push_back(type);

    for (const std::uint32_t type : types) {
        if (type == 5 || type == 6 || type == 34 || type == 72 || type == 106 || type == 183) continue;
        EXPECT_EQ(deliver(type, &payload, "TCPU"), 0U) << type;
    }

    EXPECT_EQ(eventInputs(), startValues);
    EXPECT_THAT(log.messages, IsEmpty());
}

TEST(EventCallback, LetsNoExceptionOutAndKeepsWhatItStored)
{
    simulator::recordLog([](int, const std::string&) { throw std::bad_alloc(); });

    EXPECT_NO_THROW(EXPECT_EQ(deliverWord(34, 3), 0U));
    EXPECT_NO_THROW(EXPECT_EQ(deliverWord(106, 50), 0U));
    EXPECT_NO_THROW(deliverScheme(0x8C5E7FDA));
    EXPECT_NO_THROW(EXPECT_EQ(deliver(10000, nullptr), 0U));
    EXPECT_NO_THROW(EXPECT_EQ(deliver(5, nullptr, "TCPU"), 0U));

    EXPECT_EQ(eventInputs(), "verbosity 3, scheme data kept, scheme 2, slider 50 changed 1, raw 0, workload 0, "
                             "pending 0, hold 0, seen 0, pause 0, disconnected 1, prevWorkload -1, status 0");
    simulator::recordLog(nullptr);
}

TEST(EventCallback, OverlappingDeliveriesKeepTheirMessagesWhole)
{
    RecordedMessages log;
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

    EXPECT_THAT(log.messages, SizeIs(800));
    EXPECT_THAT(log.messages, Each("2 Event powerSlider type =50"));
    EXPECT_EQ(eventInputs(), "verbosity 1, scheme data none, scheme 0, slider 50 changed 1, raw 1, workload 5, "
                             "pending 1, hold 4, seen 1, pause 0, disconnected 0, prevWorkload -1, status 0");
}

}  // namespace
}  // namespace kelvane::tests
