#include "tests/service/control_watch.h"

#include <stdexcept>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

// Access rights: KEY_NOTIFY is 16, KEY_READ 131097.
constexpr char openToWatch[] = "open SYSTEM\\CurrentControlSet\\Services\\LITSSVC\\IC\\KV, 0, 16";
constexpr char openToRead[] = "open SYSTEM\\CurrentControlSet\\Services\\LITSSVC\\IC\\KV, 0, 131097";
constexpr char createEvent[] = "create event 1, 0";
constexpr char closed[] = "data  registryNotify() is closed";

TEST_F(ControlWatch, EachChangeOpensTheKeyOnceMoreReadsAndWatchesAgain)
{
    change(dword(2));
    change(dword(2));

    runToEnd();

    EXPECT_THAT(noted(), ElementsAre(openToWatch, createEvent, "notify key1, 1, 15, event, 1", "wait", openToRead,
                                     "query key2, CurrentSetting, " + wholeBuffer, "notify key2, 1, 15, event, 1",
                                     "wait", openToRead, "query key3, CurrentSetting, 4",
                                     "notify key3, 1, 15, event, 1", "close event", "close key3", closed));
}

TEST_F(ControlWatch, NothingIsReadBeforeTheFirstChange)
{
    registry.value = dword(2);

    registryNotify();

    EXPECT_THAT(noted(), ElementsAre(openToWatch, createEvent, "notify key1, 1, 15, event, 1", "wait",
                                     "event Error occurred while waiting for registry change.", "close event",
                                     "close key1", closed));
    EXPECT_EQ(g_engineGate, 7);
}

TEST_F(ControlWatch, MissingKeyEndsTheWatcherWithAReportAlone)
{
    registry.onOpen = [](const std::string&) { return ERROR_FILE_NOT_FOUND; };

    EXPECT_EQ(registryNotify(), 0U);

    EXPECT_THAT(noted(),
                ElementsAre(openToWatch, "event KV::Failed in RegOpenKeyEx LITSSVC IC KV with kiostot control"));
    EXPECT_EQ(g_lastRegistryStatus, 2U);
}

TEST_F(ControlWatch, EventThatCannotBeMadeEndsTheWatcherAndLeavesTheKeyOpen)
{
    registry.makesEvent = false;

    EXPECT_EQ(registryNotify(), 0U);

    EXPECT_THAT(noted(), ElementsAre(openToWatch, createEvent, "event KV::CreateEvent Failed"));
}

TEST_F(ControlWatch, FirstWatchThatFailsIsReportedAndTheLoopEnteredAllTheSame)
{
    int armed = 0;
    registry.onNotify = [&] { return ++armed == 1 ? ERROR_INVALID_HANDLE : ERROR_SUCCESS; };
    change(dword(2));

    runToEnd();

    EXPECT_THAT(noted(), ElementsAre(openToWatch, createEvent, "notify key1, 1, 15, event, 1",
                                     "event KV::RegNotifyChangeKeyValue Failed", "wait", openToRead,
                                     "query key2, CurrentSetting, " + wholeBuffer, "notify key2, 1, 15, event, 1",
                                     "close event", "close key2", closed));
}

TEST_F(ControlWatch, ServiceThatNoLongerRunsIsNoticedBeforeTheWait)
{
    g_serviceRunning = false;

    EXPECT_EQ(registryNotify(), 0U);

    EXPECT_THAT(noted(), ElementsAre(openToWatch, createEvent, "notify key1, 1, 15, event, 1", "close event",
                                     "close key1", closed));
}

TEST_F(ControlWatch, FailedWaitIsStored)
{
    registryNotify();

    EXPECT_EQ(g_lastRegistryStatus, 0xFFFFFFFFU);
}

TEST_F(ControlWatch, AnyOtherEndOfTheWaitCountsAsAChange)
{
    registry.waits.emplace_back([this] {
        registry.value = dword(2);
        return DWORD{ WAIT_TIMEOUT };
    });

    runToEnd();

    EXPECT_EQ(g_engineGate, 0);
}

TEST_F(ControlWatch, KeyThatDoesNotOpenAgainIsNotReadAndTheOldHandleWatched)
{
    int opened = 0;
    registry.onOpen = [&](const std::string&) -> LSTATUS {
        return ++opened == 2 ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
    };
    change(dword(2));
    change(dword(2));

    runToEnd();

    EXPECT_THAT(noted(), ElementsAre(openToWatch, createEvent, "notify key1, 1, 15, event, 1", "wait", openToRead,
                                     "notify key1, 1, 15, event, 1", "wait", openToRead,
                                     "query key2, CurrentSetting, " + wholeBuffer, "notify key2, 1, 15, event, 1",
                                     "close event", "close key2", closed));
}

TEST_F(ControlWatch, WatchThatCannotBeRenewedEndsTheWatcherWithoutAReport)
{
    int armed = 0;
    registry.onNotify = [&] { return ++armed == 2 ? LSTATUS{ 1018 } : ERROR_SUCCESS; };
    change(dword(2));
    change(dword(2));

    EXPECT_EQ(registryNotify(), 0U);

    EXPECT_THAT(noted(), ElementsAre(openToWatch, createEvent, "notify key1, 1, 15, event, 1", "wait", openToRead,
                                     "query key2, CurrentSetting, " + wholeBuffer, "notify key2, 1, 15, event, 1",
                                     "close event", "close key2", closed));
    EXPECT_EQ(g_lastRegistryStatus, 1018U);
}

TEST_F(ControlWatch, StandardExceptionIsWrittenWithItsTextBeforeTheClosingLine)
{
    registry.onNotify = []() -> LSTATUS { throw std::runtime_error("broken"); };

    EXPECT_EQ(registryNotify(), 0U);

    EXPECT_THAT(notedOf("data"), ElementsAre("data  registryNotifyexception - broken", closed));
    EXPECT_THAT(notedOf("close"), testing::IsEmpty());
}

TEST_F(ControlWatch, AnyOtherExceptionHasItsOwnTextBeforeTheClosingLine)
{
    change([]() { throw 7; });

    EXPECT_EQ(registryNotify(), 0U);

    EXPECT_THAT(notedOf("data"), ElementsAre("data catch ... registry_write function. Service stopped", closed));
}

TEST_F(ControlWatch, ExceptionThatCannotBeToldEndsTheWatcherAlone)
{
    registry.onNotify = []() -> LSTATUS { throw std::runtime_error("broken"); };
    onServiceData = [](const std::string&) { throw std::bad_alloc(); };

    EXPECT_EQ(registryNotify(), 0U);

    EXPECT_THAT(notedOf("data"), testing::IsEmpty());
}

TEST_F(ControlWatch, ExceptionOfAReportEndsTheWatcherToo)
{
    onServiceEvent = [](const std::wstring&) { throw std::runtime_error("no log"); };

    EXPECT_EQ(registryNotify(), 0U);

    EXPECT_THAT(notedOf("data"), ElementsAre("data  registryNotifyexception - no log", closed));
}

}  // namespace
}  // namespace kelvane::tests
