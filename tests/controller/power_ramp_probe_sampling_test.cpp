// What the probe reads, when, and what it makes of the power and of the clip reasons.
#include "tests/controller/probe_samples.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

#include <string>

namespace kelvane::tests {
namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr Sample plain = { .power = 900 };
constexpr Sample clipping = { .power = 900, .clipReasons = 0x400 };
constexpr Sample unread = { .power = 900, .clipStatus = 1500 };

using ProbeSampling = PowerRampProbe;

TEST_F(ProbeSampling, TakesTenSamplesWithASleepAfterEach)
{
    EXPECT_EQ(probe({ plain }), 0);

    EXPECT_THAT(machine.happened(), SizeIs(30));
    EXPECT_THAT(machine.sleeps(), AllOf(SizeIs(10), Each(300)));
    EXPECT_EQ(pkgPower, 900);
}

TEST_F(ProbeSampling, TakesTwoInActiveIdleEachWithClipReasonsBeforePowerAndTheSleepThatItIsTold)
{
    activeIdle = 1;

    probe({ plain }, { .sampleSleep = 200 });

    EXPECT_THAT(machine.happened(), ElementsAre("GET_IA_CLIP_REASONS 0 0", "GET_RAPL_POWER 900 0", "sleep 200",
                                                "GET_IA_CLIP_REASONS 0 0", "GET_RAPL_POWER 900 0", "sleep 200"));
}

struct PowerRow {
    std::vector<Sample> samples;
    int pkgPower;
    int lastLoopAvg;
};

using ProbePower = WithRow<PowerRampProbe, PowerRow>;

TEST_ROWS(ProbePower,
          // 45019 in all
          ROW(.samples = { { 1 }, { 2 }, { 3 }, { 4 }, { 5 }, { 6 }, { 7 }, { 8 }, { 9 }, { 44974 } }, .pkgPower = 4501,
              .lastLoopAvg = 4501),
          // an average above the cap is stored as the cap but remembered
          ROW(.samples = { { 49999 } }, .pkgPower = 49999, .lastLoopAvg = 49999),
          ROW(.samples = { { 50000 } }, .pkgPower = 50000, .lastLoopAvg = 50000),
          ROW(.samples = { { 50001 } }, .pkgPower = 50000, .lastLoopAvg = 50001),
          // no int holds the reading
          ROW(.samples = { { 3'000'000'000 } }, .pkgPower = 50000, .lastLoopAvg = 2'147'483'647),
          // failed reads count as -1: ten of them, one with 9 x 100, one with nothing
          ROW(.samples = { { .power = 500, .powerStatus = 1500 } }, .pkgPower = -1, .lastLoopAvg = -1),
          ROW(.samples = { { .power = 100, .powerStatus = 1500 }, { 100 } }, .pkgPower = 89, .lastLoopAvg = 89),
          ROW(.samples = { { .power = 0, .powerStatus = 1500 }, { 0 } }, .pkgPower = 0, .lastLoopAvg = 0));

TEST_ROW(ProbePower, IsTheTruncatedAverageOfAllSamples)
{
    probe(row().samples, { .prefMax = 8000 });

    EXPECT_EQ(pkgPower, row().pkgPower);
    EXPECT_EQ(lastLoopAvg, row().lastLoopAvg);
}

class ProbeInActiveIdle : public PowerRampProbe {
protected:
    ProbeInActiveIdle()
    {
        activeIdle = 1;
        PerfRange = 1800;
    }
};

struct WakeRow {
    std::uint32_t acMode = 1;
    std::uint32_t power;
    bool wakes;
};

using ProbeWake = WithRow<ProbeInActiveIdle, WakeRow>;

TEST_ROWS(ProbeWake, ROW(.power = 1100, .wakes = false), ROW(.power = 1101, .wakes = true),
          ROW(.acMode = 0, .power = 1101, .wakes = false), ROW(.acMode = 0, .power = 1300, .wakes = false),
          ROW(.acMode = 0, .power = 1301, .wakes = true), ROW(.acMode = 255, .power = 1100, .wakes = false),
          ROW(.acMode = 255, .power = 1101, .wakes = true));

TEST_ROW(ProbeWake, PowerAboveTheIdleBandGivesPerfRangeAndLooksSooner)
{
    probe({ { row().power } }, { .acMode = row().acMode });

    EXPECT_EQ(appliedPrefMax, row().wakes ? 1800 : 5000);
    EXPECT_THAT(machine.sleeps(), AllOf(SizeIs(2), Each(row().wakes ? 200 : 300)));
    EXPECT_EQ(activeIdle, 1);
}

TEST_F(ProbeInActiveIdle, SecondSampleCanWakeOnTheRunningAverage)
{
    probe({ { 1000 }, { 1202 } });

    EXPECT_THAT(machine.happened(),
                ElementsAre("GET_IA_CLIP_REASONS 0 0", "GET_RAPL_POWER 1000 0", "sleep 300", "GET_IA_CLIP_REASONS 0 0",
                            "GET_RAPL_POWER 1202 0", "SET_PERF_PREFERENCE_MAX 1800 0", "sleep 200"));
}

TEST_F(ProbeInActiveIdle, ShorterSleepStaysForTheRestOfThisProbeOnly)
{
    probe({ { 1200 }, { 100 } });
    probe({ { 100 } });

    EXPECT_THAT(machine.sleeps(), ElementsAre(200, 200, 300, 300));
}

// Two samples have the indices 0 and 1; a ramp is looked for at the indices 2, 3, 6 and 7.
TEST_F(ProbeInActiveIdle, RampNeverRuns)
{
    PerfRange = 5000;
    pkgPower = 1000;

    probe({ { 0 }, { 20000 } });

    EXPECT_THAT(machine.writes(), IsEmpty());
    EXPECT_THAT(machine.messages(), IsEmpty());
    EXPECT_EQ(pkgPower, 10000);
}

TEST_F(ProbeSampling, OutsideActiveIdleDoesNotRaiseToPerfRange)
{
    PerfRange = 1800;

    probe({ { 4000 } });

    EXPECT_THAT(machine.writes(), IsEmpty());
}

struct ReasonsRow {
    std::uint32_t reasons;
    int clipped;
};

using ProbeClipReasons = WithRow<PowerRampProbe, ReasonsRow>;

TEST_ROWS(ProbeClipReasons, ROW(.reasons = 0, .clipped = 0), ROW(.reasons = 0x1, .clipped = 0),
          ROW(.reasons = 0x200, .clipped = 0), ROW(.reasons = 0x3FF, .clipped = 0),
          ROW(.reasons = 0x400, .clipped = 10), ROW(.reasons = 0x401, .clipped = 10),
          ROW(.reasons = 0x7FF, .clipped = 10), ROW(.reasons = 0x800, .clipped = 0),
          ROW(.reasons = 0xFFFFFBFF, .clipped = 0), ROW(.reasons = 0xFFFFFFFE, .clipped = 10));

TEST_ROW(ProbeClipReasons, HaveTheClipInBitTen)
{
    EXPECT_EQ(probe({ { .power = 900, .clipReasons = row().reasons } }), row().clipped);
}

using ProbeClip = PowerRampProbe;

TEST_F(ProbeClip, LetsGoAtOnce)
{
    activeIdle = 1;
    clipPending = 1;

    EXPECT_EQ(probe({ plain, clipping }), 1);

    EXPECT_THAT(machine.happened(), ElementsAre("GET_IA_CLIP_REASONS 0 0", "GET_RAPL_POWER 900 0", "sleep 300",
                                                "GET_IA_CLIP_REASONS 1024 0", "GET_RAPL_POWER 900 0",
                                                "SET_PERF_PREFERENCE_MAX 10000 0", "sleep 300"));
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(appliedPrefMax, 10000);
    EXPECT_EQ(PrevPerf, 5000);
}

TEST_F(ProbeClip, ClearsAPendingClipAlsoWhileScalingIsOff)
{
    Kv_opt = 0;
    kv_off_f = 0;
    clipPending = 1;

    EXPECT_EQ(probe({ clipping }), 10);
    EXPECT_EQ(clipPending, 0);
    EXPECT_THAT(machine.writes(), IsEmpty());
}

TEST_F(ProbeClip, CountsInEachSampleThatHasIt)
{
    EXPECT_EQ(probe({ clipping, plain, clipping, plain, plain, plain, plain, plain, plain, clipping }), 3);
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000"));
}

TEST_F(ProbeClip, CountsAlsoAtAHighPreferenceAndWithAProcessStart)
{
    PID_Change = 1;

    EXPECT_EQ(probe({ clipping }, { .prefMax = 10000 }), 10);
    EXPECT_EQ(appliedPrefMax, 10000);
}

// In an idle step that wakes, the tier's preference is written last.
TEST_F(ProbeInActiveIdle, ClipIsFollowedByPerfRangeWhenPowerIsUp)
{
    probe({ { .power = 1200, .clipReasons = 0x400 }, { 0 } });

    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000", "SET_PERF_PREFERENCE_MAX 1800"));
}

// The average jumps from 0 to 2100 mW in the third sample.
TEST_F(ProbeClip, DoesNotFollowARamp)
{
    pkgPower = 1000;

    probe({ { 0 }, { 0 }, { .power = 6300, .clipReasons = 0x400 }, { .power = 2100, .clipReasons = 0x400 } });

    EXPECT_THAT(machine.messages(), IsEmpty());
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000"));
}

TEST_F(ProbeClip, FailedReadEndsTheProbeAfterThePowerReadAndKeepsThePower)
{
    pkgPower = 4321;
    lastLoopAvg = 1234;

    EXPECT_EQ(probe({ unread }), -1);

    EXPECT_THAT(machine.happened(), ElementsAre("GET_IA_CLIP_REASONS 1500", "GET_RAPL_POWER 900 0"));
    EXPECT_EQ(pkgPower, 4321);
    EXPECT_EQ(lastLoopAvg, 1234);
}

TEST_F(ProbeClip, ReasonsOfAllOnesCannotBeToldFromAFailedRead)
{
    pkgPower = 4321;

    EXPECT_EQ(probe({ { .power = 900, .clipReasons = 0xFFFFFFFF } }), -1);
    EXPECT_EQ(pkgPower, 4321);
    EXPECT_THAT(machine.sleeps(), IsEmpty());
}

TEST_F(ProbeClip, FailedReadInALaterSampleForgetsTheClipsBeforeIt)
{
    pkgPower = 4321;

    EXPECT_EQ(probe({ clipping, { .power = 1000 }, unread }), -1);

    EXPECT_THAT(machine.sleeps(), ElementsAre(300, 300));
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000"));
    EXPECT_EQ(pkgPower, 4321);
    EXPECT_EQ(lastLoopAvg, 950);
}

TEST_F(ProbeClip, FailedReadSinceStandbyCountsAsAClip)
{
    for (const std::uint8_t report : { std::uint8_t{ 0 }, std::uint8_t{ 2 } }) {
        g_reportPerfFailures = report;
        appliedPrefMax = 5000;

        EXPECT_EQ(probe({ unread }), 10);
        EXPECT_EQ(pkgPower, 900);
        EXPECT_EQ(appliedPrefMax, 10000);
    }
}

// Two idle samples never look for a ramp.
struct PendingRow {
    int activeIdle = 0;
    int prefMax;
    int clipPending;  // 1 before
};

using ProbePendingClip = WithRow<PowerRampProbe, PendingRow>;

TEST_ROWS(ProbePendingClip, ROW(.prefMax = 7999, .clipPending = 0), ROW(.prefMax = 8000, .clipPending = 1),
          ROW(.activeIdle = 1, .prefMax = 7999, .clipPending = 1));

TEST_ROW(ProbePendingClip, IsClearedWhereARampCouldBeFollowed)
{
    activeIdle = row().activeIdle;
    PID_Change = 1;
    clipPending = 1;

    probe({ { 0 } }, { .prefMax = row().prefMax });

    EXPECT_EQ(clipPending, row().clipPending);
}

}  // namespace
}  // namespace kelvane::tests
