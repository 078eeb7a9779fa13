#include "simulator/model/processor_model.h"

#include <gmock/gmock.h>

#include <cmath>

namespace kelvane::tests {
namespace {

using namespace simulator;
using testing::IsEmpty;
using testing::SizeIs;

constexpr double tolerance = 1e-6;

// Four cores in round figures: a busy core draws 2000 mW at full clock and 2.2 W x 0.36 = 816 mW at 0.6 of it.
constexpr ProcessorSpec round = { "round", 4, 0.2, 1.0, 1000, 1000, 1000, 100000, 200000, 8000 };

void tickUntil(ProcessorModel& processor, std::uint64_t endMs)
{
    while (processor.nowMs() < endMs) processor.tick();
}

TEST(ProcessorWork, OneCoreAtFullClockDoesACoreMillisecondInAMillisecond)
{
    ProcessorModel processor(round);
    processor.addJob(0, 100, 1);

    tickUntil(processor, 90);
    EXPECT_NEAR(90, processor.servedCoreMs(), tolerance);
    EXPECT_NEAR(10, processor.unfinishedCoreMs(), tolerance);
    EXPECT_THAT(processor.finished(), IsEmpty());
    processor.tick();

    ASSERT_THAT(processor.finished(), SizeIs(1));
    EXPECT_EQ(0u, processor.finished()[0].job);
    EXPECT_NEAR(100, processor.finished()[0].atMs, tolerance);
    EXPECT_EQ(0u, processor.unfinishedJobs());
}

TEST(ProcessorWork, JobOfSeveralThreadsUsesAsManyCores)
{
    ProcessorModel processor(round);
    processor.addJob(0, 300, 3);

    tickUntil(processor, 50);

    EXPECT_NEAR(150, processor.servedCoreMs(), tolerance);
    EXPECT_NEAR(3, processor.busyCores(), tolerance);
}

TEST(ProcessorWork, ThreadsBeyondTheCoresGetEqualShares)
{
    ProcessorModel processor(round);
    processor.addJob(0, 10, 2);  // one of the four cores in effect: 10 core-ms a tick
    processor.addJob(0, 60, 6);  // three: 30 a tick

    processor.tick();
    ASSERT_THAT(processor.finished(), SizeIs(1));
    EXPECT_EQ(0u, processor.finished()[0].job);
    EXPECT_NEAR(30, processor.unfinishedCoreMs(), tolerance);
    processor.tick();  // alone now, on four cores: 30 of the 40 that fit

    ASSERT_THAT(processor.finished(), SizeIs(1));
    EXPECT_EQ(1u, processor.finished()[0].job);
    EXPECT_NEAR(17.5, processor.finished()[0].atMs, tolerance);
}

TEST(ProcessorWork, JobIsTakenUpWithTheFirstTickAfterItsArrival)
{
    ProcessorModel processor(round);
    processor.tick();
    processor.addJob(14, 10, 1);

    processor.tick();
    EXPECT_NEAR(0, processor.servedCoreMs(), tolerance);
    processor.tick();

    ASSERT_THAT(processor.finished(), SizeIs(1));
    EXPECT_NEAR(30, processor.finished()[0].atMs, tolerance);
}

TEST(ProcessorWork, JobThatArrivesOnATickIsTakenUpAtOnce)
{
    ProcessorModel processor(round);
    processor.tick();
    processor.addJob(10, 10, 1);

    processor.tick();

    ASSERT_THAT(processor.finished(), SizeIs(1));
    EXPECT_NEAR(20, processor.finished()[0].atMs, tolerance);
}

TEST(ProcessorWork, JobThatEndsInsideATickSaysWhenAndLeavesTheCoreIdle)
{
    ProcessorModel processor(round);
    processor.addJob(0, 25, 1);

    tickUntil(processor, 30);

    ASSERT_THAT(processor.finished(), SizeIs(1));
    EXPECT_NEAR(25, processor.finished()[0].atMs, tolerance);
    EXPECT_NEAR(0.5, processor.busyCores(), tolerance);
    EXPECT_NEAR(2000, processor.powerMw(), tolerance);
}

TEST(ProcessorWork, BacklogIsKeptAndEverythingIsDoneInTheEnd)
{
    ProcessorModel processor(round);
    processor.setCeiling(0);  // a fifth of full clock: 8 core-ms a tick on four cores
    for (std::uint64_t arrivalMs = 0; arrivalMs < 100; arrivalMs += 10) {
        processor.addJob(arrivalMs, 12, 4);
        processor.tick();
    }
    EXPECT_LE(processor.servedCoreMs(), 80 + tolerance);
    EXPECT_GE(processor.servedCoreMs(), 70);
    EXPECT_NEAR(120, processor.servedCoreMs() + processor.unfinishedCoreMs(), tolerance);

    tickUntil(processor, 300);

    EXPECT_NEAR(120, processor.servedCoreMs(), tolerance);
    EXPECT_EQ(0u, processor.unfinishedJobs());
}

TEST(ProcessorClock, FollowsTheCeilingFromLowestToFull)
{
    const struct {
        std::uint32_t ceiling;
        double clock;
    } rows[] = { { 0, 0.2 }, { 1250, 0.3 }, { 5000, 0.6 }, { 10000, 1 }, { 20000, 1 } };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.ceiling);
        ProcessorModel processor(round);
        processor.setCeiling(row.ceiling);

        processor.tick();

        EXPECT_NEAR(row.clock, processor.clock(), tolerance);
    }
}

TEST(ProcessorClock, OfTheThinLaptopRisesMostWithTheFirstSteps)
{
    ProcessorModel processor(*findProcessorPreset("thin-laptop"));
    processor.addJob(0, 1000, 1);
    processor.setCeiling(2500);

    processor.tick();

    EXPECT_NEAR(0.6, processor.clock(), tolerance);     // 0.2 + 0.8 x 0.5
    EXPECT_NEAR(3296, processor.powerMw(), tolerance);  // 800 + 1200 + 6000 x 0.216
    EXPECT_NEAR(6, processor.servedCoreMs(), tolerance);
}

TEST(ProcessorClock, CeilingForAClockIsTheInverse)
{
    const ProcessorModel thin(*findProcessorPreset("thin-laptop"));
    EXPECT_EQ(0u, thin.ceilingFor(0.1));
    EXPECT_EQ(2500u, thin.ceilingFor(0.6));
    EXPECT_EQ(10000u, thin.ceilingFor(1.0));
    EXPECT_EQ(10000u, thin.ceilingFor(7.0));
}

TEST(ProcessorPower, IsIdlePowerWithNothingToDo)
{
    ProcessorModel processor(round);

    tickUntil(processor, 1000);

    EXPECT_NEAR(1000, processor.powerMw(), tolerance);
    EXPECT_NEAR(1000, processor.meanPowerMw(), tolerance);
    EXPECT_NEAR(1000, processor.averagePowerMw(), tolerance);
    EXPECT_EQ(0u, processor.clipReasons());
}

TEST(ProcessorPower, GrowsWithTheBusyCoresLinearlyAndWithTheCubeOfTheClock)
{
    ProcessorModel processor(round);
    processor.addJob(0, 1000, 2);
    processor.setCeiling(5000);

    processor.tick();

    EXPECT_NEAR(2632, processor.powerMw(), tolerance);  // 1000 + 2 x (600 + 216)
}

TEST(ProcessorPower, ReadingIsTheMeanOfTheLastHundredMilliseconds)
{
    ProcessorModel processor(round);
    processor.addJob(0, 60, 1);

    tickUntil(processor, 100);  // 6 ticks of 3000, 4 of 1000
    EXPECT_NEAR(2200, processor.meanPowerMw(), tolerance);
    tickUntil(processor, 130);  // 3 of 3000, 7 of 1000

    EXPECT_NEAR(1600, processor.meanPowerMw(), tolerance);
}

TEST(ProcessorPower, AverageComesWithinOneEthOfAStepInEightSeconds)
{
    ProcessorModel processor(round);
    processor.addJob(0, 1000000, 1);

    tickUntil(processor, 8000);

    EXPECT_NEAR(2264.241, processor.averagePowerMw(), 0.001);  // 1000 + 2000 x (1 - 1/e)
}

TEST(ProcessorLimits, Pl1CutsTheClockOnceTheAverageIsAboveIt)
{
    ProcessorModel processor(round);
    processor.setPl1(2000);
    processor.addJob(0, 1000000, 1);

    tickUntil(processor, 5550);  // the average of 1000 and 3000 W passes the middle after 8000 x ln 2 = 5545 ms
    EXPECT_EQ(0u, processor.clipReasons());
    EXPECT_NEAR(3000, processor.powerMw(), tolerance);
    processor.tick();

    EXPECT_EQ(0x400u, processor.clipReasons());
    EXPECT_NEAR(2000, processor.powerMw(), tolerance);
    EXPECT_NEAR(0.682328, processor.clock(), tolerance);  // f + f^3 = 1
}

TEST(ProcessorLimits, ClipEndsWithTheWorkThatCausedIt)
{
    ProcessorModel processor(round);
    processor.setPl1(2000);
    processor.addJob(0, 6000, 1);
    tickUntil(processor, 6000);
    ASSERT_EQ(0x400u, processor.clipReasons());

    tickUntil(processor, 7000);

    EXPECT_GT(processor.averagePowerMw(), 1700);
    EXPECT_EQ(0u, processor.clipReasons());
}

TEST(ProcessorLimits, LowCeilingBelowTheLimitIsNoClip)
{
    ProcessorModel processor(round);
    processor.setPl1(2000);
    processor.addJob(0, 1000000, 1);
    tickUntil(processor, 6000);

    processor.setCeiling(5000);  // 0.6 of full clock, 1816 mW
    processor.tick();

    EXPECT_EQ(0u, processor.clipReasons());
    EXPECT_NEAR(1816, processor.powerMw(), tolerance);
}

TEST(ProcessorLimits, Pl2IsNeverPassed)
{
    ProcessorSpec spec = round;
    spec.pl2Mw = 5000;
    ProcessorModel processor(spec);
    processor.addJob(0, 1000000, 4);

    processor.tick();

    EXPECT_NEAR(5000, processor.powerMw(), tolerance);  // 1000 a core, as above
    EXPECT_NEAR(0.682328, processor.clock(), tolerance);
    EXPECT_EQ(0x800u, processor.clipReasons());
}

TEST(ProcessorLimits, StopAtTheLowestClock)
{
    ProcessorModel processor(round);
    processor.setPl1(500);
    processor.addJob(0, 1000000, 1);

    processor.tick();

    EXPECT_NEAR(0.2, processor.clock(), tolerance);
    EXPECT_NEAR(1208, processor.powerMw(), tolerance);  // 1000 + 200 + 8
    EXPECT_EQ(0x400u, processor.clipReasons());
}

TEST(ProcessorLoad, IsTheBusiestCoresShareOfTheLastHundredMilliseconds)
{
    ProcessorModel processor(round);
    processor.addJob(0, 20, 1);
    processor.addJob(0, 20, 1);

    tickUntil(processor, 100);

    EXPECT_NEAR(0.2, processor.meanLoad(), tolerance);
}

TEST(ProcessorQueue, EmptyingTimeIsThatOfTheLongestJobOrOfAllTogether)
{
    ProcessorModel processor(round);
    processor.addJob(0, 100, 1);
    EXPECT_NEAR(100, processor.emptyingMs(), tolerance);

    processor.addJob(0, 500, 8);

    EXPECT_NEAR(150, processor.emptyingMs(), tolerance);
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
