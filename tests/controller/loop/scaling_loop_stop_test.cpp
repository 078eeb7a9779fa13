#include "controller/scaling_loop.h"
#include "controller/state.h"
#include "state/state.h"

#include "framework/session.h"
#include "tests/controller/loop/scripted_loop.h"
#include "tests/simulator/trace_rows.h"

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

namespace kelvane::tests {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// What the stop path does when 1200 is already in force.
const Rows stopPath = {
    "SET_PERF_PREFERENCE_MIN 0 0",     "SET_PERF_PREFERENCE_MAX 10000 0",
    "SET_RAPL_POWER_LIMIT_1 17000 0",  "log 2 PL1 level reset : 17000",
    "log 2 UnregisterEvents() called", "call UNREGISTER_EVENT 44 0",
    "call UNREGISTER_EVENT 34 0",      "call UNREGISTER_EVENT 10000 0",
    "call UNREGISTER_EVENT 183 0",     "call UNREGISTER_EVENT 72 0",
    "call UNREGISTER_EVENT 106 0",     "call SESSION_DISCONNECT 0",
    "call SESSION_DESTROY 0",          "log 0 Stop is called from the registry ",
};

// At 1500 mW on mains: a first step of two seconds, then steps of three; none of them changes the ceiling of 1200.
class ScalingLoopStop : public testing::Test {
protected:
    ScalingLoopStop() { loop.power(1500); }

    // What happened since the given time was reached.
    Rows rowsFrom(std::uint64_t ms)
    {
        loop.at(ms, [this] { loop.forget(); });
        loop.run();
        return loop.happened();
    }

    ScriptedLoop loop;
};

void stopScaling() { requestEngineStop(false); }

void stopService() { requestEngineStop(true); }

TEST_F(ScalingLoopStop, OfScalingFinishesTheStepThenRestoresLimitsAndClosesTheSession)
{
    loop.at(3000, stopScaling);
    loop.at(5000, [this] { loop.forget(); });

    const std::uint32_t result = loop.run();

    Rows rows = loop.happened();
    ASSERT_THAT(rows.size(), testing::Ge(stopPath.size()));
    EXPECT_THAT(Rows(rows.end() - static_cast<int>(stopPath.size()), rows.end()), ElementsAreArray(stopPath));
    rows.resize(rows.size() - stopPath.size());
    EXPECT_THAT(rows.back(), HasSubstr("PIDx- 1 Down"));
    EXPECT_EQ(5000u, loop.now());
    EXPECT_EQ(0xFFFFFFFFu, result);
}

TEST_F(ScalingLoopStop, OfScalingLeavesTheStateOfAnEndedRun)
{
    loop.at(3000, stopScaling);

    loop.run();

    EXPECT_EQ(noSession, g_sessionHandle);
    EXPECT_EQ(1, g_stopDone);
    EXPECT_EQ(0, g_engineState);
    EXPECT_EQ(0, g_serviceStopping);
    EXPECT_EQ(1200, appliedPrefMax);
    EXPECT_EQ(1, g_sessionOpen);
    EXPECT_TRUE(g_loopStopLock().try_lock());
    g_loopStopLock().unlock();
}

TEST_F(ScalingLoopStop, OfScalingWritesTheDefaultPreferenceWhenAnotherIsInForce)
{
    // 2000 mW belong to the tier of 1800.
    loop.at(200, [this] { loop.power(2000); });
    loop.at(2000, stopScaling);

    loop.run();

    const Rows writes = loop.writes();
    EXPECT_THAT(Rows(writes.end() - 5, writes.end()),
                ElementsAre("SET_PERF_PREFERENCE_MAX 1800", "SET_PERF_PREFERENCE_MAX 1200", "SET_PERF_PREFERENCE_MIN 0",
                            "SET_PERF_PREFERENCE_MAX 10000", "SET_RAPL_POWER_LIMIT_1 17000"));
}

TEST_F(ScalingLoopStop, OfScalingIgnoresFailingWrites)
{
    loop.at(3000, [this] {
        stopScaling();
        loop.answer("SET_PERF_PREFERENCE_MIN", 1000);
        loop.answer("SET_PERF_PREFERENCE_MAX", 1001);
        loop.answer("SET_RAPL_POWER_LIMIT_1", 1002);
    });

    loop.run();

    const Rows rows = loop.happened();
    EXPECT_THAT(Rows(rows.end() - 14, rows.end() - 9),
                ElementsAre("SET_PERF_PREFERENCE_MIN 0 1000", "SET_PERF_PREFERENCE_MAX 10000 1001",
                            "SET_RAPL_POWER_LIMIT_1 17000 1002", "log 2 PL1 level reset : 17000",
                            "log 2 UnregisterEvents() called"));
    EXPECT_EQ("log 0 Stop is called from the registry ", rows.back());
    EXPECT_EQ(noSession, g_sessionHandle);
}

// The standby watcher and the process watcher's stop wait for what these show.
TEST_F(ScalingLoopStop, OfScalingHoldsTheStopLockWhileItRuns)
{
    std::vector<std::string> seen;
    const auto look = [&] {
        bool free = false;
        std::thread([&] {
            free = g_loopStopLock().try_lock();
            if (free) g_loopStopLock().unlock();
        }).join();
        seen.push_back(std::string(free ? "free" : "held") + " done " + std::to_string(g_stopDone) + " session " +
                       (g_sessionHandle == noSession ? "none" : "open"));
    };
    loop.at(2000, stopScaling);
    // Start-up makes 18 calls, the step 21; the stop path writes three times before it unregisters six events.
    loop.beforeCall(39, look);
    loop.beforeCall(40, look);
    loop.beforeCall(43, look);
    loop.beforeCall(49, look);
    loop.beforeCall(50, look);

    loop.run();

    EXPECT_THAT(seen, ElementsAre("free done 1 session open", "held done 0 session open", "held done 0 session open",
                                  "held done 0 session open", "held done 0 session open"));
}

// The stop path waits for the lock, and takes every stop that came until then for the one that it is about.
TEST_F(ScalingLoopStop, OfTheServiceBeforeTheStopPathGetsTheLockIsForgotten)
{
    std::atomic<bool> locked = false;
    bool stopBegan = false;
    std::thread holder;
    loop.at(2000, [&] {
        stopScaling();
        holder = std::thread([&] {
            const std::lock_guard hold(g_loopStopLock());
            locked = true;
            const auto end = std::chrono::steady_clock::now() + 10s;
            while (g_stopDone != 0 && std::chrono::steady_clock::now() < end) std::this_thread::yield();
            stopBegan = g_stopDone == 0;
            g_serviceStopping = 1;
        });
        while (!locked) std::this_thread::yield();
    });

    loop.run();
    holder.join();

    EXPECT_TRUE(stopBegan);
    EXPECT_EQ("0 Stop is called from the registry ", loop.messages().back());
    EXPECT_EQ(0, g_serviceStopping);
}

TEST_F(ScalingLoopStop, OfTheServiceDuringTheStopPathIsNotForgotten)
{
    loop.at(2000, stopScaling);
    loop.beforeCall(49, [] { g_serviceStopping = 1; });

    loop.run();

    EXPECT_EQ("call SESSION_DISCONNECT 0", loop.happened().at(loop.happened().size() - 3));
    EXPECT_EQ(1, g_serviceStopping);
}

TEST_F(ScalingLoopStop, OfTheServiceEndsAfterTheStepAndLeavesEverythingAsItIs)
{
    loop.power(2000);
    loop.at(3000, stopService);
    loop.at(5000, [this] { loop.forget(); });

    const std::uint32_t result = loop.run();

    const Rows rows = loop.happened();
    EXPECT_THAT(rows.at(rows.size() - 2), HasSubstr("PIDx- 1 Down"));
    EXPECT_EQ("log 0 KV Windows service is stopped ", rows.back());
    EXPECT_THAT(loop.writes(), IsEmpty());
    EXPECT_EQ(0xFFFFFFFFu, result);
    EXPECT_EQ(3, g_engineState);
    EXPECT_EQ(1, g_serviceStopping);
    EXPECT_EQ(1u, g_sessionHandle);
    EXPECT_EQ(1, g_sessionOpen);
    EXPECT_EQ(1, g_stopDone);
    EXPECT_EQ(1800, appliedPrefMax);
}

TEST_F(ScalingLoopStop, OfTheServiceComesBeforeOneOfScaling)
{
    loop.at(3000, stopScaling);
    loop.at(4000, stopService);

    EXPECT_THAT(rowsFrom(5000).back(), EndsWith("KV Windows service is stopped "));
    EXPECT_EQ(1u, g_sessionHandle);
}

TEST_F(ScalingLoopStop, OfTheServiceThatIsTakenBackStopsScaling)
{
    loop.at(3000, stopService);
    loop.at(4000, stopScaling);

    EXPECT_EQ("log 0 Stop is called from the registry ", rowsFrom(5000).back());
}

TEST_F(ScalingLoopStop, NeverStopsTheProcessWatch)
{
    const struct {
        void (*stop)();
        const char* lastMessage;
    } ends[] = {
        { stopScaling, "0 Stop is called from the registry " },
        { stopService, "0 KV Windows service is stopped " },
    };

    g_wmiConnected = 1;
    g_wmiQueryIssued = 1;

    for (const auto& end : ends) {
        SCOPED_TRACE(end.lastMessage);
        loop.forget();
        g_engineState = engineRunning;
        g_serviceStopping = 0;
        loop.at(loop.now() + 1000, end.stop);

        loop.run();

        EXPECT_THAT(loop.messages(), Not(Contains(HasSubstr("Stop Service is Called"))));
        EXPECT_EQ(end.lastMessage, loop.messages().back());
        EXPECT_EQ(1, g_wmiConnected);
    }
}

TEST_F(ScalingLoopStop, OfScalingWaitsUntilBothSwitchesAllowIt)
{
    std::atomic<std::uint8_t>* const switches[] = { &g_stopEnabled, &g_loopStopEnabled };

    for (auto* const allowed : switches) {
        SCOPED_TRACE(allowed == &g_stopEnabled ? "g_stopEnabled" : "g_loopStopEnabled");
        const std::uint64_t start = loop.now();
        g_engineState = engineRunning;
        *allowed = 0;
        loop.at(start + 1000, stopScaling);
        loop.at(start + 6000, [=] { *allowed = 1; });

        loop.run();

        EXPECT_EQ("0 Stop is called from the registry ", loop.messages().back());
        EXPECT_EQ(start + 8000, loop.now());
    }
}

TEST_F(ScalingLoopStop, OfScalingNeedsASession)
{
    loop.at(1000, [] {
        stopScaling();
        g_sessionHandle = noSession;
    });
    loop.at(6000, [] { g_sessionHandle = 1; });

    loop.run();

    EXPECT_EQ(8000u, loop.now());
    EXPECT_EQ("0 Stop is called from the registry ", loop.messages().back());
}

// Call 1 is INIT, 18 the last of start-up.
TEST_F(ScalingLoopStop, OfScalingWhileStartingComesBeforeTheFirstStep)
{
    int callsBefore = 0;
    for (int call = 1; call <= 18; ++call) {
        SCOPED_TRACE(call);
        g_engineState = engineRunning;
        appliedPrefMax = 0;
        minPrefReset = -1;
        loop.beforeCall(callsBefore + call, stopScaling);
        loop.forget();

        loop.run();

        const Rows rows = loop.happened();
        ASSERT_THAT(rows.size(), testing::Gt(stopPath.size()));
        EXPECT_EQ("log 2  ** Default Init Pref ==1200", rows.at(rows.size() - stopPath.size() - 1));
        EXPECT_THAT(Rows(rows.end() - static_cast<int>(stopPath.size()), rows.end()), ElementsAreArray(stopPath));
        EXPECT_THAT(loop.sleeps(), IsEmpty());
        callsBefore += 18 + 11;
    }
}

TEST_F(ScalingLoopStop, OfTheServiceWhileStartingEndsWithoutAStep)
{
    int callsBefore = 0;
    for (int call = 1; call <= 18; ++call) {
        SCOPED_TRACE(call);
        g_serviceStopping = 0;
        appliedPrefMax = 0;
        minPrefReset = -1;
        loop.beforeCall(callsBefore + call, stopService);
        loop.forget();

        loop.run();

        const Rows rows = loop.happened();
        EXPECT_EQ("log 2  ** Default Init Pref ==1200", rows.at(rows.size() - 2));
        EXPECT_EQ("log 0 KV Windows service is stopped ", rows.back());
        EXPECT_EQ(3, g_engineState);
        callsBefore += 18;
    }
}

// Power of 1000 mW: Active Idle is entered at 2000, pauses two seconds for the process watch, then five.
TEST_F(ScalingLoopStop, OfScalingInAnActiveIdlePauseComesAtItsEnd)
{
    loop.power(1000);
    const std::uint64_t times[] = { 2500, 4000, 8999 };

    for (const std::uint64_t time : times) {
        SCOPED_TRACE(time);
        const std::uint64_t start = loop.now();
        g_engineState = engineRunning;
        activeIdle = 0;
        activeIdleCount = 0;
        pidOnTestState = 0;
        loop.forget();
        loop.at(start + time, stopScaling);

        loop.run();

        EXPECT_EQ(start + 9000, loop.now());
        const Rows rows = loop.happened();
        EXPECT_EQ("sleep 5000", rows.at(rows.size() - stopPath.size() - 1));
        EXPECT_THAT(Rows(rows.end() - static_cast<int>(stopPath.size()), rows.end()), ElementsAreArray(stopPath));
    }
}

TEST_F(ScalingLoopStop, OfTheServiceInAnActiveIdlePauseComesAtItsEnd)
{
    loop.power(1000);
    const std::uint64_t times[] = { 2500, 4000, 9000 };

    for (const std::uint64_t time : times) {
        SCOPED_TRACE(time);
        const std::uint64_t start = loop.now();
        g_serviceStopping = 0;
        activeIdle = 0;
        activeIdleCount = 0;
        pidOnTestState = 0;
        loop.forget();
        loop.at(start + time, stopService);

        loop.run();

        EXPECT_EQ(start + 9000, loop.now());
        EXPECT_EQ("sleep 5000", loop.happened().at(loop.happened().size() - 2));
        EXPECT_EQ("log 0 KV Windows service is stopped ", loop.happened().back());
    }
}

}  // namespace
}  // namespace kelvane::tests
