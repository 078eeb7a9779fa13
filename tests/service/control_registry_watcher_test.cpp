#include "service/control_registry_watcher.h"

#include "service/service_host.h"
#include "state/state.h"
#include "tests/service/fake_registry.h"
#include "tests/service/fake_reports.h"
#include "tests/support/call_list.h"
#include "tests/support/failing_calls.h"
#include "tests/support/rows.h"
#include "tests/support/store_watch.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

// Of the buffer for the value: 1024 on Windows.
constexpr std::size_t bufferBytes = 512 * sizeof(wchar_t);
const std::string wholeBuffer = std::to_string(bufferBytes);

class ControlWatch : public testing::Test {
protected:
    ControlWatch()
    {
        g_engineGate = 7;  // neither open nor shut
        g_serviceStopping = 1;
    }

    // At the next wait the value becomes so.
    void change(const std::string& bytes)
    {
        change([this, bytes] { registry.value = bytes; });
    }

    // At the next wait something is done, and then the key signals.
    void change(std::function<void()> happens)
    {
        registry.waits.emplace_back([happens] {
            happens();
            return WAIT_OBJECT_0;
        });
    }

    // The service stops running while the last change is waited for.
    void runToEnd()
    {
        registry.waits.back() = [last = registry.waits.back()] {
            g_serviceRunning = false;
            return last();
        };
        EXPECT_EQ(registryNotify(), 0U);
    }

    FakeRegistry registry;
};

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
    bool nullKeys = false;
    std::vector<std::string> calls;
    DWORD status = 0;
};

class WatcherCalls : public WithRow<ControlWatch, CallsRow> {};

TEST_ROWS(
    WatcherCalls,
    // each change opens the key once more, reads and watches again
    ROW(.calls = { openToWatch, createEvent, notify(1), "wait", openToRead, query(2, wholeBuffer), notify(2), "wait",
                   openToRead, query(3, "4"), notify(3), closeEvent, "close key3", closed }),
    // where the key does not open again, nothing is read and the old handle watched
    ROW(.failing = openToRead, .calls = { openToWatch, createEvent, notify(1), "wait", openToRead, notify(1), "wait",
                                          openToRead, notify(1), closeEvent, "close key1", closed }),
    // and where there is no handle, none is closed
    ROW(.nullKeys = true, .calls = { openToWatch, createEvent, notify(0), "wait", openToRead, query(0, wholeBuffer),
                                     notify(0), "wait", openToRead, query(0, "4"), notify(0), closeEvent, closed }),
    // the first watch that fails is reported, and the loop entered all the same; a later one ends it
    ROW(.failing = "RegNotifyChangeKeyValue",
        .calls = { openToWatch, createEvent, notify(1), "event KV::RegNotifyChangeKeyValue Failed", "wait", openToRead,
                   query(2, wholeBuffer), notify(2), "wait", openToRead, query(3, "4"), notify(3), closeEvent,
                   "close key3", closed }),
    ROW(.failing = "RegNotifyChangeKeyValue again",
        .calls = { openToWatch, createEvent, notify(1), "wait", openToRead, query(2, wholeBuffer), notify(2),
                   closeEvent, "close key2", closed },
        .status = 1018),
    // without a key or an event there is no watch; the key is left open
    ROW(.failing = openToWatch,
        .calls = { openToWatch, "event KV::Failed in RegOpenKeyEx LITSSVC IC KV with kiostot control" }, .status = 2),
    ROW(.failing = "CreateEventW, change", .calls = { openToWatch, createEvent, "event KV::CreateEvent Failed" }));

TEST_ROW(WatcherCalls, ComeInThisOrder)
{
    failCalls({ row().failing });
    registry.nullKeys = row().nullKeys;
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

// Where nothing but the outermost handler is.
TEST_F(ControlWatch, ExceptionBeforeTheWatchIsToldToNobody)
{
    registry.onOpen = [] { throw 7; };

    EXPECT_EQ(registryNotify(), 0U);

    EXPECT_THAT(noted(), IsEmpty());
}

struct ExceptionRow {
    bool standard;
    const char* line;
};

class WatcherException : public WithRow<ControlWatch, ExceptionRow> {};

TEST_ROWS(WatcherException, ROW(.standard = true, .line = "data  registryNotifyexception - broken"),
          ROW(.standard = false, .line = "data catch ... registry_write function. Service stopped"));

TEST_ROW(WatcherException, IsWrittenBeforeTheClosingLineAStandardOneWithItsText)
{
    registry.onNotify = [this]() -> LSTATUS {
        if (row().standard) throw std::runtime_error("broken");
        throw 7;
    };

    EXPECT_EQ(registryNotify(), 0U);

    EXPECT_THAT(notedOf("data"), ElementsAre(row().line, closed));
    EXPECT_THAT(notedOf("close"), IsEmpty());
}

TEST_F(ControlWatch, ExceptionThatCannotBeToldEndsTheWatcherAlone)
{
    registry.onNotify = []() -> LSTATUS { throw std::runtime_error("broken"); };
    onServiceData = [](const std::string&) { throw std::bad_alloc(); };

    EXPECT_EQ(registryNotify(), 0U);

    EXPECT_THAT(notedOf("data"), IsEmpty());
}

using namespace std::string_literals;

constexpr char notPresent[] = "event KV::LITSSVC: Registry value KV is not present in the registry";

struct ValueRow {
    std::string bytes;
    int gate = 1;
    std::vector<std::string> stores = { "store g_engineState 0", "store g_serviceStopping 0", "store g_engineGate 1" };
};

const std::vector<std::string> gateOpens = { "store g_engineGate 0" };

class ControlValue : public WithRow<ControlWatch, ValueRow> {};

TEST_ROWS(ControlValue,
          // the number 2, and what begins like the text whose one unit is 2
          ROW(.bytes = dword(2), .gate = 0, .stores = gateOpens),
          ROW(.bytes = wideText(L"\x02"), .gate = 0, .stores = gateOpens),
          ROW(.bytes = wideText(L"\x02") + dword(99), .gate = 0, .stores = gateOpens),
          // anything else
          ROW(.bytes = dword(0)), ROW(.bytes = dword(1)), ROW(.bytes = dword(3)), ROW(.bytes = dword(0x20000)),
          ROW(.bytes = dword(0x10002)), ROW(.bytes = dword(0x202)), ROW(.bytes = wideText(L"2")),
          ROW(.bytes = wideText(L"\x02\x02")), ROW(.bytes = "2"), ROW(.bytes = ""));

TEST_ROW(ControlValue, OpensTheGateWhenItIsTwoElseAsksScalingToStopAndShutsTheGate)
{
    change(row().bytes);
    const StoreWatch watch({ WATCHED(g_engineGate), WATCHED(g_engineState), WATCHED(g_serviceStopping) }, noteStore);

    runToEnd();

    EXPECT_EQ(notedOf("store"), row().stores);
    EXPECT_EQ(g_engineGate, row().gate);
    EXPECT_EQ(g_engineState, row().gate == 0 ? 3 : 0);
    EXPECT_EQ(g_serviceStopping, row().gate == 0 ? 1 : 0);
    EXPECT_THAT(notedOf("event"), IsEmpty());
}

// Two values, one after the other.
struct ValuesRow {
    std::string first;
    int firstGate = 1;
    std::string second;
    int secondGate = 1;
};

class ControlValues : public WithRow<ControlWatch, ValuesRow> {};

TEST_ROWS(ControlValues, ROW(.first = dword(2), .firstGate = 0, .second = dword(1)),
          ROW(.first = dword(2), .firstGate = 0, .second = dword(2), .secondGate = 0),
          ROW(.first = dword(1), .second = dword(1)),
          // the buffer keeps what a shorter value does not overwrite
          ROW(.first = dword(2), .firstGate = 0, .second = "", .secondGate = 0),
          ROW(.first = dword(5), .second = "\x02\0"s, .secondGate = 0),
          ROW(.first = dword(0x00050002), .second = "\x02\0"s));

TEST_ROW(ControlValues, AreFollowedOneByOne)
{
    int gateAfterTheFirst = -1;
    change(row().first);
    change([&] {
        gateAfterTheFirst = g_engineGate;
        g_engineGate = 7;
        g_engineState = 3;
        registry.value = row().second;
    });

    runToEnd();

    EXPECT_EQ(gateAfterTheFirst, row().firstGate);
    EXPECT_EQ(g_engineGate, row().secondGate);
    EXPECT_EQ(g_engineState, row().secondGate == 0 ? 3 : 0);
}

TEST_F(ControlWatch, DeletedValueIsReportedAndLeavesGateAndEngineAsTheyAre)
{
    change([] { failCalls({ "RegQueryValueExW" }); });

    runToEnd();

    EXPECT_THAT(notedOf("event"), ElementsAre(notPresent));
    EXPECT_EQ(g_engineGate, 7);
    EXPECT_EQ(g_engineState, 3);
}

// Values of these sizes, all of which begin like the text of 2.
struct SizesRow {
    std::vector<std::size_t> values;
    std::vector<std::string> offered;
    std::vector<int> gates;  // 7 where the value is not read
    std::size_t notPresent;
};

class OfferedSize : public WithRow<ControlWatch, SizesRow> {};

TEST_ROWS(OfferedSize,
          // a value longer than the one before is not present once, and then read
          ROW(.values = { 4, 10, 10 }, .offered = { wholeBuffer, "4", "10" }, .gates = { 0, 7, 0 }, .notPresent = 1),
          ROW(.values = { 0, 4, 4 }, .offered = { wholeBuffer, "0", "4" }, .gates = { 1, 7, 0 }, .notPresent = 1),
          // never more than the buffer is offered
          ROW(.values = { bufferBytes + 1976, bufferBytes + 1976, bufferBytes + 1, bufferBytes },
              .offered = { wholeBuffer, wholeBuffer, wholeBuffer, wholeBuffer }, .gates = { 7, 7, 7, 0 },
              .notPresent = 3));

TEST_ROW(OfferedSize, IsThatOfTheValueBeforeAndAtMostTheBuffers)
{
    std::vector<int> gates;
    std::vector<std::string> queries;
    for (std::size_t i = 0; i < row().values.size(); ++i) {
        change([&, i] {
            if (i > 0) gates.push_back(g_engineGate);
            g_engineGate = 7;
            registry.value = wideText(L"\x02").append(bufferBytes * 3, 'x').substr(0, row().values[i]);
        });
        queries.push_back("query key" + std::to_string(i + 2) + ", CurrentSetting, " + row().offered[i]);
    }

    runToEnd();

    gates.push_back(g_engineGate);
    EXPECT_EQ(gates, row().gates);
    EXPECT_EQ(notedOf("query"), queries);
    EXPECT_EQ(notedOf("event"), std::vector<std::string>(row().notPresent, notPresent));
}

TEST_F(ControlWatch, SettingPointsAtTheConstantTwoAndThenAtWhatWasRead)
{
    const auto* const before = static_cast<const DWORD*>(g_currentSettingData.load());
    EXPECT_EQ(*before, 2U);
    change([] { failCalls({ "RegQueryValueExW" }); });
    const void* afterTheFailure = nullptr;
    change([&] {
        afterTheFailure = g_currentSettingData;
        failCalls({});
        registry.value = dword(77);
    });

    runToEnd();

    EXPECT_EQ(afterTheFailure, before);
    EXPECT_EQ(*static_cast<const DWORD*>(g_currentSettingData.load()), 77U);
}

TEST_F(ControlWatch, StatusOfEachCallIsStored)
{
    std::vector<DWORD> stored;
    registry.onNotify = [&] {
        stored.push_back(g_lastRegistryStatus);
        return ERROR_SUCCESS;
    };
    change([] { failCalls({ "RegQueryValueExW" }); });

    runToEnd();

    EXPECT_THAT(stored, ElementsAre(0U, 2U));
    EXPECT_EQ(g_lastRegistryStatus, 0U);
}

}  // namespace
}  // namespace kelvane::tests
