// The start of the scaling loop: call by call, with each call that can fail.
#include "tests/controller/loop/loop_test.h"
#include "tests/support/rows.h"

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;

Rows operator+(Rows rows, const Rows& more)
{
    rows.insert(rows.end(), more.begin(), more.end());
    return rows;
}

// What a start does, part by part; each part depends on what the one before it met.
const Rows created = { "call INIT 0", "log 0 KV scaling is started : ", "call SESSION_CREATE 0" };
const Rows connected = { "call SESSION_CONNECT 0",        "GET_RAPL_POWER 1500 0", "GET_RAPL_POWER 1500 0",
                         "GET_RAPL_POWER 1500 0",         "GET_RAPL_POWER 1500 0", "GET_RAPL_POWER 1500 0",
                         "log 2 pkg power data is : 1500" };
const Rows registered = { "call REGISTER_EVENT 10000 0",
                          "call REGISTER_EVENT 34 0",
                          "call REGISTER_EVENT 44 0",
                          "call REGISTER_EVENT 183 0",
                          "log 2 workload classification EVENT Register",
                          "call REGISTER_EVENT 72 0",
                          "log 2 Powerscheme classification EVENT Register",
                          "call REGISTER_EVENT 106 0",
                          "log 2 Powerslider classification EVENT Register",
                          "log 2 workload classification is success : " };
const Rows unregistered = {
    "log 2 UnregisterEvents() called", "call UNREGISTER_EVENT 44 0",
    "call UNREGISTER_EVENT 34 0",      "call UNREGISTER_EVENT 10000 0",
    "call UNREGISTER_EVENT 183 0",     "call UNREGISTER_EVENT 72 0",
    "call UNREGISTER_EVENT 106 0",     "log 4 OrqCore workload classification SessionExecute failed"
};
const Rows firstLimit = { "SET_RAPL_POWER_LIMIT_1 37000 0", "log 2  **** Current CPU PL1 == : 1" };
const Rows secondLimit = { "SET_RAPL_POWER_LIMIT_1 17000 0", "log 2  **** Current CPU PL1 == : 17000" };
const Rows firstLimitFailed = { "SET_RAPL_POWER_LIMIT_1 37000 1000",
                                "log 4 OrqCore CpuPowerLimit1 SessionExecute failed" };
const Rows secondLimitFailed = { "SET_RAPL_POWER_LIMIT_1 17000 1000",
                                 "log 4 OrqCore CpuPowerLimit1 SessionExecute failed" };
const Rows ceiling = { "SET_PERF_PREFERENCE_MAX 1200 0" };
const Rows ended = { "SET_PERF_PREFERENCE_MIN 0 0", "log 2  ** Default Init Pref ==1200",
                     "log 0 KV Windows service is stopped " };
const Rows setterFailed = { "log 2 OrqCore setPerfmax SessionExecute failed : first 2 times expeted in MS/startup" };

// A start with nothing behind it: the service already stops, so there is no step.
class ScalingLoopStart : public LoopTest {
protected:
    ScalingLoopStart()
    {
        loop.power(1500);
        g_serviceStopping = 1;
        cpuPL1 = 1;
        pl1ResetLevel = 2;
    }
};

struct StartRow {
    int failing = 0;  // the call that fails; 0: none
    Rows happened;
    int power = 1500;
    int sessionOpen = 1;
    int retries = 0;
    int status = 0;
};

using ScalingLoopStarts = WithRow<ScalingLoopStart, StartRow>;

TEST_ROWS(
    ScalingLoopStarts, ROW(.happened = created + connected + registered + firstLimit + secondLimit + ceiling + ended),
    // without a connection, tried once
    ROW(.failing = 3,
        .happened = created + Rows{ "call SESSION_CONNECT 1000" } + registered + firstLimit + secondLimit + ceiling +
                    ended,
        .power = -1, .sessionOpen = 0, .retries = 1),
    // without the last of the first power readings
    ROW(.failing = 8,
        .happened = created + Rows(connected.begin(), connected.end() - 2) +
                    Rows{ "GET_RAPL_POWER 1000", "log 4 OrqCore pkgPower SessionExecute failed" } + registered +
                    firstLimit + secondLimit + ceiling + ended,
        .power = -1),
    // each failing limit is logged, and the other is written
    ROW(.failing = 15, .happened = created + connected + registered + firstLimitFailed + secondLimit + ceiling + ended),
    ROW(.failing = 16, .happened = created + connected + registered + firstLimit + secondLimitFailed + ceiling + ended),
    // and so is each preference
    ROW(.failing = 17, .happened = created + connected + registered + firstLimit + secondLimit +
                                   Rows{ "SET_PERF_PREFERENCE_MAX 1200 1000" } + setterFailed + ended),
    ROW(.failing = 18,
        .happened = created + connected + registered + firstLimit + secondLimit + ceiling +
                    Rows{ "SET_PERF_PREFERENCE_MIN 0 1000" } + setterFailed + Rows(ended.begin() + 1, ended.end()),
        .status = 1000));

TEST_ROW(ScalingLoopStarts, GoesFromInitToTheDefaultPreference)
{
    loop.failCall(row().failing, 1000);

    EXPECT_EQ(0xFFFFFFFFu, loop.run());

    EXPECT_THAT(loop.happened(), ElementsAreArray(row().happened));
    EXPECT_EQ(row().status, g_orqStatus);
    EXPECT_EQ(1u, g_sessionHandle);
    EXPECT_EQ(row().sessionOpen, g_sessionOpen);
    EXPECT_EQ(row().retries, sessionRetry);
    EXPECT_EQ(row().power, pkgPower);
    EXPECT_EQ(17000, cpuPL1);
    EXPECT_EQ(17000, pl1ResetLevel);
    EXPECT_EQ(1u, acMode);
    EXPECT_EQ(1200, appliedPrefMax);
}

TEST_F(ScalingLoopStart, FailingInitEndsTheLoopWithNothingElseTouched)
{
    loop.failCall(1, 3000);

    EXPECT_EQ(0xFFFFFFFFu, loop.run());

    EXPECT_THAT(loop.happened(), ElementsAre("call INIT 3000", "log 0 KV scaling is started : ",
                                             "log 0  KV Start MS/CS is initializing the ORQ, Scaling is stopped "));
    EXPECT_EQ(3000, g_orqStatus);
    EXPECT_EQ(1, g_sessionOpen);
    EXPECT_EQ(noSession, g_sessionHandle);
    EXPECT_EQ(-1, pkgPower);
    EXPECT_EQ(0, appliedPrefMax);
    EXPECT_EQ(1, g_serviceStopping);
}

TEST_F(ScalingLoopStart, FailingSessionCreationEndsTheLoop)
{
    g_sessionHandle = 7;
    loop.failCall(2, 5);

    EXPECT_EQ(0xFFFFFFFFu, loop.run());

    EXPECT_THAT(loop.happened(), ElementsAre("call INIT 0", "log 0 KV scaling is started : ", "call SESSION_CREATE 5"));
    EXPECT_EQ(0, g_sessionOpen);
    EXPECT_EQ(7u, g_sessionHandle);
    EXPECT_EQ(0, appliedPrefMax);
}

TEST_F(ScalingLoopStart, StatusOfAnEarlierRunIsGoneForInitAndTheSessionClosedForItsCreation)
{
    g_orqStatus = 1800;
    int statusDuringInit = -1;
    int openDuringCreation = -1;
    loop.beforeCall(1, [&] { statusDuringInit = g_orqStatus; });
    loop.beforeCall(2, [&] { openDuringCreation = g_sessionOpen; });

    loop.run();

    EXPECT_EQ(0, statusDuringInit);
    EXPECT_EQ(0, openDuringCreation);
}

TEST_F(ScalingLoopStart, OnlyTheLastOfTheFirstPowerReadingsCounts)
{
    for (const int call : { 4, 5, 6, 7 }) loop.failCall(call, 1000);

    loop.run();

    EXPECT_EQ(1500, pkgPower);
    EXPECT_THAT(loop.messages(), Contains("2 pkg power data is : 1500"));
}

struct RegistrationRow {
    int failing;  // the call
    std::ptrdiff_t done;
    const char* event;
};

using ScalingLoopWithoutEvents = WithRow<ScalingLoopStart, RegistrationRow>;

TEST_ROWS(ScalingLoopWithoutEvents, ROW(.failing = 9, .done = 0, .event = "10000"),
          ROW(.failing = 10, .done = 1, .event = "34"), ROW(.failing = 11, .done = 2, .event = "44"),
          ROW(.failing = 12, .done = 3, .event = "183"), ROW(.failing = 13, .done = 5, .event = "72"),
          ROW(.failing = 14, .done = 7, .event = "106"));

TEST_ROW(ScalingLoopWithoutEvents, UnregistersAllAndGoesOn)
{
    loop.failCall(row().failing, 1000);
    int duringFirstLimit = -1;
    // The six unregistrations come before it.
    loop.beforeCall(row().failing + 7, [&] { duringFirstLimit = g_orqStatus; });

    loop.run();

    const Rows before = { registered.begin(), registered.begin() + row().done };
    const Rows failing = { std::string("call REGISTER_EVENT ") + row().event + " 1000" };
    EXPECT_THAT(loop.happened(), ElementsAreArray(created + connected + before + failing + unregistered + firstLimit +
                                                  secondLimit + ceiling + ended));
    EXPECT_EQ(1000, duringFirstLimit);
}

TEST_F(ScalingLoopStart, SessionIsCreatedWithTheApplicationRecord)
{
    loop.run();

    ASSERT_EQ(&g_application, loop.application());
    EXPECT_STREQ("Kelvane", loop.application()->name);
    EXPECT_EQ(1u, loop.application()->revision);
}

TEST_F(ScalingLoopStart, SessionIsCreatedWithoutARecordWhenTheApplicationHasNoName)
{
    g_application.name[0] = '\0';

    loop.run();

    EXPECT_EQ(nullptr, loop.application());
    EXPECT_EQ(1u, g_sessionHandle);
}

}  // namespace
}  // namespace kelvane::tests
