#include "controller/state.h"
#include "state/state.h"
#include "tests/controller/loop/scripted_loop.h"
#include "tests/simulator/trace_rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// At 1000 mW the first step ends at 2000 with the first entry into Active Idle.
class FirstActiveIdle : public testing::Test {
protected:
    FirstActiveIdle()
    {
        loop.power(1000);
        loop.at(2000, [this] { loop.forget(); });
        loop.at(9000, [] { requestEngineStop(true); });
    }

    ScriptedLoop loop;
};

const char idleLine[] = "log 2  *** PIDx 5 Active Idle PerfRange = 1800  prefMax=  10000  pkgPower=  1000";

TEST_F(FirstActiveIdle, StopsTheProcessWatchThatRuns)
{
    g_wmiConnected = 1;
    g_wmiQueryIssued = 1;

    loop.run();

    EXPECT_THAT(loop.happened(), ElementsAre(idleLine, "log 0 processid Stop Service is Called",
                                             "log 2 CancelAsyncCall call skipped with NULL pointer check =",
                                             "sleep 2000", "sleep 5000", "log 0 KV Windows service is stopped "));
    EXPECT_EQ(2, pidOnTestState);
}

TEST_F(FirstActiveIdle, PausesAsLongWhenTheProcessWatchDoesNotRun)
{
    const struct {
        const char* description;
        std::uint8_t connected;
        std::uint8_t queryIssued;
    } cases[] = {
        { "not connected", 0, 1 },
        { "no query", 1, 0 },
        { "neither", 0, 0 },
    };

    for (const auto& state : cases) {
        SCOPED_TRACE(state.description);
        const std::uint64_t start = loop.now();
        g_serviceStopping = 0;
        activeIdle = 0;
        activeIdleCount = 0;
        pidOnTestState = 0;
        g_wmiConnected = state.connected;
        g_wmiQueryIssued = state.queryIssued;
        loop.at(start + 2000, [this] { loop.forget(); });
        loop.at(start + 9000, [] { requestEngineStop(true); });

        loop.run();

        EXPECT_THAT(loop.happened(),
                    ElementsAre(idleLine, "sleep 2000", "sleep 5000", "log 0 KV Windows service is stopped "));
        EXPECT_EQ(2, pidOnTestState);
    }
}

TEST_F(FirstActiveIdle, ShowsThatTheProcessWatchIsBeingStoppedDuringThePause)
{
    int duringPause = -1;
    loop.at(4000, [&] { duringPause = pidOnTestState; });

    loop.run();

    EXPECT_EQ(1, duringPause);
}

TEST_F(FirstActiveIdle, TurnsAwayFromAnyBurst)
{
    NewPID = 2;
    prevClipCount = 3;

    loop.run();

    EXPECT_EQ(0, NewPID);
    EXPECT_EQ(0, prevClipCount);
    EXPECT_EQ(1000, pkgPowerPrev);
    EXPECT_THAT(loop.writes(), IsEmpty());
}

}  // namespace
}  // namespace kelvane::tests
