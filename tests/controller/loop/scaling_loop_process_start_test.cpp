#include "controller/actuators.h"
#include "controller/state.h"
#include "state/state.h"
#include "tests/controller/loop/scripted_loop.h"
#include "tests/simulator/trace_rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// At 3000 mW the first step ends at 2000 with a ceiling of 1800, the second at 5000. A process starts at 3000; power
// does not rise with it.
class ForgottenProcessStart : public testing::Test {
protected:
    ForgottenProcessStart()
    {
        loop.power(3000);
        loop.at(3000, [] { ScriptedLoop::startProcess("app.exe"); });
    }

    Rows rowsFrom(std::uint64_t ms)
    {
        loop.at(ms, [this] {
            loop.forget();
            requestEngineStop(true);
        });
        loop.run();
        return loop.happened();
    }

    ScriptedLoop loop;
};

TEST_F(ForgottenProcessStart, BringsTheCeilingToTheTier)
{
    g_trackedProcessSeen = 1;
    g_trackedProcessIdCount = 3;

    EXPECT_THAT(rowsFrom(5000),
                ElementsAre("log 2  **** New pkgPower ==3000 prefMax = 1800 PerfRange = 3000 tempPerfRange = 1800 "
                            "g_workload = 0",
                            "log 2  * Kv_opt ==3 ** PID_Change ==: 1 ** g_powerSlider =: 0 ** exitCount =: -1",
                            "log 2  ** NewPID = 0 ** AC Mode = 1 ** PostPID = 0 ** Clip Count ==0 ** Avg Pwr==3000",
                            "log 2  **** PIDx- 0 PIC *Pkg power = 3000 *Perf Max = 1800 *pkgPowerPrev = 3000 *pName = "
                            "app.exe *WLC ==: 0 *noOfPids ==: 1",
                            "GET_RAPL_POWER 3000 0", "log 2  * PIDx 3 PID Restored ** PerfRange =3000 ** prefMax =3000",
                            "log 2  **** PID_Change reset to 0 pkgPower = 3000 * prefMax  = 3000 * PrevPerf = 0 * "
                            "PID_Change = 0",
                            "SET_PERF_PREFERENCE_MAX 3000 0",
                            "log 2  **** PIDx- 1 Down Pkg power = 3000 *Perf Max = 3000 *DeltaPkgpwr = 0 *PerfRange "
                            "==: 3000 *tempPerfRange = 1800 PwrPause = 0 *WLC ==: 0",
                            "log 0 KV Windows service is stopped "));
    EXPECT_EQ(0, PID_Change);
    EXPECT_EQ(0, noOfPids);
    EXPECT_EQ("", processName());
    EXPECT_EQ(0, g_trackedProcessSeen);
    EXPECT_EQ(0, g_trackedProcessIdCount);
}

TEST_F(ForgottenProcessStart, BringsTheCeilingBackToWhereItWasBeforeFullPerformance)
{
    loop.at(3000, [] {
        PrevPerf = 4000;
        appliedPrefMax = 10000;
    });

    rowsFrom(5000);

    EXPECT_THAT(loop.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 4000"));
    EXPECT_THAT(loop.messages(), Contains("2  * PIDx 3 PID Restored ** PerfRange =3000 ** prefMax =4000"));
}

TEST_F(ForgottenProcessStart, CountsTheStepsFallAsNone)
{
    // 2700 mW are a fall of 10%, which would take 400 off.
    loop.at(2000, [this] { loop.power(2700); });

    rowsFrom(5000);

    EXPECT_THAT(loop.messages(),
                Contains(HasSubstr("PIDx- 1 Down Pkg power = 2700 *Perf Max = 2500 *DeltaPkgpwr = 0 ")));
}

TEST_F(ForgottenProcessStart, TakesAFreshReadingThatIsMuchHigher)
{
    loop.at(5000, [this] { loop.power(3501); });

    const Rows rows = rowsFrom(5000);

    EXPECT_THAT(Rows(rows.begin() + 4, rows.end()),
                ElementsAre("GET_RAPL_POWER 3501 0", "log 2  * PIDx 3 PID Restored ** PerfRange =3000 ** prefMax =3000",
                            "log 2  **** PID_Change reset to 0 pkgPower = 3501 * prefMax  = 3000 * PrevPerf = 0 * "
                            "PID_Change = 0",
                            "SET_PERF_PREFERENCE_MAX 3200 0",
                            "log 2  **** PIDx- 2 Up   Pkg power = 3501 *Perf Max = 3200 *DeltaPkgpwr ==: 501 *Xf ==: "
                            "600 *NewPIDAvgPwr = 10000 *PerfRange ==: 3000 *WLC ==: 0",
                            "log 0 KV Windows service is stopped "));
}

TEST_F(ForgottenProcessStart, LeavesPowerAloneWhenTheFreshReadingIsNotMuchHigher)
{
    loop.at(5000, [this] { loop.power(3500); });

    rowsFrom(5000);

    EXPECT_THAT(loop.messages(), Contains(HasSubstr("PID_Change reset to 0 pkgPower = 3000 ")));
    EXPECT_EQ(3000, pkgPower);
}

TEST_F(ForgottenProcessStart, LeavesPowerAloneWhenTheFreshReadingFails)
{
    loop.at(5000, [this] { loop.answer("GET_RAPL_POWER", 1000); });

    EXPECT_THAT(rowsFrom(5000), Contains("GET_RAPL_POWER 1000"));
    EXPECT_EQ(3000, pkgPower);
}

TEST_F(ForgottenProcessStart, DuringABurstOnlyClearsTheFlag)
{
    loop.at(3000, [] { exitCount = 1; });

    const Rows rows = rowsFrom(5000);

    EXPECT_THAT(Rows(rows.begin() + 4, rows.end()),
                ElementsAre("log 2  **** PID_Change reset to 0 pkgPower = 3000 * prefMax  = 1800 * PrevPerf = 0 * "
                            "PID_Change = 0",
                            "log 2  **** PIDx- 1 Down Pkg power = 3000 *Perf Max = 1800 *DeltaPkgpwr = 0 *PerfRange "
                            "==: 3000 *tempPerfRange = 1800 PwrPause = 0 *WLC ==: 0",
                            "log 0 KV Windows service is stopped "));
}

// A process of the lists sets the flag but is not counted, so not even high power makes a burst of it.
TEST(ProcessOfTheLists, IsForgottenAtAnyPowerAndStaysTracked)
{
    ScriptedLoop loop;
    loop.power(6000);
    loop.at(3000, [] {
        g_trackedProcessSeen = 1;
        PID_Change = 1;
    });
    loop.at(5000, [] { requestEngineStop(true); });

    loop.run();

    EXPECT_THAT(loop.messages(), Contains(HasSubstr("*pName =  *WLC ==: 0 *noOfPids ==: 0")));
    EXPECT_THAT(loop.messages(), Contains(HasSubstr("PID_Change reset to 0")));
    EXPECT_EQ(1, g_trackedProcessSeen);
}

// At 1000 mW Active Idle begins at 2000 and pauses until 9000; its probe has two samples.
class ProcessStartInActiveIdle : public testing::Test {
protected:
    ProcessStartInActiveIdle()
    {
        loop.power(1000);
        loop.at(9200, [] { ScriptedLoop::startProcess("app.exe"); });
    }

    ScriptedLoop loop;
};

TEST_F(ProcessStartInActiveIdle, EndsActiveIdleWithAStepUpThatTheRestoreTakesBack)
{
    loop.at(9600, [this] { loop.forget(); });
    loop.at(11600, [] { requestEngineStop(true); });

    loop.run();

    const Rows rows = loop.happened();
    EXPECT_THAT(Rows(rows.begin() + 3, rows.begin() + 10),
                ElementsAre("log 2  **** PIDx- 0 PIC *Pkg power = 1000 *Perf Max = 1200 *pkgPowerPrev = 1000 *pName = "
                            "app.exe *WLC ==: 0 *noOfPids ==: 1",
                            "SET_PERF_PREFERENCE_MAX 1700 0", "GET_RAPL_POWER 1000 0",
                            "log 2  * PIDx 3 PID Restored ** PerfRange =1200 ** prefMax =1200",
                            "log 2  **** PID_Change reset to 0 pkgPower = 1000 * prefMax  = 1200 * PrevPerf = 0 * "
                            "PID_Change = 0",
                            "SET_PERF_PREFERENCE_MAX 1200 0",
                            "log 2  **** PIDx- 1 Down Pkg power = 1000 *Perf Max = 1200 *DeltaPkgpwr = 0 *PerfRange "
                            "==: 1200 *tempPerfRange = 1200 PwrPause = 0 *WLC ==: 0"));
    // Ten samples at the quick pace, then Active Idle again; its count began anew, the process watch is stopped
    // already.
    EXPECT_THAT(loop.sleeps(), ElementsAre(200, 200, 200, 200, 200, 200, 200, 200, 200, 200, 5000));
}

// 1100 mW are a rise, but not one that leaves Active Idle's range.
TEST_F(ProcessStartInActiveIdle, WithARiseInTheIdleRangeChangesNothingMore)
{
    loop.at(9000, [this] { loop.power(1100); });
    loop.at(9600, [this] {
        loop.forget();
        requestEngineStop(true);
    });

    loop.run();

    const Rows rows = loop.happened();
    EXPECT_THAT(Rows(rows.end() - 3, rows.end()),
                ElementsAre("log 2  **** PID_Change reset to 0 pkgPower = 1100 * prefMax  = 1200 * PrevPerf = 0 * "
                            "PID_Change = 0",
                            "log 2  *** PIDx 6 No change in PrefMax, within least range = 1 ** incnttype = 3",
                            "log 0 KV Windows service is stopped "));
    EXPECT_EQ(1700, appliedPrefMax);
}

// A rise from 400 to 1400 mW makes a burst: two samples at 200 ms, a pause until 11400, a quick probe until 13400.
// Power is back by then, but the step after a burst does not go idle.
TEST_F(ProcessStartInActiveIdle, WithABurstKeepsOutOfActiveIdleForOneStep)
{
    loop.power(400);
    loop.at(9000, [this] { loop.power(1400); });
    loop.at(9400, [this] {
        loop.forget();
        loop.power(1000);
    });
    loop.at(16400, [] { requestEngineStop(true); });

    loop.run();

    EXPECT_THAT(loop.sleeps(), ElementsAre(2000, 200, 200, 200, 200, 200, 200, 200, 200, 200, 200, 300, 300, 300, 300,
                                           300, 300, 300, 300, 300, 300, 5000));
    EXPECT_THAT(loop.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000", "SET_PERF_PREFERENCE_MAX 1200"));
    EXPECT_EQ(0, NewPID);
}

}  // namespace
}  // namespace kelvane::tests
