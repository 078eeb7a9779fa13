// The six primitives: the descriptors as the core sees them, results, and g_orqStatus before, during and after.
#include "framework/primitives.h"
#include "state/state.h"

#include "tests/framework/loaded_core.h"
#include "tests/support/rows.h"

#include <climits>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

class Primitives : public LoadedCore {};

double getWorkload() { return getSocWorkload(42); }

double getClipReasons() { return getIaClipReasons(42); }

double getPower() { return getRaplPower(42); }

double setMaximum() { return setPerfPreferenceMax(42, 10000); }

double setMinimum() { return setPerfPreferenceMin(42, 0); }

double setLimit() { return setRaplPowerLimit1(42, 0x89ABCDEF); }

struct PrimitiveRow {
    double (*run)();
    bool tracked = false;  // in g_orqStatus
    const char* call;
};

using EachPrimitive = WithRow<Primitives, PrimitiveRow>;

TEST_ROWS(EachPrimitive,
          ROW(.run = getWorkload, .tracked = true,
              .call = "SessionExecute 42 | type 8, 40 of 40: execute-primitive TCPU GET_SOC_WORKLOAD\\0 | - | "
                      "type 3, 0 of 4: 00 00 00 00"),
          ROW(.run = getClipReasons,
              .call = "SessionExecute 42 | type 8, 43 of 43: execute-primitive TCPU GET_IA_CLIP_REASONS\\0 | - | "
                      "type 3, 0 of 4: 00 00 00 00"),
          ROW(.run = getPower,
              .call = "SessionExecute 42 | type 8, 38 of 38: execute-primitive TCPU GET_RAPL_POWER\\0 | - | "
                      "type 26, 0 of 4: 00 00 00 00"),
          ROW(.run = setMaximum, .tracked = true,
              .call = "SessionExecute 42 | type 8, 47 of 47: execute-primitive TCPU SET_PERF_PREFERENCE_MAX\\0 | "
                      "type 29, 4 of 4: 10 27 00 00 | -"),
          ROW(.run = setMinimum, .tracked = true,
              .call = "SessionExecute 42 | type 8, 47 of 47: execute-primitive TCPU SET_PERF_PREFERENCE_MIN\\0 | "
                      "type 29, 4 of 4: 00 00 00 00 | -"),
          ROW(.run = setLimit,
              .call = "SessionExecute 42 | type 8, 46 of 46: execute-primitive TCPU SET_RAPL_POWER_LIMIT_1\\0 | "
                      "type 26, 4 of 4: EF CD AB 89 | -"));

// The core parses the command in place, and writes no reading.
TEST_P(EachPrimitive, SendsItsWholeCommandEachTimeAndLogsNoSuccess)
{
    EXPECT_EQ(row().run(), 0.0);
    EXPECT_EQ(row().run(), 0.0);

    EXPECT_THAT(calls, ElementsAre(row().call, row().call));
}

TEST_P(EachPrimitive, TakesAnyStatusButZeroForAFailureWithoutPartialValueLogOrRetry)
{
    core.reading = 777;

    for (const int status : { 1003, 102, -5, 10000, INT_MIN }) {
        core.executeStatus = status;
        calls.clear();

        EXPECT_EQ(row().run(), -1.0) << status;

        EXPECT_THAT(calls, SizeIs(1)) << status;
    }
}

TEST_P(EachPrimitive, TracksTheFrameworksStatusOrLeavesItAlone)
{
    int during = 0;
    core.onExecute = [&] { during = g_orqStatus; };

    for (const int status : { 0, 1003, -5 }) {
        core.executeStatus = status;
        g_orqStatus = 77;

        row().run();

        EXPECT_EQ(during, row().tracked ? 1800 : 77);
        EXPECT_EQ(g_orqStatus, row().tracked ? status : 77);
    }
}

TEST_P(EachPrimitive, FailsWithoutACoreAndReportsTheEmptySlotWhereItIsTracked)
{
    unloadLibrary(g_loader);
    g_orqStatus = 77;

    EXPECT_EQ(row().run(), -1.0);

    EXPECT_EQ(g_orqStatus, row().tracked ? 1400 : 77);
}

TEST_F(Primitives, PassAnyHandleOnWithoutLookingAtIt)
{
    setRaplPowerLimit1(noSession, 17000);

    EXPECT_THAT(calls, ElementsAre("SessionExecute 18446744073709551615 | type 8, 46 of 46: execute-primitive "
                                   "TCPU SET_RAPL_POWER_LIMIT_1\\0 | type 26, 4 of 4: 68 42 00 00 | -"));
}

// The word that the core writes; all ones cannot be told from failure except as power.
struct ReadingRow {
    std::uint32_t reading;
    int word;
    double power;
};

using Reading = WithRow<Primitives, ReadingRow>;

TEST_ROWS(Reading, ROW(.reading = 0x12345678, .word = 305419896, .power = 305419896.0),
          ROW(.reading = 0x80000400, .word = -2147482624, .power = 2147484672.0),
          ROW(.reading = 3000000000, .word = -1294967296, .power = 3000000000.0),
          ROW(.reading = 0xFFFFFFFF, .word = -1, .power = 4294967295.0));

TEST_P(Reading, IsSignedExceptAsPower)
{
    core.reading = row().reading;

    EXPECT_EQ(getSocWorkload(42), row().word);
    EXPECT_EQ(getIaClipReasons(42), row().word);
    EXPECT_EQ(getRaplPower(42), row().power);
}

struct MilliwattsRow {
    double reading;
    int milliwatts;
};

using ToMilliwatts = WithRow<testing::Test, MilliwattsRow>;

TEST_ROWS(ToMilliwatts, ROW(.reading = 0.0, .milliwatts = 0), ROW(.reading = 1234.0, .milliwatts = 1234),
          ROW(.reading = 1234.99, .milliwatts = 1234), ROW(.reading = -0.9, .milliwatts = 0),
          ROW(.reading = -1.0, .milliwatts = -1), ROW(.reading = -1.9, .milliwatts = -1),
          ROW(.reading = 2147483647.0, .milliwatts = 2147483647),
          ROW(.reading = 2147483648.0, .milliwatts = 2147483647),
          ROW(.reading = 4294967295.0, .milliwatts = 2147483647), ROW(.reading = -2147483648.0, .milliwatts = INT_MIN),
          ROW(.reading = -3000000000.0, .milliwatts = INT_MIN));

TEST_P(ToMilliwatts, TruncatesTowardsZeroAndStaysInTheRangeOfAnInt)
{
    EXPECT_EQ(toMilliwatts(row().reading), row().milliwatts);
}

}  // namespace
}  // namespace kelvane::tests
