#include "tests/service/control_watch.h"

#include <stdexcept>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr char createEvent[] = "create event 1, 0";
constexpr char closeEvent[] = "close event";
constexpr char closed[] = "data  registryNotify() is closed";

std::string notify(int key) { return "notify key" + std::to_string(key) + ", 1, 15, event, 1"; }

std::string query(int key, const std::string& size)
{
    return "query key" + std::to_string(key) + ", CurrentSetting, " + size;
}

// The calls while the value becomes 2 twice.
struct CallsRow {
    std::string failing = "";
    std::vector<std::string> calls;
    DWORD status = 0;
};

class WatcherCalls : public WithRow<ControlWatch, CallsRow> {};

TEST_ROWS(WatcherCalls,
          // each change opens the key once more, reads and watches again
          ROW(.calls = { openToWatch, createEvent, notify(1), "wait", openToRead, query(2, wholeBuffer), notify(2),
                         "wait", openToRead, query(3, "4"), notify(3), closeEvent, "close key3", closed }),
          // where the key does not open again, nothing is read and the old handle watched
          ROW(.failing = openToRead, .calls = { openToWatch, createEvent, notify(1), "wait", openToRead, notify(1),
                                                "wait", openToRead, notify(1), closeEvent, "close key1", closed }),
          // the first watch that fails is reported, and the loop entered all the same; a later one ends it
          ROW(.failing = "RegNotifyChangeKeyValue",
              .calls = { openToWatch, createEvent, notify(1), "event KV::RegNotifyChangeKeyValue Failed", "wait",
                         openToRead, query(2, wholeBuffer), notify(2), "wait", openToRead, query(3, "4"), notify(3),
                         closeEvent, "close key3", closed }),
          ROW(.failing = "RegNotifyChangeKeyValue again",
              .calls = { openToWatch, createEvent, notify(1), "wait", openToRead, query(2, wholeBuffer), notify(2),
                         closeEvent, "close key2", closed },
              .status = 1018),
          // without a key or an event there is no watch; the key is left open
          ROW(.failing = openToWatch,
              .calls = { openToWatch, "event KV::Failed in RegOpenKeyEx LITSSVC IC KV with kiostot control" },
              .status = 2),
          ROW(.failing = "CreateEventW, change",
              .calls = { openToWatch, createEvent, "event KV::CreateEvent Failed" }));

TEST_P(WatcherCalls, ComeInThisOrder)
{
    failCalls({ row().failing });
    change(dword(2));
    change(dword(2));

    runToEnd();

    EXPECT_THAT(noted(), ElementsAreArray(row().calls));
    EXPECT_EQ(g_lastRegistryStatus, row().status);
}

TEST_F(ControlWatch, NothingIsReadBeforeTheFirstChangeAndAFailedWaitIsStored)
{
    registry.value = dword(2);

    registryNotify();

    EXPECT_THAT(noted(), ElementsAre(openToWatch, createEvent, notify(1), "wait",
                                     "event Error occurred while waiting for registry change.", closeEvent,
                                     "close key1", closed));
    EXPECT_EQ(g_engineGate, 7);
    EXPECT_EQ(g_lastRegistryStatus, 0xFFFFFFFFU);
}

TEST_F(ControlWatch, ServiceThatNoLongerRunsIsNoticedBeforeTheWait)
{
    g_serviceRunning = false;

    EXPECT_EQ(registryNotify(), 0U);

    EXPECT_THAT(noted(), ElementsAre(openToWatch, createEvent, notify(1), closeEvent, "close key1", closed));
}

TEST_F(ControlWatch, AnyOtherEndOfTheWaitCountsAsAChange)
{
    registry.value = dword(2);
    registry.waits.emplace_back([] { return DWORD{ WAIT_TIMEOUT }; });

    runToEnd();

    EXPECT_EQ(g_engineGate, 0);
}

TEST_F(ControlWatch, KeyThatOpensAgainLaterIsReadThen)
{
    change([] { failCalls({ openToRead }); });
    change([this] {
        failCalls({});
        registry.value = dword(2);
    });

    runToEnd();

    EXPECT_THAT(notedOf("query"), ElementsAre(query(2, wholeBuffer)));
    EXPECT_EQ(g_engineGate, 0);
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
