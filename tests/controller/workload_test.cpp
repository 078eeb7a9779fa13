#include "controller/workload.h"
#include "tests/controller/part_of_step.h"

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class WorkloadRead : public PartOfStep {
protected:
    void readWithSliderAt(int position)
    {
        g_powerSlider = position;
        g_powerSliderChanged = 1;
        readWorkloadClassification();
    }
};

// What each class asks for: preference in the slider's bands, samples, rise in mW.
struct ClassRow {
    int workload;
    int low = 1300;
    int mid = 1800;
    int high = 2300;
    int samples = 200;
    int rise = 100;
    std::size_t errors = 0;
};

class WorkloadClass : public WithRow<WorkloadRead, ClassRow> {
protected:
    WorkloadClass() { g_workload = row().workload; }
};

TEST_ROWS(WorkloadClass, ROW(.workload = 1, .low = 1500, .mid = 2000, .high = 2500, .samples = 100),
          ROW(.workload = 2, .low = 1500, .mid = 2000, .high = 2500, .samples = 100),
          ROW(.workload = 3, .low = 1600, .mid = 2100, .high = 2600, .samples = 100, .rise = 20),
          ROW(.workload = 4, .low = 3500, .mid = 4000, .high = 4500, .samples = 100, .rise = 20),
          // any other
          ROW(.workload = 0), ROW(.workload = 5), ROW(.workload = 6), ROW(.workload = INT_MAX),
          ROW(.workload = INT_MIN), ROW(.workload = -2), ROW(.workload = -1, .errors = 1));

TEST_ROW(WorkloadClass, HasItsPreferenceDivisorLimitAndThreshold)
{
    readWorkloadClassification();

    EXPECT_EQ(PerfRange, row().mid);
    EXPECT_EQ(avgSampleLimit, row().samples);
    EXPECT_EQ(pwrDeltaThreshold, row().rise);
    EXPECT_EQ(g_workload, row().workload);
    EXPECT_THAT(machine.messages(), SizeIs(row().errors));
}

TEST_ROW(WorkloadClass, HasALowAndAHighPreferenceForTheSlidersOuterBands)
{
    readWithSliderAt(25);
    EXPECT_EQ(PerfRange, row().low);
    readWithSliderAt(75);
    EXPECT_EQ(PerfRange, row().mid);
    readWithSliderAt(100);
    EXPECT_EQ(PerfRange, row().high);
    readWithSliderAt(0);
    EXPECT_EQ(PerfRange, row().mid);
}

TEST_F(WorkloadRead, NeitherTheFrameworksAnswerNorItsFailureReachesTheClass)
{
    g_workload = 3;
    machine.socWorkload(4);
    readWorkloadClassification();
    machine.answer("GET_SOC_WORKLOAD", 1500);
    readWorkloadClassification();

    EXPECT_EQ(g_workload, 3);
    EXPECT_EQ(PerfRange, 2100);
    EXPECT_THAT(machine.happened(), ElementsAre("GET_SOC_WORKLOAD 4 0", "GET_SOC_WORKLOAD 1500"));
}

TEST_F(WorkloadRead, ClassOfAllOnesIsAnErrorInEveryStep)
{
    g_workload = -1;

    readWorkloadClassification();
    readWorkloadClassification();

    EXPECT_THAT(machine.happened(),
                ElementsAre("GET_SOC_WORKLOAD 0 0", "log 4 workload classification is failed : -1",
                            "GET_SOC_WORKLOAD 0 0", "log 4 workload classification is failed : -1"));
}

struct SliderRow {
    int position;
    int after;
    int Kv_opt;
    int PL1;
    int PerfRange;       // of a class whose preferences are 1600, 2100 and 2600
    int cpuPL1 = 16000;  // as before
};

class PowerSlider : public WithRow<WorkloadRead, SliderRow> {};

TEST_ROWS(PowerSlider, ROW(.position = INT_MIN, .after = 75, .Kv_opt = 3, .PL1 = 17000, .PerfRange = 2100),
          ROW(.position = -1, .after = 75, .Kv_opt = 3, .PL1 = 17000, .PerfRange = 2100),
          ROW(.position = 0, .after = 75, .Kv_opt = 3, .PL1 = 17000, .PerfRange = 2100),
          ROW(.position = 1, .after = 1, .Kv_opt = 2, .PL1 = 10500, .PerfRange = 1600),
          ROW(.position = 50, .after = 50, .Kv_opt = 2, .PL1 = 10500, .PerfRange = 1600),
          ROW(.position = 51, .after = 51, .Kv_opt = 3, .PL1 = 17000, .PerfRange = 2100, .cpuPL1 = 17000),
          ROW(.position = 99, .after = 99, .Kv_opt = 3, .PL1 = 17000, .PerfRange = 2100, .cpuPL1 = 17000),
          ROW(.position = 100, .after = 100, .Kv_opt = 1, .PL1 = 37000, .PerfRange = 2600),
          ROW(.position = 101, .after = 101, .Kv_opt = 1, .PL1 = 37000, .PerfRange = 2600),
          ROW(.position = INT_MAX, .after = INT_MAX, .Kv_opt = 1, .PL1 = 37000, .PerfRange = 2600));

TEST_ROW(PowerSlider, SetsModeAndPL1ByItsBandOnce)
{
    g_workload = 3;
    Kv_opt = 7;
    cpuPL1 = 16000;

    readWithSliderAt(row().position);

    EXPECT_EQ(g_powerSlider, row().after);
    EXPECT_EQ(g_powerSliderChanged, 0);
    EXPECT_EQ(Kv_opt, row().Kv_opt);
    EXPECT_EQ(PerfRange, row().PerfRange);
    EXPECT_EQ(cpuPL1, row().cpuPL1);
    // The line shows the limit that the controller works with, before the slider's own band sets it.
    EXPECT_THAT(machine.happened(),
                ElementsAre("GET_SOC_WORKLOAD 0 0", "SET_RAPL_POWER_LIMIT_1 " + std::to_string(row().PL1) + " 0",
                            "log 2  **** Current CPU PL1 == : 16000"));

    machine.forget();
    readWorkloadClassification();

    EXPECT_THAT(machine.writes(), IsEmpty());
    EXPECT_EQ(Kv_opt, row().Kv_opt);
    EXPECT_EQ(PerfRange, 2100);
}

TEST_F(WorkloadRead, FailedPL1IsReportedAndTheBandTakenAllTheSame)
{
    machine.answer("SET_RAPL_POWER_LIMIT_1", 1500);

    readWithSliderAt(100);

    EXPECT_THAT(machine.messages(), ElementsAre("4 OrqCore CpuPowerLimit1 SessionExecute failed"));
    EXPECT_EQ(Kv_opt, 1);
    EXPECT_EQ(PerfRange, 2300);
    EXPECT_EQ(g_powerSliderChanged, 0);
}

TEST_F(WorkloadRead, SliderThatDidNotMoveChangesNothing)
{
    g_powerSlider = 100;

    readWorkloadClassification();

    EXPECT_THAT(machine.writes(), IsEmpty());
    EXPECT_EQ(Kv_opt, 3);
    EXPECT_EQ(PerfRange, 1800);
    EXPECT_EQ(g_powerSlider, 100);
}

}  // namespace
}  // namespace kelvane::tests
