#include "controller/state.h"
#include "controller/workload.h"
#include "state/state.h"

#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class WorkloadRead : public testing::Test {
protected:
    SimulatedMachine machine;
};

TEST_F(WorkloadRead, EachClassHasItsPreferenceDivisorLimitAndThreshold)
{
    struct Row {
        int workload;
        int PerfRange;
        int avgSampleLimit;
        int pwrDeltaThreshold;
    };

    const Row rows[] = {
        // class, preference, samples, rise mW
        { INT_MIN, 1800, 200, 100 }, { -2, 1800, 200, 100 }, { -1, 1800, 200, 100 },      { 0, 1800, 200, 100 },
        { 1, 2000, 100, 100 },       { 2, 2000, 100, 100 },  { 3, 2100, 100, 20 },        { 4, 4000, 100, 20 },
        { 5, 1800, 200, 100 },       { 6, 1800, 200, 100 },  { INT_MAX, 1800, 200, 100 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.workload);
        g_workload = row.workload;
        PerfRange = 7;
        avgSampleLimit = 7;
        pwrDeltaThreshold = 7;

        readWorkloadClassification();

        EXPECT_EQ(PerfRange, row.PerfRange);
        EXPECT_EQ(avgSampleLimit, row.avgSampleLimit);
        EXPECT_EQ(pwrDeltaThreshold, row.pwrDeltaThreshold);
        EXPECT_EQ(g_workload, row.workload);
    }
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

TEST_F(WorkloadRead, NoOtherClassIsAnError)
{
    for (const int workload : { -2, 0, 1, 5, INT_MAX, INT_MIN }) {
        g_workload = workload;

        readWorkloadClassification();

        EXPECT_THAT(machine.messages(), IsEmpty()) << workload;
    }
}

using PowerSlider = WorkloadRead;

TEST_F(PowerSlider, EachBandSetsModeAndPL1)
{
    struct Row {
        int position;
        int positionAfter;
        int Kv_opt;
        const char* write;
        int PerfRange;  // of a class whose preferences are 1600, 2100 and 2600
        int cpuPL1;     // 16000 before
    };

    const Row rows[] = {
        { INT_MIN, 75, 3, "SET_RAPL_POWER_LIMIT_1 17000", 2100, 16000 },
        { -1, 75, 3, "SET_RAPL_POWER_LIMIT_1 17000", 2100, 16000 },
        { 0, 75, 3, "SET_RAPL_POWER_LIMIT_1 17000", 2100, 16000 },
        { 1, 1, 2, "SET_RAPL_POWER_LIMIT_1 10500", 1600, 16000 },
        { 50, 50, 2, "SET_RAPL_POWER_LIMIT_1 10500", 1600, 16000 },
        { 51, 51, 3, "SET_RAPL_POWER_LIMIT_1 17000", 2100, 17000 },
        { 99, 99, 3, "SET_RAPL_POWER_LIMIT_1 17000", 2100, 17000 },
        { 100, 100, 1, "SET_RAPL_POWER_LIMIT_1 37000", 2600, 16000 },
        { 101, 101, 1, "SET_RAPL_POWER_LIMIT_1 37000", 2600, 16000 },
        { INT_MAX, INT_MAX, 1, "SET_RAPL_POWER_LIMIT_1 37000", 2600, 16000 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.position);
        g_workload = 3;
        g_powerSlider = row.position;
        g_powerSliderChanged = 1;
        Kv_opt = 7;
        cpuPL1 = 16000;
        machine.forget();

        readWorkloadClassification();

        EXPECT_EQ(g_powerSlider, row.positionAfter);
        EXPECT_EQ(g_powerSliderChanged, 0);
        EXPECT_EQ(Kv_opt, row.Kv_opt);
        EXPECT_THAT(machine.writes(), ElementsAre(row.write));
        EXPECT_EQ(PerfRange, row.PerfRange);
        EXPECT_EQ(cpuPL1, row.cpuPL1);
    }
}

TEST_F(PowerSlider, OuterBandsTakeTheLowAndHighPreferenceOfEachClass)
{
    struct Row {
        int workload;
        int low;
        int mid;
        int high;
    };

    const Row rows[] = {
        { 0, 1300, 1800, 2300 }, { 1, 1500, 2000, 2500 }, { 2, 1500, 2000, 2500 },  { 3, 1600, 2100, 2600 },
        { 4, 3500, 4000, 4500 }, { 5, 1300, 1800, 2300 }, { -1, 1300, 1800, 2300 },
    };
    const auto readAt = [](int position) {
        g_powerSlider = position;
        g_powerSliderChanged = 1;
        readWorkloadClassification();
        return PerfRange;
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.workload);
        g_workload = row.workload;

        EXPECT_EQ(readAt(25), row.low);
        EXPECT_EQ(readAt(75), row.mid);
        EXPECT_EQ(readAt(100), row.high);
        EXPECT_EQ(readAt(0), row.mid);
    }
}

TEST_F(PowerSlider, PositionZeroBecomesSeventyFiveWithPL1Of17000)
{
    g_powerSliderChanged = 1;

    readWorkloadClassification();

    EXPECT_EQ(g_powerSlider, 75);
    EXPECT_EQ(Kv_opt, 3);
    EXPECT_THAT(machine.writes(), ElementsAre("SET_RAPL_POWER_LIMIT_1 17000"));
}

// The line shows the limit that the controller works with, before the slider's own band sets it.
TEST_F(PowerSlider, WorkingLimitIsSetAfterPL1WasWritten)
{
    g_powerSlider = 51;
    g_powerSliderChanged = 1;
    cpuPL1 = 16000;

    readWorkloadClassification();

    EXPECT_THAT(machine.happened(), ElementsAre("GET_SOC_WORKLOAD 0 0", "SET_RAPL_POWER_LIMIT_1 17000 0",
                                                "log 2  **** Current CPU PL1 == : 16000"));
    EXPECT_EQ(cpuPL1, 17000);
}

TEST_F(PowerSlider, FailedPL1IsReportedAndTheBandTakenAllTheSame)
{
    g_powerSlider = 100;
    g_powerSliderChanged = 1;
    machine.answer("SET_RAPL_POWER_LIMIT_1", 1500);

    readWorkloadClassification();

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
    g_powerSlider = 25;
    g_powerSliderChanged = 1;
    readWorkloadClassification();
    machine.forget();

    readWorkloadClassification();

    EXPECT_THAT(machine.writes(), IsEmpty());
    EXPECT_EQ(Kv_opt, 2);
    EXPECT_EQ(PerfRange, 1800);
}

}  // namespace
}  // namespace kelvane::tests
