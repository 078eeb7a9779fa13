// What the probe makes of the clip reasons.
#include "controller/power_ramp_probe.h"
#include "controller/state.h"
#include "state/state.h"

#include "tests/controller/probe_samples.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t clip = 0x400;

class ProbeClip : public testing::Test {
protected:
    ProbeClip()
    {
        minPrefReset = 0;
        appliedPrefMax = 5000;
    }

    SimulatedMachine machine;
};

TEST_F(ProbeClip, OnlyBitTenIsAClip)
{
    struct Row {
        std::uint32_t reasons;
        int clipped;
    };

    const Row rows[] = {
        { 0, 0 },      { 0x1, 0 },    { 0x200, 0 }, { 0x3FF, 0 },      { 0x400, 10 },
        { 0x401, 10 }, { 0x7FF, 10 }, { 0x800, 0 }, { 0xFFFFFBFF, 0 }, { 0xFFFFFFFE, 10 },
    };
    for (const Row& row : rows) {
        EXPECT_EQ(probe(machine, { { .power = 900, .clipReasons = row.reasons } }), row.clipped) << row.reasons;
    }
}

TEST_F(ProbeClip, EachClippedSampleCountsAndTheFirstLetsGoAtOnce)
{
    activeIdle = 1;
    clipPending = 1;
    PrevPerf = 0;

    const int clipped = probe(machine, { { 900 }, { .power = 900, .clipReasons = clip } });

    EXPECT_EQ(clipped, 1);
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

    EXPECT_EQ(probe(machine, { { .power = 900, .clipReasons = clip } }), 10);
    EXPECT_EQ(clipPending, 0);
    EXPECT_THAT(machine.writes(), IsEmpty());
}

TEST_F(ProbeClip, CountsTheClippedSamplesOfAll)
{
    const Sample clear = { 900 };
    const Sample clipping = { .power = 900, .clipReasons = clip };

    EXPECT_EQ(probe(machine, { clipping, clear, clipping, clear, clear, clear, clear, clear, clear, clipping }), 3);
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000"));
}

TEST_F(ProbeClip, ClipCountsAlsoAtAHighPreferenceAndWithAProcessStart)
{
    PID_Change = 1;

    EXPECT_EQ(probe(machine, { { .power = 900, .clipReasons = clip } }, { .prefMax = 10000 }), 10);
    EXPECT_EQ(appliedPrefMax, 10000);
}

// In an idle step that wakes, the tier's preference is written last.
TEST_F(ProbeClip, ClipInActiveIdleIsFollowedByPerfRangeWhenPowerIsUp)
{
    activeIdle = 1;
    PerfRange = 1800;

    probe(machine, { { .power = 1200, .clipReasons = clip }, { 0 } });

    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000", "SET_PERF_PREFERENCE_MAX 1800"));
}

TEST_F(ProbeClip, ClippedSampleDoesNotFollowARamp)
{
    pkgPower = 1000;
    std::vector<Sample> samples = jumpTo(2100);
    for (Sample& sample : samples) sample.clipReasons = clip;

    probe(machine, samples);

    EXPECT_THAT(machine.messages(), IsEmpty());
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000"));
}

TEST_F(ProbeClip, FailedReadEndsTheProbeAfterThePowerReadAndKeepsThePower)
{
    pkgPower = 4321;
    lastLoopAvg = 1234;

    const int clipped = probe(machine, { { .power = 900, .clipStatus = 1500 } });

    EXPECT_EQ(clipped, -1);
    EXPECT_THAT(machine.happened(), ElementsAre("GET_IA_CLIP_REASONS 1500", "GET_RAPL_POWER 900 0"));
    EXPECT_EQ(pkgPower, 4321);
    EXPECT_EQ(lastLoopAvg, 1234);
    EXPECT_EQ(appliedPrefMax, 5000);
}

TEST_F(ProbeClip, ReasonsOfAllOnesCannotBeToldFromAFailedRead)
{
    pkgPower = 4321;

    EXPECT_EQ(probe(machine, { { .power = 900, .clipReasons = 0xFFFFFFFF } }), -1);
    EXPECT_EQ(pkgPower, 4321);
    EXPECT_THAT(machine.sleeps(), IsEmpty());
}

TEST_F(ProbeClip, FailedReadInALaterSampleForgetsTheClipsBeforeIt)
{
    pkgPower = 4321;

    const int clipped = probe(
        machine, { { .power = 900, .clipReasons = clip }, { .power = 1000 }, { .power = 1100, .clipStatus = 1500 } });

    EXPECT_EQ(clipped, -1);
    EXPECT_THAT(machine.sleeps(), ElementsAre(300, 300));
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000"));
    EXPECT_EQ(pkgPower, 4321);
    EXPECT_EQ(lastLoopAvg, 950);
}

TEST_F(ProbeClip, FailedReadSinceStandbyCountsAsAClip)
{
    for (const std::uint8_t report : { std::uint8_t{ 0 }, std::uint8_t{ 2 } }) {
        SCOPED_TRACE(report);
        g_reportPerfFailures = report;
        appliedPrefMax = 5000;
        machine.forget();

        const int clipped = probe(machine, { { .power = 900, .clipStatus = 1500 } });

        EXPECT_EQ(clipped, 10);
        EXPECT_EQ(pkgPower, 900);
        EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000"));
    }
}

TEST_F(ProbeClip, PendingClipIsClearedWhereARampCouldBeFollowed)
{
    struct Row {
        int activeIdle;
        int prefMax;
        int clipPending;
    };

    // Two idle samples never look for a ramp.
    for (const Row& row : { Row{ 0, 7999, 0 }, Row{ 0, 8000, 1 }, Row{ 1, 7999, 1 } }) {
        SCOPED_TRACE(row.prefMax);
        activeIdle = row.activeIdle;
        PID_Change = 1;
        clipPending = 1;

        probe(machine, { { 0 } }, { .prefMax = row.prefMax });

        EXPECT_EQ(clipPending, row.clipPending);
    }
}

}  // namespace
}  // namespace kelvane::tests
