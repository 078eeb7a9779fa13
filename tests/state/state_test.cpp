
#include "engine/state.h"
#include "state/state.h"
#include "tests/support/store_watch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace kelvane::tests {
namespace {

TEST(EngineState, EveryFlagHasItsStartValue)
{
    EXPECT_EQ(engineRunning, 3);
    EXPECT_EQ(g_engineState, 3);
    EXPECT_EQ(g_serviceStopping, 0);
    EXPECT_EQ(g_engineStarted, 0);
    EXPECT_EQ(g_startReentered, 0);
    EXPECT_EQ(g_wmiConnected, 0);
    EXPECT_EQ(g_wmiQueryIssued, 0);
    EXPECT_EQ(g_trackedProcessSeen, 0);
    EXPECT_EQ(g_trackedProcessIdCount, 0);
    EXPECT_EQ(g_trackedProcessIds.size(), 10U);
    for (const std::atomic<int>& id : g_trackedProcessIds) EXPECT_EQ(id, 0);
    EXPECT_EQ(g_reportPerfFailures, 1);
    EXPECT_EQ(g_loopStopEnabled, 1);
    EXPECT_EQ(processName(), "");
}

TEST(RequestEngineStop, AsksForTheEndOfTheServiceOrOfScalingAlone)
{
    EXPECT_EQ(requestEngineStop(true), 0);
    EXPECT_EQ(g_engineState, 0);
    EXPECT_EQ(g_serviceStopping, 1);

    g_engineState = 3;
    EXPECT_EQ(requestEngineStop(false), 0);
    EXPECT_EQ(g_engineState, 0);
    EXPECT_EQ(g_serviceStopping, 0);
}

TEST(RequestEngineStop, AsksBeforeItSaysWhatFor)
{
    std::string stores;
    const StoreWatch watch({ WATCHED(g_engineState), WATCHED(g_serviceStopping) },
                           [&](const std::string& name, const std::string& value) { stores += name + value + " "; });

    requestEngineStop(true);

    EXPECT_EQ(stores, "g_engineState0 g_serviceStopping1 ");
}

TEST(RequestEngineStop, TouchesNoOtherFlag)
{
    g_engineStarted = 1;
    g_wmiConnected = 1;

    requestEngineStop(true);

    EXPECT_EQ(g_engineStarted, 1);
    EXPECT_EQ(g_startReentered, 0);
    EXPECT_EQ(g_wmiConnected, 1);
    EXPECT_EQ(g_wmiQueryIssued, 0);
    EXPECT_EQ(g_loopStopEnabled, 1);
    EXPECT_EQ(g_reportPerfFailures, 1);
}

TEST(ProcessName, IsKeptUntilItIsClearedOrSetAgain)
{
    setProcessName("first.exe");
    EXPECT_EQ(processName(), "first.exe");
    EXPECT_EQ(processName(), "first.exe");

    setProcessName("second.exe");
    EXPECT_EQ(processName(), "second.exe");

    clearProcessName();
    EXPECT_EQ(processName(), "");
}

// Names too long for a string to hold in itself: an unguarded one would be freed under its reader.
TEST(ProcessName, IsWholeInEveryThread)
{
    const std::string a(300, 'a');
    const std::string b(700, 'b');
    std::atomic<int> torn = 0;
    const auto check = [&] {
        const std::string name = processName();
        if (!name.empty() && name != a && name != b) torn += 1;
    };

    std::vector<std::thread> threads;
    for (const std::string* name : { &a, &b }) {
        threads.emplace_back([&, name] {
            for (int i = 0; i < 20000; ++i) {
                setProcessName(*name);
                check();
            }
        });
    }
    threads.emplace_back([&] {
        for (int i = 0; i < 20000; ++i) {
            check();
            clearProcessName();
        }
    });
    for (std::thread& thread : threads) thread.join();

    EXPECT_EQ(torn, 0);
}

}  // namespace
}  // namespace kelvane::tests
