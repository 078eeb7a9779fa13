// When the probe raises the ceiling within a step, how far, and when it takes that back.
#include "tests/controller/probe_samples.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

#include <string>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// The running average is 0 before the sample of index 2, and `average` from that sample to the last.
std::vector<Sample> jumpTo(std::uint32_t average) { return { { 0 }, { 0 }, { 3 * average }, { average } }; }

constexpr char raisedLine[] = "2  * Increase tempPwr ==6003 * pp ==2001 * deltaloop ==1001 * ppd_dash ==1300 * i ==2";

// 1000 mW in the last step: a ramp begins above 1400 mW and has fallen back at 1300 mW.
class ProbeRamp : public PowerRampProbe {
protected:
    ProbeRamp() { pkgPower = 1000; }
};

struct RampRow {
    int prefMax = 5000;
    std::vector<Sample> samples;
    std::vector<int> ceilings = {};  // written, in turn
};

using ProbeRampCeiling = WithRow<ProbeRamp, RampRow>;

TEST_ROWS(
    ProbeRampCeiling,
    // raised by how far the average is ahead of the last step
    ROW(.samples = jumpTo(1401)), ROW(.samples = jumpTo(2000)), ROW(.samples = jumpTo(2001), .ceilings = { 5500 }),
    ROW(.samples = jumpTo(3000), .ceilings = { 5500 }), ROW(.samples = jumpTo(3001), .ceilings = { 6000 }),
    ROW(.samples = jumpTo(4000), .ceilings = { 6000 }), ROW(.samples = jumpTo(4001), .ceilings = { 8000 }),
    ROW(.samples = jumpTo(7000), .ceilings = { 8000 }), ROW(.samples = jumpTo(7001), .ceilings = { 10000 }),
    ROW(.samples = jumpTo(700'000'000), .ceilings = { 10000 }),
    // not from a preference of eight thousand on
    ROW(.prefMax = 7999, .samples = jumpTo(2001), .ceilings = { 8499 }), ROW(.prefMax = 8000, .samples = jumpTo(9000)),
    // steps add up: averages 2100 and 2950, each above 140% of the one before; then 2001 and 3001
    ROW(.samples = { { 0 }, { 0 }, { 6300 }, { 5500 }, { 2950 } }, .ceilings = { 5500, 6000 }),
    ROW(.samples = { { 0 }, { 0 }, { 6003 }, { 6001 }, { 3001 } }, .ceilings = { 5500, 6500 }),
    // average 3001 at index 2, 1500 at index 5, 3001 again at index 6
    ROW(.samples = { { 0 }, { 0 }, { 9003 }, { 0 }, { 0 }, { 0 }, { 12004 }, { 3001 } }, .ceilings = { 6000, 7000 }),
    // taken back when the average, 2001 at index 2, is 1300 at index 6, and not yet at 1301
    ROW(.samples = { { 0 }, { 0 }, { 6003 }, { 0 }, { 0 }, { 0 }, { 3104 }, { 1301 } }, .ceilings = { 5500 }),
    ROW(.samples = { { 0 }, { 0 }, { 6003 }, { 0 }, { 0 }, { 0 }, { 3097 }, { 1300 } }, .ceilings = { 5500, 5000 }),
    // afresh after it was taken back: averages 2001 at index 2, 857 at index 6, 2001 again at index 7
    ROW(.samples = { { 0 }, { 0 }, { 6003 }, { 0 }, { 0 }, { 0 }, { 0 }, { 10005 }, { 2001 } },
        .ceilings = { 5500, 5000, 5500 }));

TEST_ROW(ProbeRampCeiling, FollowsTheRampWithALineForEachWrite)
{
    std::vector<std::string> writes;
    for (const int ceiling : row().ceilings) writes.push_back("SET_PERF_PREFERENCE_MAX " + std::to_string(ceiling));

    probe(row().samples, { .prefMax = row().prefMax });

    EXPECT_EQ(machine.writes(), writes);
    EXPECT_THAT(machine.messages(), SizeIs(writes.size()));
}

// With more than `prefMax` in force, a ramp is logged even when it is too small to raise anything.
struct BeginRow {
    int power = 1000;  // mW, in the last step
    int PID_Change = 0;
    std::uint32_t PL1 = 4'000'000'000;
    std::vector<Sample> samples;
    int fallBack = 0;  // level at which the ramp is over; 0: there is no ramp
};

using ProbeRampBegin = WithRow<ProbeRamp, BeginRow>;

TEST_ROWS(ProbeRampBegin,
          // above a percentage of the last step that falls with power
          ROW(.power = 501, .samples = jumpTo(751)), ROW(.power = 501, .samples = jumpTo(752), .fallBack = 701),
          ROW(.power = 999, .samples = jumpTo(1498)), ROW(.power = 999, .samples = jumpTo(1499), .fallBack = 1398),
          ROW(.power = 1000, .samples = jumpTo(1400)), ROW(.power = 1000, .samples = jumpTo(1401), .fallBack = 1300),
          ROW(.power = 1999, .samples = jumpTo(2798)), ROW(.power = 1999, .samples = jumpTo(2799), .fallBack = 2598),
          ROW(.power = 2000, .samples = jumpTo(2600)), ROW(.power = 2000, .samples = jumpTo(2601), .fallBack = 2400),
          ROW(.power = 3999, .samples = jumpTo(5198)), ROW(.power = 3999, .samples = jumpTo(5199), .fallBack = 4798),
          ROW(.power = 4000, .samples = jumpTo(4800)), ROW(.power = 4000, .samples = jumpTo(4801), .fallBack = 4400),
          ROW(.power = 50000, .samples = jumpTo(60000)),
          ROW(.power = 50000, .samples = jumpTo(60001), .fallBack = 55000),
          // the average must also be ahead of its own last value: 1500 against 1500, 1501
          ROW(.power = 501, .samples = { { 1000 }, { 1000 }, { 2500 }, { 1400 } }),
          ROW(.power = 501, .samples = { { 1000 }, { 1000 }, { 2503 }, { 1400 } }, .fallBack = 701),
          // 1501 against 1501, 1501 and two thirds, 1502
          ROW(.power = 501, .samples = { { 1001 }, { 1001 }, { 2501 }, { 1400 } }),
          ROW(.power = 501, .samples = { { 1001 }, { 1001 }, { 2503 }, { 1400 } }),
          ROW(.power = 501, .samples = { { 1001 }, { 1001 }, { 2504 }, { 1400 } }, .fallBack = 701),
          // an average that falls far back has no ramp, and takes nothing back
          ROW(.samples = { { 100 } }),
          // neither below 501 mW in the last step, nor after a process start, nor when the sample reaches PL1
          ROW(.power = 500, .samples = jumpTo(9000)), ROW(.power = 501, .samples = jumpTo(9000), .fallBack = 701),
          ROW(.PID_Change = 1, .samples = jumpTo(9000)), ROW(.PL1 = 6000, .samples = jumpTo(2000)),
          ROW(.PL1 = 6001, .samples = jumpTo(2000), .fallBack = 1300));

TEST_ROW(ProbeRampBegin, NeedsAnAverageThatRunsAhead)
{
    appliedPrefMax = 9000;
    pkgPower = row().power;
    PID_Change = row().PID_Change;

    probe(row().samples, { .cpuPL1 = row().PL1 });

    if (row().fallBack == 0) {
        EXPECT_THAT(machine.messages(), IsEmpty());
        EXPECT_THAT(machine.writes(), IsEmpty());
    } else {
        const std::string end = " * ppd_dash ==" + std::to_string(row().fallBack) + " * i ==2";
        EXPECT_THAT(machine.messages(), ElementsAre(HasSubstr(end)));
    }
}

struct IndexRow {
    std::uint32_t index;
    int ceiling;
};

using ProbeRampIndex = WithRow<ProbeRamp, IndexRow>;

TEST_ROWS(ProbeRampIndex, ROW(.index = 0, .ceiling = 5000), ROW(.index = 1, .ceiling = 5000),
          ROW(.index = 2, .ceiling = 5500), ROW(.index = 3, .ceiling = 5500), ROW(.index = 4, .ceiling = 5000),
          ROW(.index = 5, .ceiling = 5000), ROW(.index = 6, .ceiling = 5500), ROW(.index = 7, .ceiling = 5500),
          ROW(.index = 8, .ceiling = 5000), ROW(.index = 9, .ceiling = 5000));

TEST_ROW(ProbeRampIndex, DecidesWhetherARampIsLookedFor)
{
    std::vector<Sample> samples(row().index, Sample{ 0 });  // the average jumps to 2100 at `index` and stays
    samples.push_back({ (row().index + 1) * 2100 });
    samples.push_back({ 2100 });

    probe(samples);

    EXPECT_EQ(appliedPrefMax, row().ceiling);
}

TEST_F(ProbeRamp, NeedsMoreThanItsBaseInForceToCountAsRaised)
{
    appliedPrefMax = 5001;

    probe(jumpTo(2000));

    EXPECT_THAT(machine.messages(), SizeIs(1));
    EXPECT_THAT(machine.writes(), IsEmpty());
}

TEST_F(ProbeRamp, NextProbeStartsFromItsOwnBase)
{
    probe(jumpTo(2001));
    pkgPower = 1000;
    machine.forget();

    probe(jumpTo(2001), { .prefMax = 4000 });

    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 4500"));
}

TEST_F(ProbeRamp, LinesShowSampleAverageDistanceFallBackLevelCeilingAndIndex)
{
    probe({ { 0 }, { 0 }, { 6003 }, { 0 }, { 0 }, { 0 }, { 3097 }, { 1300 } });

    EXPECT_THAT(machine.messages(),
                ElementsAre(raisedLine, "2  * Reset tempPwr ==3097 * pp ==1300 * prefMax ==5000 * i ==6"));
}

TEST_F(ProbeRamp, FailedPowerReadIsBelowPL1)
{
    // The average falls to 857 with the failed sample.
    probe({ { 0 }, { 0 }, { 6003 }, { 0 }, { 0 }, { 0 }, { .power = 0, .powerStatus = 1500 }, { 0 } },
          { .cpuPL1 = 17000 });

    EXPECT_THAT(machine.messages(),
                ElementsAre(raisedLine, "2  * Reset tempPwr ==-1 * pp ==857 * prefMax ==5000 * i ==6"));
}

}  // namespace
}  // namespace kelvane::tests
