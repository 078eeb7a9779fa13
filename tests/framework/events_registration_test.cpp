// Registering and unregistering the six events: order, arguments, log lines, and each of the six failing.
#include "framework/events.h"
#include "state/state.h"

#include "tests/framework/loaded_core.h"
#include "tests/support/rows.h"
#include "tests/support/standard_error.h"

namespace kelvane::tests {
namespace {

using testing::AllOf;
using testing::Each;
using testing::SizeIs;

using Calls = std::vector<std::string>;

const Calls registrations = {
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
const Calls unregistrations = {
    "log 2 UnregisterEvents() called", "UnregisterEvent 7 44 - 0",     "UnregisterEvent 7 34 - 0",
    "UnregisterEvent 7 10000 - 0",     "UnregisterEvent 7 183 TCPU 0", "UnregisterEvent 7 72 - 0",
    "UnregisterEvent 7 106 - 0",
};

class RegisterEvents : public LoadedCore {
protected:
    RegisterEvents() { g_orqStatus = 77; }

    StandardError errors;
};

TEST_F(RegisterEvents, RegistersSixEventsInOrderWithAClearStatusAndLogsTheLastThree)
{
    std::vector<int> statuses;
    core.onRegister = [&](std::uint32_t) { statuses.push_back(g_orqStatus); };

    EXPECT_EQ(registerEvents(7), 0);

    EXPECT_EQ(calls, registrations);
    EXPECT_THAT(core.callbacks, AllOf(SizeIs(6), Each(&onFrameworkEvent)));
    EXPECT_THAT(statuses, AllOf(SizeIs(6), Each(0)));
    EXPECT_EQ(g_orqStatus, 0);
    EXPECT_EQ(errors.text(), "");
}

struct FailureRow {
    std::uint32_t type;
    int status;
    const char* line;
    std::size_t callsBefore;  // the failing registration among them
};

using FailedRegistration = WithRow<RegisterEvents, FailureRow>;

TEST_ROWS(FailedRegistration,
          ROW(.type = 10000, .status = 1003, .line = "Failed to register event; TOVA_E_UNSPECIFIED(1003)\n\n",
              .callsBefore = 1),
          ROW(.type = 34, .status = 105, .line = "Failed to register event; TOVA_I_NO_LEGACY_SUPPORT(105)\n\n",
              .callsBefore = 2),
          ROW(.type = 44, .status = 3500, .line = "Failed to register event; TOVA_E_EVENT_NOT_FOUND(3500)\n\n",
              .callsBefore = 3),
          ROW(.type = 183, .status = 1012, .line = "Failed to register event; TOVA_E_UNSUPPORTED_CLIENT_SDK(1012)\n\n",
              .callsBefore = 4),
          ROW(.type = 72, .status = -5, .line = "Failed to register event; NA(-5)\n\n", .callsBefore = 6),
          ROW(.type = 106, .status = 3700, .line = "Failed to register event; TOVA_E_SESSION_DISCONNECTED(3700)\n\n",
              .callsBefore = 8));

TEST_P(FailedRegistration, IsTheLastAndAllSixAreUnregistered)
{
    core.registerStatus[row().type] = row().status;
    core.unregisterStatus = 3501;  // nobody looks at it

    EXPECT_EQ(registerEvents(7), row().status);

    Calls expected = registrations;
    expected.resize(row().callsBefore);
    expected.insert(expected.end(), unregistrations.begin(), unregistrations.end());
    EXPECT_EQ(calls, expected);
    EXPECT_THAT(core.callbacks, Each(&onFrameworkEvent));
    EXPECT_EQ(errors.text(), row().line);
    EXPECT_EQ(g_orqStatus, row().status);
}

TEST_F(RegisterEvents, WritesTheLineAndStoresTheStatusBeforeItUnregisters)
{
    core.registerStatus[44] = 3500;
    std::vector<bool> written;
    std::vector<int> statuses;
    core.onUnregister = [&] {
        written.push_back(StandardError::written());
        statuses.push_back(g_orqStatus);
    };

    registerEvents(7);

    EXPECT_THAT(written, AllOf(SizeIs(6), Each(true)));
    EXPECT_THAT(statuses, Each(3500));
}

TEST(RegisterEventsAlone, WithoutACoreFailsWithTheEmptySlot)
{
    StandardError errors;

    EXPECT_EQ(registerEvents(7), 1400);

    EXPECT_EQ(errors.text(), "Failed to register event; TOVA_E_CALLBACK_IS_NULL(1400)\n\n");
    EXPECT_EQ(g_orqStatus, 1400);
}

TEST_F(RegisterEvents, AcceptsAnEventThatArrivesInsideItsOwnRegistration)
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

TEST_F(RegisterEvents, UnregistersAllSixWhateverTheCoreAnswersAndLeavesTheStatusAlone)
{
    for (const int status : { 0, 3500 }) {
        calls.clear();
        core.unregisterStatus = status;

        UnregisterEvents(7);

        EXPECT_EQ(calls, unregistrations);
        EXPECT_EQ(g_orqStatus, 77);
    }
    EXPECT_THAT(core.callbacks, AllOf(SizeIs(12), Each(&onFrameworkEvent)));
}

TEST_F(RegisterEvents, KeepsTheValuesThatTheEventsBrought)
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
