// The two ways in which the scaling loop ends: the stop of scaling with its stop path, and the end of the service.
#include "tests/controller/loop/loop_test.h"
#include "tests/support/rows.h"

#include <chrono>
#include <thread>

namespace kelvane::tests {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

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
class ScalingLoopStop : public LoopTest {
protected:
    ScalingLoopStop() { loop.power(1500); }

    // The run ended with the stop path; returns what happened right before it.
    std::string rowBeforeStopPath() const
    {
        Rows rows = lastRows(stopPath.size() + 1);
        const std::string before = rows.front();
        rows.erase(rows.begin());
        EXPECT_THAT(rows, ElementsAreArray(stopPath));
        return before;
    }

    // The service's end came; returns what happened right before it.
    std::string rowBeforeEndOfService() const
    {
        EXPECT_EQ("log 0 KV Windows service is stopped ", loop.happened().back());
        return lastRows(2).front();
    }
};

TEST_F(ScalingLoopStop, OfScalingFinishesTheStepThenRestoresLimitsAndClosesTheSession)
{
    g_wmiConnected = 1;
    g_wmiQueryIssued = 1;
    loop.at(3000, stopScaling);

    EXPECT_EQ(0xFFFFFFFFu, loop.run());

    EXPECT_THAT(rowBeforeStopPath(), HasSubstr("PIDx- 1 Down"));
    EXPECT_EQ(5000u, loop.now());
    EXPECT_EQ(noSession, g_sessionHandle);
    EXPECT_EQ(1, g_stopDone);
    EXPECT_EQ(0, g_engineState);
    EXPECT_EQ(0, g_serviceStopping);
    EXPECT_EQ(1200, appliedPrefMax);
    EXPECT_EQ(1, g_sessionOpen);
    EXPECT_EQ(1, g_wmiConnected);  // the process watch goes on
    EXPECT_TRUE(g_loopStopLock().try_lock());
    g_loopStopLock().unlock();
}

// 2000 mW belong to the tier of 1800.
TEST_F(ScalingLoopStop, OfScalingWritesTheDefaultPreferenceWhenAnotherIsInForce)
{
    powerAt(200, 2000);
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

    Rows rows = lastRows(stopPath.size());
    EXPECT_EQ(stopPath.back(), rows.back());
    rows.resize(5);
    EXPECT_THAT(rows, ElementsAre("SET_PERF_PREFERENCE_MIN 0 1000", "SET_PERF_PREFERENCE_MAX 10000 1001",
                                  "SET_RAPL_POWER_LIMIT_1 17000 1002", "log 2 PL1 level reset : 17000",
                                  "log 2 UnregisterEvents() called"));
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
    for (const int call : { 39, 40, 43, 49, 50 }) loop.beforeCall(call, look);

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
    g_wmiConnected = 1;
    g_wmiQueryIssued = 1;
    loop.power(2000);
    loop.at(3000, stopService);
    forgetAt(5000);

    EXPECT_EQ(0xFFFFFFFFu, loop.run());

    EXPECT_THAT(rowBeforeEndOfService(), HasSubstr("PIDx- 1 Down"));
    EXPECT_THAT(loop.writes(), IsEmpty());
    EXPECT_EQ(3, g_engineState);
    EXPECT_EQ(1, g_serviceStopping);
    EXPECT_EQ(1u, g_sessionHandle);
    EXPECT_EQ(1, g_sessionOpen);
    EXPECT_EQ(1, g_stopDone);
    EXPECT_EQ(1, g_wmiConnected);
    EXPECT_EQ(1800, appliedPrefMax);
}

TEST_F(ScalingLoopStop, OfTheServiceComesBeforeOneOfScaling)
{
    loop.at(3000, stopScaling);
    loop.at(4000, stopService);

    loop.run();

    EXPECT_THAT(rowBeforeEndOfService(), HasSubstr("PIDx- 1 Down"));
    EXPECT_EQ(1u, g_sessionHandle);
}

TEST_F(ScalingLoopStop, OfTheServiceThatIsTakenBackStopsScaling)
{
    loop.at(3000, stopService);
    loop.at(4000, stopScaling);

    loop.run();

    EXPECT_THAT(rowBeforeStopPath(), HasSubstr("PIDx- 1 Down"));
}

struct SwitchRow {
    std::atomic<std::uint8_t>* allowed;
};

using ScalingLoopStopSwitch = WithRow<ScalingLoopStop, SwitchRow>;

TEST_ROWS(ScalingLoopStopSwitch, ROW(.allowed = &g_stopEnabled), ROW(.allowed = &g_loopStopEnabled));

TEST_ROW(ScalingLoopStopSwitch, HasToAllowTheStopOfScaling)
{
    *row().allowed = 0;
    loop.at(1000, stopScaling);
    loop.at(6000, [this] { *row().allowed = 1; });

    loop.run();

    EXPECT_EQ("0 Stop is called from the registry ", loop.messages().back());
    EXPECT_EQ(8000u, loop.now());
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

// The call of start-up during which the stop comes: 1 is INIT, 18 the last.
class ScalingLoopStopWhileStarting : public ScalingLoopStop, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(, ScalingLoopStopWhileStarting, testing::Range(1, 19));

TEST_P(ScalingLoopStopWhileStarting, OfScalingComesBeforeTheFirstStep)
{
    loop.beforeCall(GetParam(), stopScaling);

    loop.run();

    EXPECT_EQ("log 2  ** Default Init Pref ==1200", rowBeforeStopPath());
    EXPECT_THAT(loop.sleeps(), IsEmpty());
}

TEST_P(ScalingLoopStopWhileStarting, OfTheServiceEndsWithoutAStep)
{
    loop.beforeCall(GetParam(), stopService);

    loop.run();

    EXPECT_EQ("log 2  ** Default Init Pref ==1200", rowBeforeEndOfService());
    EXPECT_EQ(3, g_engineState);
}

// When the stop comes. Power of 1000 mW: Active Idle is entered at 2000, pauses two seconds for the process watch, then
// five.
class ScalingLoopStopInActiveIdle : public ScalingLoopStop, public testing::WithParamInterface<std::uint64_t> {
protected:
    ScalingLoopStopInActiveIdle() { loop.power(1000); }
};

INSTANTIATE_TEST_SUITE_P(, ScalingLoopStopInActiveIdle, testing::Values(2500, 4000, 8999, 9000));

TEST_P(ScalingLoopStopInActiveIdle, OfScalingComesAtTheEndOfThePause)
{
    loop.at(GetParam(), stopScaling);

    loop.run();

    EXPECT_EQ(9000u, loop.now());
    EXPECT_EQ("sleep 5000", rowBeforeStopPath());
}

TEST_P(ScalingLoopStopInActiveIdle, OfTheServiceComesAtTheEndOfThePause)
{
    loop.at(GetParam(), stopService);

    loop.run();

    EXPECT_EQ(9000u, loop.now());
    EXPECT_EQ("sleep 5000", rowBeforeEndOfService());
}

}  // namespace
}  // namespace kelvane::tests
