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

using SetPerfmax = PartOfStep;

struct ValueRow {
    int applied = 7777;
    int value;
    int written;  // -1: nothing
};

class SetPerfmaxValue : public WithRow<SetPerfmax, ValueRow> {};

TEST_ROWS(SetPerfmaxValue, ROW(.value = INT_MIN, .written = 2000), ROW(.value = -5, .written = 2000),
          ROW(.value = -1, .written = 2000), ROW(.value = 0, .written = 0), ROW(.value = 1, .written = 1),
          ROW(.value = 1200, .written = 1200), ROW(.value = 9999, .written = 9999),
          ROW(.value = 10000, .written = 10000), ROW(.value = 10001, .written = 10000),
          ROW(.value = 14000, .written = 10000), ROW(.value = INT_MAX, .written = 10000),
          // nothing when the replaced value is in force already
          ROW(.applied = 10000, .value = 10000, .written = -1), ROW(.applied = 10000, .value = 20000, .written = -1),
          ROW(.applied = 2000, .value = -5, .written = -1), ROW(.applied = 2000, .value = 2000, .written = -1),
          ROW(.applied = 0, .value = 0, .written = -1));

TEST_P(SetPerfmaxValue, OutOfRangeIsReplacedBeforeItIsWritten)
{
    appliedPrefMax = row().applied;

    setPerfmax(row().value);

    std::vector<std::string> writes;
    if (row().written >= 0) writes.push_back("SET_PERF_PREFERENCE_MAX " + std::to_string(row().written));
    EXPECT_EQ(machine.writes(), writes);
    EXPECT_EQ(appliedPrefMax, row().written >= 0 ? row().written : row().applied);
}

struct PendingRow {
    int pending;
};

class SetPerfmaxPending : public WithRow<SetPerfmax, PendingRow> {};

TEST_ROWS(SetPerfmaxPending, ROW(.pending = -1), ROW(.pending = 1));

TEST_P(SetPerfmaxPending, FloorIsAllThatTenThousandAtTenThousandWrites)
{
    appliedPrefMax = 10000;
    minPrefReset = row().pending;

    setPerfmax(10000);

    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MIN 0"));
    EXPECT_EQ(minPrefReset, 0);
}

struct RememberedRow {
    int applied;
    int value;
    int remembered;  // 555 before
};

class SetPerfmaxRemembered : public WithRow<SetPerfmax, RememberedRow> {};

TEST_ROWS(SetPerfmaxRemembered, ROW(.applied = 3000, .value = 10000, .remembered = 3000),
          ROW(.applied = 3000, .value = 10001, .remembered = 3000),
          ROW(.applied = 9999, .value = 10000, .remembered = 9999), ROW(.applied = 0, .value = 10000, .remembered = 0),
          ROW(.applied = 3000, .value = 9999, .remembered = 555),
          ROW(.applied = 10000, .value = 10000, .remembered = 555),
          ROW(.applied = 10000, .value = 3000, .remembered = 555));

TEST_P(SetPerfmaxRemembered, IsTheCeilingThatFullPerformanceReplaces)
{
    appliedPrefMax = row().applied;
    PrevPerf = 555;

    setPerfmax(row().value);

    EXPECT_EQ(PrevPerf, row().remembered);
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

struct FailureRow {
    std::uint8_t report = 1;  // g_reportPerfFailures
    int ceiling = refused;    // status
    int floor = refused;
};

class SetPerfmaxFailure : public WithRow<SetPerfmax, FailureRow> {};

TEST_ROWS(SetPerfmaxFailure, ROW(.ceiling = refused), ROW(.floor = 0), ROW(.ceiling = 0), ROW(.report = 2),
          // silent since standby
          ROW(.report = 0));

TEST_P(SetPerfmaxFailure, IsReportedForEachWriteAndTakenAsWritten)
{
    g_reportPerfFailures = row().report;
    minPrefReset = -1;
    machine.answer("SET_PERF_PREFERENCE_MAX", row().ceiling);
    machine.answer("SET_PERF_PREFERENCE_MIN", row().floor);

    setPerfmax(3000);

    std::vector<std::string> expected = { "SET_PERF_PREFERENCE_MAX 3000 " + std::to_string(row().ceiling) };
    if (row().report != 0 && row().ceiling != 0) expected.push_back(failureMessage);
    expected.push_back("SET_PERF_PREFERENCE_MIN 0 " + std::to_string(row().floor));
    if (row().report != 0 && row().floor != 0) expected.push_back(failureMessage);
    EXPECT_EQ(machine.happened(), expected);
    EXPECT_EQ(appliedPrefMax, 3000);
    EXPECT_EQ(minPrefReset, 0);  // and the floor is not tried again
}

// Nothing in the service sets Kv_opt to 0; the way is kept for a writer that would.
using SetPerfmaxSwitchedOff = PartOfStep;

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

using SetPL1 = PartOfStep;

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

using PL1LevelReset = PartOfStep;

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
