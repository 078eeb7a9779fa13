// Registering and unregistering the six events: order, arguments, log lines, and each of the six failing.
#include "framework/events.h"
#include "state/state.h"

#include "tests/framework/loaded_core.h"
#include "tests/support/standard_error.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::SizeIs;

using Rows = std::vector<std::string>;

const Rows unregistrations = {
    "log 2 UnregisterEvents() called", "UnregisterEvent 7 44 - 0",     "UnregisterEvent 7 34 - 0",
    "UnregisterEvent 7 10000 - 0",     "UnregisterEvent 7 183 TCPU 0", "UnregisterEvent 7 72 - 0",
    "UnregisterEvent 7 106 - 0",
};

TEST(RegisterEvents, RegistersSixEventsInOrderAndLogsTheLastThree)
{
    LoadedCore machine;
    StandardError errors;
    g_orqStatus = 77;

    EXPECT_EQ(registerEvents(7), 0);

    EXPECT_THAT(machine.calls,
                ElementsAre("RegisterEvent 7 10000 - 0", "RegisterEvent 7 34 - 0", "RegisterEvent 7 44 - 0",
                            "RegisterEvent 7 183 TCPU 0", "log 2 workload classification EVENT Register",
                            "RegisterEvent 7 72 - 0", "log 2 Powerscheme classification EVENT Register",
                            "RegisterEvent 7 106 - 0", "log 2 Powerslider classification EVENT Register"));
    EXPECT_THAT(machine.core.callbacks, AllOf(SizeIs(6), Each(&onFrameworkEvent)));
    EXPECT_EQ(g_orqStatus, 0);
    EXPECT_EQ(errors.text(), "");
}

TEST(RegisterEvents, ClearsTheStatusBeforeTheFirstRegistration)
{
    LoadedCore machine;
    g_orqStatus = 77;
    std::vector<int> seen;
    machine.core.onRegister = [&](std::uint32_t) { seen.push_back(g_orqStatus); };

    registerEvents(7);

    EXPECT_THAT(seen, ElementsAre(0, 0, 0, 0, 0, 0));
}

TEST(RegisterEvents, StopsAtTheFirstFailureAndUnregistersAllSix)
{
    struct Row {
        std::uint32_t failingType;
        int status;
        const char* line;
        Rows before;
    };

    const std::string workloadLine = "log 2 workload classification EVENT Register";
    const std::string schemeLine = "log 2 Powerscheme classification EVENT Register";
    const Row rows[] = {
        { 10000, 1003, "Failed to register event; TOVA_E_UNSPECIFIED(1003)\n\n", { "RegisterEvent 7 10000 - 0" } },
        { 34,
          105,
          "Failed to register event; TOVA_I_NO_LEGACY_SUPPORT(105)\n\n",
          { "RegisterEvent 7 10000 - 0", "RegisterEvent 7 34 - 0" } },
        { 44,
          3500,
          "Failed to register event; TOVA_E_EVENT_NOT_FOUND(3500)\n\n",
          { "RegisterEvent 7 10000 - 0", "RegisterEvent 7 34 - 0", "RegisterEvent 7 44 - 0" } },
        { 183,
          1012,
          "Failed to register event; TOVA_E_UNSUPPORTED_CLIENT_SDK(1012)\n\n",
          { "RegisterEvent 7 10000 - 0", "RegisterEvent 7 34 - 0", "RegisterEvent 7 44 - 0",
            "RegisterEvent 7 183 TCPU 0" } },
        { 72,
          -5,
          "Failed to register event; NA(-5)\n\n",
          { "RegisterEvent 7 10000 - 0", "RegisterEvent 7 34 - 0", "RegisterEvent 7 44 - 0",
            "RegisterEvent 7 183 TCPU 0", workloadLine, "RegisterEvent 7 72 - 0" } },
        { 106,
          3700,
          "Failed to register event; TOVA_E_SESSION_DISCONNECTED(3700)\n\n",
          { "RegisterEvent 7 10000 - 0", "RegisterEvent 7 34 - 0", "RegisterEvent 7 44 - 0",
            "RegisterEvent 7 183 TCPU 0", workloadLine, "RegisterEvent 7 72 - 0", schemeLine,
            "RegisterEvent 7 106 - 0" } },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.failingType);
        LoadedCore machine;
        StandardError errors;
        machine.core.registerStatus[row.failingType] = row.status;
        machine.core.unregisterStatus = 3501;  // nobody looks at it

        EXPECT_EQ(registerEvents(7), row.status);

        Rows expected = row.before;
        expected.insert(expected.end(), unregistrations.begin(), unregistrations.end());
        EXPECT_THAT(machine.calls, ElementsAreArray(expected));
        EXPECT_THAT(machine.core.callbacks, Each(&onFrameworkEvent));
        EXPECT_EQ(errors.text(), row.line);
        EXPECT_EQ(g_orqStatus, row.status);
        unloadLibrary(g_loader);
    }
}

TEST(RegisterEvents, WritesTheLineAndStoresTheStatusBeforeItUnregisters)
{
    LoadedCore machine;
    const StandardError errors;
    machine.core.registerStatus[44] = 3500;
    std::vector<bool> written;
    std::vector<int> statuses;
    machine.core.onUnregister = [&] {
        written.push_back(StandardError::written());
        statuses.push_back(g_orqStatus);
    };

    registerEvents(7);

    EXPECT_THAT(written, AllOf(SizeIs(6), Each(true)));
    EXPECT_THAT(statuses, Each(3500));
}

TEST(RegisterEvents, WithoutACoreFailsWithTheEmptySlot)
{
    StandardError errors;

    EXPECT_EQ(registerEvents(7), 1400);

    EXPECT_EQ(errors.text(), "Failed to register event; TOVA_E_CALLBACK_IS_NULL(1400)\n\n");
    EXPECT_EQ(g_orqStatus, 1400);
}

TEST(RegisterEvents, AcceptsAnEventThatArrivesInsideItsOwnRegistration)
{
    LoadedCore machine;
    std::uint32_t position = 3;
    const OrqData payload = { 3, &position, 4, 4 };
    machine.core.onRegister = [&](std::uint32_t type) {
        if (type == 106) machine.core.callbacks.back()(0, 106, nullptr, &payload);
    };

    EXPECT_EQ(registerEvents(7), 0);

    EXPECT_EQ(g_powerSlider, 3);
    EXPECT_EQ(machine.calls[machine.calls.size() - 2], "log 2 Event powerSlider type =3");
    EXPECT_EQ(machine.calls.back(), "log 2 Powerslider classification EVENT Register");
}

TEST(UnregisterEvents, UnregistersAllSixInTheirOwnOrder)
{
    LoadedCore machine;

    UnregisterEvents(7);

    EXPECT_THAT(machine.calls, ElementsAreArray(unregistrations));
    EXPECT_THAT(machine.core.callbacks, AllOf(SizeIs(6), Each(&onFrameworkEvent)));
}

TEST(UnregisterEvents, GoesOnWhateverTheCoreAnswersAndLeavesTheStatusAlone)
{
    LoadedCore machine;
    machine.core.unregisterStatus = 3500;
    g_orqStatus = 77;

    UnregisterEvents(7);

    EXPECT_THAT(machine.calls, ElementsAreArray(unregistrations));
    EXPECT_EQ(g_orqStatus, 77);
}

TEST(UnregisterEvents, KeepsTheValuesThatTheEventsBrought)
{
    LoadedCore machine;
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
