// What outlives a run of the loop: everything that start-up and the stop path do not write.
#include "controller/state.h"
#include "engine/state.h"
#include "state/state.h"

#include "tests/controller/loop/scripted_loop.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

struct Variable {
    const char* name;
    void (*set)(int value);
    int (*get)();
};

template<class Value>
void assign(Value& variable, int value)
{
    variable = static_cast<Value>(value);
}

template<class Value>
void assign(std::atomic<Value>& variable, int value)
{
    variable = static_cast<Value>(value);
}

// The versions of the formatter lay this out differently.
// clang-format off
#define VARIABLE(name) { #name, [](int value) { assign(name, value); }, [] { return static_cast<int>(name); } }
// clang-format on

// All but those that start-up or the stop path write.
const Variable kept[] = {
    VARIABLE(pkgPower),
    VARIABLE(pkgPowerPrev),
    VARIABLE(pwrCeiling),
    VARIABLE(lastLoopAvg),
    VARIABLE(prevClipCount),
    VARIABLE(socWorkload),
    VARIABLE(PerfRange),
    VARIABLE(lastPrefMax),
    VARIABLE(pwrDeltaThreshold),
    VARIABLE(leastRangeStep),
    VARIABLE(upStep),
    VARIABLE(leastRangeLimit),
    VARIABLE(leastRangeCount),
    VARIABLE(exitCount),
    VARIABLE(NewPID),
    VARIABLE(perfRestored),
    VARIABLE(activeIdle),
    VARIABLE(activeIdleCount),
    VARIABLE(pidOnTestState),
    VARIABLE(NewPIDAvgPwr),
    VARIABLE(avgSum),
    VARIABLE(avgN),
    VARIABLE(avgCnt),
    VARIABLE(avgWindowMin),
    VARIABLE(avgSampleLimit),
    VARIABLE(clipSum),
    VARIABLE(avgCount),
    VARIABLE(pwrSum),
    VARIABLE(prefSum),
    VARIABLE(Kv_opt),
    VARIABLE(kv_off_f),
    VARIABLE(PrevPerf),
    VARIABLE(prevWorkload),
    VARIABLE(g_workload),
    VARIABLE(g_powerSlider),
    VARIABLE(g_powerSliderChanged),
    VARIABLE(g_workloadEventSeen),
    VARIABLE(g_workloadEventPending),
    VARIABLE(g_workloadEventHold),
    VARIABLE(PwrPause),
    VARIABLE(PID_Change),
    VARIABLE(noOfPids),
    VARIABLE(g_trackedProcessSeen),
    VARIABLE(g_trackedProcessIdCount),
    VARIABLE(g_trackedProcessIds[0]),
    VARIABLE(g_wmiConnected),
    VARIABLE(g_wmiQueryIssued),
    VARIABLE(g_reportPerfFailures),
    VARIABLE(g_loopStopEnabled),
    VARIABLE(g_stopEnabled),
};

TEST(ScalingLoopMemory, OutlivesAStartAndAStopPathWithoutAStepBetween)
{
    ScriptedLoop loop;
    loop.answer("SESSION_CONNECT", 1000);  // so that the first reading of power is left out
    int odd = 100;
    for (const Variable& variable : kept) variable.set(++odd);
    setProcessName("game.exe");
    requestEngineStop(false);

    loop.run();

    EXPECT_EQ(loop.messages().back(), "0 Stop is called from the registry ");
    odd = 100;
    for (const Variable& variable : kept) EXPECT_EQ(variable.get(), ++odd) << variable.name;
    EXPECT_EQ(processName(), "game.exe");
}

TEST(ScalingLoopMemory, OfAProcessStartInTheRunBeforeIsNotAmongIt)
{
    ScriptedLoop loop;
    loop.power(3000);
    loop.at(2000, [] { ScriptedLoop::startProcess("game.exe"); });
    loop.at(3000, [&] { loop.power(9000); });
    loop.at(6000, [] { requestEngineStop(false); });
    loop.run();
    ASSERT_THAT(loop.messages(), testing::Contains(testing::HasSubstr("PIDC")));
    loop.forget();
    g_engineState = engineRunning;
    loop.at(loop.now() + 1000, [] { requestEngineStop(false); });

    loop.run();

    EXPECT_THAT(loop.messages(), testing::Contains(testing::HasSubstr(" ** PostPID = 0 ")));
}

}  // namespace
}  // namespace kelvane::tests
