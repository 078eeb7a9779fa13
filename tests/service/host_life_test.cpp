// Every call of the platform fails once, and every call from each one on.
#include "tests/service/host_life.h"
#include "tests/service/turns.h"
#include "tests/support/call_list.h"
#include "tests/support/repeated_cases.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <iterator>

namespace kelvane::tests {
namespace {

using testing::UnorderedElementsAreArray;

using Texts = std::vector<std::string>;

const char* const capabilityWritten = "data Capability key is present";
const char* const driversPresent = "data ORQ drivers are present , Capability value is set to 2";
const char* const driversMissing = "data ORQ drivers are not presnt present , Capability value is set to 1";
const char* const installDrivers = "event KV::Orq Drivers are not present, Please install the drivers";
const char* const watcherClosed = "data  registryNotify() is closed";
const char* const notStopped = "event Unable to set service status to STOP";

const Texts allOfTheWorker = { capabilityWritten, driversPresent, driversMissing, installDrivers };

// What a failing call adds to the reports of a life in which nothing fails, and what it takes from them.
struct Failure {
    const char* call;
    Texts added;
    Texts lost;
};

// A call that does not stand here fails without a word.
const Failure failures[] = {
    { "StartServiceCtrlDispatcherW",
      { "event Kelvane: Main: StartServiceCtrlDispatcher returned error" },
      allOfTheWorker },
    { "RegisterServiceCtrlHandlerW", {}, allOfTheWorker },
    { "SetServiceStatus, 2", { "event ServiceMain: Unable to start the service after registering with SCM" }, {} },
    { "SetServiceStatus, 4", { "event ServiceMain: unable to set the service status" }, {} },
    { "SetServiceStatus, 3", { notStopped }, {} },
    { "SetServiceStatus, 1", { "event ServiceMain: Unable to STOP the service" }, {} },
    { "CreateEventW, stop", {}, allOfTheWorker },
    { "CreateThread", {}, allOfTheWorker },
    { "SetEvent", { notStopped }, {} },

    { openAcpi, { installDrivers, driversMissing }, { driversPresent } },
    { openCpu, { installDrivers, driversMissing }, { driversPresent } },
    { openKv,
      { "data KV registry write failed", "event KV Registry is not exists, Install the package again" },
      { capabilityWritten } },
    { "RegSetValueExW", { "event KV Capability value is not present" }, { capabilityWritten } },

    { openToWatch, { "event KV::Failed in RegOpenKeyEx LITSSVC IC KV with kiostot control" }, {} },
    { "CreateEventW, change", { "event KV::CreateEvent Failed" }, {} },
    { "RegNotifyChangeKeyValue", { "event KV::RegNotifyChangeKeyValue Failed" }, {} },
    { "RegNotifyChangeKeyValue again", { watcherClosed }, {} },
    { "WaitForSingleObject, change", { "event Error occurred while waiting for registry change.", watcherClosed }, {} },
    { "RegQueryValueExW", { "event KV::LITSSVC: Registry value KV is not present in the registry" }, {} },
};

bool contains(const Texts& texts, const std::string& text) { return std::ranges::find(texts, text) != texts.end(); }

std::size_t count(const Texts& calls, const std::string& call)
{
    return static_cast<std::size_t>(std::ranges::count(calls, call));
}

class LifeOfTheHost : public testing::TestWithParam<bool> {
protected:
    static Texts usualReports()
    {
        if (GetParam()) return { capabilityWritten, driversPresent };
        return { installDrivers, capabilityWritten, driversMissing };
    }

    // Reports of a life with a single failure. What is reported anyway is not reported twice.
    static Texts expectedReports()
    {
        Texts reports = usualReports();
        for (const Failure& failure : failures) {
            if (!callFailed(failure.call)) continue;
            std::erase_if(reports, [&](const std::string& report) { return contains(failure.lost, report); });
            std::ranges::copy_if(failure.added, std::back_inserter(reports),
                                 [usual = reports](const std::string& report) { return !contains(usual, report); });
        }
        return reports;
    }

    // Failed reports are among them.
    static Texts expectedStates()
    {
        if (callFailed("StartServiceCtrlDispatcherW") || callFailed("RegisterServiceCtrlHandlerW")) return {};
        if (callFailed("CreateEventW, stop")) return { startPending, stoppedByError };
        if (callFailed("CreateThread")) return { startPending, running, stopped };
        return { startPending, running, stopPending, stopped };
    }

    void expectTheRest(FailurePlan plan)
    {
        EXPECT_EQ(life.exitCode, callFailed("StartServiceCtrlDispatcherW") ? 1234 : 0);
        EXPECT_EQ(notedOf("status"), expectedStates());
        expectNothingOpenBut();
        // A stop that could not be signalled, or whose signal cannot be read, is never noticed.
        const bool unnoticed = callFailed("SetEvent") || (plan.onward && callFailed("WaitForSingleObject, stop"));
        EXPECT_EQ(life.slept > HostLife::patienceMs, unnoticed);
    }

    std::size_t opened(const char* key) const { return count(life.registry.opened, key); }

    std::size_t open(const char* key) const { return opened(key) - count(life.registry.closed, key); }

    // Deliberately kept: the handle of the first driver's key; that of a capability that could not be written; one of
    // the control key for each change of it, and while the watcher waits for the next, the first one and its event.
    void expectNothingOpenBut() const
    {
        const bool waits = watcherLives();
        const bool leftEarly = callFailed("CreateEventW, change");
        const std::size_t control = opened(openToWatch) + opened(openToRead);
        EXPECT_EQ(open(openAcpi), opened(openAcpi));
        EXPECT_EQ(open(openCpu), 0U);
        EXPECT_EQ(open(openKv), callFailed("RegSetValueExW") ? 1U : 0U);
        EXPECT_EQ(open(openToWatch) + open(openToRead), control - (control == 0 || waits || leftEarly ? 0 : 1));
        const std::size_t eventsNotMade = count(callsFailed(), "CreateEventW, stop") + (leftEarly ? 1 : 0);
        EXPECT_EQ(notedOf("create event").size() - eventsNotMade, notedOf("close event").size() + (waits ? 1 : 0));
        EXPECT_EQ(notedOf("register here").size(), notedOf("deregister").size());
        EXPECT_EQ(notedOf("create worker").size(),
                  notedOf("close worker").size() + (callFailed("CreateThread") ? 1 : 0));
    }

    HostLife life{ GetParam() };
};

TEST_P(LifeOfTheHost, WithoutAFailureStartsAnEngineAndStops)
{
    life.live({});

    expectTheRest({});
    EXPECT_THAT(life.reports(), UnorderedElementsAreArray(usualReports()));
    EXPECT_EQ(open(openToWatch) + open(openToRead), 3U);
    EXPECT_EQ(HostLife::engineStarts(1), 1U);
}

TEST_P(LifeOfTheHost, SurvivesEachCallThatFailsOnce)
{
    const int call = numberOfCase();
    life.live({ call, false });
    if (call == 0) return repeatInChildren(static_cast<int>(callsMade().size()));

    expectTheRest({ call, false });
    Texts expected = expectedReports();
    const Texts reports = life.reports();
    if (callFailed("RegisterEventSourceW") || callFailed("ReportEventW")) std::erase(expected, installDrivers);
    if (callFailed("fopen, service data")) {
        EXPECT_EQ(reports.size() + 1, expected.size());
        EXPECT_THAT(reports, testing::IsSubsetOf(expected));
    } else {
        EXPECT_THAT(reports, UnorderedElementsAreArray(expected));
    }
}

// With the channels gone too, nothing is told but what was told before.
TEST_P(LifeOfTheHost, SurvivesEachCallThatFailsWithAllBehindIt)
{
    const int call = numberOfCase();
    life.live({ call, true });
    if (call == 0) return repeatInChildren(static_cast<int>(callsMade().size()));

    expectTheRest({ call, true });
    EXPECT_THAT(life.reports(), testing::IsSubsetOf(usualReports()));
}

INSTANTIATE_TEST_SUITE_P(Each, LifeOfTheHost, testing::Bool(),
                         [](const auto& present) { return present.param ? "WithDrivers" : "WithoutDrivers"; });

}  // namespace
}  // namespace kelvane::tests
