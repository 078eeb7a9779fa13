// When the probe raises the ceiling within a step, how far, and when it takes that back.
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
using testing::SizeIs;

// 1000 mW in the last step: a ramp begins above 1400 mW and has fallen back at 1300 mW.
class ProbeRamp : public testing::Test {
protected:
    ProbeRamp() { arrange(); }

    void arrange()
    {
        minPrefReset = 0;
        appliedPrefMax = 5000;
        pkgPower = 1000;
        machine.forget();
    }

    // With more than `prefMax` in force, a ramp is logged even when it is too small to raise anything.
    bool recognises(const std::vector<Sample>& samples, const ProbeCall& call = {})
    {
        appliedPrefMax = 9000;
        machine.forget();
        probe(machine, samples, call);
        return !machine.messages().empty();
    }

    SimulatedMachine machine;
};

TEST_F(ProbeRamp, RaisesByHowFarTheAverageIsAheadOfTheLastStep)
{
    struct Row {
        std::uint32_t average;
        std::vector<std::string> writes;
    };

    const Row rows[] = {
        { 1401, {} },
        { 2000, {} },
        { 2001, { "SET_PERF_PREFERENCE_MAX 5500" } },
        { 3000, { "SET_PERF_PREFERENCE_MAX 5500" } },
        { 3001, { "SET_PERF_PREFERENCE_MAX 6000" } },
        { 4000, { "SET_PERF_PREFERENCE_MAX 6000" } },
        { 4001, { "SET_PERF_PREFERENCE_MAX 8000" } },
        { 7000, { "SET_PERF_PREFERENCE_MAX 8000" } },
        { 7001, { "SET_PERF_PREFERENCE_MAX 10000" } },
        { 700'000'000, { "SET_PERF_PREFERENCE_MAX 10000" } },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.average);
        arrange();

        probe(machine, jumpTo(row.average), { .cpuPL1 = 4'000'000'000 });

        EXPECT_EQ(machine.writes(), row.writes);
        EXPECT_THAT(machine.messages(), SizeIs(row.writes.size()));
    }
}

TEST_F(ProbeRamp, LineShowsSampleAverageDistanceFallBackLevelAndIndex)
{
    probe(machine, jumpTo(2001));

    EXPECT_THAT(machine.messages(), ElementsAre("2  * Increase tempPwr ==6003 * pp ==2001 * deltaloop ==1001 "
                                                "* ppd_dash ==1300 * i ==2"));
}

TEST_F(ProbeRamp, IsLookedForInTheSamplesTwoThreeSixAndSevenOnly)
{
    for (std::uint32_t index = 0; index < 10; ++index) {
        SCOPED_TRACE(index);
        arrange();
        std::vector<Sample> samples(index, Sample{ 0 });  // the average jumps to 2100 at `index` and stays
        samples.push_back({ (index + 1) * 2100 });
        samples.push_back({ 2100 });

        probe(machine, samples);

        if (index == 2 || index == 3 || index == 6 || index == 7) {
            EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 5500"));
        } else {
            EXPECT_THAT(machine.writes(), IsEmpty());
        }
    }
}

TEST_F(ProbeRamp, BeginsAboveAPercentageOfTheLastStepThatFallsWithPower)
{
    struct Row {
        int pkgPower;
        std::uint32_t stillNone;
        std::uint32_t ramp;
        const char* fallBackLevel;
    };

    const Row rows[] = {
        { 501, 751, 752, "701" },     { 999, 1498, 1499, "1398" },      { 1000, 1400, 1401, "1300" },
        { 1999, 2798, 2799, "2598" }, { 2000, 2600, 2601, "2400" },     { 3999, 5198, 5199, "4798" },
        { 4000, 4800, 4801, "4400" }, { 50000, 60000, 60001, "55000" },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.pkgPower);
        pkgPower = row.pkgPower;
        EXPECT_FALSE(recognises(jumpTo(row.stillNone)));

        pkgPower = row.pkgPower;
        EXPECT_TRUE(recognises(jumpTo(row.ramp)));
        EXPECT_THAT(machine.messages(),
                    ElementsAre(testing::HasSubstr(" * ppd_dash ==" + std::string(row.fallBackLevel) + " * i ==2")));
    }
}

TEST_F(ProbeRamp, AverageMustAlsoRunAheadOfItsOwnLastValue)
{
    struct Row {
        std::uint32_t before;  // the average of the first two samples
        std::uint32_t third;   // makes the average of three
        bool ramp;
    };

    const Row rows[] = {
        { 1000, 2500, false },  // 1500 against 1500
        { 1000, 2503, true },   // 1501
        { 1001, 2501, false },  // 1501 against 1501
        { 1001, 2503, false },  // 1501 and two thirds
        { 1001, 2504, true },   // 1502
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.third);
        pkgPower = 501;

        EXPECT_EQ(recognises({ { row.before }, { row.before }, { row.third }, { 1400 } }), row.ramp);
    }
}

TEST_F(ProbeRamp, NeedsSomePowerInTheLastStep)
{
    pkgPower = 500;
    EXPECT_FALSE(recognises(jumpTo(9000)));

    pkgPower = 501;
    EXPECT_TRUE(recognises(jumpTo(9000)));
}

TEST_F(ProbeRamp, IsNotFollowedAfterAProcessStart)
{
    PID_Change = 1;

    EXPECT_FALSE(recognises(jumpTo(9000)));
    EXPECT_THAT(machine.writes(), IsEmpty());
}

TEST_F(ProbeRamp, IsNotFollowedWhenTheSampleReachesPL1)
{
    EXPECT_FALSE(recognises(jumpTo(2000), { .cpuPL1 = 6000 }));

    arrange();
    EXPECT_TRUE(recognises(jumpTo(2000), { .cpuPL1 = 6001 }));
}

TEST_F(ProbeRamp, IsNotFollowedFromAPreferenceOfEightThousandOn)
{
    probe(machine, jumpTo(9000), { .prefMax = 8000 });
    EXPECT_THAT(machine.writes(), IsEmpty());

    arrange();
    probe(machine, jumpTo(2001), { .prefMax = 7999 });
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 8499"));
}

TEST_F(ProbeRamp, NeedsMoreThanItsBaseInForceToCountAsRaised)
{
    probe(machine, jumpTo(2000));

    EXPECT_THAT(machine.messages(), IsEmpty());

    arrange();
    appliedPrefMax = 5001;
    probe(machine, jumpTo(2000));

    EXPECT_THAT(machine.messages(), SizeIs(1));
    EXPECT_THAT(machine.writes(), IsEmpty());
}

TEST_F(ProbeRamp, StepsAddUpWithinAProbe)
{
    // Averages 2100 and 2950: 1100 and 1950 mW ahead, each above 140% of the one before.
    probe(machine, { { 0 }, { 0 }, { 6300 }, { 5500 }, { 2950 } });

    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 5500", "SET_PERF_PREFERENCE_MAX 6000"));
}

TEST_F(ProbeRamp, StepsOfBothSizesAddUp)
{
    // Averages 2001 and 3001 in a row: 1001 and 2001 mW ahead.
    probe(machine, { { 0 }, { 0 }, { 6003 }, { 6001 }, { 3001 } });
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 5500", "SET_PERF_PREFERENCE_MAX 6500"));

    // Average 3001 at index 2, 1500 at index 5, 3001 again at index 6.
    arrange();
    probe(machine, { { 0 }, { 0 }, { 9003 }, { 0 }, { 0 }, { 0 }, { 12004 }, { 3001 } });
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 6000", "SET_PERF_PREFERENCE_MAX 7000"));
}

TEST_F(ProbeRamp, NextProbeStartsFromItsOwnBase)
{
    probe(machine, jumpTo(2001));
    pkgPower = 1000;
    machine.forget();

    probe(machine, jumpTo(2001), { .prefMax = 4000 });

    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 4500"));
}

TEST_F(ProbeRamp, IsTakenBackWhenTheAverageHasFallenBack)
{
    // Averages 2001 at index 2, then 1301 or 1300 at index 6 and the same at index 7.
    probe(machine, { { 0 }, { 0 }, { 6003 }, { 0 }, { 0 }, { 0 }, { 3104 }, { 1301 } });
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 5500"));

    arrange();
    probe(machine, { { 0 }, { 0 }, { 6003 }, { 0 }, { 0 }, { 0 }, { 3097 }, { 1300 } });
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 5500", "SET_PERF_PREFERENCE_MAX 5000"));
    EXPECT_THAT(machine.messages(), ElementsAre("2  * Increase tempPwr ==6003 * pp ==2001 * deltaloop ==1001 "
                                                "* ppd_dash ==1300 * i ==2",
                                                "2  * Reset tempPwr ==3097 * pp ==1300 * prefMax ==5000 * i ==6"));
}

TEST_F(ProbeRamp, IsNotTakenBackWhenNothingWasRaised)
{
    appliedPrefMax = 9000;

    probe(machine, { { 100 } });

    EXPECT_THAT(machine.writes(), IsEmpty());
    EXPECT_THAT(machine.messages(), IsEmpty());
}

TEST_F(ProbeRamp, StartsAfreshAfterItWasTakenBack)
{
    // Averages 2001 at index 2, 857 at index 6, 2001 again at index 7.
    probe(machine, { { 0 }, { 0 }, { 6003 }, { 0 }, { 0 }, { 0 }, { 0 }, { 10005 }, { 2001 } });

    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 5500", "SET_PERF_PREFERENCE_MAX 5000",
                                              "SET_PERF_PREFERENCE_MAX 5500"));
}

TEST_F(ProbeRamp, FailedPowerReadIsBelowPL1)
{
    // The average falls to 857 with the failed sample.
    probe(machine, { { 0 }, { 0 }, { 6003 }, { 0 }, { 0 }, { 0 }, { .power = 0, .powerStatus = 1500 }, { 0 } },
          { .cpuPL1 = 17000 });

    EXPECT_THAT(machine.messages(), ElementsAre("2  * Increase tempPwr ==6003 * pp ==2001 * deltaloop ==1001 "
                                                "* ppd_dash ==1300 * i ==2",
                                                "2  * Reset tempPwr ==-1 * pp ==857 * prefMax ==5000 * i ==6"));
}

}  // namespace
}  // namespace kelvane::tests
