// Registering and unregistering the six events: order, arguments, log lines, and each of the six failing.
#include "framework/events.h"
#include "state/state.h"

#include "tests/framework/loaded_core.h"
#include "tests/support/rows.h"
#include "tests/support/standard_error.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::AllOf;
using testing::Each;
using testing::SizeIs;

using Texts = std::vector<std::string>;

const Texts registrations = {
    "RegisterEvent 7 10000 - 0",
    "RegisterEvent 7 34 - 0",
    "RegisterEvent 7 44 - 0",
    "RegisterEvent 7 183 TCPU 0",
    "log 2 workload classification EVENT Register",
    "RegisterEvent 7 72 - 0",
    "log 2 Powerscheme classification EVENT Register",
    "RegisterEvent 7 106 - 0",
    "log 2 Powerslider classification EVENT Register",
};

const Texts unregistrations = {
    "log 2 UnregisterEvents() called", "UnregisterEvent 7 44 - 0",     "UnregisterEvent 7 34 - 0",
    "UnregisterEvent 7 10000 - 0",     "UnregisterEvent 7 183 TCPU 0", "UnregisterEvent 7 72 - 0",
    "UnregisterEvent 7 106 - 0",
};

class EventRegistration : public LoadedCore {
protected:
    EventRegistration() { g_orqStatus = 77; }

    StandardError errors;
};

TEST_F(EventRegistration, IsOfSixEventsInOrderAndLogsTheLastThree)
{
    core.onRegister = [](std::uint32_t) { EXPECT_EQ(g_orqStatus, 0); };

    EXPECT_EQ(registerEvents(7), 0);

    EXPECT_EQ(calls, registrations);
    EXPECT_THAT(core.callbacks, AllOf(SizeIs(6), Each(&onFrameworkEvent)));
    EXPECT_EQ(g_orqStatus, 0);
    EXPECT_EQ(errors.text(), "");
}

struct FailureRow {
    std::uint32_t type;
    int status;
    const char* named;
    std::ptrdiff_t calls;  // of those that register all
};

class FailedRegistration : public WithRow<EventRegistration, FailureRow> {};

TEST_ROWS(FailedRegistration, ROW(.type = 10000, .status = 1003, .named = "TOVA_E_UNSPECIFIED(1003)", .calls = 1),
          ROW(.type = 34, .status = 105, .named = "TOVA_I_NO_LEGACY_SUPPORT(105)", .calls = 2),
          ROW(.type = 44, .status = 3500, .named = "TOVA_E_EVENT_NOT_FOUND(3500)", .calls = 3),
          ROW(.type = 183, .status = 1012, .named = "TOVA_E_UNSUPPORTED_CLIENT_SDK(1012)", .calls = 4),
          ROW(.type = 72, .status = -5, .named = "NA(-5)", .calls = 6),
          ROW(.type = 106, .status = 3700, .named = "TOVA_E_SESSION_DISCONNECTED(3700)", .calls = 8));

TEST_ROW(FailedRegistration, IsWrittenAndStoredBeforeAllSixAreUnregistered)
{
    core.registerStatus[row().type] = row().status;
    core.unregisterStatus = 3501;  // nobody looks at it
    core.onUnregister = [&] {
        EXPECT_TRUE(StandardError::written());
        EXPECT_EQ(g_orqStatus, row().status);
    };
    Texts expected(registrations.begin(), registrations.begin() + row().calls);
    expected.insert(expected.end(), unregistrations.begin(), unregistrations.end());

    EXPECT_EQ(registerEvents(7), row().status);
    EXPECT_EQ(calls, expected);
    EXPECT_THAT(core.callbacks, Each(&onFrameworkEvent));
    EXPECT_EQ(errors.text(), "Failed to register event; " + std::string(row().named) + "\n\n");
    EXPECT_EQ(g_orqStatus, row().status);
}

TEST_F(EventRegistration, WithoutACoreFailsWithTheEmptySlot)
{
    unloadLibrary(g_loader);

    EXPECT_EQ(registerEvents(7), 1400);

    EXPECT_EQ(errors.text(), "Failed to register event; TOVA_E_CALLBACK_IS_NULL(1400)\n\n");
    EXPECT_EQ(g_orqStatus, 1400);
}

TEST_F(EventRegistration, AcceptsAnEventThatArrivesInsideItsOwnRegistration)
{
    std::uint32_t position = 3;
    const OrqData payload = { 3, &position, 4, 4 };
    core.onRegister = [&](std::uint32_t type) {
        if (type == 106) core.callbacks.back()(0, 106, nullptr, &payload);
    };

    EXPECT_EQ(registerEvents(7), 0);

    EXPECT_EQ(g_powerSlider, 3);
    EXPECT_EQ(calls[calls.size() - 2], "log 2 Event powerSlider type =3");
    EXPECT_EQ(calls.back(), "log 2 Powerslider classification EVENT Register");
}

TEST_F(EventRegistration, IsUndoneForAllSixInTheirOwnOrderAndLeavesTheStatusAlone)
{
    UnregisterEvents(7);

    EXPECT_EQ(calls, unregistrations);
    EXPECT_THAT(core.callbacks, AllOf(SizeIs(6), Each(&onFrameworkEvent)));
    EXPECT_EQ(g_orqStatus, 77);
}

TEST_F(EventRegistration, KeepsTheValuesThatTheEventsBrought)
{
    g_workload = 5;
    g_workloadRaw = 1;
    g_powerSlider = 3;
    g_powerScheme = 2;
    g_logVerbosity = 4;
    g_orqDisconnected = 1;

    UnregisterEvents(7);
    registerEvents(8);

    EXPECT_EQ(g_workload, 5);
    EXPECT_EQ(g_workloadRaw, 1U);
    EXPECT_EQ(g_powerSlider, 3);
    EXPECT_EQ(g_powerScheme, 2);
    EXPECT_EQ(g_logVerbosity, 4U);
    EXPECT_EQ(g_orqDisconnected, 1);
}

}  // namespace
}  // namespace kelvane::tests
