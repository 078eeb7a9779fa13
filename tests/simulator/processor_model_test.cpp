#include "simulator/model/processor_model.h"

#include "tests/support/rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using namespace simulator;
using testing::IsEmpty;
using testing::SizeIs;

constexpr double tolerance = 1e-6;

// Four cores in round figures: a busy core draws 2000 mW at full clock and 2.2 W x 0.36 = 816 mW at 0.6 of it.
constexpr ProcessorSpec round = { "round", 4, 0.2, 1.0, 1000, 1000, 1000, 100000, 200000, 8000 };
constexpr std::uint32_t endlessMs = 1000000;

class SimulatedProcessor : public testing::Test {
protected:
    void tickUntil(std::uint64_t endMs)
    {
        while (processor.nowMs() < endMs) processor.tick();
    }

    // In the last tick, it alone.
    void expectFinished(std::size_t job, double atMs) const
    {
        ASSERT_THAT(processor.finished(), SizeIs(1));
        EXPECT_EQ(processor.finished()[0].job, job);
        EXPECT_NEAR(processor.finished()[0].atMs, atMs, tolerance);
    }

    void expectDrawn(double powerMw, double clock, std::uint32_t clipReasons) const
    {
        EXPECT_NEAR(processor.powerMw(), powerMw, tolerance);
        EXPECT_NEAR(processor.clock(), clock, tolerance);
        EXPECT_EQ(processor.clipReasons(), clipReasons);
    }

    ProcessorModel processor{ round };
};

TEST_F(SimulatedProcessor, DoesACoreMillisecondInAMillisecondOnOneCoreAtFullClock)
{
    processor.addJob(0, 100, 1);

    tickUntil(90);
    EXPECT_NEAR(processor.servedCoreMs(), 90, tolerance);
    EXPECT_NEAR(processor.unfinishedCoreMs(), 10, tolerance);
    EXPECT_THAT(processor.finished(), IsEmpty());
    processor.tick();

    expectFinished(0, 100);
    EXPECT_EQ(processor.unfinishedJobs(), 0u);
}

TEST_F(SimulatedProcessor, UsesAsManyCoresAsAJobHasThreads)
{
    processor.addJob(0, 300, 3);

    tickUntil(50);

    EXPECT_NEAR(processor.servedCoreMs(), 150, tolerance);
    EXPECT_NEAR(processor.busyCores(), 3, tolerance);
}

TEST_F(SimulatedProcessor, GivesThreadsBeyondItsCoresEqualShares)
{
    processor.addJob(0, 10, 2);  // one of the four cores in effect: 10 core-ms a tick
    processor.addJob(0, 60, 6);  // three: 30 a tick

    processor.tick();
    expectFinished(0, 10);
    EXPECT_NEAR(processor.unfinishedCoreMs(), 30, tolerance);
    processor.tick();  // alone now, on four cores: 30 of the 40 that fit

    expectFinished(1, 17.5);
}

struct ArrivalRow {
    std::uint64_t arrivalMs;
    double doneMs;
};

class SimulatedProcessorJob : public WithRow<SimulatedProcessor, ArrivalRow> {};

TEST_ROWS(SimulatedProcessorJob, ROW(.arrivalMs = 10, .doneMs = 20), ROW(.arrivalMs = 14, .doneMs = 30));

TEST_ROW(SimulatedProcessorJob, IsTakenUpWithTheFirstTickAtItsArrivalOrLater)
{
    processor.tick();
    processor.addJob(row().arrivalMs, 10, 1);

    while (processor.unfinishedJobs() > 0) processor.tick();

    expectFinished(0, row().doneMs);
}

TEST_F(SimulatedProcessor, LeavesTheCoreIdleBehindAJobThatEndsInsideATick)
{
    processor.addJob(0, 25, 1);

    tickUntil(30);

    expectFinished(0, 25);
    EXPECT_NEAR(processor.busyCores(), 0.5, tolerance);
    EXPECT_NEAR(processor.powerMw(), 2000, tolerance);
}

TEST_F(SimulatedProcessor, KeepsABacklogAndDoesEverythingInTheEnd)
{
    processor.setCeiling(0);  // a fifth of full clock: 8 core-ms a tick on four cores
    for (std::uint64_t arrivalMs = 0; arrivalMs < 100; arrivalMs += 10) {
        processor.addJob(arrivalMs, 12, 4);
        processor.tick();
    }
    EXPECT_LE(processor.servedCoreMs(), 80 + tolerance);
    EXPECT_GE(processor.servedCoreMs(), 70);
    EXPECT_NEAR(processor.servedCoreMs() + processor.unfinishedCoreMs(), 120, tolerance);

    tickUntil(300);

    EXPECT_NEAR(processor.servedCoreMs(), 120, tolerance);
    EXPECT_EQ(processor.unfinishedJobs(), 0u);
}

struct ClockRow {
    std::uint32_t ceiling;
    std::uint32_t threads = 0;
    double clock;
    double powerMw = 1000;
};

class SimulatedProcessorClock : public WithRow<SimulatedProcessor, ClockRow> {};

TEST_ROWS(SimulatedProcessorClock, ROW(.ceiling = 0, .clock = 0.2), ROW(.ceiling = 1250, .clock = 0.3),
          ROW(.ceiling = 5000, .clock = 0.6), ROW(.ceiling = 10000, .clock = 1), ROW(.ceiling = 20000, .clock = 1),
          // 1000 + 2 x (600 + 216)
          ROW(.ceiling = 5000, .threads = 2, .clock = 0.6, .powerMw = 2632));

TEST_ROW(SimulatedProcessorClock, FollowsTheCeilingAndPowerItsCube)
{
    if (row().threads > 0) processor.addJob(0, endlessMs, row().threads);
    processor.setCeiling(row().ceiling);

    processor.tick();

    expectDrawn(row().powerMw, row().clock, 0);
}

TEST(ThinLaptop, GainsMostFromTheCeilingsFirstSteps)
{
    ProcessorModel processor(*findProcessorPreset("thin-laptop"));
    processor.addJob(0, 1000, 1);
    processor.setCeiling(2500);

    processor.tick();

    EXPECT_NEAR(processor.clock(), 0.6, tolerance);     // 0.2 + 0.8 x 0.5
    EXPECT_NEAR(processor.powerMw(), 3296, tolerance);  // 800 + 1200 + 6000 x 0.216
    EXPECT_NEAR(processor.servedCoreMs(), 6, tolerance);
}

TEST(ThinLaptop, KnowsTheCeilingForAClock)
{
    const ProcessorModel processor(*findProcessorPreset("thin-laptop"));
    EXPECT_EQ(processor.ceilingFor(0.1), 0u);
    EXPECT_EQ(processor.ceilingFor(0.6), 2500u);
    EXPECT_EQ(processor.ceilingFor(1.0), 10000u);
    EXPECT_EQ(processor.ceilingFor(7.0), 10000u);
}

TEST_F(SimulatedProcessor, DrawsItsIdlePowerWithNothingToDo)
{
    tickUntil(1000);

    EXPECT_NEAR(processor.powerMw(), 1000, tolerance);
    EXPECT_NEAR(processor.meanPowerMw(), 1000, tolerance);
    EXPECT_NEAR(processor.averagePowerMw(), 1000, tolerance);
    EXPECT_EQ(processor.clipReasons(), 0u);
}

TEST_F(SimulatedProcessor, TellsTheMeanPowerOfTheLastHundredMilliseconds)
{
    processor.addJob(0, 60, 1);

    tickUntil(100);  // 6 ticks of 3000, 4 of 1000
    EXPECT_NEAR(processor.meanPowerMw(), 2200, tolerance);
    tickUntil(130);  // 3 of 3000, 7 of 1000

    EXPECT_NEAR(processor.meanPowerMw(), 1600, tolerance);
}

TEST_F(SimulatedProcessor, TellsTheBusiestCoresShareOfTheLastHundredMilliseconds)
{
    processor.addJob(0, 20, 1);
    processor.addJob(0, 20, 1);

    tickUntil(100);

    EXPECT_NEAR(processor.meanLoad(), 0.2, tolerance);
}

TEST_F(SimulatedProcessor, AveragesToWithinOneEthOfAStepInEightSeconds)
{
    processor.addJob(0, endlessMs, 1);

    tickUntil(8000);

    EXPECT_NEAR(processor.averagePowerMw(), 2264.241, 0.001);  // 1000 + 2000 x (1 - 1/e)
}

TEST_F(SimulatedProcessor, CutsItsClockToPl1OnceTheAverageIsAboveIt)
{
    processor.setPl1(2000);
    processor.addJob(0, endlessMs, 1);

    tickUntil(5550);  // the average of 1000 and 3000 mW passes the middle after 8000 x ln 2 = 5545 ms
    EXPECT_EQ(processor.clipReasons(), 0u);
    EXPECT_NEAR(processor.powerMw(), 3000, tolerance);
    processor.tick();

    expectDrawn(2000, 0.682328, 0x400);  // f + f^3 = 1
}

TEST_F(SimulatedProcessor, IsClippedNoLongerThanItWorks)
{
    processor.setPl1(2000);
    processor.addJob(0, 6000, 1);
    tickUntil(6000);
    ASSERT_EQ(processor.clipReasons(), 0x400u);

    tickUntil(7000);

    EXPECT_GT(processor.averagePowerMw(), 1700);
    EXPECT_EQ(processor.clipReasons(), 0u);
}

TEST_F(SimulatedProcessor, IsNotClippedWhereTheCeilingIsLowerThanTheLimit)
{
    processor.setPl1(2000);
    processor.addJob(0, endlessMs, 1);
    tickUntil(6000);

    processor.setCeiling(5000);
    processor.tick();

    expectDrawn(1816, 0.6, 0);
}

TEST_F(SimulatedProcessor, NeverPassesPl2)
{
    ProcessorSpec spec = round;
    spec.pl2Mw = 5000;
    ProcessorModel limited(spec);
    limited.addJob(0, endlessMs, 4);

    limited.tick();

    EXPECT_NEAR(limited.powerMw(), 5000, tolerance);  // 1000 a core: f + f^3 = 1 again
    EXPECT_NEAR(limited.clock(), 0.682328, tolerance);
    EXPECT_EQ(limited.clipReasons(), 0x800u);
}

TEST_F(SimulatedProcessor, IsNotCutBelowItsLowestClock)
{
    processor.setPl1(500);
    processor.addJob(0, endlessMs, 1);

    processor.tick();

    expectDrawn(1208, 0.2, 0x400);  // 1000 + 200 + 8
}

TEST_F(SimulatedProcessor, NeedsTheTimeOfTheLongestJobOrOfAllTogetherToEmptyItsQueue)
{
    processor.addJob(0, 100, 1);
    EXPECT_NEAR(processor.emptyingMs(), 100, tolerance);

    processor.addJob(0, 500, 8);

    EXPECT_NEAR(processor.emptyingMs(), 150, tolerance);
}

TEST(ProcessorPresets, AreFoundByTheirNames)
{
    for (const char* name : { "thin-laptop", "workstation-laptop", "desktop" }) {
        SCOPED_TRACE(name);
        ASSERT_NE(nullptr, findProcessorPreset(name));
        EXPECT_EQ(name, findProcessorPreset(name)->name);
    }
    EXPECT_EQ(nullptr, findProcessorPreset("tablet"));
    EXPECT_EQ(nullptr, findProcessorPreset(""));
}

}  // namespace
}  // namespace kelvane::tests
