#include "state/state.h"
#include "tests/simulator/trace_rows.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

struct RefusalRow {
    const char* input;
    Rows trace;
};

class ReplayRefused : public WithRow<testing::Test, RefusalRow> {};

TEST_ROWS(ReplayRefused,
          ROW(.input = "0,status,INIT=3000\n",
              .trace = { "0,call,INIT,,3000", "0,log,0,KV scaling is started : ,",
                         "0,log,0,\" KV Start MS/CS is initializing the ORQ, Scaling is stopped \"," }),
          ROW(.input = "0,status,SESSION_CREATE=-7\n",
              .trace = { "0,call,INIT,,0", "0,log,0,KV scaling is started : ,", "0,call,SESSION_CREATE,,-7" }));

TEST_ROW(ReplayRefused, EndsWithTheRefusal) { EXPECT_EQ(replayRows(row().input), row().trace); }

const Rows startOfScaling = {
    "0,call,INIT,,0",
    "0,log,0,KV scaling is started : ,",
    "0,call,SESSION_CREATE,,0",
    "0,call,SESSION_CONNECT,,0",
    "0,primitive,GET_RAPL_POWER,1500,0",
    "0,primitive,GET_RAPL_POWER,1500,0",
    "0,primitive,GET_RAPL_POWER,1500,0",
    "0,primitive,GET_RAPL_POWER,1500,0",
    "0,primitive,GET_RAPL_POWER,1500,0",
    "0,log,2,pkg power data is : 1500,",
    "0,call,REGISTER_EVENT,10000,0",
    "0,call,REGISTER_EVENT,34,0",
    "0,call,REGISTER_EVENT,44,0",
    "0,call,REGISTER_EVENT,183,0",
    "0,log,2,workload classification EVENT Register,",
    "0,call,REGISTER_EVENT,72,0",
    "0,log,2,Powerscheme classification EVENT Register,",
    "0,call,REGISTER_EVENT,106,0",
    "0,log,2,Powerslider classification EVENT Register,",
    "0,log,2,workload classification is success : ,",
    "0,primitive,SET_RAPL_POWER_LIMIT_1,37000,0",
    "0,log,2, **** Current CPU PL1 == : 17000,",
    "0,primitive,SET_RAPL_POWER_LIMIT_1,17000,0",
    "0,log,2, **** Current CPU PL1 == : 17000,",
    "0,primitive,SET_PERF_PREFERENCE_MAX,1200,0",
    "0,primitive,SET_PERF_PREFERENCE_MIN,0,0",
    "0,log,2, ** Default Init Pref ==1200,",
    "0,primitive,GET_SOC_WORKLOAD,2,0",
};
const Rows endOfStepAndScaling = {
    "2000,log,2, **** New pkgPower ==1500 prefMax = 1200 PerfRange = 1200 tempPerfRange = 1600 g_workload = 0,",
    "2000,log,2, * Kv_opt ==3 ** PID_Change ==: 0 ** g_powerSlider =: 30 ** exitCount =: -1,",
    "2000,log,2, ** NewPID = 0 ** AC Mode = 0 ** PostPID = 0 ** Clip Count ==0 ** Avg Pwr==1500,",
    "2000,log,2, **** PIDx- 1 Down Pkg power = 1500 *Perf Max = 1200 *DeltaPkgpwr = 0 *PerfRange ==: 1200 "
    "*tempPerfRange = 1200 PwrPause = 0 *WLC ==: 0,",
    "2000,primitive,SET_PERF_PREFERENCE_MIN,0,0",
    "2000,primitive,SET_PERF_PREFERENCE_MAX,10000,0",
    "2000,primitive,SET_RAPL_POWER_LIMIT_1,17000,0",
    "2000,log,2,PL1 level reset : 17000,",
    "2000,log,2,UnregisterEvents() called,",
    "2000,call,UNREGISTER_EVENT,44,0",
    "2000,call,UNREGISTER_EVENT,34,0",
    "2000,call,UNREGISTER_EVENT,10000,0",
    "2000,call,UNREGISTER_EVENT,183,0",
    "2000,call,UNREGISTER_EVENT,72,0",
    "2000,call,UNREGISTER_EVENT,106,0",
    "2000,call,SESSION_DISCONNECT,,0",
    "2000,call,SESSION_DESTROY,,0",
    "2000,log,0,Stop is called from the registry ,",
};

// On battery at 1500 mW the first step stays in the lowest tier: its 1200 are above the snap below the floor of 1200,
// so nothing is written before scaling stops.
TEST(ReplayTrace, OfOneStepHoldsEveryRowInOrder)
{
    Rows expected = startOfScaling;
    for (int timeMs = 0; timeMs < 2000; timeMs += 200) {
        const std::string time = std::to_string(timeMs);
        const std::string power = timeMs < 1200 ? "1500" : "1501";
        if (timeMs == 1000) expected.emplace_back("1000,log,2,Event powerSlider type =30,");
        expected.push_back(time + ",primitive,GET_IA_CLIP_REASONS,0,0");
        expected.push_back(time + ",primitive,GET_RAPL_POWER," + power + ",0");
        expected.push_back(time + ",sleep,,200,");
    }
    expected.insert(expected.end(), endOfStepAndScaling.begin(), endOfStepAndScaling.end());

    EXPECT_EQ(replayRows("0,ac_line,0\n0,power_mw,1500\n0,soc_workload,2\n1000,event,106:30\n1100,power_mw,1501\n"
                         "2000,stop,scaling\n"),
              expected);
}

TEST(ReplayTrace, OfAServiceStopEndsWithTheSessionOpen)
{
    const Rows rows = replayRows("0,power_mw,1500\n7000,stop,service\n");

    EXPECT_EQ(calls(rows), calls(startOfScaling));
    EXPECT_THAT(rowsWith(rowsAt(rows, 8000), ",primitive,SET"), testing::IsEmpty());
    EXPECT_EQ("8000,log,0,KV Windows service is stopped ,", rows.back());
}

TEST(ReplayTrace, WithoutAConnectionIsThatOfScalingAllTheSame)
{
    const Rows rows = replayRows("0,power_mw,2000\n0,status,SESSION_CONNECT=1000\n2000,stop,service\n");

    Rows expected = calls(startOfScaling);
    expected.at(2) = "0 SESSION_CONNECT 1000";
    EXPECT_EQ(calls(rows), expected);
    // The probe's own first sample alone.
    EXPECT_THAT(rowsWith(rowsAt(rows, 0), "GET_RAPL_POWER"), ElementsAre("0,primitive,GET_RAPL_POWER,2000,0"));
    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2000 1800"));
    EXPECT_EQ(0, g_sessionOpen);
}

// The power source is not in the trace; the step reads it before all else, so a change shows in the step after.
TEST(ReplayTrace, OfAStepBeginsWithTheWorkloadThenTheSamples)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "1000,event,106:30\n"
                                 "5000,stop,service\n");

    const Rows at2000 = rowsWith(rowsAt(rows, 2000), ",primitive,");
    EXPECT_THAT(at2000,
                ElementsAre("2000,primitive,GET_SOC_WORKLOAD,0,0", "2000,primitive,SET_RAPL_POWER_LIMIT_1,10500,0",
                            "2000,primitive,GET_IA_CLIP_REASONS,0,0", "2000,primitive,GET_RAPL_POWER,1500,0"));
}

// A day in small: Active Idle twice, out of it, a clip, a rise.
TEST(ReplayTrace, SleepsInProbesAndPausesAlone)
{
    const Rows rows = replayRows("0,power_mw,1000\n"
                                 "14600,power_mw,3000\n"
                                 "17000,clip_reasons,0x400\n"
                                 "20000,clip_reasons,0\n"
                                 "20000,power_mw,4500\n"
                                 "23000,stop,scaling\n");

    Rows slept;
    for (const std::string& sleep : sleeps(rows)) slept.push_back(sleep.substr(sleep.find(' ') + 1));
    Rows expected(10, "200");
    expected.insert(expected.end(), { "2000", "5000", "300", "300", "5000" });  // first entry; still idle
    expected.insert(expected.end(), 2 + 10, "200");                             // from 14600: the exit; from 15000
    expected.insert(expected.end(), 10 + 10, "300");  // from 17000: clips; from 20000: the rise
    EXPECT_EQ(slept, expected);
    EXPECT_EQ("23000,log,0,Stop is called from the registry ,", rows.back());
}

}  // namespace
}  // namespace kelvane::tests
