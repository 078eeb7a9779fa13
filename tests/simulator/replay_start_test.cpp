#include "state/state.h"
#include "tests/simulator/replay_rows.h"
#include "tests/simulator/trace_rows.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

TEST(ReplayStart, EndsWhenTheFrameworkDoesNotInitialise)
{
    EXPECT_THAT(replayRows("0,status,INIT=3000\n"),
                ElementsAre("0,call,INIT,,3000", "0,log,0,KV scaling is started : ,",
                            "0,log,0,\" KV Start MS/CS is initializing the ORQ, Scaling is stopped \","));
}

TEST(ReplayStart, EndsWhenThereIsNoSession)
{
    EXPECT_THAT(replayRows("0,status,SESSION_CREATE=-7\n"),
                ElementsAre("0,call,INIT,,0", "0,log,0,KV scaling is started : ,", "0,call,SESSION_CREATE,,-7"));
}

TEST(ReplayStart, WithoutAConnectionRegistersAndScalesAllTheSame)
{
    const Rows rows = replayRows("0,power_mw,2000\n"
                                 "0,status,SESSION_CONNECT=1000\n"
                                 "2000,stop,service\n");

    EXPECT_THAT(calls(rows), ElementsAre("0 INIT 0", "0 SESSION_CREATE 0", "0 SESSION_CONNECT 1000",
                                         "0 REGISTER_EVENT 10000 0", "0 REGISTER_EVENT 34 0", "0 REGISTER_EVENT 44 0",
                                         "0 REGISTER_EVENT 183 0", "0 REGISTER_EVENT 72 0", "0 REGISTER_EVENT 106 0"));
    // The probe's own first sample alone.
    EXPECT_THAT(rowsWith(rowsAt(rows, 0), "GET_RAPL_POWER"), SizeIs(1));
    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200", "2000 1800"));
    EXPECT_EQ(0, g_sessionOpen);
}

TEST(ReplayStart, LogsAFailedPowerReadingAsAnError)
{
    const Rows rows = replayRows("0,status,GET_RAPL_POWER=1000\n");

    EXPECT_THAT(rowsWith(rows, "GET_RAPL_POWER"),
                ElementsAre("0,primitive,GET_RAPL_POWER,,1000", "0,primitive,GET_RAPL_POWER,,1000",
                            "0,primitive,GET_RAPL_POWER,,1000", "0,primitive,GET_RAPL_POWER,,1000",
                            "0,primitive,GET_RAPL_POWER,,1000"));
    EXPECT_EQ("0,log,4,OrqCore pkgPower SessionExecute failed,", rows.at(9));
    EXPECT_THAT(messages(rows, "pkg power data is"), IsEmpty());
}

TEST(ReplayStart, TakesAPowerAboveTheSignedRangeAsTheHighestThereIs)
{
    EXPECT_THAT(messages(replayRows("0,power_mw,4294967295\n"), "pkg power"),
                ElementsAre("0 2 pkg power data is : 2147483647"));
}

struct FailingRegistration {
    const char* name;
    const char* type;
    std::size_t registered;  // calls that came before it
    std::size_t lines;       // and lines that told of success
};

void PrintTo(const FailingRegistration& row, std::ostream* out) { *out << row.name; }

class ReplayStartWithoutEvents : public testing::TestWithParam<FailingRegistration> {};

TEST_P(ReplayStartWithoutEvents, UnregistersAllSixAndLogsAnError)
{
    const Rows rows =
        replayRows("0,power_mw,2000\n0,status,REGISTER_EVENT/" + std::string(GetParam().type) + "=1000\n");

    const Rows made = calls(rows);
    ASSERT_EQ(3 + GetParam().registered + 1 + 6, made.size());
    EXPECT_EQ("0 REGISTER_EVENT " + std::string(GetParam().type) + " 1000", made.at(3 + GetParam().registered));
    EXPECT_THAT(Rows(made.end() - 6, made.end()),
                ElementsAre("0 UNREGISTER_EVENT 44 0", "0 UNREGISTER_EVENT 34 0", "0 UNREGISTER_EVENT 10000 0",
                            "0 UNREGISTER_EVENT 183 0", "0 UNREGISTER_EVENT 72 0", "0 UNREGISTER_EVENT 106 0"));
    EXPECT_THAT(messages(rows, "EVENT Register"), SizeIs(GetParam().lines));
    EXPECT_THAT(messages(rows, "UnregisterEvents() called"), ElementsAre("0 2 UnregisterEvents() called"));
    EXPECT_THAT(messages(rows, "workload classification is"), IsEmpty());
    EXPECT_THAT(messages(rows, "SessionExecute failed"),
                ElementsAre("0 4 OrqCore workload classification SessionExecute failed"));
    EXPECT_THAT(ceilings(rows), ElementsAre("0 1200"));
    EXPECT_EQ("0,log,0,KV Windows service is stopped ,", rows.back());
}

INSTANTIATE_TEST_SUITE_P(Types, ReplayStartWithoutEvents,
                         testing::Values(FailingRegistration{ "Disconnected", "10000", 0, 0 },
                                         FailingRegistration{ "LogVerbosity", "34", 1, 0 },
                                         FailingRegistration{ "Unhandled", "44", 2, 0 },
                                         FailingRegistration{ "Workload", "183", 3, 0 },
                                         FailingRegistration{ "PowerScheme", "72", 4, 1 },
                                         FailingRegistration{ "PowerSlider", "106", 5, 2 }),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(ReplayStart, LogsBothFailedLimitWritesAsErrors)
{
    const Rows rows = replayRows("0,status,SET_RAPL_POWER_LIMIT_1=1000\n");

    EXPECT_THAT(powerLimits(rows), ElementsAre("0 37000", "0 17000"));
    EXPECT_THAT(messages(rows, "PowerLimit1"), ElementsAre("0 4 OrqCore CpuPowerLimit1 SessionExecute failed",
                                                           "0 4 OrqCore CpuPowerLimit1 SessionExecute failed"));
    EXPECT_THAT(messages(rows, "Current CPU PL1"), IsEmpty());
}

TEST(ReplayStart, LogsFailedPreferenceWritesAndKeepsTheirValues)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "0,status,SET_PERF_PREFERENCE_MAX=1000\n"
                                 "0,status,SET_PERF_PREFERENCE_MIN=1001\n"
                                 "1000,status,SET_PERF_PREFERENCE_MAX=0\n"
                                 "2000,stop,service\n");

    EXPECT_THAT(rowsWith(rows, "PREFERENCE"), ElementsAre("0,primitive,SET_PERF_PREFERENCE_MAX,1200,1000",
                                                          "0,primitive,SET_PERF_PREFERENCE_MIN,0,1001"));
    EXPECT_THAT(messages(rows, "setPerfmax"),
                ElementsAre("0 2 OrqCore setPerfmax SessionExecute failed : first 2 times expeted in MS/startup",
                            "0 2 OrqCore setPerfmax SessionExecute failed : first 2 times expeted in MS/startup"));
    EXPECT_THAT(messages(rows, "New pkgPower"), ElementsAre(HasSubstr(" prefMax = 1200 ")));
    EXPECT_THAT(messages(rows, "Default Init Pref"), ElementsAre("0 2  ** Default Init Pref ==1200"));
}

TEST(ReplayStart, TakesAnUnknownPowerSourceForBattery)
{
    const Rows rows = replayRows("0,power_mw,2000\n0,ac_line,fail\n2000,stop,service\n");

    EXPECT_THAT(messages(rows, "AC Mode"), ElementsAre(HasSubstr(" ** AC Mode = 0 ")));
}

TEST(ReplayStart, GoesStraightToTheEndWhenTheServiceStops)
{
    const Rows rows = replayRows("0,power_mw,2000\n0,stop,service\n");

    EXPECT_EQ("0,log,2, ** Default Init Pref ==1200,", rows.at(rows.size() - 2));
    EXPECT_EQ("0,log,0,KV Windows service is stopped ,", rows.back());
}

TEST(ReplayStart, GoesStraightToTheStopPathWhenScalingStops)
{
    const Rows rows = replayRows("0,power_mw,2000\n0,stop,scaling\n");

    EXPECT_THAT(sleeps(rows), IsEmpty());
    EXPECT_THAT(rows, Not(Contains(HasSubstr("GET_SOC_WORKLOAD"))));
    EXPECT_EQ("0,log,2, ** Default Init Pref ==1200,", rows.at(rows.size() - 15));
    EXPECT_EQ("0,primitive,SET_PERF_PREFERENCE_MIN,0,0", rows.at(rows.size() - 14));
    EXPECT_THAT(rows.back(), EndsWith("Stop is called from the registry ,"));
}

// A leap to 12000 mW in the third sample would raise any lower ceiling at once.
TEST(ReplayStart, RunsItsFirstProbeWithFullPerformanceAsTheBase)
{
    const Rows rows = replayRows("0,power_mw,1500\n"
                                 "400,power_mw,12000\n"
                                 "1900,stop,service\n");

    EXPECT_THAT(messages(rows, "Increase tempPwr"), IsEmpty());
    EXPECT_THAT(ceilings(rowsAt(rows, 400)), IsEmpty());
}

}  // namespace
}  // namespace kelvane::tests
