// The six primitives: the descriptors as the core sees them, results, and g_orqStatus before, during and after.
#include "framework/primitives.h"
#include "state/state.h"

#include "tests/framework/loaded_core.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

#include <climits>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

struct PrimitiveRow {
    int (*get)(SessionHandle) = nullptr;
    double (*getPower)(SessionHandle) = nullptr;
    int (*set)(SessionHandle, std::uint32_t) = nullptr;
    std::uint32_t value = 0;
    bool tracked = false;  // in g_orqStatus
    std::string command;   // with the descriptors
};

class Primitives : public WithRow<LoadedCore, PrimitiveRow> {
protected:
    Primitives()
    {
        core.onExecute = [this] { EXPECT_EQ(g_orqStatus, row().tracked ? 1800 : 77); };
    }

    // With a session that is none: nobody looks at it.
    double run() const
    {
        g_orqStatus = 77;
        if (row().get) return row().get(noSession);
        if (row().getPower) return row().getPower(noSession);
        return row().set(noSession, row().value);
    }
};

TEST_ROWS(
    Primitives,
    ROW(.get = getSocWorkload, .tracked = true,
        .command = "40 of 40: execute-primitive TCPU GET_SOC_WORKLOAD\\0 | - | type 3, 0 of 4: 00 00 00 00"),
    ROW(.get = getIaClipReasons,
        .command = "43 of 43: execute-primitive TCPU GET_IA_CLIP_REASONS\\0 | - | type 3, 0 of 4: 00 00 00 00"),
    ROW(.getPower = getRaplPower,
        .command = "38 of 38: execute-primitive TCPU GET_RAPL_POWER\\0 | - | type 26, 0 of 4: 00 00 00 00"),
    ROW(.set = setPerfPreferenceMax, .value = 10000, .tracked = true,
        .command = "47 of 47: execute-primitive TCPU SET_PERF_PREFERENCE_MAX\\0 | type 29, 4 of 4: 10 27 00 00 | -"),
    ROW(.set = setPerfPreferenceMin, .value = 0, .tracked = true,
        .command = "47 of 47: execute-primitive TCPU SET_PERF_PREFERENCE_MIN\\0 | type 29, 4 of 4: 00 00 00 00 | -"),
    ROW(.set = setRaplPowerLimit1, .value = 0x89ABCDEF,
        .command = "46 of 46: execute-primitive TCPU SET_RAPL_POWER_LIMIT_1\\0 | type 26, 4 of 4: EF CD AB 89 | -"));

TEST_ROW(Primitives, SendTheirCommandWholeAgainAfterACoreParsedItInPlaceAndLogNothing)
{
    EXPECT_EQ(run(), 0.0);  // a core that succeeds without writing
    EXPECT_EQ(run(), 0.0);

    const std::string call = "SessionExecute 18446744073709551615 | type 8, " + row().command;
    EXPECT_THAT(calls, ElementsAre(call, call));
    EXPECT_EQ(g_orqStatus, row().tracked ? 0 : 77);
}

TEST_ROW(Primitives, FailOnAnyStatusButZeroWithoutPartialValueLogOrRetry)
{
    core.reading = 777;
    for (const int status : { 1003, 102, -5, 10000, INT_MIN }) {
        core.executeStatus = status;
        calls.clear();

        EXPECT_EQ(run(), -1.0) << status;
        EXPECT_THAT(calls, SizeIs(1)) << status;
        EXPECT_EQ(g_orqStatus, row().tracked ? status : 77);
    }
}

TEST_ROW(Primitives, WithoutACoreFailAndTheTrackedOnesReportTheEmptySlot)
{
    unloadLibrary(g_loader);

    EXPECT_EQ(run(), -1.0);

    EXPECT_EQ(g_orqStatus, row().tracked ? 1400 : 77);
}

struct ReadingRow {
    std::uint32_t word;
    int bits;  // of the workload and the clip reasons
    double power;
};

class PrimitiveReading : public WithRow<LoadedCore, ReadingRow> {};

TEST_ROWS(PrimitiveReading, ROW(.word = 0x12345678, .bits = 305419896, .power = 305419896),
          // the highest bit makes a bit set negative, power never; all ones are -1, as a failure is
          ROW(.word = 0x80000400, .bits = -2147482624, .power = 2147484672),
          ROW(.word = 3000000000, .bits = -1294967296, .power = 3000000000),
          ROW(.word = 0xFFFFFFFF, .bits = -1, .power = 4294967295));

TEST_ROW(PrimitiveReading, IsTheWordThatTheCoreWrote)
{
    core.reading = row().word;

    EXPECT_EQ(getSocWorkload(42), row().bits);
    EXPECT_EQ(getIaClipReasons(42), row().bits);
    EXPECT_EQ(getRaplPower(42), row().power);
    EXPECT_THAT(system.callsOf("SessionExecute 42 "), SizeIs(3));
}

struct MilliwattsRow {
    double reading;
    int milliwatts;
};

class ToMilliwatts : public WithRow<testing::Test, MilliwattsRow> {};

TEST_ROWS(ToMilliwatts, ROW(.reading = 0.0, .milliwatts = 0), ROW(.reading = 1234.0, .milliwatts = 1234),
          ROW(.reading = 1234.99, .milliwatts = 1234), ROW(.reading = -0.9, .milliwatts = 0),
          ROW(.reading = -1.0, .milliwatts = -1), ROW(.reading = -1.9, .milliwatts = -1),
          ROW(.reading = 2147483647.0, .milliwatts = 2147483647), ROW(.reading = 2147483648.0, .milliwatts = INT_MAX),
          ROW(.reading = 4294967295.0, .milliwatts = INT_MAX), ROW(.reading = -2147483648.0, .milliwatts = INT_MIN),
          ROW(.reading = -3000000000.0, .milliwatts = INT_MIN));

TEST_ROW(ToMilliwatts, TruncatesTowardsZeroAndStaysInTheRangeOfAnInt)
{
    EXPECT_EQ(toMilliwatts(row().reading), row().milliwatts);
}

}  // namespace
}  // namespace kelvane::tests
