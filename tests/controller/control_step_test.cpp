// A whole control step: its phases in their order, and the one branch that ends it. And the phases that only tell,
// clear or choose.
#include "controller/control_step.h"
#include "state/state.h"

#include "simulator/replay/imports.h"
#include "tests/support/rows.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>
#include <utility>
#include <vector>

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

class ControlStep : public testing::Test {
protected:
    ControlStep()
    {
        minPrefReset = 0;
        simulator::setPowerSource({ true, 1 });
        g_workload = 3;
        appliedPrefMax = 3000;
        pkgPower = 6500;
        pkgPowerPrev = 6500;
        NewPIDAvgPwr = 8000;
    }

    // What happened but for the probe's reads and sleeps.
    std::vector<std::string> outcome() const
    {
        std::vector<std::string> rows;
        for (const std::string& row : machine.happened()) {
            if (row.starts_with("log") || row.starts_with("SET")) rows.push_back(row);
        }
        return rows;
    }

    SimulatedMachine machine;
    LoopState loop;
};

TEST_F(ControlStep, PhasesFollowEachOther)
{
    machine.power(7000);
    pidOnTestState = 2;
    g_workloadEventSeen = 1;
    NewPID = 2;
    loop.restorePending = 1;
    kv_off_f = 0;
    lastPrefMax = 2100;

    controlStep(loop);

    std::vector<std::string> first = machine.happened();
    first.resize(4);
    EXPECT_THAT(first,
                ElementsAre("GET_SOC_WORKLOAD 0 0", "GET_IA_CLIP_REASONS 0 0", "GET_RAPL_POWER 7000 0", "sleep 200"));
    EXPECT_THAT(
        outcome(),
        ElementsAre(
            "log 2  ** PIDx 5 PID ON test ",
            "log 2  **** New pkgPower ==7000 prefMax = 3000 PerfRange = 4800 tempPerfRange = 2100 g_workload = 3",
            "log 2  *** PIDx 3 reset WLC Change prefMax ==2100 pkgPower = 7000 *WLC ==: 3",
            "log 2  * Perf Restored ** PerfRange =4800 ** NewPID =2 ** prefMax =2100",
            "log 2  * Kv_opt ==3 ** PID_Change ==: 0 ** g_powerSlider =: 0 ** exitCount =: -1",
            "log 2  ** NewPID = 0 ** AC Mode = 1 ** PostPID = 0 ** Clip Count ==0 ** Avg Pwr==7000",
            "log 2  *** Mode change avg pwr reset kv_opt = 3kv_off_f = 0", "SET_PERF_PREFERENCE_MAX 2100 0",
            "log 2  **** PIDx- 2 Up   Pkg power = 7000 *Perf Max = 2100 *DeltaPkgpwr ==: 500 *Xf ==: 1300 "
            "*NewPIDAvgPwr = 8000 *PerfRange ==: 4800 *WLC ==: 3"));
    EXPECT_EQ(loop.probeSleep, 300U);
    EXPECT_EQ(lastPrefMax, 10000);
    EXPECT_EQ(pwrCeiling, 15000);
    EXPECT_EQ(pkgPowerPrev, 7000);
}

TEST_F(ControlStep, CeilingComesBetweenTierAndRestore)
{
    machine.power(7000);
    NewPIDAvgPwr = 6000;

    controlStep(loop);

    const std::vector<std::string> messages = machine.messages();
    EXPECT_THAT(messages[0], HasSubstr(" **** New pkgPower ==7000 prefMax = 3000 "));
    EXPECT_EQ(messages[1], "2  *** PIDx 7 NewPIDAvgPwr ==6000 pkgPower = 7000 prefMax = 4800");
    EXPECT_THAT(messages[2], HasSubstr(" * Kv_opt =="));
}

TEST_F(ControlStep, ProcessStartIsTakenAfterTheStatusAndForgottenBeforeTheBranch)
{
    machine.power(7000);
    pkgPowerPrev = 9000;
    PID_Change = 1;
    noOfPids = 2;
    setProcessName("notepad.exe");
    g_trackedProcessIdCount = 1;

    controlStep(loop);

    const std::vector<std::string> messages = machine.messages();
    ASSERT_EQ(messages.size(), 5U);
    EXPECT_THAT(messages[1], HasSubstr(" ** PID_Change ==: 1 "));
    EXPECT_EQ(messages[3], "2  **** PIDx- 0 PIC *Pkg power = 7000 *Perf Max = 3000 *pkgPowerPrev = 9000 "
                           "*pName = notepad.exe *WLC ==: 3 *noOfPids ==: 2");
    EXPECT_EQ(messages[4], "2  **** PIDx- 1 PIDC Pkg power = 7000 *exitCount = 2 *prev_exitCount ==: -1 "
                           "*tempPerfRange = 2100 *WLC ==: 3");
    EXPECT_THAT(machine.writes(), IsEmpty());
    EXPECT_EQ(processName(), "");
    EXPECT_EQ(noOfPids, 0);
    EXPECT_EQ(g_trackedProcessIdCount, 0);
    EXPECT_EQ(loop.probeSleep, 200U);
}

TEST_F(ControlStep, InIdleEndsBeforeTheTier)
{
    machine.power(900);
    pkgPowerPrev = 900;

    controlStep(loop);

    EXPECT_THAT(outcome(),
                ElementsAre("log 2  *** PIDx 5 Active Idle PerfRange = 2100  prefMax=  10000  pkgPower=  900",
                            "SET_PERF_PREFERENCE_MAX 1200 0"));
    EXPECT_EQ(leastRangeLimit, 3);
    EXPECT_EQ(avgCount, 1);
    EXPECT_EQ(lastPrefMax, 10000);
}

// Power was 5000 mW in the step before.
struct BranchRow {
    std::uint32_t power;
    std::uint32_t clipReasons = 0;
    int clipStatus = 0;
    std::string label;
};

using ControlStepBranch = WithRow<ControlStep, BranchRow>;

TEST_ROWS(ControlStepBranch, ROW(.power = 6000, .clipReasons = 0x400, .label = "PIDx- -1 Clip error"),
          ROW(.power = 6000, .clipStatus = 1500, .label = "PIDx 6 No change"),
          ROW(.power = 6000, .label = "PIDx- 2 Up   Pkg"), ROW(.power = 5000, .label = "PIDx- 1 Down Pkg"));

TEST_ROW(ControlStepBranch, EndsTheStepAlone)
{
    machine.power(row().power);
    machine.clipReasons(row().clipReasons);
    machine.answer("GET_IA_CLIP_REASONS", row().clipStatus);
    pkgPower = 5000;
    pkgPowerPrev = 5000;
    loop.prefMax = 3000;

    controlStep(loop);

    for (const std::string label :
         { "PIDx- -1 Clip error", "PIDx 6 No change", "PIDx- 2 Up   Pkg", "PIDx- 1 Down Pkg" }) {
        EXPECT_THAT(machine.messages(), Contains(HasSubstr(label)).Times(label == row().label ? 1 : 0));
    }
}

struct ChoiceRow {
    std::uint32_t acMode = 1;
    int threshold = 100;  // mW
    int clipCount = 0;
    int prev = 3000;
    int power;
    Branch branch;
};

using ChooseBranch = WithRow<ControlStep, ChoiceRow>;

TEST_ROWS(ChooseBranch,
          // clips come first
          ROW(.clipCount = 1, .power = 9000, .branch = Branch::clip),
          ROW(.clipCount = 10, .power = 100, .branch = Branch::clip),
          ROW(.clipCount = -1, .power = 9000, .branch = Branch::noChange),
          ROW(.clipCount = -1, .prev = 0, .power = 100, .branch = Branch::noChange),
          // a rise of the threshold is up
          ROW(.power = 3099, .branch = Branch::down), ROW(.power = 3100, .branch = Branch::up),
          ROW(.power = 2000, .branch = Branch::down), ROW(.prev = 0, .power = 9000, .branch = Branch::down),
          ROW(.prev = 1, .power = 9000, .branch = Branch::up), ROW(.prev = -1, .power = 9000, .branch = Branch::up),
          ROW(.threshold = 0, .power = 3000, .branch = Branch::up),
          ROW(.threshold = 0, .power = 2999, .branch = Branch::down),
          ROW(.prev = INT_MAX, .power = INT_MAX, .branch = Branch::down), ROW(.power = INT_MAX, .branch = Branch::up),
          // within the idle band it is no change
          ROW(.prev = 500, .power = 599, .branch = Branch::down),
          ROW(.prev = 500, .power = 600, .branch = Branch::noChange),
          ROW(.prev = 500, .power = 1100, .branch = Branch::noChange),
          ROW(.prev = 500, .power = 1101, .branch = Branch::up), ROW(.prev = 0, .power = 1000, .branch = Branch::down),
          ROW(.acMode = 0, .prev = 500, .power = 1300, .branch = Branch::noChange),
          ROW(.acMode = 0, .prev = 500, .power = 1301, .branch = Branch::up),
          ROW(.acMode = 255, .prev = 500, .power = 1100, .branch = Branch::noChange),
          ROW(.acMode = 255, .prev = 500, .power = 1101, .branch = Branch::up));

TEST_ROW(ChooseBranch, LooksAtClipsThenAtTheRise)
{
    acMode = row().acMode;
    pwrDeltaThreshold = row().threshold;
    pkgPower = row().power;
    loop.clipCount = row().clipCount;
    loop.prev = row().prev;

    EXPECT_EQ(chooseBranch(loop), row().branch);
}

TEST_F(ControlStep, StatusIsToldInTwoLines)
{
    Kv_opt = 2;
    PID_Change = 1;
    g_powerSlider = 25;
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

TEST_F(ControlStep, AveragePowerIsSignedTruncatedAndWide)
{
    avgCount = 2;
    const std::pair<std::int64_t, std::string> averages[] = {
        { -7, "-3" }, { 0, "0" }, { 7, "3" }, { 6'000'000'000'001, "3000000000000" }
    };
    for (const auto& [sum, average] : averages) {
        pwrSum = sum;

        logStatus(loop);

        EXPECT_THAT(machine.messages().back(), EndsWith(" ** Avg Pwr==" + average));
    }
}

struct ModeRow {
    int Kv_opt;
    int kv_off_f;
    bool changed;
};

using ModeChange = WithRow<ControlStep, ModeRow>;

TEST_ROWS(ModeChange, ROW(.Kv_opt = 0, .kv_off_f = 1, .changed = true),
          ROW(.Kv_opt = 3, .kv_off_f = 0, .changed = true), ROW(.Kv_opt = 1, .kv_off_f = 0, .changed = true),
          ROW(.Kv_opt = 0, .kv_off_f = 0, .changed = false), ROW(.Kv_opt = 3, .kv_off_f = 1, .changed = false),
          ROW(.Kv_opt = 2, .kv_off_f = 1, .changed = false));

TEST_ROW(ModeChange, StartsTheStatisticsAfreshWhenScalingIsSwitchedOffOrOn)
{
    Kv_opt = row().Kv_opt;
    kv_off_f = row().kv_off_f;
    pwrSum = 111;
    prefSum = 222;
    avgCount = 3;
    clipSum = 4;

    noteModeChange();

    const std::string line = "2  *** Mode change avg pwr reset kv_opt = " + std::to_string(row().Kv_opt) +
                             "kv_off_f = " + std::to_string(row().kv_off_f);
    EXPECT_EQ(machine.messages(), row().changed ? std::vector{ line } : std::vector<std::string>{});
    EXPECT_EQ(pwrSum, row().changed ? 0 : 111);
    EXPECT_EQ(prefSum, row().changed ? 0 : 222);
    EXPECT_EQ(avgCount, row().changed ? 0 : 3);
    EXPECT_EQ(clipSum, 4);
    EXPECT_EQ(kv_off_f, row().kv_off_f);
}

TEST_F(ControlStep, ForgetsTheProcessStartsAndStartsItsLocals)
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
