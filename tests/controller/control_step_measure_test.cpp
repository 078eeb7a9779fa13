// The first phases of a control step: inputs, measurement, statistics.
#include "controller/control_step.h"
#include "state/state.h"

#include "simulator/replay/imports.h"
#include "tests/support/rows.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <climits>

namespace kelvane::tests {
namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ControlStepMeasure : public testing::Test {
protected:
    ControlStepMeasure()
    {
        minPrefReset = 0;
        appliedPrefMax = 9000;
        acMode = 1;
        machine.power(3000);
        pkgPowerPrev = 3000;
    }

    // Power that jumps from nothing to 6003 mW in the third sample: 1001 mW above the last step's in the average.
    void presentRamp()
    {
        pkgPower = 1000;
        machine.power(0);
        machine.onSleep = [this, sample = 0](std::uint32_t) mutable {
            ++sample;
            machine.power(sample < 2 ? 0 : sample == 2 ? 6003 : 2001);
        };
    }

    SimulatedMachine machine;
    LoopState loop;
};

struct SourceRow {
    bool tells = true;
    std::uint8_t line;
    std::uint32_t before = 7;
    std::uint32_t after;
};

using ReadPowerSource = WithRow<ControlStepMeasure, SourceRow>;

TEST_ROWS(ReadPowerSource, ROW(.line = 0, .after = 0), ROW(.line = 1, .after = 1), ROW(.line = 255, .after = 255),
          ROW(.tells = false, .line = 1, .before = 0, .after = 0),
          ROW(.tells = false, .line = 0, .before = 1, .after = 1),
          ROW(.tells = false, .line = 1, .before = 255, .after = 255));

TEST_ROW(ReadPowerSource, TakesTheLineStatusUnlessTheSystemDoesNotTell)
{
    simulator::setPowerSource({ row().tells, row().line });
    acMode = row().before;

    readPowerSource();

    EXPECT_EQ(acMode, row().after);
}

using Measure = ControlStepMeasure;

TEST_F(Measure, ProbesWithTheStepsSleepAndKeepsTheClipCount)
{
    machine.clipReasons(0x400);
    loop.probeSleep = 123;

    measure(loop);

    EXPECT_EQ(loop.clipCount, 10);
    EXPECT_EQ(pkgPower, 3000);
    EXPECT_THAT(machine.sleeps(), AllOf(SizeIs(10), Each(123)));
}

TEST_F(Measure, ProbeHasTheLoopsPreferenceAsItsBaseAndKnowsTheWorkingLimit)
{
    loop.prefMax = 4000;
    appliedPrefMax = 4000;

    cpuPL1 = 6003;
    presentRamp();
    measure(loop);
    EXPECT_THAT(machine.writes(), IsEmpty());

    cpuPL1 = 6004;
    presentRamp();
    measure(loop);
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 4500"));
    EXPECT_EQ(loop.prefMax, 4000);
}

TEST_F(Measure, ProbeKnowsThePowerSource)
{
    machine.power(1200);
    activeIdle = 1;
    PerfRange = 1800;

    acMode = 0;
    measure(loop);
    EXPECT_EQ(appliedPrefMax, 9000);

    acMode = 255;
    measure(loop);
    EXPECT_EQ(appliedPrefMax, 1800);
}

TEST_F(Measure, TrackerKnowsTheWorkingLimitTheNewPowerAndTheRestoreThatIsPending)
{
    exitCount = 3;

    cpuPL1 = 3000;
    measure(loop);
    EXPECT_EQ(avgCnt, 0);

    cpuPL1 = 3001;
    measure(loop);
    EXPECT_EQ(avgCnt, 1);
    EXPECT_EQ(avgSum, 3000);
    EXPECT_EQ(exitCount, 3);

    loop.restorePending = 1;
    measure(loop);
    EXPECT_EQ(exitCount, 2);
}

TEST_F(Measure, FailedClipReadKeepsThePowerAndTracksItAgain)
{
    pkgPower = 2900;
    pkgPowerPrev = 2900;
    machine.answer("GET_IA_CLIP_REASONS", 1500);

    measure(loop);

    EXPECT_EQ(loop.clipCount, -1);
    EXPECT_EQ(pkgPower, 2900);
    EXPECT_EQ(avgSum, 2900);
}

struct ClippingRow {
    int before;
    std::uint32_t reasons;
    int window;  // 5 before
};

using MeasureAfterClips = WithRow<ControlStepMeasure, ClippingRow>;

TEST_ROWS(MeasureAfterClips, ROW(.before = 3, .reasons = 0, .window = 3), ROW(.before = -1, .reasons = 0, .window = 3),
          ROW(.before = 0, .reasons = 0, .window = 5), ROW(.before = 3, .reasons = 0x400, .window = 5),
          ROW(.before = 0, .reasons = 0x400, .window = 5));

TEST_ROW(MeasureAfterClips, StartsTheAverageAfreshWhenTheyHaveEnded)
{
    machine.clipReasons(row().reasons);
    prevClipCount = row().before;

    measure(loop);

    EXPECT_EQ(avgWindowMin, row().window);
    EXPECT_EQ(prevClipCount, row().before);
}

struct PowerRow {
    std::uint32_t acMode = 1;
    int workload = 0;
    int cpuPL1 = 17000;
    int power = 0;
    int pwrCeiling = 15000;
    int PerfRange = 1800;  // 1800 before
};

using CountStep = WithRow<ControlStepMeasure, PowerRow>;

TEST_ROWS(CountStep,
          // the ceiling is below PL1, by more on mains
          ROW(.acMode = 0, .pwrCeiling = 16000), ROW(.acMode = 1, .pwrCeiling = 15000),
          ROW(.acMode = 255, .pwrCeiling = 15000), ROW(.acMode = 0, .cpuPL1 = 9000, .pwrCeiling = 8000),
          ROW(.acMode = 1, .cpuPL1 = 9000, .pwrCeiling = 7000),
          // more than half of PL1 on mains asks for more, unless the workload is heavy
          ROW(.power = 8499, .PerfRange = 1800), ROW(.power = 8500, .PerfRange = 1800),
          ROW(.power = 8501, .PerfRange = 2800),
          ROW(.cpuPL1 = 17001, .power = 8500, .pwrCeiling = 15001, .PerfRange = 1800),
          ROW(.cpuPL1 = 17001, .power = 8501, .pwrCeiling = 15001, .PerfRange = 2800),
          ROW(.cpuPL1 = 9000, .power = 4501, .pwrCeiling = 7000, .PerfRange = 2800),
          ROW(.acMode = 0, .power = 16000, .pwrCeiling = 16000, .PerfRange = 1800),
          ROW(.acMode = 255, .power = 8501, .PerfRange = 2800), ROW(.workload = 4, .power = 16000, .PerfRange = 1800),
          ROW(.workload = 3, .power = 16000, .PerfRange = 2800), ROW(.workload = 5, .power = 16000, .PerfRange = 2800),
          ROW(.workload = -1, .power = 16000, .PerfRange = 2800));

TEST_ROW(CountStep, PlacesTheCeilingAndAsksForMoreAtHighPower)
{
    acMode = row().acMode;
    g_workload = row().workload;
    cpuPL1 = row().cpuPL1;
    pkgPower = row().power;
    PerfRange = 1800;

    countStep(loop);

    EXPECT_EQ(pwrCeiling, row().pwrCeiling);
    EXPECT_EQ(PerfRange, row().PerfRange);
}

using Statistics = ControlStepMeasure;

TEST_F(Statistics, TakeTheStep)
{
    clipSum = 10;
    avgCount = 20;
    pwrSum = 30'000'000'000;
    prefSum = 40'000'000'000;
    loop.clipCount = 7;
    loop.prefMax = 5000;
    pkgPower = 3000;

    countStep(loop);

    EXPECT_EQ(clipSum, 17);
    EXPECT_EQ(avgCount, 21);
    EXPECT_EQ(pwrSum, 30'000'003'000);
    EXPECT_EQ(prefSum, 40'000'005'000);
    EXPECT_EQ(lastPrefMax, 5000);
    EXPECT_EQ(loop.prefMax, 5000);
    EXPECT_EQ(loop.probeSleep, 300U);
}

TEST_F(Statistics, TakeAFailedClipReadAsMinusOne)
{
    loop.clipCount = -1;

    countStep(loop);

    EXPECT_EQ(clipSum, -1);
}

TEST_F(Statistics, StopAtTheirEnds)
{
    clipSum = INT_MAX - 4;
    avgCount = INT_MAX;
    loop.clipCount = 10;
    countStep(loop);
    EXPECT_EQ(clipSum, INT_MAX);
    EXPECT_EQ(avgCount, INT_MAX);

    clipSum = INT_MIN;
    loop.clipCount = -1;
    countStep(loop);
    EXPECT_EQ(clipSum, INT_MIN);
}

}  // namespace
}  // namespace kelvane::tests
