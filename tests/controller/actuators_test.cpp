#include "controller/actuators.h"
#include "tests/controller/part_of_step.h"

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

class SetPerfmax : public PartOfStep {
protected:
    void refuseWrites()
    {
        machine.answer("SET_PERF_PREFERENCE_MAX", refused);
        machine.answer("SET_PERF_PREFERENCE_MIN", refused);
        machine.answer("SET_RAPL_POWER_LIMIT_1", refused);
    }
};

struct CeilingRow {
    int before = 7777;
    int value;
    int after;
    int remembered = 555;  // PrevPerf; 555: as it was
};

class WrittenCeiling : public WithRow<SetPerfmax, CeilingRow> {};

TEST_ROWS(WrittenCeiling,
          // a value out of range is replaced before it is written
          ROW(.value = INT_MIN, .after = 2000), ROW(.value = -5, .after = 2000), ROW(.value = -1, .after = 2000),
          ROW(.value = 0, .after = 0), ROW(.value = 1, .after = 1), ROW(.value = 1200, .after = 1200),
          ROW(.value = 9999, .after = 9999),
          // full performance remembers the ceiling that it replaces
          ROW(.value = 10000, .after = 10000, .remembered = 7777),
          ROW(.value = 10001, .after = 10000, .remembered = 7777),
          ROW(.value = 14000, .after = 10000, .remembered = 7777),
          ROW(.value = INT_MAX, .after = 10000, .remembered = 7777),
          ROW(.before = 9999, .value = 10000, .after = 10000, .remembered = 9999),
          ROW(.before = 0, .value = 10000, .after = 10000, .remembered = 0),
          ROW(.before = 10000, .value = 3000, .after = 3000));

TEST_ROW(WrittenCeiling, IsInRange)
{
    appliedPrefMax = row().before;
    PrevPerf = 555;
    clipPending = 1;
    kv_off_f = 0;

    setPerfmax(row().value);

    EXPECT_THAT(machine.happened(), ElementsAre("SET_PERF_PREFERENCE_MAX " + std::to_string(row().after) + " 0"));
    EXPECT_EQ(appliedPrefMax, row().after);
    EXPECT_EQ(PrevPerf, row().remembered);
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(kv_off_f, 1);  // scaling is on again
    EXPECT_EQ(minPrefReset, 0);
}

class UnchangedCeiling : public WithRow<SetPerfmax, CeilingRow> {};

TEST_ROWS(UnchangedCeiling, ROW(.before = 10000, .value = 10000, .after = 10000),
          ROW(.before = 10000, .value = 20000, .after = 10000), ROW(.before = 2000, .value = -5, .after = 2000),
          ROW(.before = 2000, .value = 2000, .after = 2000), ROW(.before = 0, .value = 0, .after = 0));

TEST_ROW(UnchangedCeiling, IsNotWrittenAgainButAFloorThatIsPending)
{
    appliedPrefMax = row().before;
    PrevPerf = 555;
    clipPending = 1;

    setPerfmax(row().value);

    EXPECT_THAT(machine.happened(), IsEmpty());
    EXPECT_EQ(appliedPrefMax, row().after);
    EXPECT_EQ(PrevPerf, 555);
    EXPECT_EQ(clipPending, 0);

    minPrefReset = 1;
    setPerfmax(row().value);

    EXPECT_THAT(machine.happened(), ElementsAre("SET_PERF_PREFERENCE_MIN 0 0"));
    EXPECT_EQ(minPrefReset, 0);
}

TEST_F(SetPerfmax, EachFailedWriteIsReportedAndTakenAsWritten)
{
    minPrefReset = -1;
    refuseWrites();

    setPerfmax(3000);
    g_reportPerfFailures = 2;
    setPerfmax(3100);

    EXPECT_THAT(machine.happened(),
                ElementsAre("SET_PERF_PREFERENCE_MAX 3000 1500", failureMessage, "SET_PERF_PREFERENCE_MIN 0 1500",
                            failureMessage, "SET_PERF_PREFERENCE_MAX 3100 1500", failureMessage));
    EXPECT_EQ(appliedPrefMax, 3100);
}

TEST_F(SetPerfmax, FailedFloorIsReportedLikeAFailedCeiling)
{
    minPrefReset = -1;
    machine.answer("SET_PERF_PREFERENCE_MIN", refused);

    setPerfmax(3000);

    EXPECT_THAT(machine.happened(),
                ElementsAre("SET_PERF_PREFERENCE_MAX 3000 0", "SET_PERF_PREFERENCE_MIN 0 1500", failureMessage));
}

TEST_F(SetPerfmax, FailuresAreSilentSinceStandby)
{
    g_reportPerfFailures = 0;
    minPrefReset = -1;
    refuseWrites();

    setPerfmax(3000);

    EXPECT_THAT(machine.happened(), ElementsAre("SET_PERF_PREFERENCE_MAX 3000 1500", "SET_PERF_PREFERENCE_MIN 0 1500"));
    EXPECT_EQ(appliedPrefMax, 3000);
}

// Nothing in the service sets Kv_opt to 0; the way is kept for a writer that would.
class SetPerfmaxSwitchedOff : public SetPerfmax {
protected:
    SetPerfmaxSwitchedOff()
    {
        Kv_opt = 0;
        appliedPrefMax = 3000;
        clipPending = 1;
    }
};

TEST_F(SetPerfmaxSwitchedOff, LetsTheProcessorGoOnceUntilItIsSwitchedOn)
{
    PrevPerf = 555;
    minPrefReset = -1;
    machine.watch({ WATCHED(appliedPrefMax), WATCHED(clipPending) });

    setPerfmax(1200);
    setPerfmax(1300);

    EXPECT_THAT(machine.happened(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000 0", "store appliedPrefMax 10000",
                                                "store clipPending 0", "SET_PERF_PREFERENCE_MIN 0 0"));
    EXPECT_EQ(appliedPrefMax, 10000);
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(kv_off_f, 0);
    EXPECT_EQ(PrevPerf, 555);
    EXPECT_EQ(minPrefReset, -1);

    Kv_opt = 1;
    minPrefReset = 0;
    machine.forget();
    setPerfmax(1200);

    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 1200"));
    EXPECT_EQ(kv_off_f, 1);
}

TEST_F(SetPerfmaxSwitchedOff, IgnoresThatTheWritesFail)
{
    refuseWrites();

    setPerfmax(1200);

    EXPECT_THAT(machine.happened(),
                ElementsAre("SET_PERF_PREFERENCE_MAX 10000 1500", "SET_PERF_PREFERENCE_MIN 0 1500"));
    EXPECT_EQ(appliedPrefMax, 10000);
}

TEST_F(SetPerfmaxSwitchedOff, WritesNothingWhenFullPerformanceIsInForce)
{
    appliedPrefMax = 10000;

    setPerfmax(1200);

    EXPECT_THAT(machine.happened(), IsEmpty());
    EXPECT_EQ(appliedPrefMax, 10000);
    EXPECT_EQ(clipPending, 1);
    EXPECT_EQ(kv_off_f, 0);
}

TEST_F(SetPerfmaxSwitchedOff, WritesNothingWhenItIsOffAlready)
{
    kv_off_f = 0;

    setPerfmax(1200);

    EXPECT_THAT(machine.happened(), IsEmpty());
    EXPECT_EQ(appliedPrefMax, 3000);
    EXPECT_EQ(kv_off_f, 0);
}

class PL1 : public SetPerfmax {
protected:
    PL1()
    {
        appliedPrefMax = 1200;
        cpuPL1 = 16500;
        pl1ResetLevel = 15500;
    }
};

TEST_F(PL1, WriteLogsTheWorkingLimitAndNotTheValueWritten)
{
    setPL1(37000);

    EXPECT_THAT(machine.happened(),
                ElementsAre("SET_RAPL_POWER_LIMIT_1 37000 0", "log 2  **** Current CPU PL1 == : 16500"));
    EXPECT_EQ(cpuPL1, 16500);
}

TEST_F(PL1, FailedWriteIsAnErrorLineAndNothingElse)
{
    refuseWrites();

    setPL1(10500);

    EXPECT_THAT(machine.happened(),
                ElementsAre("SET_RAPL_POWER_LIMIT_1 10500 1500", "log 4 OrqCore CpuPowerLimit1 SessionExecute failed"));
    EXPECT_EQ(cpuPL1, 16500);
}

TEST_F(PL1, ResetHandsTheProcessorBackBehindTheControllersBack)
{
    resetPL1Level();

    EXPECT_THAT(machine.happened(), ElementsAre("SET_PERF_PREFERENCE_MIN 0 0", "SET_PERF_PREFERENCE_MAX 10000 0",
                                                "SET_RAPL_POWER_LIMIT_1 15500 0", "log 2 PL1 level reset : 15500"));
    EXPECT_EQ(appliedPrefMax, 1200);
}

TEST_F(PL1, ResetDoesNothingWithoutASession)
{
    g_sessionHandle = ~std::uint64_t{ 0 };

    resetPL1Level();

    EXPECT_THAT(machine.happened(), IsEmpty());
}

TEST_F(PL1, ResetGoesOnAfterEachFailureWithoutReportingIt)
{
    refuseWrites();

    resetPL1Level();

    EXPECT_THAT(machine.happened(), ElementsAre("SET_PERF_PREFERENCE_MIN 0 1500", "SET_PERF_PREFERENCE_MAX 10000 1500",
                                                "SET_RAPL_POWER_LIMIT_1 15500 1500", "log 2 PL1 level reset : 15500"));
}

}  // namespace
}  // namespace kelvane::tests
