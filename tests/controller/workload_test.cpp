#include "controller/workload.h"
#include "tests/controller/part_of_step.h"

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using WorkloadRead = PartOfStep;

struct ClassRow {
    int workload;
    int PerfRange = 1800;
    int samples = 200;
    int rise = 100;
    std::size_t messages = 0;
};

class WorkloadReadClass : public WithRow<WorkloadRead, ClassRow> {};

TEST_ROWS(WorkloadReadClass, ROW(.workload = INT_MIN), ROW(.workload = -2), ROW(.workload = -1, .messages = 1),
          ROW(.workload = 0), ROW(.workload = 1, .PerfRange = 2000, .samples = 100),
          ROW(.workload = 2, .PerfRange = 2000, .samples = 100),
          ROW(.workload = 3, .PerfRange = 2100, .samples = 100, .rise = 20),
          ROW(.workload = 4, .PerfRange = 4000, .samples = 100, .rise = 20), ROW(.workload = 5), ROW(.workload = 6),
          ROW(.workload = INT_MAX));

TEST_P(WorkloadReadClass, HasItsPreferenceDivisorLimitAndThreshold)
{
    g_workload = row().workload;

    readWorkloadClassification();

    EXPECT_EQ(PerfRange, row().PerfRange);
    EXPECT_EQ(avgSampleLimit, row().samples);
    EXPECT_EQ(pwrDeltaThreshold, row().rise);
    EXPECT_EQ(g_workload, row().workload);
    EXPECT_THAT(machine.messages(), testing::SizeIs(row().messages));
}

TEST_F(WorkloadRead, WhatTheFrameworkAnswersDoesNotReachTheClass)
{
    g_workload = 3;
    machine.socWorkload(4);

    readWorkloadClassification();

    EXPECT_EQ(g_workload, 3);
    EXPECT_EQ(PerfRange, 2100);
    EXPECT_THAT(machine.happened(), ElementsAre("GET_SOC_WORKLOAD 4 0"));
}

TEST_F(WorkloadRead, FailedReadIsNeitherReportedNorRepeated)
{
    g_workload = 3;
    machine.answer("GET_SOC_WORKLOAD", 1500);

    readWorkloadClassification();

    EXPECT_EQ(g_workload, 3);
    EXPECT_EQ(PerfRange, 2100);
    EXPECT_THAT(machine.happened(), ElementsAre("GET_SOC_WORKLOAD 1500"));
}

TEST_F(WorkloadRead, ClassOfAllOnesIsAnErrorInEveryStep)
{
    g_workload = -1;

    readWorkloadClassification();
    readWorkloadClassification();

    EXPECT_THAT(machine.happened(),
                ElementsAre("GET_SOC_WORKLOAD 0 0", "log 4 workload classification is failed : -1",
                            "GET_SOC_WORKLOAD 0 0", "log 4 workload classification is failed : -1"));
    EXPECT_EQ(g_workload, -1);
}

class PowerSlider : public PartOfStep {
protected:
    void moveTo(int position)
    {
        g_powerSlider = position;
        g_powerSliderChanged = 1;
        readWorkloadClassification();
    }
};

struct BandRow {
    int position;
    int positionAfter = position;
    int workload = 3;  // whose preferences are 1600, 2100 and 2600
    int Kv_opt;
    int PL1;
    int PerfRange;
    int cpuPL1 = 16000;  // as before
};

class PowerSliderBand : public WithRow<PowerSlider, BandRow> {};

TEST_ROWS(PowerSliderBand, ROW(.position = INT_MIN, .positionAfter = 75, .Kv_opt = 3, .PL1 = 17000, .PerfRange = 2100),
          ROW(.position = -1, .positionAfter = 75, .Kv_opt = 3, .PL1 = 17000, .PerfRange = 2100),
          ROW(.position = 0, .positionAfter = 75, .Kv_opt = 3, .PL1 = 17000, .PerfRange = 2100),
          ROW(.position = 1, .Kv_opt = 2, .PL1 = 10500, .PerfRange = 1600),
          ROW(.position = 50, .Kv_opt = 2, .PL1 = 10500, .PerfRange = 1600),
          ROW(.position = 51, .Kv_opt = 3, .PL1 = 17000, .PerfRange = 2100, .cpuPL1 = 17000),
          ROW(.position = 99, .Kv_opt = 3, .PL1 = 17000, .PerfRange = 2100, .cpuPL1 = 17000),
          ROW(.position = 100, .Kv_opt = 1, .PL1 = 37000, .PerfRange = 2600),
          ROW(.position = 101, .Kv_opt = 1, .PL1 = 37000, .PerfRange = 2600),
          ROW(.position = INT_MAX, .Kv_opt = 1, .PL1 = 37000, .PerfRange = 2600),
          // the outer bands take the low and the high preference of each class
          ROW(.position = 25, .workload = 0, .Kv_opt = 2, .PL1 = 10500, .PerfRange = 1300),
          ROW(.position = 25, .workload = 1, .Kv_opt = 2, .PL1 = 10500, .PerfRange = 1500),
          ROW(.position = 25, .workload = 2, .Kv_opt = 2, .PL1 = 10500, .PerfRange = 1500),
          ROW(.position = 25, .workload = 4, .Kv_opt = 2, .PL1 = 10500, .PerfRange = 3500),
          ROW(.position = 25, .workload = 5, .Kv_opt = 2, .PL1 = 10500, .PerfRange = 1300),
          ROW(.position = 100, .workload = 0, .Kv_opt = 1, .PL1 = 37000, .PerfRange = 2300),
          ROW(.position = 100, .workload = 1, .Kv_opt = 1, .PL1 = 37000, .PerfRange = 2500),
          ROW(.position = 100, .workload = 2, .Kv_opt = 1, .PL1 = 37000, .PerfRange = 2500),
          ROW(.position = 100, .workload = 4, .Kv_opt = 1, .PL1 = 37000, .PerfRange = 4500),
          ROW(.position = 100, .workload = -1, .Kv_opt = 1, .PL1 = 37000, .PerfRange = 2300),
          ROW(.position = 75, .workload = 4, .Kv_opt = 3, .PL1 = 17000, .PerfRange = 4000, .cpuPL1 = 17000),
          ROW(.position = 0, .positionAfter = 75, .workload = 4, .Kv_opt = 3, .PL1 = 17000, .PerfRange = 4000));

TEST_P(PowerSliderBand, SetsModePL1AndPreference)
{
    g_workload = row().workload;
    Kv_opt = 7;
    cpuPL1 = 16000;

    moveTo(row().position);

    EXPECT_EQ(g_powerSlider, row().positionAfter);
    EXPECT_EQ(g_powerSliderChanged, 0);
    EXPECT_EQ(Kv_opt, row().Kv_opt);
    EXPECT_THAT(machine.writes(), ElementsAre("SET_RAPL_POWER_LIMIT_1 " + std::to_string(row().PL1)));
    EXPECT_EQ(PerfRange, row().PerfRange);
    EXPECT_EQ(cpuPL1, row().cpuPL1);
}

// The line shows the limit that the controller works with, before the slider's own band sets it.
TEST_F(PowerSlider, WorkingLimitIsSetAfterPL1WasWritten)
{
    cpuPL1 = 16000;

    moveTo(51);

    EXPECT_THAT(machine.happened(), ElementsAre("GET_SOC_WORKLOAD 0 0", "SET_RAPL_POWER_LIMIT_1 17000 0",
                                                "log 2  **** Current CPU PL1 == : 16000"));
    EXPECT_EQ(cpuPL1, 17000);
}

TEST_F(PowerSlider, FailedPL1IsReportedAndTheBandTakenAllTheSame)
{
    machine.answer("SET_RAPL_POWER_LIMIT_1", 1500);

    moveTo(100);

    EXPECT_THAT(machine.messages(), Contains("4 OrqCore CpuPowerLimit1 SessionExecute failed"));
    EXPECT_EQ(Kv_opt, 1);
    EXPECT_EQ(PerfRange, 2300);
    EXPECT_EQ(g_powerSliderChanged, 0);
}

TEST_F(PowerSlider, NothingHappensUntilItMoves)
{
    g_powerSlider = 100;
    g_powerSliderChanged = 0;

    readWorkloadClassification();

    EXPECT_THAT(machine.writes(), IsEmpty());
    EXPECT_EQ(Kv_opt, 3);
    EXPECT_EQ(PerfRange, 1800);
    EXPECT_EQ(g_powerSlider, 100);
}

TEST_F(PowerSlider, MoveIsTakenOnce)
{
    moveTo(25);
    machine.forget();

    readWorkloadClassification();

    EXPECT_THAT(machine.writes(), IsEmpty());
    EXPECT_EQ(Kv_opt, 2);
    EXPECT_EQ(PerfRange, 1800);
}

}  // namespace
}  // namespace kelvane::tests
