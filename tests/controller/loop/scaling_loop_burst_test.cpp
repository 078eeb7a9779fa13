#include "controller/actuators.h"
#include "controller/state.h"
#include "simulator/replay/imports.h"
#include "state/state.h"
#include "tests/controller/loop/scripted_loop.h"
#include "tests/simulator/trace_rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// Steps end at 2000, 5000, and then as the bursts have it; a process starts in the middle of the second.
class ProcessStart : public testing::Test {
protected:
    void startAt(std::uint64_t ms)
    {
        loop.at(ms, [] { ScriptedLoop::startProcess("app.exe"); });
    }

    // Runs until the end of service in the step whose probe ends at `ms`; returns what happened from there on.
    Rows rowsFrom(std::uint64_t ms)
    {
        loop.at(ms, [this] {
            loop.forget();
            requestEngineStop(true);
        });
        loop.run();
        return loop.happened();
    }

    void powerAt(std::uint64_t ms, std::uint32_t milliwatts)
    {
        loop.at(ms, [this, milliwatts] { loop.power(milliwatts); });
    }

    ScriptedLoop loop;
};

TEST_F(ProcessStart, AtHighPowerBeginsABurstWithoutWriting)
{
    loop.power(6000);
    startAt(3000);
    g_trackedProcessSeen = 1;
    g_trackedProcessIdCount = 3;

    EXPECT_THAT(rowsFrom(5000),
                ElementsAre("log 2  **** New pkgPower ==6000 prefMax = 1800 PerfRange = 4800 tempPerfRange = 1800 "
                            "g_workload = 0",
                            "log 2  * Kv_opt ==3 ** PID_Change ==: 1 ** g_powerSlider =: 0 ** exitCount =: -1",
                            "log 2  ** NewPID = 0 ** AC Mode = 1 ** PostPID = 0 ** Clip Count ==0 ** Avg Pwr==6000",
                            "log 2  **** PIDx- 0 PIC *Pkg power = 6000 *Perf Max = 1800 *pkgPowerPrev = 6000 *pName = "
                            "app.exe *WLC ==: 0 *noOfPids ==: 1",
                            "log 2  **** PIDx- 1 PIDC Pkg power = 6000 *exitCount = 2 *prev_exitCount ==: -1 "
                            "*tempPerfRange = 1800 *WLC ==: 0",
                            "log 0 KV Windows service is stopped "));
    EXPECT_EQ(0, PID_Change);
    EXPECT_EQ(0, noOfPids);
    EXPECT_EQ("", processName());
    EXPECT_EQ(0, g_trackedProcessSeen);
    EXPECT_EQ(0, g_trackedProcessIdCount);
    EXPECT_EQ(1, NewPID);
    EXPECT_EQ(2, exitCount);
}

// Burst at 5000, full performance written at 7000, count at its end at 10000: then the tier's 4800 and 500 more.
TEST_F(ProcessStart, GivesFullPerformanceUntilTheCountEndsThenRestores)
{
    loop.power(6000);
    startAt(3000);
    loop.at(5000, [this] { loop.forget(); });
    loop.at(10000, [] { requestEngineStop(true); });

    loop.run();

    EXPECT_THAT(loop.sleeps(), ElementsAre(200, 200, 200, 200, 200, 200, 200, 200, 200, 200, 300, 300, 300, 300, 300,
                                           300, 300, 300, 300, 300));
    EXPECT_THAT(loop.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000", "SET_PERF_PREFERENCE_MAX 5300"));
    EXPECT_THAT(loop.messages(), Contains("2  * Perf Restored ** PerfRange =4800 ** NewPID =2 ** prefMax =5300"));
    EXPECT_EQ(1800, PrevPerf);
    EXPECT_EQ(0, NewPID);
    EXPECT_EQ(-1, exitCount);
}

// A rise of 1000 mW: the branch pauses two seconds before it tells of the burst.
TEST_F(ProcessStart, OnARiseBeginsABurstAndPausesTwoSeconds)
{
    loop.power(2000);
    powerAt(2000, 3000);
    startAt(3000);

    const Rows rows = rowsFrom(5000);

    EXPECT_THAT(Rows(rows.begin() + 3, rows.end()),
                ElementsAre("log 2  **** PIDx- 0 PIC *Pkg power = 3000 *Perf Max = 1800 *pkgPowerPrev = 2000 *pName = "
                            "app.exe *WLC ==: 0 *noOfPids ==: 1",
                            "sleep 2000",
                            "log 2  **** PIDx- 2 PIDC Pkg power = 3000 *Perf Max = 10000 *DeltaPkgpwr ==: 1000 *Xf ==: "
                            "400 *exitCount = 2 *prev_exitCount ==: -1 *WLC ==: 0",
                            "log 0 KV Windows service is stopped "));
}

TEST_F(ProcessStart, OnARiseOneMilliwattTooSmallIsForgotten)
{
    loop.power(2000);
    powerAt(2000, 2999);
    startAt(3000);

    rowsFrom(5000);

    EXPECT_THAT(loop.messages(), Not(Contains(HasSubstr("PIDC"))));
    EXPECT_THAT(loop.messages(), Contains(HasSubstr("PID_Change reset to 0")));
}

TEST_F(ProcessStart, OneMilliwattBelowHighPowerIsForgotten)
{
    loop.power(5999);
    startAt(3000);

    rowsFrom(5000);

    EXPECT_THAT(loop.messages(), Not(Contains(HasSubstr("PIDC"))));
}

// In a burst already: its pause is one second at 5000 mW and more. The count of 2 has not gone down, for the tracker
// looks away while a process starts.
TEST_F(ProcessStart, DuringABurstPausesOneSecondAndCountsOneMore)
{
    loop.power(6000);
    powerAt(5000, 7000);
    startAt(3000);
    startAt(6000);

    const Rows rows = rowsFrom(7000);

    EXPECT_THAT(Rows(rows.end() - 3, rows.end()),
                ElementsAre("sleep 1000",
                            "log 2  **** PIDx- 2 PIDC Pkg power = 7000 *Perf Max = 10000 *DeltaPkgpwr ==: 1000 *Xf ==: "
                            "1200 *exitCount = 3 *prev_exitCount ==: 2 *WLC ==: 0",
                            "log 0 KV Windows service is stopped "));
}

TEST_F(ProcessStart, DuringABurstAtLowPowerPausesTwoSeconds)
{
    loop.power(2000);
    powerAt(2000, 3000);
    powerAt(5000, 4999);
    startAt(3000);
    startAt(8000);

    // The first burst pauses from 5000 to 7000, its next probe ends at 9000.
    const Rows rows = rowsFrom(9000);

    EXPECT_EQ("sleep 2000", rows.at(rows.size() - 3));
    EXPECT_THAT(rows.at(rows.size() - 2), HasSubstr("PIDx- 2 PIDC Pkg power = 4999"));
}

// 300 mW more on 6000 is within the least range, with full performance in force since 7000.
TEST_F(ProcessStart, DuringABurstWithinTheLeastRangePausesHalfASecond)
{
    loop.power(6000);
    powerAt(7000, 6300);
    startAt(3000);
    startAt(8000);

    const Rows rows = rowsFrom(10000);

    EXPECT_THAT(Rows(rows.end() - 4, rows.end()),
                ElementsAre("sleep 500",
                            "log 2  **** PIDx- 2 PIDC Pkg power = 6300 *Perf Max = 10000 *DeltaPkgpwr ==: 300 *Xf ==: "
                            "1200 *exitCount = 2 *prev_exitCount ==: 1 *WLC ==: 0",
                            "log 2  *** PIDx 6 No change in PrefMax, within least range = 1 ** incnttype = 3",
                            "log 0 KV Windows service is stopped "));
}

// 8500 mW are half of PL1: three steps on mains. Two of them are gone when the next process starts.
TEST_F(ProcessStart, LateInALongBurstCountsOneMoreThanIsLeft)
{
    loop.power(8500);
    startAt(3000);
    startAt(11000);

    const Rows rows = rowsFrom(13000);

    EXPECT_EQ("log 2  **** PIDx- 1 PIDC Pkg power = 8500 *exitCount = 2 *prev_exitCount ==: 1 *tempPerfRange = 1800 "
              "*WLC ==: 0",
              rows.at(rows.size() - 2));
}

struct BurstLength {
    const char* name;
    std::uint8_t acLine;
    std::uint32_t powerBefore;  // mW; in the first step
    std::uint32_t power;        // mW; from the second on
    const char* line;
};

void PrintTo(const BurstLength& row, std::ostream* out) { *out << row.name; }

class ProcessStartBurst : public ProcessStart, public testing::WithParamInterface<BurstLength> {};

TEST_P(ProcessStartBurst, LastsByPowerAndSource)
{
    simulator::setPowerSource({ true, GetParam().acLine });
    loop.power(GetParam().powerBefore);
    powerAt(2000, GetParam().power);
    startAt(3000);

    rowsFrom(5000);

    EXPECT_THAT(loop.messages(), Contains(HasSubstr(GetParam().line)));
}

// Deliberately, the source counts in a burst at steady or falling power, and not in one at rising power.
INSTANTIATE_TEST_SUITE_P(
    Lengths, ProcessStartBurst,
    testing::Values(
        BurstLength{ "SteadyBelowHalfOfPL1", 1, 8499, 8499, "PIDx- 1 PIDC Pkg power = 8499 *exitCount = 2 " },
        BurstLength{ "SteadyAtHalfOfPL1", 1, 8500, 8500, "PIDx- 1 PIDC Pkg power = 8500 *exitCount = 3 " },
        BurstLength{ "SteadyAtHalfOfPL1OnUnknown", 255, 8500, 8500, "PIDx- 1 PIDC Pkg power = 8500 *exitCount = 3 " },
        BurstLength{ "SteadyAtHalfOfPL1OnBattery", 0, 8500, 8500, "PIDx- 1 PIDC Pkg power = 8500 *exitCount = 2 " },
        BurstLength{ "RisingBelowFiveWatts", 1, 3000, 4999, "*Xf ==: 600 *exitCount = 2 " },
        BurstLength{ "RisingAtFiveWatts", 1, 3000, 5000, "*Xf ==: 600 *exitCount = 3 " },
        BurstLength{ "RisingAtFiveWattsOnBattery", 0, 3000, 5000, "*Xf ==: 600 *exitCount = 3 " }),
    [](const auto& row) { return std::string(row.param.name); });

// The probe writes full performance at the clip; the branch writes nothing and pauses.
TEST_F(ProcessStart, TogetherWithAClipWritesNoPreferenceAndPausesTwoSeconds)
{
    loop.power(6000);
    loop.at(2000, [this] { loop.clipReasons(0x400); });
    startAt(3000);

    const Rows rows = rowsFrom(5000);

    EXPECT_THAT(Rows(rows.begin() + 2, rows.end()),
                ElementsAre("log 2  ** NewPID = 0 ** AC Mode = 1 ** PostPID = 0 ** Clip Count ==10 ** Avg Pwr==6000",
                            "log 2  **** PIDx- 0 PIC *Pkg power = 6000 *Perf Max = 10000 *pkgPowerPrev = 6000 *pName = "
                            "app.exe *WLC ==: 0 *noOfPids ==: 1",
                            "log 2  ******** PIDx- -1 Clip error PrefMax ==10000", "sleep 2000",
                            "log 0 KV Windows service is stopped "));
    EXPECT_EQ(0, PID_Change);
    EXPECT_EQ(0, exitCount);
    EXPECT_EQ(0, NewPID);
    EXPECT_EQ(10000, appliedPrefMax);
}

// A fall from 6000 to 4000 mW would lower the ceiling to 3300.
TEST_F(ProcessStart, TogetherWithAClipKeepsFullPerformanceForOneStepMore)
{
    loop.power(6000);
    loop.at(2000, [this] { loop.clipReasons(0x400); });
    startAt(3000);
    loop.at(5000, [this] {
        loop.clipReasons(0);
        loop.power(4000);
    });

    // The pause lasts until 7000, the next probe until 10000.
    rowsFrom(10000);

    EXPECT_THAT(loop.messages(), Contains(HasSubstr("PIDx- 1 Down Pkg power = 4000 *Perf Max = 10000 ")));
    EXPECT_THAT(loop.writes(), IsEmpty());
}

// From 1500 to 12000 mW in the third sample would raise the ceiling to 8000 at once.
TEST_F(ProcessStart, KeepsTheProbeFromFollowingARamp)
{
    loop.power(1500);
    startAt(2300);
    powerAt(2600, 12000);
    loop.at(2000, [this] { loop.forget(); });
    loop.at(4999, [this] {
        EXPECT_THAT(loop.writes(), IsEmpty());
        requestEngineStop(true);
    });

    loop.run();

    EXPECT_THAT(loop.messages(), Not(Contains(HasSubstr("Increase tempPwr"))));
}

}  // namespace
}  // namespace kelvane::tests
