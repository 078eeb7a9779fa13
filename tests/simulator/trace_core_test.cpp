#include "framework/events.h"
#include "framework/primitives.h"
#include "framework/session.h"
#include "simulator/platform/simulated_core.h"
#include "tests/simulator/replay_rows.h"
#include "tests/simulator/trace_rows.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string_view>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The last delivery to keepDelivery, "participant bytes-in-hex", and how many there were.
std::string delivered;
int deliveries = 0;

std::uint32_t keepDelivery(std::uint64_t context, std::uint32_t eventType, const char* participant,
                           const OrqData* payload)
{
    constexpr char digits[] = "0123456789ABCDEF";
    deliveries += 1;
    delivered = std::to_string(eventType) + " " + (participant ? participant : "null") + " ";
    if (payload) {
        EXPECT_EQ(payload->buf_len, payload->data_len);
        const auto* const bytes = static_cast<const unsigned char*>(payload->buf_ptr);
        for (std::uint32_t i = 0; i < payload->buf_len; ++i) {
            delivered += digits[bytes[i] >> 4];
            delivered += digits[bytes[i] & 15];
        }
    } else {
        delivered += "none";
    }
    EXPECT_EQ(0u, context);
    return 0;
}

TEST(SimulatedEvents, CarryThePayloadOfTheirType)
{
    const SimulatedMachine machine;

    const struct {
        std::uint32_t type;
        std::uint32_t value;
        const char* delivery;
    } rows[] = {
        { 34, 3, "34 null 03000000" },   { 106, 0xFFFFFFFE, "106 null FEFFFFFF" },
        { 183, 2, "183 TCPU 02000000" }, { 72, 0x8C5E7FDA, "72 null DA7F5E8C000000000000000000000000" },
        { 5, 0, "5 TCPU none" },         { 6, 0, "6 TCPU none" },
        { 44, 0, "44 null none" },       { 10000, 0, "10000 null none" },
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.type);
        RegisterEvent(1, row.type, nullptr, keepDelivery, 0);

        simulator::deliverEvent({ row.type, row.value });

        EXPECT_EQ(row.delivery, delivered);
    }
}

TEST(SimulatedEvents, ReachNobodyWhoIsNotRegistered)
{
    SimulatedMachine machine;
    machine.answer("REGISTER_EVENT/34", 1000);

    simulator::deliverEvent({ 106, 1 });
    RegisterEvent(1, 106, nullptr, keepDelivery, 0);
    UnregisterEvent(1, 106, nullptr, keepDelivery, 0);
    simulator::deliverEvent({ 106, 1 });
    RegisterEvent(1, 34, nullptr, keepDelivery, 0);
    simulator::deliverEvent({ 34, 1 });

    EXPECT_EQ(0, deliveries);
}

TEST(SimulatedEvents, AtTimeZeroComeBeforeAnyRegistration)
{
    const Rows rows = replayRows("0,event,106:30\n"
                                 "0,event,10000\n"
                                 "0,event,183:4294967295\n");

    EXPECT_THAT(messages(rows, "Slider type"), IsEmpty());
    EXPECT_THAT(messages(rows, "Disconnected"), IsEmpty());
}

// The service never registers for participants, and its registration for the log verbosity fails here.
TEST(SimulatedEvents, OfTypesThatTheServiceHasNotRegisteredDoNothing)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "0,status,REGISTER_EVENT/34=1000\n"
                                 "100,event,5\n"
                                 "100,event,6\n"
                                 "100,event,34:2\n"
                                 "100,event,10000\n"
                                 "2000,stop,service\n");

    EXPECT_THAT(rowsAt(rows, 100), IsEmpty());
}

TEST(SimulatedEvents, EndWithTheStopPath)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "100,stop,scaling\n"
                                 "9000,event,106:30\n");

    EXPECT_THAT(messages(rows, "Slider type"), IsEmpty());
    EXPECT_EQ("2000,log,0,Stop is called from the registry ,", rows.back());
}

TEST(SimulatedSessions, HaveTheHandleOne)
{
    const SimulatedMachine machine;

    EXPECT_EQ(1u, SessionCreate(applicationRecord()));
}

TEST(SimulatedSessions, AreRefusedWithAllOnesWhenCreationFails)
{
    SimulatedMachine machine;
    machine.answer("SESSION_CREATE", 5);

    const SessionHandle session = SessionCreate(applicationRecord());

    EXPECT_EQ(0xFFFFFFFFFFFFFFFFu, session);
    EXPECT_THAT(machine.happened(), ElementsAre("call SESSION_CREATE 5"));
}

TEST(SimulatedSessions, AnswerAsScriptedUntilHealed)
{
    SimulatedMachine machine;
    machine.answer("SESSION_CONNECT", -3);
    SessionConnect(1);
    machine.answer("SESSION_CONNECT", 0);
    SessionConnect(1);
    SessionDisconnect(1);
    SessionDestroy(1);

    EXPECT_THAT(machine.happened(), ElementsAre("call SESSION_CONNECT -3", "call SESSION_CONNECT 0",
                                                "call SESSION_DISCONNECT 0", "call SESSION_DESTROY 0"));
}

TEST(SimulatedPrimitives, ShowTheValueDeliveredOrAskedFor)
{
    SimulatedMachine machine;
    machine.power(3000000000);
    machine.clipReasons(1024);
    machine.socWorkload(3);

    EXPECT_EQ(3000000000.0, getRaplPower(1));
    EXPECT_EQ(1024, getIaClipReasons(1));
    EXPECT_EQ(3, getSocWorkload(1));
    setPerfPreferenceMax(1, 1200);
    setPerfPreferenceMin(1, 0);
    setRaplPowerLimit1(1, 37000);

    EXPECT_THAT(machine.happened(), ElementsAre("GET_RAPL_POWER 3000000000 0", "GET_IA_CLIP_REASONS 1024 0",
                                                "GET_SOC_WORKLOAD 3 0", "SET_PERF_PREFERENCE_MAX 1200 0",
                                                "SET_PERF_PREFERENCE_MIN 0 0", "SET_RAPL_POWER_LIMIT_1 37000 0"));
}

TEST(SimulatedPrimitives, ShowNoValueForAGetterThatFails)
{
    SimulatedMachine machine;
    machine.power(1500);
    machine.answer("GET_RAPL_POWER", 1000);
    machine.answer("SET_PERF_PREFERENCE_MAX", 1001);

    getRaplPower(1);
    setPerfPreferenceMax(1, 1200);

    EXPECT_THAT(machine.happened(), ElementsAre("GET_RAPL_POWER 1000", "SET_PERF_PREFERENCE_MAX 1200 1001"));
}

// What a core would not understand must not look like a command in the trace.
TEST(SimulatedPrimitives, AreRecognisedByTheirWholeCommandAlone)
{
    SimulatedMachine machine;
    machine.power(1500);
    std::uint32_t word = 0;

    const struct {
        const char* description;
        std::string_view text;
        std::uint32_t type;
    } rows[] = {
        { "no NUL", { "execute-primitive TCPU GET_RAPL_POWER", 37 }, 8 },
        { "other participant", { "execute-primitive IETM GET_RAPL_POWER\0", 38 }, 8 },
        { "unknown name", { "execute-primitive TCPU GET_RAPL_POWE\0", 37 }, 8 },
        { "longer name", { "execute-primitive TCPU GET_RAPL_POWERS\0", 39 }, 8 },
        { "no text", { "", 0 }, 8 },
        { "other type", { "execute-primitive TCPU GET_RAPL_POWER\0", 38 }, 3 },
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.description);
        std::string text(row.text);
        const auto bytes = static_cast<std::uint32_t>(text.size());
        const OrqData command = { row.type, text.data(), bytes, bytes };
        OrqData response = { 26, &word, 4, 0 };

        EXPECT_NE(0, SessionExecute(1, &command, nullptr, &response));
    }
    EXPECT_THAT(machine.happened(), IsEmpty());
    EXPECT_EQ(0u, word);
}

}  // namespace
}  // namespace kelvane::tests
