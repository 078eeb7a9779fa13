// The status lines, the mode change, and what is cleared before the branches.
#include "controller/control_step.h"
#include "state/state.h"

#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <string>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

class ControlStepStatus : public testing::Test {
protected:
    SimulatedMachine machine;
    LoopState loop;
};

using LogStatus = ControlStepStatus;

TEST_F(LogStatus, TwoLinesShowTheStep)
{
    Kv_opt = 2;
    PID_Change = 1;
    g_powerSlider = 25;
    exitCount = -1;
    NewPID = 2;
    acMode = 255;
    loop.PostPID = 1;
    loop.clipCount = 4;
    pwrSum = 10001;
    avgCount = 4;

    logStatus(loop);

    EXPECT_THAT(machine.happened(),
                ElementsAre("log 2  * Kv_opt ==2 ** PID_Change ==: 1 ** g_powerSlider =: 25 ** exitCount =: -1",
                            "log 2  ** NewPID = 2 ** AC Mode = 255 ** PostPID = 1 ** Clip Count ==4 ** Avg Pwr==2500"));
}

TEST_F(LogStatus, AverageIsSignedTruncatedAndWide)
{
    struct Row {
        std::int64_t pwrSum;
        int avgCount;
        std::int64_t avgPwr;
    };

    for (const Row& row :
         { Row{ -7, 2, -3 }, Row{ 7, 2, 3 }, Row{ 6'000'000'000'001, 2, 3'000'000'000'000 }, Row{ 0, 1, 0 } }) {
        pwrSum = row.pwrSum;
        avgCount = row.avgCount;

        logStatus(loop);

        EXPECT_THAT(machine.happened().back(), EndsWith(" ** Avg Pwr==" + std::to_string(row.avgPwr)));
    }
}

using ModeChange = ControlStepStatus;

TEST_F(ModeChange, StartsTheStatisticsAfreshWhenScalingIsSwitchedOffOrOn)
{
    struct Row {
        int Kv_opt;
        int kv_off_f;
        const char* line;  // null: nothing changed
    };

    const Row rows[] = {
        { 0, 1, "log 2  *** Mode change avg pwr reset kv_opt = 0kv_off_f = 1" },
        { 3, 0, "log 2  *** Mode change avg pwr reset kv_opt = 3kv_off_f = 0" },
        { 1, 0, "log 2  *** Mode change avg pwr reset kv_opt = 1kv_off_f = 0" },
        { 0, 0, nullptr },
        { 3, 1, nullptr },
        { 2, 1, nullptr },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.Kv_opt) + std::to_string(row.kv_off_f));
        Kv_opt = row.Kv_opt;
        kv_off_f = row.kv_off_f;
        pwrSum = 111;
        prefSum = 222;
        avgCount = 3;
        clipSum = 4;
        machine.forget();

        noteModeChange();

        if (row.line) {
            EXPECT_THAT(machine.happened(), ElementsAre(row.line));
        } else {
            EXPECT_THAT(machine.happened(), IsEmpty());
        }
        EXPECT_EQ(pwrSum, row.line ? 0 : 111);
        EXPECT_EQ(prefSum, row.line ? 0 : 222);
        EXPECT_EQ(avgCount, row.line ? 0 : 3);
        EXPECT_EQ(clipSum, 4);
        EXPECT_EQ(kv_off_f, row.kv_off_f);
    }
}

using ClearStepInputs = ControlStepStatus;

TEST_F(ClearStepInputs, ForgetsTheProcessStartsAndStartsTheStepsLocals)
{
    setProcessName("notepad.exe");
    noOfPids = 3;
    activeIdle = 1;
    g_trackedProcessIdCount = 2;
    g_trackedProcessSeen = 1;
    PID_Change = 1;
    pkgPowerPrev = 4321;
    loop.DeltaPkgpwr = 5;
    loop.incnttype = 3;
    loop.prev = 0;

    clearStepInputs();
    preparePowers(loop);

    EXPECT_EQ(processName(), "");
    EXPECT_EQ(noOfPids, 0);
    EXPECT_EQ(activeIdle, 0);
    EXPECT_EQ(g_trackedProcessIdCount, 0);
    EXPECT_EQ(loop.DeltaPkgpwr, 0);
    EXPECT_EQ(loop.incnttype, 0);
    EXPECT_EQ(loop.prev, 4321);
    EXPECT_EQ(g_trackedProcessSeen, 1);
    EXPECT_EQ(PID_Change, 1);
    EXPECT_THAT(machine.happened(), IsEmpty());
}

}  // namespace
}  // namespace kelvane::tests
