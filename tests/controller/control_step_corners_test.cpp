// What a step's phases owe to their order, and what comes from other threads in the pauses of a step.
#include "controller/branches.h"
#include "controller/control_step.h"
#include "controller/workload.h"

#include "tests/controller/part_of_step.h"

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

using ControlStepCorners = PartOfStep;

// At 16 W the ceiling phase lifts prefMax from 1200 to PerfRange, and nothing is left for the new class to reset.
TEST_F(ControlStepCorners, PowerCeilingComesBeforeTheResetForAWorkloadChange)
{
    machine.power(16000);
    appliedPrefMax = 1200;
    pkgPowerPrev = 16000;
    g_workloadEventSeen = 1;

    controlStep(loop);

    EXPECT_THAT(machine.messages(), Contains(HasSubstr("**** New pkgPower ==16000 prefMax = 1200")));
    EXPECT_THAT(machine.messages(), Not(Contains(HasSubstr("PIDx 3 reset WLC"))));
    EXPECT_EQ(g_workloadEventSeen, 0);
}

TEST_F(ControlStepCorners, ModeChangeIsNotedBeforeTheProcessStart)
{
    machine.power(3000);
    pkgPowerPrev = 3000;
    kv_off_f = 0;
    PID_Change = 1;

    controlStep(loop);

    std::vector<std::string> order;
    for (const std::string& message : machine.messages()) {
        if (message.find("Mode change") != std::string::npos) order.emplace_back("mode change");
        if (message.find("PIDx- 0 PIC") != std::string::npos) order.emplace_back("process start");
    }
    EXPECT_THAT(order, ElementsAre("mode change", "process start"));
}

TEST_F(ControlStepCorners, SliderFlagIsClearedAfterThePowerLimitIsWritten)
{
    g_powerSlider = 20;
    g_powerSliderChanged = 1;
    machine.watch({ WATCHED(g_powerSliderChanged), WATCHED(PerfRange) });

    readWorkloadClassification();

    EXPECT_THAT(machine.happened(),
                ElementsAre("GET_SOC_WORKLOAD 0 0", "store PerfRange 1800", "store PerfRange 1300",
                            "SET_RAPL_POWER_LIMIT_1 10500 0", "log 2  **** Current CPU PL1 == : 17000",
                            "store g_powerSliderChanged 0"));
}

// A low floor does not keep the step up for a new workload from the floor: it comes after.
TEST_F(ControlStepCorners, FloorComesBeforeTheStepUpForANewWorkload)
{
    pkgPower = 3000;
    pkgPowerPrev = 3000;
    loop.prev = 3000;
    pwrCeiling = 15000;
    PerfRange = 3000;
    loop.floor = 3000;
    loop.prefMax = 1500;
    appliedPrefMax = 1500;
    PwrPause = 1;

    onPowerDown(loop);

    EXPECT_EQ(machine.writes(), std::vector<std::string>{ "SET_PERF_PREFERENCE_MAX 1700" });
}

TEST_F(ControlStepCorners, BurstStepAtFullPerformanceCountsASmallRiseLikeAnyOther)
{
    pkgPower = 3100;
    loop.prev = 3000;
    pwrCeiling = 15000;
    PerfRange = 3000;
    loop.PostPID = 1;
    loop.prefMax = 10000;
    lastPrefMax = 10000;
    leastRangeCount = 2;

    onPowerUp(loop);

    EXPECT_EQ(leastRangeCount, 3);
    EXPECT_EQ(loop.incnttype, 3);
    EXPECT_EQ(loop.PostPID, 0);
}

void startBurstAsPowerRises(LoopState& loop)
{
    PID_Change = 1;
    pkgPower = 9000;
    onPowerUp(loop);
}

void clipAtAProcessStart(LoopState& loop)
{
    PID_Change = 1;
    onClip(loop);
}

void enterActiveIdle(LoopState& loop) { stepThroughActiveIdle(loop); }

struct Pause {
    void (*take)(LoopState& loop);
};

// What the process watcher tells while a step pauses is for the next step.
class ControlStepPause : public WithRow<ControlStepCorners, Pause> {};

TEST_ROWS(ControlStepPause, ROW(startBurstAsPowerRises), ROW(clipAtAProcessStart), ROW(enterActiveIdle));

TEST_ROW(ControlStepPause, LosesNoProcessStart)
{
    pkgPower = 800;
    pkgPowerPrev = 800;
    bool paused = false;
    machine.onSleep = [&](std::uint32_t) {
        paused = true;
        setProcessName("late.exe");
        noOfPids = 5;
        PID_Change = 1;
    };

    row().take(loop);

    EXPECT_TRUE(paused);
    EXPECT_EQ(PID_Change, 1);
    EXPECT_EQ(noOfPids, 5);
    EXPECT_EQ(processName(), "late.exe");
}

}  // namespace
}  // namespace kelvane::tests
