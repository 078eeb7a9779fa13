// Sessions: each operation reaches its slot with its arguments, an empty slot has its own answer, and the record that
// names this client.
#include "framework/session.h"

#include "framework/events.h"
#include "framework/primitives.h"
#include "tests/framework/loaded_core.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr SessionHandle session = 0x1122334455667788;  // 1234605616436508552

std::uint32_t someCallback(std::uint64_t, std::uint32_t, const char*, const OrqData*) { return 0; }

// Calls each operation of an empty interface and expects the answer for an empty slot.
void expectEmptySlots()
{
    const OrqData command = {};

    EXPECT_EQ(SessionCreate(&g_application), 0xFFFFFFFFFFFFFFFF);
    SessionDestroy(session);
    EXPECT_EQ(SessionConnect(session), 1400);
    SessionDisconnect(session);
    EXPECT_EQ(SessionExecute(session, &command, nullptr, nullptr), 1400);
    EXPECT_EQ(RegisterEvent(session, 34, nullptr, someCallback, 0), 1400);
    EXPECT_EQ(UnregisterEvent(session, 34, nullptr, someCallback, 0), 1400);
}

class Sessions : public LoadedCore {};

TEST(ApplicationRecord, NamesTheClientAndTheServerAndIsZeroElsewhere)
{
    std::vector<unsigned char> bytes(2200);
    static_assert(sizeof(ApplicationRecord) == 2200);
    std::memcpy(bytes.data(), applicationRecord(), bytes.size());

    std::vector<unsigned char> expected(2200, 0);
    expected[0] = 1;
    std::memcpy(&expected[4], "Kelvane", 7);
    std::memcpy(&expected[68], "1.0.11406.42226", 15);
    std::memcpy(&expected[88], "Kelvane Application", 19);
    std::memcpy(&expected[1176], "pipe://", 7);
    // What follows "pipe://" up to the text's end is the server's own name.
    const std::string address(reinterpret_cast<const char*>(&bytes[1176]));
    EXPECT_GT(address.size(), 7U);
    EXPECT_LT(address.size(), 1024U);
    std::fill_n(bytes.begin() + 1183, address.size() - 7, static_cast<unsigned char>(0));
    EXPECT_EQ(bytes, expected);
}

TEST(ApplicationRecord, IsNotPassedWithoutAName)
{
    EXPECT_EQ(applicationRecord(), &g_application);

    g_application.name[0] = '\0';

    EXPECT_EQ(applicationRecord(), nullptr);
}

TEST_F(Sessions, CreateHandsTheRecordToTheCoreAndReturnsItsHandle)
{
    core.session = session;

    EXPECT_EQ(SessionCreate(applicationRecord()), 0x1122334455667788U);

    EXPECT_THAT(calls, ElementsAre("SessionCreate record"));
    EXPECT_EQ(std::memcmp(core.application.data(), &g_application, 2200), 0);
}

TEST_F(Sessions, CreateHandsNullToTheCoreWhenTheApplicationHasNoNameAndReturnsItsRefusal)
{
    g_application.name[0] = '\0';
    core.session = 0xFFFFFFFFFFFFFFFF;

    EXPECT_EQ(SessionCreate(applicationRecord()), noSession);

    EXPECT_THAT(calls, ElementsAre("SessionCreate -"));
}

TEST_F(Sessions, ConnectDisconnectAndDestroyReachTheirSlotsWithTheSession)
{
    core.connectStatus = 3703;

    EXPECT_EQ(SessionConnect(session), 3703);
    SessionDisconnect(session);
    SessionDestroy(session);

    EXPECT_THAT(calls, ElementsAre("SessionConnect 1234605616436508552", "SessionDisconnect 1234605616436508552",
                                   "SessionDestroy 1234605616436508552"));
}

TEST_F(Sessions, ExecutePassesItsThreeDescriptorsOnNullOnesToo)
{
    char text[] = "go";
    unsigned char in[] = { 0x01, 0xFE };
    unsigned char out[] = { 0x00, 0x0A, 0xB0 };
    const OrqData command = { 8, text, 3, 3 };
    const OrqData request = { 26, in, 2, 1 };
    OrqData response = { 3, out, 3, 0 };

    EXPECT_EQ(SessionExecute(session, &command, nullptr, nullptr), 0);
    core.executeStatus = 1500;
    std::strcpy(text, "go");  // the core parsed it in place
    EXPECT_EQ(SessionExecute(session, &command, &request, &response), 1500);

    EXPECT_THAT(calls, ElementsAre("SessionExecute 1234605616436508552 | type 8, 3 of 3: go\\0 | - | -",
                                   "SessionExecute 1234605616436508552 | type 8, 3 of 3: go\\0 | "
                                   "type 26, 1 of 2: 01 FE | type 3, 0 of 3: 00 0A B0"));
}

TEST_F(Sessions, EventOperationsPassTheirArgumentsOn)
{
    core.registerStatus[4000000000] = 3601;
    core.unregisterStatus = 3500;

    EXPECT_EQ(RegisterEvent(session, 4000000000, "TCPU", someCallback, 18446744073709551614U), 3601);
    EXPECT_EQ(UnregisterEvent(session, 34, nullptr, someCallback, 5), 3500);

    EXPECT_THAT(calls, ElementsAre("RegisterEvent 1234605616436508552 4000000000 TCPU 18446744073709551614",
                                   "UnregisterEvent 1234605616436508552 34 - 5"));
    EXPECT_THAT(core.callbacks, ElementsAre(&someCallback, &someCallback));
}

TEST(SessionsBeforeInit, FindEverySlotEmpty) { expectEmptySlots(); }

TEST_F(Sessions, AfterARefusedRestartEverySlotIsEmptyAgain)
{
    core.interfaceStatus = 1003;
    ASSERT_EQ(Init(), 1003);
    calls.clear();

    expectEmptySlots();

    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(Sessions, DisconnectDoesNothingWithACoreThatHasNoSuchSlot)
{
    core.emptySlots = { 7 };
    ASSERT_EQ(Init(), 0);
    calls.clear();

    SessionDisconnect(session);
    SessionDestroy(session);

    EXPECT_THAT(calls, ElementsAre("SessionDestroy 1234605616436508552"));
}

// The core's slots 2, 3 and 8 throw when they are called.
TEST_F(Sessions, AWholeLifeCallsNoOtherSlotAndNeverUnloadsTheCore)
{
    const SessionHandle handle = SessionCreate(applicationRecord());
    EXPECT_EQ(SessionConnect(handle), 0);
    EXPECT_EQ(registerEvents(handle), 0);
    EXPECT_EQ(getRaplPower(handle), 0.0);
    EXPECT_EQ(setPerfPreferenceMax(handle, 1200), 0);
    UnregisterEvents(handle);
    SessionDisconnect(handle);
    SessionDestroy(handle);

    EXPECT_THAT(system.callsOf("FreeLibrary"), IsEmpty());
    EXPECT_THAT(system.callsOf("Session"), SizeIs(6));
    EXPECT_THAT(system.callsOf("RegisterEvent"), SizeIs(6));
    EXPECT_THAT(system.callsOf("UnregisterEvent"), SizeIs(6));
    EXPECT_EQ(calls.back(), "SessionDestroy 42");
}

}  // namespace
}  // namespace kelvane::tests
