#include "framework/events.h"
#include "framework/primitives.h"
#include "framework/session.h"
#include "simulator/platform/simulated_core.h"
#include "tests/simulator/trace_rows.h"
#include "tests/support/rows.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <iomanip>
#include <sstream>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// What was delivered to keepDelivery, as "type participant bytes-in-hex".
Rows delivered;

std::uint32_t keepDelivery(std::uint64_t context, std::uint32_t eventType, const char* participant,
                           const OrqData* payload)
{
    std::ostringstream text;
    text << eventType << ' ' << (participant ? participant : "null") << ' ' << (payload ? "" : "none");
    if (payload) {
        EXPECT_EQ(payload->buf_len, payload->data_len);
        const auto* const bytes = static_cast<const unsigned char*>(payload->buf_ptr);
        text << std::hex << std::uppercase << std::setfill('0');
        for (std::uint32_t i = 0; i < payload->buf_len; ++i) text << std::setw(2) << unsigned{ bytes[i] };
    }
    delivered.push_back(text.str());
    EXPECT_EQ(0u, context);
    return 0;
}

struct EventRow {
    std::uint32_t type;
    std::uint32_t value = 0;
    const char* delivery;
};

class SimulatedEvent : public WithRow<testing::Test, EventRow> {};

TEST_ROWS(SimulatedEvent, ROW(.type = 34, .value = 3, .delivery = "34 null 03000000"),
          ROW(.type = 106, .value = 0xFFFFFFFE, .delivery = "106 null FEFFFFFF"),
          ROW(.type = 183, .value = 2, .delivery = "183 TCPU 02000000"),
          ROW(.type = 72, .value = 0x8C5E7FDA, .delivery = "72 null DA7F5E8C000000000000000000000000"),
          ROW(.type = 5, .delivery = "5 TCPU none"), ROW(.type = 6, .delivery = "6 TCPU none"),
          ROW(.type = 44, .delivery = "44 null none"), ROW(.type = 10000, .delivery = "10000 null none"));

TEST_ROW(SimulatedEvent, CarriesThePayloadOfItsType)
{
    const SimulatedMachine machine;
    RegisterEvent(1, row().type, nullptr, keepDelivery, 0);

    simulator::deliverEvent({ row().type, row().value });

    EXPECT_THAT(delivered, ElementsAre(row().delivery));
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

    EXPECT_THAT(delivered, IsEmpty());
}

TEST(SimulatedEvents, AtTimeZeroComeBeforeAnyRegistration)
{
    const Rows rows = replayRows("0,event,106:30\n0,event,10000\n0,event,183:4294967295\n");

    EXPECT_THAT(messages(rows, "Slider type"), IsEmpty());
    EXPECT_THAT(messages(rows, "Disconnected"), IsEmpty());
}

// The service never registers for participants, and its registration for the log verbosity fails here.
TEST(SimulatedEvents, OfTypesThatTheServiceHasNotRegisteredDoNothing)
{
    const Rows rows = replayRows("0,power_mw,1500\n0,status,REGISTER_EVENT/34=1000\n100,event,5\n100,event,6\n"
                                 "100,event,34:2\n100,event,10000\n2000,stop,service\n");

    EXPECT_THAT(rowsAt(rows, 100), IsEmpty());
}

TEST(SimulatedEvents, EndWithTheStopPath)
{
    const Rows rows = replayRows("0,power_mw,1500\n100,stop,scaling\n9000,event,106:30\n");

    EXPECT_THAT(messages(rows, "Slider type"), IsEmpty());
    EXPECT_EQ("2000,log,0,Stop is called from the registry ,", rows.back());
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

struct CommandRow {
    std::string text;
    std::uint32_t type = 8;
};

class SimulatedCommand : public WithRow<testing::Test, CommandRow> {};

TEST_ROWS(SimulatedCommand,
          // without its NUL, for another participant, of an unknown name, a longer one, none, and as another type
          ROW(.text = "execute-primitive TCPU GET_RAPL_POWER"),
          ROW(.text = std::string("execute-primitive IETM GET_RAPL_POWER\0", 38)),
          ROW(.text = std::string("execute-primitive TCPU GET_RAPL_POWE\0", 37)),
          ROW(.text = std::string("execute-primitive TCPU GET_RAPL_POWERS\0", 39)), ROW(.text = ""),
          ROW(.text = std::string("execute-primitive TCPU GET_RAPL_POWER\0", 38), .type = 3));

// What a core would not understand must not look like a command in the trace.
TEST_ROW(SimulatedCommand, IsRecognisedAsAWholeAlone)
{
    SimulatedMachine machine;
    machine.power(1500);
    std::string text = row().text;
    const auto bytes = static_cast<std::uint32_t>(text.size());
    const OrqData command = { row().type, text.data(), bytes, bytes };
    std::uint32_t word = 0;
    OrqData response = { 26, &word, 4, 0 };

    EXPECT_NE(0, SessionExecute(1, &command, nullptr, &response));
    EXPECT_THAT(machine.happened(), IsEmpty());
    EXPECT_EQ(0u, word);
}

}  // namespace
}  // namespace kelvane::tests
