#include "service/service_host.h"
#include "state/state.h"
#include "tests/service/fake_host_parts.h"
#include "tests/service/fake_service_manager.h"
#include "tests/support/call_list.h"
#include "tests/support/rows.h"
#include "tests/support/store_watch.h"

#include <gmock/gmock.h>

#include <deque>
#include <optional>
#include <thread>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

// Without Sleep, which notes.
bool waitUntil(const std::function<bool()>& holds, ULONGLONG ms = 10000)
{
    const ULONGLONG end = GetTickCount64() + ms;
    while (!holds() && GetTickCount64() < end) std::this_thread::yield();
    return holds();
}

// Nobody waits for the watcher and the engines: they run on until the worker has ended.
class Worker : public testing::Test {
protected:
    Worker()
    {
        g_stopEvent = fakeStopEvent;
        // The watcher's thread has to be on its way before the check is over, so each test sees one order.
        onCapabilityCheck = [] { watcherStarted = waitUntil([] { return !notedOf("registryNotify").empty(); }); };
        onRegistryNotify = [] { watcherSawTheEnd = waitUntil([] { return workerEnded.load(); }); };
        onEngine = [] {
            if (!waitUntil([] { return workerEnded.load(); })) engineWasWaitedFor = true;
        };
        manager.onPoll = [this] {
            if (polls.empty()) return DWORD{ WAIT_OBJECT_0 };
            const DWORD result = polls.front();
            polls.pop_front();
            return result;
        };
    }

    void work(std::size_t engines)
    {
        EXPECT_EQ(serviceWorker(nullptr), 0U);

        EXPECT_TRUE(watcherStarted);
        EXPECT_FALSE(watcherSawTheEnd);
        EXPECT_TRUE(waitUntil([=] { return notedOf("runEngine").size() == engines; }));
        EXPECT_EQ(notedOf("runEngine 3").size(), engines);
        EXPECT_FALSE(engineWasWaitedFor);
        workerEnded = true;
        EXPECT_TRUE(waitUntil([] { return watcherSawTheEnd.load(); }));
    }

    // What the worker's own thread did: the other threads' notes come at any place.
    static std::vector<std::string> workersNotes()
    {
        std::vector<std::string> calls = noted();
        std::erase_if(calls, [](const std::string& call) { return call == "registryNotify" || call == "runEngine 3"; });
        return calls;
    }

    static inline bool watcherStarted = false;
    static inline std::atomic<bool> watcherSawTheEnd = false;
    static inline std::atomic<bool> workerEnded = false;
    static inline std::atomic<bool> engineWasWaitedFor = false;
    std::deque<DWORD> polls;  // results of the polls; then the event is set
    FakeServiceManager manager;
};

// The gate as it is at first, and as it becomes during the first sleep of the poll and during the delay of a start.
struct PollRow {
    std::deque<DWORD> polls;
    int gate = 1;
    std::optional<int> gateInPoll = std::nullopt;
    std::optional<int> gateInDelay = std::nullopt;
    std::vector<std::string> sleepsAndPolls;
    std::size_t engines = 0;
    int gateAtTheEnd = 1;
};

class WorkerPoll : public WithRow<Worker, PollRow> {};

TEST_ROWS(
    WorkerPoll,
    // no engine is started when the stop event is set after the check
    ROW(.polls = {}, .sleepsAndPolls = { "poll 0" }),
    ROW(.polls = {}, .gate = 0, .sleepsAndPolls = { "poll 0" }, .gateAtTheEnd = 0),
    // only the set event ends the loop
    ROW(.polls = { WAIT_FAILED, WAIT_ABANDONED, WAIT_TIMEOUT },
        .sleepsAndPolls = { "poll 0", "sleep 3000", "poll 0", "sleep 3000", "poll 0", "sleep 3000", "poll 0" }),
    // any value but one opens the gate
    ROW(.polls = { WAIT_TIMEOUT, WAIT_TIMEOUT }, .gate = 0,
        .sleepsAndPolls = { "poll 0", "sleep 2000", "sleep 3000", "poll 0", "sleep 3000", "poll 0" }, .engines = 1),
    ROW(.polls = { WAIT_TIMEOUT }, .gate = 2, .sleepsAndPolls = { "poll 0", "sleep 2000", "sleep 3000", "poll 0" },
        .engines = 1),
    ROW(.polls = { WAIT_TIMEOUT }, .gate = -1, .sleepsAndPolls = { "poll 0", "sleep 2000", "sleep 3000", "poll 0" },
        .engines = 1),
    // while the first engine runs, a second one is started
    ROW(.polls = { WAIT_TIMEOUT, WAIT_TIMEOUT }, .gate = 0, .gateInPoll = 0,
        .sleepsAndPolls = { "poll 0", "sleep 2000", "sleep 3000", "poll 0", "sleep 2000", "sleep 3000", "poll 0" },
        .engines = 2),
    // several openings between two polls start one
    ROW(.polls = { WAIT_TIMEOUT, WAIT_TIMEOUT }, .gateInPoll = 0, .gateInDelay = 0,
        .sleepsAndPolls = { "poll 0", "sleep 3000", "poll 0", "sleep 2000", "sleep 3000", "poll 0" }, .engines = 1),
    // a gate that is shut again during the delay no longer matters
    ROW(.polls = { WAIT_TIMEOUT }, .gate = 0, .gateInDelay = 1,
        .sleepsAndPolls = { "poll 0", "sleep 2000", "sleep 3000", "poll 0" }, .engines = 1));

TEST_ROW(WorkerPoll, StartsAnEngineWheneverItFindsTheGateOpen)
{
    polls = row().polls;
    g_engineGate = row().gate;
    manager.onSleep = [&](DWORD ms) {
        const bool firstPoll = ms == 3000 && notedOf("sleep 3000").size() == 1;
        if (firstPoll && row().gateInPoll) g_engineGate = *row().gateInPoll;
        if (ms == 2000 && row().gateInDelay) g_engineGate = *row().gateInDelay;
    };

    work(row().engines);

    std::vector<std::string> expected = row().sleepsAndPolls;
    expected.insert(expected.begin(), "capabilityCheck");
    EXPECT_THAT(workersNotes(), ElementsAreArray(expected));
    EXPECT_EQ(g_engineGate, row().gateAtTheEnd);
}

TEST_F(Worker, ShutsTheGateAfterTheDelayAndThenStartsTheEngineAlsoWhenTheServiceIsStoppedMeanwhile)
{
    g_engineGate = 0;
    manager.onPoll = [] { return notedOf("set event").empty() ? DWORD{ WAIT_TIMEOUT } : DWORD{ WAIT_OBJECT_0 }; };
    std::optional<StoreWatch> watch;
    manager.onSleep = [&](DWORD ms) {
        watch.reset();
        if (ms != 2000) return;
        serviceControlHandler(SERVICE_CONTROL_STOP);
        watch.emplace(std::vector{ WATCHED(g_engineGate) }, [](const std::string& name, const std::string& value) {
            noteStore(name, value);
            EXPECT_FALSE(waitUntil([] { return !notedOf("runEngine").empty(); }, 100));
        });
    };
    manager.onThreadWait = [this] { work(1); };

    ServiceMain(0, nullptr);

    EXPECT_THAT(workersNotes(),
                ElementsAre(testing::_, startPending, testing::_, running, "create worker", testing::_,
                            "capabilityCheck", "poll 0", "sleep 2000", stopPending, "set event", "store g_engineGate 1",
                            "sleep 3000", "poll 0", "close event", stopped, "close worker"));
    EXPECT_EQ(g_serviceStopping, 1);
}

TEST(ServiceHost, AtItsStartTheGateIsShutAndTheServiceCountsAsRunning)
{
    EXPECT_EQ(g_engineGate, 1);
    EXPECT_TRUE(g_serviceRunning);
}

}  // namespace
}  // namespace kelvane::tests
