// The six primitives: the descriptors as the core sees them, results, and g_orqStatus before, during and after.
#include "framework/primitives.h"
#include "state/state.h"

#include "tests/framework/loaded_core.h"

#include <gmock/gmock.h>

#include <climits>
#include <functional>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

constexpr SessionHandle session = 42;

struct Primitive {
    const char* name;
    std::function<double()> run;
    bool tracked;
};

const Primitive primitives[] = {
    { "getSocWorkload", [] { return getSocWorkload(session); }, true },
    { "setPerfPreferenceMax", [] { return setPerfPreferenceMax(session, 1200); }, true },
    { "setPerfPreferenceMin", [] { return setPerfPreferenceMin(session, 1200); }, true },
    { "getIaClipReasons", [] { return getIaClipReasons(session); }, false },
    { "getRaplPower", [] { return getRaplPower(session); }, false },
    { "setRaplPowerLimit1", [] { return setRaplPowerLimit1(session, 1200); }, false },
};

TEST(Primitives, GettersSendTheirCommandAndAnEmptyResponse)
{
    LoadedCore machine;

    getSocWorkload(42);
    getIaClipReasons(42);
    getRaplPower(42);

    EXPECT_THAT(machine.calls,
                ElementsAre("SessionExecute 42 | type 8, 40 of 40: execute-primitive TCPU GET_SOC_WORKLOAD\\0 | - | "
                            "type 3, 0 of 4: 00 00 00 00",
                            "SessionExecute 42 | type 8, 43 of 43: execute-primitive TCPU GET_IA_CLIP_REASONS\\0 | - | "
                            "type 3, 0 of 4: 00 00 00 00",
                            "SessionExecute 42 | type 8, 38 of 38: execute-primitive TCPU GET_RAPL_POWER\\0 | - | "
                            "type 26, 0 of 4: 00 00 00 00"));
}

TEST(Primitives, SettersSendTheirCommandAndTheValue)
{
    LoadedCore machine;

    setPerfPreferenceMax(42, 10000);
    setPerfPreferenceMin(42, 0);
    setRaplPowerLimit1(42, 0x89ABCDEF);

    EXPECT_THAT(machine.calls,
                ElementsAre("SessionExecute 42 | type 8, 47 of 47: execute-primitive TCPU SET_PERF_PREFERENCE_MAX\\0 | "
                            "type 29, 4 of 4: 10 27 00 00 | -",
                            "SessionExecute 42 | type 8, 47 of 47: execute-primitive TCPU SET_PERF_PREFERENCE_MIN\\0 | "
                            "type 29, 4 of 4: 00 00 00 00 | -",
                            "SessionExecute 42 | type 8, 46 of 46: execute-primitive TCPU SET_RAPL_POWER_LIMIT_1\\0 | "
                            "type 26, 4 of 4: EF CD AB 89 | -"));
}

TEST(Primitives, TheCommandIsWholeAgainAfterACoreParsedItInPlace)
{
    LoadedCore machine;

    for (const Primitive& primitive : primitives) {
        SCOPED_TRACE(primitive.name);
        machine.calls.clear();

        primitive.run();
        primitive.run();

        ASSERT_EQ(machine.calls.size(), 2U);
        EXPECT_EQ(machine.calls[0], machine.calls[1]);
    }
}

TEST(Primitives, PassAnyHandleOnWithoutLookingAtIt)
{
    LoadedCore machine;

    setRaplPowerLimit1(noSession, 17000);

    EXPECT_THAT(machine.calls, ElementsAre("SessionExecute 18446744073709551615 | type 8, 46 of 46: execute-primitive "
                                           "TCPU SET_RAPL_POWER_LIMIT_1\\0 | type 26, 4 of 4: 68 42 00 00 | -"));
}

TEST(Primitives, GettersReturnTheWordThatTheCoreWrote)
{
    LoadedCore machine;
    machine.core.reading = 0x12345678;

    EXPECT_EQ(getSocWorkload(session), 305419896);
    EXPECT_EQ(getIaClipReasons(session), 305419896);
    EXPECT_EQ(getRaplPower(session), 305419896.0);
}

TEST(Primitives, GettersReturnZeroWhenTheCoreSucceedsWithoutWriting)
{
    LoadedCore machine;

    EXPECT_EQ(getSocWorkload(session), 0);
    EXPECT_EQ(getIaClipReasons(session), 0);
    EXPECT_EQ(getRaplPower(session), 0.0);
}

TEST(Primitives, GettersReturnABitSetWithTheHighestBitAsNegative)
{
    LoadedCore machine;
    machine.core.reading = 0x80000400;

    EXPECT_EQ(getSocWorkload(session), -2147482624);
    EXPECT_EQ(getIaClipReasons(session), -2147482624);
}

TEST(Primitives, AllOnesCannotBeToldFromFailureExceptAsPower)
{
    LoadedCore machine;
    machine.core.reading = 0xFFFFFFFF;

    EXPECT_EQ(getSocWorkload(session), -1);
    EXPECT_EQ(getIaClipReasons(session), -1);
    EXPECT_EQ(getRaplPower(session), 4294967295.0);
}

TEST(Primitives, PowerAboveTheRangeOfAnIntStaysPositive)
{
    LoadedCore machine;
    machine.core.reading = 3000000000;

    EXPECT_EQ(getRaplPower(session), 3000000000.0);
}

TEST(Primitives, SettersReturnZero)
{
    LoadedCore machine;

    EXPECT_EQ(setPerfPreferenceMax(session, 5000), 0);
    EXPECT_EQ(setPerfPreferenceMin(session, 5000), 0);
    EXPECT_EQ(setRaplPowerLimit1(session, 5000), 0);
}

TEST(Primitives, AnyStatusButZeroIsAFailureWithoutPartialValueLogOrRetry)
{
    LoadedCore machine;
    machine.core.reading = 777;

    for (const int status : { 1003, 102, -5, 10000, INT_MIN }) {
        machine.core.executeStatus = status;
        for (const Primitive& primitive : primitives) {
            SCOPED_TRACE(primitive.name + (" with status " + std::to_string(status)));
            machine.calls.clear();

            EXPECT_EQ(primitive.run(), -1.0);

            EXPECT_EQ(machine.calls.size(), 1U);
        }
    }
}

TEST(Primitives, SuccessIsNotLoggedEither)
{
    LoadedCore machine;

    for (const Primitive& primitive : primitives) {
        machine.calls.clear();

        primitive.run();

        EXPECT_EQ(machine.calls.size(), 1U) << primitive.name;
    }
}

TEST(Primitives, ThreeOfThemTrackTheFrameworksStatusAndTheOthersLeaveItAlone)
{
    LoadedCore machine;
    int during = 0;
    machine.core.onExecute = [&] { during = g_orqStatus; };

    for (const int status : { 0, 1003, -5 }) {
        machine.core.executeStatus = status;
        for (const Primitive& primitive : primitives) {
            SCOPED_TRACE(primitive.name + (" with status " + std::to_string(status)));
            g_orqStatus = 77;

            primitive.run();

            EXPECT_EQ(during, primitive.tracked ? 1800 : 77);
            EXPECT_EQ(g_orqStatus, primitive.tracked ? status : 77);
        }
    }
}

TEST(Primitives, WithoutACoreFailAndTheTrackedOnesReportTheEmptySlot)
{
    for (const Primitive& primitive : primitives) {
        SCOPED_TRACE(primitive.name);
        g_orqStatus = 77;

        EXPECT_EQ(primitive.run(), -1.0);

        EXPECT_EQ(g_orqStatus, primitive.tracked ? 1400 : 77);
    }
}

TEST(ToMilliwatts, TruncatesTowardsZeroAndStaysInTheRangeOfAnInt)
{
    struct Row {
        double reading;
        int milliwatts;
    };

    constexpr Row rows[] = {
        { 0.0, 0 },
        { 1234.0, 1234 },
        { 1234.99, 1234 },
        { -0.9, 0 },
        { -1.0, -1 },
        { -1.9, -1 },
        { 2147483647.0, 2147483647 },
        { 2147483648.0, 2147483647 },
        { 4294967295.0, 2147483647 },
        { -2147483648.0, INT_MIN },
        { -3000000000.0, INT_MIN },
    };
    for (const Row& row : rows) EXPECT_EQ(toMilliwatts(row.reading), row.milliwatts) << row.reading;
}

}  // namespace
}  // namespace kelvane::tests
