// What the probe reads, when, and what it makes of the power.
#include "controller/power_ramp_probe.h"
#include "controller/state.h"
#include "state/state.h"

#include "tests/controller/probe_samples.h"

#include <gmock/gmock.h>

#include <string>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ProbeSampling : public testing::Test {
protected:
    ProbeSampling()
    {
        minPrefReset = 0;
        appliedPrefMax = 5000;
    }

    SimulatedMachine machine;
};

TEST_F(ProbeSampling, TakesTenSamplesEachWithClipReasonsBeforePowerAndASleepAfter)
{
    const int clipped = probe(machine, { { 900 } });

    const std::vector<std::string> happened = machine.happened();
    ASSERT_EQ(happened.size(), 30U);
    for (std::size_t row = 0; row < happened.size(); row += 3) {
        EXPECT_EQ(happened[row], "GET_IA_CLIP_REASONS 0 0");
        EXPECT_EQ(happened[row + 1], "GET_RAPL_POWER 900 0");
        EXPECT_EQ(happened[row + 2], "sleep 300");
    }
    EXPECT_EQ(clipped, 0);
    EXPECT_EQ(pkgPower, 900);
}

TEST_F(ProbeSampling, TakesTwoSamplesInActiveIdle)
{
    activeIdle = 1;

    probe(machine, { { 900 } });

    EXPECT_THAT(machine.happened(), ElementsAre("GET_IA_CLIP_REASONS 0 0", "GET_RAPL_POWER 900 0", "sleep 300",
                                                "GET_IA_CLIP_REASONS 0 0", "GET_RAPL_POWER 900 0", "sleep 300"));
}

TEST_F(ProbeSampling, SleepsAsLongAsItIsTold)
{
    activeIdle = 1;

    probe(machine, { { 900 } }, { .sampleSleep = 200 });

    EXPECT_THAT(machine.sleeps(), ElementsAre(200, 200));
}

TEST_F(ProbeSampling, LeavesTheTruncatedAverageOfAllSamples)
{
    // 45019 in all
    probe(machine, { { 1 }, { 2 }, { 3 }, { 4 }, { 5 }, { 6 }, { 7 }, { 8 }, { 9 }, { 44974 } });

    EXPECT_EQ(pkgPower, 4501);
    EXPECT_EQ(lastLoopAvg, 4501);
}

TEST_F(ProbeSampling, AverageAboveTheCapIsStoredAsTheCapButRemembered)
{
    struct Row {
        std::uint32_t power;
        int pkgPower;
        int lastLoopAvg;
    };

    const Row rows[] = {
        { 49999, 49999, 49999 },
        { 50000, 50000, 50000 },
        { 50001, 50000, 50001 },
        { 3'000'000'000, 50000, 2'147'483'647 },  // no int holds the reading
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.power);

        probe(machine, { { row.power } }, { .prefMax = 8000 });

        EXPECT_EQ(pkgPower, row.pkgPower);
        EXPECT_EQ(lastLoopAvg, row.lastLoopAvg);
    }
}

TEST_F(ProbeSampling, FailedPowerReadsCountAsMinusOne)
{
    probe(machine, { { .power = 500, .powerStatus = 1500 } });

    EXPECT_EQ(pkgPower, -1);
    EXPECT_EQ(lastLoopAvg, -1);

    // 9 x 100 - 1
    probe(machine, { { .power = 100, .powerStatus = 1500 }, { 100 } });

    EXPECT_EQ(pkgPower, 89);
}

TEST_F(ProbeSampling, NegativeAverageIsTruncatedTowardsZero)
{
    probe(machine, { { .power = 0, .powerStatus = 1500 }, { 0 } });

    EXPECT_EQ(pkgPower, 0);
}

using ProbeInActiveIdle = ProbeSampling;

TEST_F(ProbeInActiveIdle, PowerAboveTheIdleBandRaisesToPerfRangeAndLooksSooner)
{
    struct Row {
        std::uint32_t acMode;
        std::uint32_t power;
        bool wakes;
    };

    const Row rows[] = {
        { 1, 1100, false }, { 1, 1101, true },    { 0, 1101, false },  { 0, 1300, false },
        { 0, 1301, true },  { 255, 1100, false }, { 255, 1101, true },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.acMode) + " " + std::to_string(row.power));
        activeIdle = 1;
        PerfRange = 1800;
        appliedPrefMax = 1200;
        machine.forget();

        probe(machine, { { row.power } }, { .acMode = row.acMode });

        if (row.wakes) {
            EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 1800"));
            EXPECT_THAT(machine.sleeps(), ElementsAre(200, 200));
        } else {
            EXPECT_THAT(machine.writes(), IsEmpty());
            EXPECT_THAT(machine.sleeps(), ElementsAre(300, 300));
        }
        EXPECT_EQ(activeIdle, 1);
    }
}

TEST_F(ProbeInActiveIdle, SecondSampleCanWakeOnTheRunningAverage)
{
    activeIdle = 1;
    PerfRange = 1800;

    probe(machine, { { 1000 }, { 1202 } });

    EXPECT_THAT(machine.happened(),
                ElementsAre("GET_IA_CLIP_REASONS 0 0", "GET_RAPL_POWER 1000 0", "sleep 300", "GET_IA_CLIP_REASONS 0 0",
                            "GET_RAPL_POWER 1202 0", "SET_PERF_PREFERENCE_MAX 1800 0", "sleep 200"));
}

TEST_F(ProbeInActiveIdle, ShorterSleepStaysForTheRestOfThisProbeOnly)
{
    activeIdle = 1;
    PerfRange = 1800;

    probe(machine, { { 1200 }, { 100 } });
    probe(machine, { { 100 } });

    EXPECT_THAT(machine.sleeps(), ElementsAre(200, 200, 300, 300));
}

TEST_F(ProbeInActiveIdle, NormalProbeDoesNotRaiseToPerfRange)
{
    PerfRange = 1800;

    probe(machine, { { 4000 } });

    EXPECT_THAT(machine.writes(), IsEmpty());
}

// Two samples have the indices 0 and 1; a ramp is looked for at the indices 2, 3, 6 and 7.
TEST_F(ProbeInActiveIdle, RampNeverRuns)
{
    activeIdle = 1;
    PerfRange = 5000;
    pkgPower = 1000;

    probe(machine, { { 0 }, { 20000 } });

    EXPECT_THAT(machine.writes(), IsEmpty());
    EXPECT_THAT(machine.messages(), IsEmpty());
    EXPECT_EQ(pkgPower, 10000);
}

}  // namespace
}  // namespace kelvane::tests
