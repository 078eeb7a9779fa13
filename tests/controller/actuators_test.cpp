#include "controller/actuators.h"
#include "controller/state.h"
#include "state/state.h"

#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int refused = 1500;  // a status of the framework

const std::string failureMessage =
    "log 2 OrqCore setPerfmax SessionExecute failed : first 2 times expeted in MS/startup";

TEST(SetPerfmaxAtProcessStart, FirstCallAlsoWritesTheFloor)
{
    SimulatedMachine machine;

    setPerfmax(1200);
    setPerfmax(1300);

    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 1200", "SET_PERF_PREFERENCE_MIN 0",
                                              "SET_PERF_PREFERENCE_MAX 1300"));
    EXPECT_EQ(minPrefReset, 0);
}

// The floor was written already.
class Actuators : public testing::Test {
protected:
    Actuators() { minPrefReset = 0; }

    SimulatedMachine machine;
};

using SetPerfmax = Actuators;

TEST_F(SetPerfmax, ValueOutOfRangeIsReplacedBeforeItIsWritten)
{
    struct Row {
        int value;
        const char* write;
        int applied;
    };

    const Row rows[] = {
        { INT_MIN, "SET_PERF_PREFERENCE_MAX 2000", 2000 },
        { -5, "SET_PERF_PREFERENCE_MAX 2000", 2000 },
        { -1, "SET_PERF_PREFERENCE_MAX 2000", 2000 },
        { 0, "SET_PERF_PREFERENCE_MAX 0", 0 },
        { 1, "SET_PERF_PREFERENCE_MAX 1", 1 },
        { 1200, "SET_PERF_PREFERENCE_MAX 1200", 1200 },
        { 9999, "SET_PERF_PREFERENCE_MAX 9999", 9999 },
        { 10000, "SET_PERF_PREFERENCE_MAX 10000", 10000 },
        { 10001, "SET_PERF_PREFERENCE_MAX 10000", 10000 },
        { 14000, "SET_PERF_PREFERENCE_MAX 10000", 10000 },
        { INT_MAX, "SET_PERF_PREFERENCE_MAX 10000", 10000 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.value);
        appliedPrefMax = 7777;
        machine.forget();

        setPerfmax(row.value);

        EXPECT_THAT(machine.writes(), ElementsAre(row.write));
        EXPECT_EQ(appliedPrefMax, row.applied);
    }
}

TEST_F(SetPerfmax, WritesNothingWhenTheReplacedValueIsInForceAlready)
{
    struct Row {
        int applied;
        int value;
    };

    for (const Row& row :
         { Row{ 10000, 10000 }, Row{ 10000, 20000 }, Row{ 2000, -5 }, Row{ 2000, 2000 }, Row{ 0, 0 } }) {
        SCOPED_TRACE(row.value);
        appliedPrefMax = row.applied;

        setPerfmax(row.value);

        EXPECT_THAT(machine.happened(), IsEmpty());
        EXPECT_EQ(appliedPrefMax, row.applied);
    }
}

TEST_F(SetPerfmax, TenThousandAtTenThousandWritesOnlyAFloorThatIsPending)
{
    for (const int pending : { -1, 1 }) {
        SCOPED_TRACE(pending);
        appliedPrefMax = 10000;
        minPrefReset = pending;
        machine.forget();

        setPerfmax(10000);

        EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MIN 0"));
        EXPECT_EQ(minPrefReset, 0);
    }
}

TEST_F(SetPerfmax, FullPerformanceRemembersTheCeilingThatItReplaces)
{
    struct Row {
        int applied;
        int value;
        int remembered;
    };

    const Row rows[] = {
        { 3000, 10000, 3000 }, { 3000, 10001, 3000 }, { 9999, 10000, 9999 }, { 0, 10000, 0 },
        { 3000, 9999, 555 },   { 10000, 10000, 555 }, { 10000, 3000, 555 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.applied) + " -> " + std::to_string(row.value));
        appliedPrefMax = row.applied;
        PrevPerf = 555;

        setPerfmax(row.value);

        EXPECT_EQ(PrevPerf, row.remembered);
    }
}

TEST_F(SetPerfmax, SwitchesScalingOnAgainAndClearsAPendingClip)
{
    kv_off_f = 0;
    clipPending = 1;

    setPerfmax(1500);

    EXPECT_EQ(kv_off_f, 1);
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(minPrefReset, 0);
    EXPECT_THAT(machine.happened(), ElementsAre("SET_PERF_PREFERENCE_MAX 1500 0"));
}

TEST_F(SetPerfmax, ClearsAPendingClipEvenWhenItWritesNothing)
{
    appliedPrefMax = 1500;
    clipPending = 1;

    setPerfmax(1500);

    EXPECT_EQ(clipPending, 0);
    EXPECT_THAT(machine.happened(), IsEmpty());
}

TEST_F(SetPerfmax, FailedWriteIsReportedOnceAndTakenAsWritten)
{
    for (const std::uint8_t report : { std::uint8_t{ 1 }, std::uint8_t{ 2 } }) {
        SCOPED_TRACE(report);
        g_reportPerfFailures = report;
        appliedPrefMax = 1200;
        machine.answer("SET_PERF_PREFERENCE_MAX", refused);
        machine.forget();

        setPerfmax(3000);

        EXPECT_THAT(machine.happened(), ElementsAre("SET_PERF_PREFERENCE_MAX 3000 1500", failureMessage));
        EXPECT_EQ(appliedPrefMax, 3000);
    }
}

TEST_F(SetPerfmax, FailedFloorIsReportedLikeAFailedCeilingAndNotTriedAgain)
{
    minPrefReset = -1;
    machine.answer("SET_PERF_PREFERENCE_MIN", refused);

    setPerfmax(3000);
    setPerfmax(3100);

    EXPECT_THAT(machine.happened(), ElementsAre("SET_PERF_PREFERENCE_MAX 3000 0", "SET_PERF_PREFERENCE_MIN 0 1500",
                                                failureMessage, "SET_PERF_PREFERENCE_MAX 3100 0"));
}

TEST_F(SetPerfmax, EachOfTwoFailedWritesIsReported)
{
    minPrefReset = -1;
    machine.answer("SET_PERF_PREFERENCE_MAX", refused);
    machine.answer("SET_PERF_PREFERENCE_MIN", refused);

    setPerfmax(3000);

    EXPECT_THAT(machine.happened(), ElementsAre("SET_PERF_PREFERENCE_MAX 3000 1500", failureMessage,
                                                "SET_PERF_PREFERENCE_MIN 0 1500", failureMessage));
}

TEST_F(SetPerfmax, FailuresAreSilentSinceStandby)
{
    g_reportPerfFailures = 0;
    minPrefReset = -1;
    machine.answer("SET_PERF_PREFERENCE_MAX", refused);
    machine.answer("SET_PERF_PREFERENCE_MIN", refused);

    setPerfmax(3000);

    EXPECT_THAT(machine.happened(), ElementsAre("SET_PERF_PREFERENCE_MAX 3000 1500", "SET_PERF_PREFERENCE_MIN 0 1500"));
    EXPECT_EQ(appliedPrefMax, 3000);
}

// Nothing in the service sets Kv_opt to 0; the way is kept for a writer that would.
using SetPerfmaxSwitchedOff = Actuators;

TEST_F(SetPerfmaxSwitchedOff, LetsTheProcessorGoOnce)
{
    Kv_opt = 0;
    appliedPrefMax = 3000;
    clipPending = 1;
    PrevPerf = 555;
    minPrefReset = -1;

    setPerfmax(1200);
    setPerfmax(1300);

    EXPECT_THAT(machine.happened(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000 0", "SET_PERF_PREFERENCE_MIN 0 0"));
    EXPECT_EQ(appliedPrefMax, 10000);
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(kv_off_f, 0);
    EXPECT_EQ(PrevPerf, 555);
    EXPECT_EQ(minPrefReset, -1);
}

TEST_F(SetPerfmaxSwitchedOff, IgnoresThatTheWritesFail)
{
    Kv_opt = 0;
    appliedPrefMax = 3000;
    machine.answer("SET_PERF_PREFERENCE_MAX", refused);
    machine.answer("SET_PERF_PREFERENCE_MIN", refused);

    setPerfmax(1200);

    EXPECT_THAT(machine.happened(),
                ElementsAre("SET_PERF_PREFERENCE_MAX 10000 1500", "SET_PERF_PREFERENCE_MIN 0 1500"));
    EXPECT_EQ(appliedPrefMax, 10000);
}

TEST_F(SetPerfmaxSwitchedOff, WritesNothingWhenFullPerformanceIsInForce)
{
    Kv_opt = 0;
    appliedPrefMax = 10000;
    clipPending = 1;

    setPerfmax(1200);

    EXPECT_THAT(machine.happened(), IsEmpty());
    EXPECT_EQ(appliedPrefMax, 10000);
    EXPECT_EQ(clipPending, 1);
    EXPECT_EQ(kv_off_f, 0);
}

TEST_F(SetPerfmaxSwitchedOff, WritesNothingWhenItIsOffAlready)
{
    Kv_opt = 0;
    kv_off_f = 0;
    appliedPrefMax = 3000;

    setPerfmax(1200);

    EXPECT_THAT(machine.happened(), IsEmpty());
    EXPECT_EQ(appliedPrefMax, 3000);
    EXPECT_EQ(kv_off_f, 0);
}

TEST_F(SetPerfmaxSwitchedOff, WritesAgainOnceItIsSwitchedOn)
{
    Kv_opt = 0;
    appliedPrefMax = 3000;
    setPerfmax(1200);
    Kv_opt = 1;
    machine.forget();

    setPerfmax(1200);

    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 1200"));
    EXPECT_EQ(kv_off_f, 1);
}

using SetPL1 = Actuators;

TEST_F(SetPL1, LogsTheWorkingLimitAndNotTheValueWritten)
{
    cpuPL1 = 16500;

    setPL1(37000);

    EXPECT_THAT(machine.happened(),
                ElementsAre("SET_RAPL_POWER_LIMIT_1 37000 0", "log 2  **** Current CPU PL1 == : 16500"));
    EXPECT_EQ(cpuPL1, 16500);
}

TEST_F(SetPL1, FailureIsAnErrorLineAndNothingElse)
{
    machine.answer("SET_RAPL_POWER_LIMIT_1", refused);

    setPL1(10500);

    EXPECT_THAT(machine.happened(),
                ElementsAre("SET_RAPL_POWER_LIMIT_1 10500 1500", "log 4 OrqCore CpuPowerLimit1 SessionExecute failed"));
    EXPECT_EQ(cpuPL1, 17000);
}

using PL1LevelReset = Actuators;

TEST_F(PL1LevelReset, HandsTheProcessorBackBehindTheControllersBack)
{
    appliedPrefMax = 1200;
    cpuPL1 = 16500;
    pl1ResetLevel = 15500;

    resetPL1Level();

    EXPECT_THAT(machine.happened(), ElementsAre("SET_PERF_PREFERENCE_MIN 0 0", "SET_PERF_PREFERENCE_MAX 10000 0",
                                                "SET_RAPL_POWER_LIMIT_1 15500 0", "log 2 PL1 level reset : 15500"));
    EXPECT_EQ(appliedPrefMax, 1200);
}

TEST_F(PL1LevelReset, DoesNothingWithoutASession)
{
    g_sessionHandle = ~std::uint64_t{ 0 };

    resetPL1Level();

    EXPECT_THAT(machine.happened(), IsEmpty());
}

TEST_F(PL1LevelReset, GoesOnAfterEachFailureWithoutReportingIt)
{
    machine.answer("SET_PERF_PREFERENCE_MIN", refused);
    machine.answer("SET_PERF_PREFERENCE_MAX", refused);
    machine.answer("SET_RAPL_POWER_LIMIT_1", refused);

    resetPL1Level();

    EXPECT_THAT(machine.happened(), ElementsAre("SET_PERF_PREFERENCE_MIN 0 1500", "SET_PERF_PREFERENCE_MAX 10000 1500",
                                                "SET_RAPL_POWER_LIMIT_1 17000 1500", "log 2 PL1 level reset : 17000"));
}

}  // namespace
}  // namespace kelvane::tests
