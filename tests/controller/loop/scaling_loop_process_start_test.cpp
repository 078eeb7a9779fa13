// Process starts in the whole loop: bursts over several steps, starts that come to nothing, and Active Idle.
#include "tests/controller/loop/loop_test.h"

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// Steps end at 2000, 5000, and then as bursts and pauses have it.
using ProcessStart = LoopTest;

// Burst at 5000, full performance written at 7000, count at its end at 10000: then the tier's 4800 and 500 more.
TEST_F(ProcessStart, GivesFullPerformanceUntilTheCountEndsThenRestores)
{
    loop.power(6000);
    startProcessAt(3000);
    forgetAt(5000);

    runUntil(10000);

    EXPECT_THAT(loop.sleeps(), ElementsAre(200, 200, 200, 200, 200, 200, 200, 200, 200, 200, 300, 300, 300, 300, 300,
                                           300, 300, 300, 300, 300));
    EXPECT_THAT(loop.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000", "SET_PERF_PREFERENCE_MAX 5300"));
    EXPECT_THAT(loop.messages(), Contains("2  * Perf Restored ** PerfRange =4800 ** NewPID =2 ** prefMax =5300"));
    EXPECT_EQ(1800, PrevPerf);
    EXPECT_EQ(0, NewPID);
    EXPECT_EQ(-1, exitCount);
}

// The count of 2 has not gone down, for the tracker looks away while a process starts.
TEST_F(ProcessStart, DuringABurstPausesOneSecondAndCountsOneMore)
{
    loop.power(6000);
    powerAt(5000, 7000);
    startProcessAt(3000);
    startProcessAt(6000);

    runUntil(7000);

    EXPECT_THAT(lastRows(3),
                ElementsAre("sleep 1000",
                            "log 2  **** PIDx- 2 PIDC Pkg power = 7000 *Perf Max = 10000 *DeltaPkgpwr ==: 1000 *Xf ==: "
                            "1200 *exitCount = 3 *prev_exitCount ==: 2 *WLC ==: 0",
                            "log 0 KV Windows service is stopped "));
}

// 8500 mW are half of PL1: three steps on mains. Two of them are gone when the next process starts.
TEST_F(ProcessStart, LateInALongBurstCountsOneMoreThanIsLeft)
{
    loop.power(8500);
    startProcessAt(3000);
    startProcessAt(11000);

    runUntil(13000);

    EXPECT_EQ("log 2  **** PIDx- 1 PIDC Pkg power = 8500 *exitCount = 2 *prev_exitCount ==: 1 *tempPerfRange = 1800 "
              "*WLC ==: 0",
              lastRows(2).front());
}

// The probe writes full performance at the clip; the branch writes nothing and pauses until 7000. A fall from 6000 to
// 4000 mW would lower the ceiling to 3300 in the step after.
TEST_F(ProcessStart, TogetherWithAClipKeepsFullPerformanceForOneStepMore)
{
    loop.power(6000);
    loop.at(2000, [this] { loop.clipReasons(0x400); });
    startProcessAt(3000);
    loop.at(5000, [this] {
        loop.forget();
        loop.clipReasons(0);
        loop.power(4000);
    });

    runUntil(10000);

    const Rows rows = loop.happened();
    EXPECT_THAT(Rows(rows.begin() + 2, rows.begin() + 6),
                ElementsAre("log 2  ** NewPID = 0 ** AC Mode = 1 ** PostPID = 0 ** Clip Count ==10 ** Avg Pwr==6000",
                            "log 2  **** PIDx- 0 PIC *Pkg power = 6000 *Perf Max = 10000 *pkgPowerPrev = 6000 *pName = "
                            "app.exe *WLC ==: 0 *noOfPids ==: 1",
                            "log 2  ******** PIDx- -1 Clip error PrefMax ==10000", "sleep 2000"));
    EXPECT_THAT(loop.messages(), Contains(HasSubstr("PIDx- 1 Down Pkg power = 4000 *Perf Max = 10000 ")));
    EXPECT_THAT(loop.writes(), IsEmpty());
}

// From 1500 to 12000 mW in the third sample would raise the ceiling to 8000 at once.
TEST_F(ProcessStart, KeepsTheProbeFromFollowingARamp)
{
    loop.power(1500);
    startProcessAt(2300);
    powerAt(2600, 12000);
    forgetAt(2000);
    loop.at(4999, [this] { EXPECT_THAT(loop.writes(), IsEmpty()); });

    runUntil(4999);

    EXPECT_THAT(loop.messages(), Not(Contains(HasSubstr("Increase tempPwr"))));
}

// With the fall from 3000 to 2700 mW the ceiling would lose 400.
TEST_F(ProcessStart, ThatIsForgottenBringsTheCeilingToTheTierAndCountsTheFallAsNone)
{
    loop.power(3000);
    powerAt(2000, 2700);
    startProcessAt(3000);

    runUntil(5000);

    EXPECT_THAT(lastRows(6),
                ElementsAre("GET_RAPL_POWER 2700 0", "log 2  * PIDx 3 PID Restored ** PerfRange =2500 ** prefMax =2500",
                            "log 2  **** PID_Change reset to 0 pkgPower = 2700 * prefMax  = 2500 * PrevPerf = 0 * "
                            "PID_Change = 0",
                            "SET_PERF_PREFERENCE_MAX 2500 0",
                            "log 2  **** PIDx- 1 Down Pkg power = 2700 *Perf Max = 2500 *DeltaPkgpwr = 0 *PerfRange "
                            "==: 2500 *tempPerfRange = 1800 PwrPause = 0 *WLC ==: 0",
                            "log 0 KV Windows service is stopped "));
}

// At 1000 mW Active Idle begins at 2000 and pauses until 9000; its probe has two samples.
class ProcessStartInActiveIdle : public LoopTest {
protected:
    ProcessStartInActiveIdle()
    {
        loop.power(1000);
        startProcessAt(9200);
    }
};

TEST_F(ProcessStartInActiveIdle, EndsActiveIdleWithAStepUpThatTheRestoreTakesBack)
{
    forgetAt(9600);

    runUntil(11600);

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

// A rise from 400 to 1400 mW makes a burst: two samples at 200 ms, a pause until 11400, a quick probe until 13400.
// Power is back by then, but the step after a burst does not go idle.
TEST_F(ProcessStartInActiveIdle, WithABurstKeepsOutOfActiveIdleForOneStep)
{
    loop.power(400);
    powerAt(9000, 1400);
    forgetAt(9400);
    powerAt(9400, 1000);

    runUntil(16400);

    EXPECT_THAT(loop.sleeps(), ElementsAre(2000, 200, 200, 200, 200, 200, 200, 200, 200, 200, 200, 300, 300, 300, 300,
                                           300, 300, 300, 300, 300, 300, 5000));
    EXPECT_THAT(loop.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000", "SET_PERF_PREFERENCE_MAX 1200"));
    EXPECT_EQ(0, NewPID);
}

}  // namespace
}  // namespace kelvane::tests
