// What the controller starts with, and the constants it works by.
#include "controller/loop_state.h"
#include "controller/state.h"
#include "state/state.h"
#include "tests/support/rows.h"

#include <cstdint>
#include <type_traits>
#include <vector>

namespace kelvane::tests {
namespace {

static_assert(std::is_same_v<decltype(pkgPower), int> && std::is_same_v<decltype(acMode), std::uint32_t>);
static_assert(std::is_same_v<decltype(pwrSum), std::int64_t> && std::is_same_v<decltype(prefSum), std::int64_t>);
static_assert(std::is_same_v<decltype(g_sessionHandle), std::atomic<std::uint64_t>>);
static_assert(std::is_same_v<decltype(g_sessionOpen), std::atomic<std::uint8_t>>);
static_assert(std::is_same_v<decltype(g_stopDone), std::atomic<std::uint8_t>>);
static_assert(std::is_same_v<decltype(g_stopEnabled), std::atomic<std::uint8_t>>);

struct NamedValue {
    const char* name;
    std::int64_t actual;
    std::int64_t expected;
};

void expectEach(const std::vector<NamedValue>& values)
{
    for (const NamedValue& value : values) EXPECT_EQ(value.actual, value.expected) << value.name;
}

TEST(ControllerState, EveryVariableHasItsStartValue)
{
    expectEach({
        { "g_sessionHandle", static_cast<std::int64_t>(g_sessionHandle.load()), -1 },
        { "g_sessionOpen", g_sessionOpen, 1 },
        { "g_stopDone", g_stopDone, 1 },
        { "g_stopEnabled", g_stopEnabled, 1 },
        { "sessionRetry", sessionRetry, 0 },
        { "g_orqStatus", g_orqStatus, 0 },
        { "pkgPower", pkgPower, -1 },
        { "pkgPowerPrev", pkgPowerPrev, 0 },
        { "cpuPL1", cpuPL1, 17000 },
        { "pl1ResetLevel", pl1ResetLevel, 17000 },
        { "pwrCeiling", pwrCeiling, 2000 },
        { "acMode", acMode, 0 },
        { "PerfRange", PerfRange, 0 },
        { "appliedPrefMax", appliedPrefMax, 0 },
        { "PrevPerf", PrevPerf, 0 },
        { "lastPrefMax", lastPrefMax, 0 },
        { "pwrDeltaThreshold", pwrDeltaThreshold, 0 },
        { "leastRangeStep", leastRangeStep, 300 },
        { "leastRangeLimit", leastRangeLimit, 3 },
        { "leastRangeCount", leastRangeCount, 0 },
        { "exitCount", exitCount, -1 },
        { "NewPID", NewPID, 0 },
        { "PID_Change", PID_Change, 0 },
        { "noOfPids", noOfPids, 0 },
        { "Kv_opt", Kv_opt, 3 },
        { "kv_off_f", kv_off_f, 1 },
        { "activeIdle", activeIdle, 0 },
        { "activeIdleCount", activeIdleCount, 0 },
        { "pidOnTestState", pidOnTestState, 0 },
        { "perfRestored", perfRestored, 0 },
        { "clipPending", clipPending, 0 },
        { "minPrefReset", minPrefReset, -1 },
        { "prevClipCount", prevClipCount, 0 },
        { "NewPIDAvgPwr", NewPIDAvgPwr, 10000 },
        { "avgSum", avgSum, 0 },
        { "avgN", avgN, 0 },
        { "avgCnt", avgCnt, 0 },
        { "avgWindowMin", avgWindowMin, 5 },
        { "avgSampleLimit", avgSampleLimit, 5 },
        { "lastLoopAvg", lastLoopAvg, 0 },
        { "clipSum", clipSum, 0 },
        { "avgCount", avgCount, 0 },
        { "pwrSum", pwrSum, 0 },
        { "prefSum", prefSum, 0 },
        { "g_workload", g_workload, 0 },
        { "g_powerSlider", g_powerSlider, 0 },
        { "g_powerSliderChanged", g_powerSliderChanged, 0 },
        { "g_workloadEventSeen", g_workloadEventSeen, 0 },
        { "g_workloadEventPending", g_workloadEventPending, 0 },
        { "g_workloadEventHold", g_workloadEventHold, 0 },
        { "prevWorkload", prevWorkload, -1 },
        { "PwrPause", PwrPause, 0 },
    });
}

TEST(ControllerState, EachRunOfTheLoopStartsItsLocalsAfresh)
{
    const LoopState loop;

    expectEach({
        { "prefMax", loop.prefMax, 10000 },
        { "PostPID", loop.PostPID, 0 },
        { "restorePending", loop.restorePending, 0 },
        { "probeSleep", loop.probeSleep, 200 },
    });
}

struct SourceRow {
    std::uint32_t acMode;
    bool mains;
    int factor;
    int chosen;
};

class PowerSource : public WithRow<testing::Test, SourceRow> {};

TEST_ROWS(PowerSource, ROW(.acMode = 0, .mains = false, .factor = 0, .chosen = 22),
          ROW(.acMode = 1, .mains = true, .factor = 1, .chosen = 11),
          ROW(.acMode = 255, .mains = true, .factor = 255, .chosen = 11));

TEST_P(PowerSource, IsBatteryWithALineStatusOfZeroAlone)
{
    constexpr BySource value = { 11, 22 };
    acMode = row().acMode;

    EXPECT_EQ(onMains(), row().mains);
    EXPECT_EQ(acFactor(), row().factor);
    EXPECT_EQ(bySource(value), row().chosen);
}

}  // namespace
}  // namespace kelvane::tests
