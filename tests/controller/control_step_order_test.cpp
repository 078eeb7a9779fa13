// A whole control step: its phases in their order, and the one branch that ends it.
#include "controller/control_step.h"
#include "state/state.h"

#include "simulator/replay/imports.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ControlStepOrder : public testing::Test {
protected:
    ControlStepOrder()
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

TEST_F(ControlStepOrder, WorkloadIsReadBeforeTheProbe)
{
    machine.power(7000);
    loop.probeSleep = 200;

    controlStep(loop);

    const std::vector<std::string> happened = machine.happened();
    EXPECT_EQ(happened[0], "GET_SOC_WORKLOAD 0 0");
    EXPECT_EQ(happened[1], "GET_IA_CLIP_REASONS 0 0");
    EXPECT_EQ(happened[2], "GET_RAPL_POWER 7000 0");
    EXPECT_EQ(happened[3], "sleep 200");
    EXPECT_EQ(loop.probeSleep, 300U);
}

TEST_F(ControlStepOrder, PhasesFollowEachOther)
{
    machine.power(7000);
    pidOnTestState = 2;
    g_workloadEventSeen = 1;
    NewPID = 2;
    loop.restorePending = 1;
    kv_off_f = 0;
    lastPrefMax = 2100;

    controlStep(loop);

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
    EXPECT_EQ(lastPrefMax, 10000);
    EXPECT_EQ(pwrCeiling, 15000);
    EXPECT_EQ(pkgPowerPrev, 7000);
}

TEST_F(ControlStepOrder, CeilingComesBetweenTierAndRestore)
{
    machine.power(7000);
    NewPIDAvgPwr = 6000;

    controlStep(loop);

    const std::vector<std::string> messages = machine.messages();
    EXPECT_THAT(messages[0], HasSubstr(" **** New pkgPower ==7000 prefMax = 3000 "));
    EXPECT_EQ(messages[1], "2  *** PIDx 7 NewPIDAvgPwr ==6000 pkgPower = 7000 prefMax = 4800");
    EXPECT_THAT(messages[2], HasSubstr(" * Kv_opt =="));
}

TEST_F(ControlStepOrder, ProcessStartIsTakenAfterTheStatusAndForgottenBeforeTheBranch)
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

TEST_F(ControlStepOrder, ExactlyOneBranchEndsTheStep)
{
    struct Row {
        std::uint32_t power;
        std::uint32_t clipReasons;
        int clipStatus;
        const char* label;
    };

    const Row rows[] = {
        { 6000, 0x400, 0, "PIDx- -1 Clip error" },
        { 6000, 0, 1500, "PIDx 6 No change" },
        { 6000, 0, 0, "PIDx- 2 Up   Pkg" },
        { 5000, 0, 0, "PIDx- 1 Down Pkg" },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.label);
        machine.power(row.power);
        machine.clipReasons(row.clipReasons);
        machine.answer("GET_IA_CLIP_REASONS", row.clipStatus);
        appliedPrefMax = 3000;
        pkgPower = 5000;
        pkgPowerPrev = 5000;
        loop = {};
        loop.prefMax = 3000;
        machine.forget();

        controlStep(loop);

        std::vector<std::string> branches;
        for (const std::string& message : machine.messages()) {
            for (const Row& each : rows) {
                if (message.find(each.label) != std::string::npos) branches.push_back(each.label);
            }
        }
        EXPECT_THAT(branches, ElementsAre(row.label));
    }
}

TEST_F(ControlStepOrder, IdleStepEndsBeforeTheTier)
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

}  // namespace
}  // namespace kelvane::tests
