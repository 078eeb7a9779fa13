// When the loop stores what other threads read, between its calls and its lines.
#include "controller/state.h"
#include "state/state.h"

#include "framework/session.h"
#include "tests/controller/loop/scripted_loop.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <thread>

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;

class ScalingLoopStores : public testing::Test {
protected:
    ScalingLoopStores() { loop.power(1500); }

    // What happens from the row `first` to the end of the loop.
    std::vector<std::string> rowsFrom(const std::string& first)
    {
        loop.run();
        const std::vector<std::string> rows = loop.happened();
        return { std::find(rows.begin(), rows.end(), first), rows.end() };
    }

    ScriptedLoop loop;
};

TEST_F(ScalingLoopStores, OfTheStopPathStandBetweenItsCalls)
{
    loop.at(2000, [this] {
        requestEngineStop(false);
        loop.watch(
            { WATCHED(g_stopDone), WATCHED(g_serviceStopping), WATCHED(g_sessionHandle), WATCHED(g_engineState) });
    });

    EXPECT_THAT(rowsFrom("store g_stopDone 0"),
                ElementsAre("store g_stopDone 0", "store g_serviceStopping 0", "SET_PERF_PREFERENCE_MIN 0 0",
                            "SET_PERF_PREFERENCE_MAX 10000 0", "SET_RAPL_POWER_LIMIT_1 17000 0",
                            "log 2 PL1 level reset : 17000", "log 2 UnregisterEvents() called",
                            "call UNREGISTER_EVENT 44 0", "call UNREGISTER_EVENT 34 0", "call UNREGISTER_EVENT 10000 0",
                            "call UNREGISTER_EVENT 183 0", "call UNREGISTER_EVENT 72 0", "call UNREGISTER_EVENT 106 0",
                            "call SESSION_DISCONNECT 0", "call SESSION_DESTROY 0",
                            "store g_sessionHandle 18446744073709551615", "log 0 Stop is called from the registry ",
                            "store g_stopDone 1"));
}

TEST_F(ScalingLoopStores, ServicesStopIsForgottenBeforeTheDefaultPreferenceIsWritten)
{
    loop.power(2000);  // the tier of 1800
    loop.at(2000, [this] {
        requestEngineStop(false);
        loop.watch({ WATCHED(g_serviceStopping) });
    });

    const std::vector<std::string> rows = rowsFrom("store g_serviceStopping 0");

    ASSERT_GT(rows.size(), 1U);
    EXPECT_EQ(rows[1], "SET_PERF_PREFERENCE_MAX 1200 0");
}

TEST_F(ScalingLoopStores, StopIsDoneOnlyWhenItsLockIsFree)
{
    std::vector<std::string> seen;
    std::optional<StoreWatch> watch;
    loop.at(2000, [&] {
        requestEngineStop(false);
        watch.emplace(std::vector{ WATCHED(g_stopDone) }, [&](const std::string&, const std::string& value) {
            std::thread([&] {
                const bool isFree = g_loopStopLock().try_lock();
                if (isFree) g_loopStopLock().unlock();
                seen.push_back(value + (isFree ? " free" : " held"));
            }).join();
        });
    });

    loop.run();

    EXPECT_THAT(seen, ElementsAre("0 free", "1 free"));
}

TEST_F(ScalingLoopStores, EngineStateIsRunningAgainAfterTheLastLineOfTheService)
{
    loop.at(2000, [this] {
        requestEngineStop(true);
        loop.watch({ WATCHED(g_engineState) });
    });

    EXPECT_THAT(rowsFrom("log 0 KV Windows service is stopped "),
                ElementsAre("log 0 KV Windows service is stopped ", "store g_engineState 3"));
}

TEST_F(ScalingLoopStores, PowerSourceIsReadBetweenTheStartLimitsAndTheDefaultPreference)
{
    requestEngineStop(true);
    loop.watch({ WATCHED(acMode), WATCHED(appliedPrefMax) });

    EXPECT_THAT(rowsFrom("SET_RAPL_POWER_LIMIT_1 17000 0"),
                ElementsAre("SET_RAPL_POWER_LIMIT_1 17000 0", "log 2  **** Current CPU PL1 == : 17000",
                            "store acMode 1", "SET_PERF_PREFERENCE_MAX 1200 0", "store appliedPrefMax 1200",
                            "SET_PERF_PREFERENCE_MIN 0 0", "log 2  ** Default Init Pref ==1200",
                            "log 0 KV Windows service is stopped "));
}

TEST_F(ScalingLoopStores, PowerSourceIsReadBeforeTheWorkloadInEachStep)
{
    loop.at(2000, [this] {
        loop.forget();
        loop.watch({ WATCHED(acMode), WATCHED(PerfRange) });
    });
    loop.at(2300, [] { requestEngineStop(true); });

    EXPECT_THAT(rowsFrom("store acMode 1")[1], "GET_SOC_WORKLOAD 0 0");
}

// A process start on another thread stores the status of its own write at any moment.
TEST_F(ScalingLoopStores, StatusThatAnotherThreadOverwritesDecidesNothing)
{
    const StoreWatch overwritten({ WATCHED(g_orqStatus) },
                                 [](const std::string&, const std::string&) { g_orqStatus = 1800; });
    loop.at(2000, [] { requestEngineStop(true); });

    loop.run();

    EXPECT_THAT(loop.messages(), Contains("2 workload classification is success : "));
    EXPECT_EQ(loop.messages().back(), "0 KV Windows service is stopped ");
}

}  // namespace
}  // namespace kelvane::tests
