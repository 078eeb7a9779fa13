// What the controller starts with, and the constants it works by.
#include "controller/loop_state.h"
#include "state/state.h"
#include "tests/support/rows.h"

#include <cstdint>
#include <type_traits>

namespace kelvane::tests {
namespace {

static_assert(std::is_same_v<decltype(pkgPower), int> && std::is_same_v<decltype(acMode), std::uint32_t>);
static_assert(std::is_same_v<decltype(pwrSum), std::int64_t> && std::is_same_v<decltype(prefSum), std::int64_t>);
static_assert(std::is_same_v<decltype(g_sessionHandle), std::atomic<std::uint64_t>>);
static_assert(std::is_same_v<decltype(g_sessionOpen), std::atomic<std::uint8_t>>);
static_assert(std::is_same_v<decltype(g_stopDone), std::atomic<std::uint8_t>>);
static_assert(std::is_same_v<decltype(g_stopEnabled), std::atomic<std::uint8_t>>);

TEST(ControllerState, SessionAndMachineHaveTheirStartValues)
{
    EXPECT_EQ(g_sessionHandle, ~std::uint64_t{ 0 });
    EXPECT_EQ(g_sessionOpen, 1);
    EXPECT_EQ(g_stopDone, 1);
    EXPECT_EQ(g_stopEnabled, 1);
    EXPECT_EQ(sessionRetry, 0);
    EXPECT_EQ(g_orqStatus, 0);
    EXPECT_EQ(pkgPower, -1);
    EXPECT_EQ(pkgPowerPrev, 0);
    EXPECT_EQ(cpuPL1, 17000);
    EXPECT_EQ(pl1ResetLevel, 17000);
    EXPECT_EQ(pwrCeiling, 2000);
    EXPECT_EQ(acMode, 0U);
    EXPECT_EQ(g_workload, 0);
    EXPECT_EQ(prevWorkload, -1);
    EXPECT_EQ(g_powerSlider, 0);
    EXPECT_EQ(g_powerSliderChanged, 0);
    EXPECT_EQ(g_workloadEventSeen, 0);
    EXPECT_EQ(g_workloadEventPending, 0);
    EXPECT_EQ(g_workloadEventHold, 0);
    EXPECT_EQ(PwrPause, 0);
}

TEST(ControllerState, CeilingHasItsStartValues)
{
    EXPECT_EQ(PerfRange, 0);
    EXPECT_EQ(appliedPrefMax, 0);
    EXPECT_EQ(PrevPerf, 0);
    EXPECT_EQ(lastPrefMax, 0);
    EXPECT_EQ(pwrDeltaThreshold, 0);
    EXPECT_EQ(leastRangeStep, 300);
    EXPECT_EQ(leastRangeLimit, 3);
    EXPECT_EQ(leastRangeCount, 0);
    EXPECT_EQ(Kv_opt, 3);
    EXPECT_EQ(kv_off_f, 1);
    EXPECT_EQ(minPrefReset, -1);
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(prevClipCount, 0);
}

TEST(ControllerState, BurstsAndActiveIdleHaveTheirStartValues)
{
    EXPECT_EQ(exitCount, -1);
    EXPECT_EQ(NewPID, 0);
    EXPECT_EQ(PID_Change, 0);
    EXPECT_EQ(noOfPids, 0);
    EXPECT_EQ(perfRestored, 0);
    EXPECT_EQ(activeIdle, 0);
    EXPECT_EQ(activeIdleCount, 0);
    EXPECT_EQ(pidOnTestState, 0);
}

TEST(ControllerState, TrackerAndStatisticsHaveTheirStartValues)
{
    EXPECT_EQ(NewPIDAvgPwr, 10000);
    EXPECT_EQ(avgSum, 0);
    EXPECT_EQ(avgN, 0);
    EXPECT_EQ(avgCnt, 0);
    EXPECT_EQ(avgWindowMin, 5);
    EXPECT_EQ(avgSampleLimit, 5);
    EXPECT_EQ(lastLoopAvg, 0);
    EXPECT_EQ(clipSum, 0);
    EXPECT_EQ(avgCount, 0);
    EXPECT_EQ(pwrSum, 0);
    EXPECT_EQ(prefSum, 0);
}

TEST(ControllerState, EachRunOfTheLoopStartsItsLocalsAfresh)
{
    const LoopState loop;

    EXPECT_EQ(loop.prefMax, 10000);
    EXPECT_EQ(loop.PostPID, 0);
    EXPECT_EQ(loop.restorePending, 0);
    EXPECT_EQ(loop.probeSleep, 200U);
}

struct SourceRow {
    std::uint32_t acMode;
    bool mains;
    int chosen;
};

class PowerSource : public WithRow<testing::Test, SourceRow> {};

TEST_ROWS(PowerSource, ROW(.acMode = 0, .mains = false, .chosen = 22), ROW(.acMode = 1, .mains = true, .chosen = 11),
          ROW(.acMode = 255, .mains = true, .chosen = 11));

TEST_ROW(PowerSource, IsBatteryOnlyWithALineStatusOfZero)
{
    acMode = row().acMode;

    EXPECT_EQ(onMains(), row().mains);
    EXPECT_EQ(static_cast<std::uint32_t>(acFactor()), row().acMode);
    EXPECT_EQ(bySource({ 11, 22 }), row().chosen);
}

}  // namespace
}  // namespace kelvane::tests
