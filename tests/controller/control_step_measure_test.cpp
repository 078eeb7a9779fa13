// The first phases of a control step: inputs, measurement, statistics.
#include "controller/control_step.h"
#include "state/state.h"

#include "simulator/replay/imports.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

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

using ReadPowerSource = ControlStepMeasure;

TEST_F(ReadPowerSource, TakesTheLineStatus)
{
    for (const std::uint8_t line : { std::uint8_t{ 0 }, std::uint8_t{ 1 }, std::uint8_t{ 255 } }) {
        acMode = 7;
        simulator::setPowerSource({ true, line });

        readPowerSource();

        EXPECT_EQ(acMode, line);
    }
}

TEST_F(ReadPowerSource, KeepsTheLastOneWhenTheSystemDoesNotTell)
{
    simulator::setPowerSource({ false, 1 });
    for (const std::uint32_t before : { 0U, 1U, 255U }) {
        acMode = before;

        readPowerSource();

        EXPECT_EQ(acMode, before);
    }
}

using Measure = ControlStepMeasure;

TEST_F(Measure, ProbesWithTheStepsSleepAndKeepsTheClipCount)
{
    machine.power(3000);
    machine.clipReasons(0x400);
    loop.probeSleep = 123;

    measure(loop);

    EXPECT_EQ(loop.clipCount, 10);
    EXPECT_EQ(pkgPower, 3000);
    EXPECT_THAT(machine.sleeps(), SizeIs(10));
    EXPECT_THAT(machine.sleeps(), Each(123));
}

TEST_F(Measure, ProbesWithTheLoopsPreferenceAsItsBase)
{
    loop.prefMax = 4000;
    appliedPrefMax = 4000;
    presentRamp();

    measure(loop);

    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 4500"));
    EXPECT_EQ(loop.prefMax, 4000);
}

TEST_F(Measure, ProbeKnowsTheWorkingLimit)
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

TEST_F(Measure, TrackerKnowsTheWorkingLimit)
{
    machine.power(3000);
    pkgPowerPrev = 3000;

    cpuPL1 = 3000;
    measure(loop);
    EXPECT_EQ(avgCnt, 0);

    cpuPL1 = 3001;
    measure(loop);
    EXPECT_EQ(avgCnt, 1);
}

TEST_F(Measure, TrackerTakesTheNewPowerAndTheRestoreThatIsPending)
{
    machine.power(3000);
    pkgPowerPrev = 3000;
    exitCount = 3;

    measure(loop);
    EXPECT_EQ(avgSum, 3000);
    EXPECT_EQ(exitCount, 3);

    loop.restorePending = 1;
    measure(loop);
    EXPECT_EQ(exitCount, 2);
}

TEST_F(Measure, AverageStartsAfreshWhenClippingHasEnded)
{
    struct Row {
        int prevClipCount;
        std::uint32_t reasons;
        bool reset;
    };

    for (const Row& row : { Row{ 3, 0, true }, Row{ -1, 0, true }, Row{ 0, 0, false }, Row{ 3, 0x400, false },
                            Row{ 0, 0x400, false } }) {
        SCOPED_TRACE(std::to_string(row.prevClipCount) + " " + std::to_string(row.reasons));
        avgWindowMin = 5;
        machine.power(3000);
        machine.clipReasons(row.reasons);
        pkgPowerPrev = 3000;
        prevClipCount = row.prevClipCount;

        measure(loop);

        EXPECT_EQ(avgWindowMin == 3, row.reset);
        EXPECT_EQ(prevClipCount, row.prevClipCount);
    }
}

TEST_F(Measure, FailedClipReadKeepsThePowerAndTracksItAgain)
{
    pkgPower = 2900;
    pkgPowerPrev = 2900;
    machine.power(3000);
    machine.answer("GET_IA_CLIP_REASONS", 1500);

    measure(loop);

    EXPECT_EQ(loop.clipCount, -1);
    EXPECT_EQ(pkgPower, 2900);
    EXPECT_EQ(avgSum, 2900);
}

using Account = ControlStepMeasure;

TEST_F(Account, CeilingIsBelowPL1ByMoreOnMains)
{
    struct Row {
        std::uint32_t acMode;
        int cpuPL1;
        int pwrCeiling;
    };

    for (const Row& row : { Row{ 0, 17000, 16000 }, Row{ 1, 17000, 15000 }, Row{ 255, 17000, 15000 },
                            Row{ 0, 9000, 8000 }, Row{ 1, 9000, 7000 } }) {
        SCOPED_TRACE(row.acMode);
        acMode = row.acMode;
        cpuPL1 = row.cpuPL1;

        countStep(loop);

        EXPECT_EQ(pwrCeiling, row.pwrCeiling);
    }
}

TEST_F(Account, HighPowerOnMainsAsksForMoreUnlessTheWorkloadIsHeavy)
{
    struct Row {
        std::uint32_t acMode;
        int workload;
        int cpuPL1;
        int pkgPower;
        int PerfRange;
    };

    const Row rows[] = {
        { 1, 0, 17000, 8499, 1800 },   { 1, 0, 17000, 8500, 1800 },   { 1, 0, 17000, 8501, 2800 },
        { 1, 0, 17001, 8500, 1800 },   { 1, 0, 17001, 8501, 2800 },   { 0, 0, 17000, 16000, 1800 },
        { 255, 0, 17000, 8501, 2800 }, { 1, 4, 17000, 16000, 1800 },  { 1, 3, 17000, 16000, 2800 },
        { 1, 5, 17000, 16000, 2800 },  { 1, -1, 17000, 16000, 2800 }, { 1, 0, 9000, 4501, 2800 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.acMode) + " " + std::to_string(row.pkgPower));
        acMode = row.acMode;
        g_workload = row.workload;
        cpuPL1 = row.cpuPL1;
        pkgPower = row.pkgPower;
        PerfRange = 1800;

        countStep(loop);

        EXPECT_EQ(PerfRange, row.PerfRange);
    }
}

TEST_F(Account, AddsTheStepToTheStatistics)
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

TEST_F(Account, FailedClipReadCountsAsMinusOne)
{
    loop.clipCount = -1;

    countStep(loop);

    EXPECT_EQ(clipSum, -1);
}

TEST_F(Account, CountersStopAtTheirEnds)
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
