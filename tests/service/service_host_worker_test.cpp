#include "service/service_host.h"
#include "state/state.h"
#include "tests/service/fake_host_parts.h"
#include "tests/service/fake_service_manager.h"
#include "tests/support/call_list.h"

#include <gmock/gmock.h>

#include <deque>
#include <thread>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Without Sleep, which notes: at most ten seconds.
bool waitUntil(const std::function<bool()>& holds)
{
    const ULONGLONG end = GetTickCount64() + 10000;
    while (!holds() && GetTickCount64() < end) std::this_thread::yield();
    return holds();
}

class Worker : public testing::Test {
protected:
    Worker()
    {
        g_stopEvent = fakeStopEvent;
        // The watcher's thread has to be on its way before the check is over, so each test sees one order.
        onCapabilityCheck = [] { watcherStarted = waitUntil([] { return !notedOf("registryNotify").empty(); }); };
        manager.onPoll = [this] {
            if (polls.empty()) return DWORD{ WAIT_OBJECT_0 };
            const DWORD result = polls.front();
            polls.pop_front();
            return result;
        };
    }

    // What the worker's own thread did: the two other threads' notes come at any place.
    static std::vector<std::string> workersNotes()
    {
        std::vector<std::string> calls = noted();
        std::erase_if(calls, [](const std::string& call) { return call == "registryNotify" || call == "runEngine 3"; });
        return calls;
    }

    static bool enginesStarted(std::size_t count)
    {
        return waitUntil([count] { return notedOf("runEngine").size() == count; });
    }

    static inline bool watcherStarted = false;
    std::deque<DWORD> polls;  // results of the polls; then the event is set
    FakeServiceManager manager;
};

TEST_F(Worker, StartsTheWatcherBeforeItChecksTheCapabilityAndThenPolls)
{
    EXPECT_EQ(serviceWorker(nullptr), 0U);

    EXPECT_TRUE(watcherStarted);
    EXPECT_THAT(workersNotes(), ElementsAre("capabilityCheck", "poll 0"));
}

TEST_F(Worker, DoesNotWaitForTheWatcher)
{
    std::atomic<bool> workerEnded = false;
    std::atomic<bool> watcherSawTheEnd = false;
    onRegistryNotify = [&] { watcherSawTheEnd = waitUntil([&] { return workerEnded.load(); }); };

    serviceWorker(nullptr);
    workerEnded = true;

    EXPECT_TRUE(waitUntil([&] { return watcherSawTheEnd.load(); }));
}

TEST_F(Worker, NeverStartsTheEngineWhenTheStopEventIsSetAfterTheCheck)
{
    g_engineGate = 0;

    serviceWorker(nullptr);

    EXPECT_THAT(workersNotes(), ElementsAre("capabilityCheck", "poll 0"));
    EXPECT_THAT(notedOf("runEngine"), IsEmpty());
    EXPECT_EQ(g_engineGate, 0);
}

TEST_F(Worker, PollsEveryThreeSecondsWhileTheGateIsShut)
{
    polls = { WAIT_TIMEOUT, WAIT_TIMEOUT, WAIT_TIMEOUT };

    serviceWorker(nullptr);

    EXPECT_THAT(workersNotes(), ElementsAre("capabilityCheck", "poll 0", "sleep 3000", "poll 0", "sleep 3000", "poll 0",
                                            "sleep 3000", "poll 0"));
    EXPECT_THAT(notedOf("runEngine"), IsEmpty());
    EXPECT_EQ(g_engineGate, 1);
}

TEST_F(Worker, OnlyTheSetEventEndsTheLoop)
{
    polls = { WAIT_FAILED, WAIT_ABANDONED, WAIT_TIMEOUT };

    serviceWorker(nullptr);

    EXPECT_EQ(notedOf("sleep 3000").size(), 3U);
}

TEST_F(Worker, StartsTheEngineTwoSecondsAfterItFoundTheGateOpenAndShutsTheGate)
{
    polls = { WAIT_TIMEOUT, WAIT_TIMEOUT };
    g_engineGate = 0;
    int gateDuringTheDelay = -1;
    std::size_t enginesDuringTheDelay = 9;
    int gateDuringThePoll = -1;
    manager.onSleep = [&](DWORD ms) {
        if (ms == 2000) {
            gateDuringTheDelay = g_engineGate;
            enginesDuringTheDelay = notedOf("runEngine").size();
        } else {
            gateDuringThePoll = g_engineGate;
        }
    };

    serviceWorker(nullptr);

    EXPECT_THAT(workersNotes(),
                ElementsAre("capabilityCheck", "poll 0", "sleep 2000", "sleep 3000", "poll 0", "sleep 3000", "poll 0"));
    EXPECT_TRUE(enginesStarted(1));
    EXPECT_THAT(notedOf("runEngine"), ElementsAre("runEngine 3"));
    EXPECT_EQ(gateDuringTheDelay, 0);
    EXPECT_EQ(enginesDuringTheDelay, 0U);
    EXPECT_EQ(gateDuringThePoll, 1);
}

TEST_F(Worker, AnyValueButOneOpensTheGate)
{
    for (const int gate : { 0, 2, -1 }) {
        SCOPED_TRACE(gate);
        forgetNotes();
        polls = { WAIT_TIMEOUT };
        g_engineGate = gate;

        serviceWorker(nullptr);

        EXPECT_TRUE(enginesStarted(1));
        EXPECT_EQ(g_engineGate, 1);
    }
}

TEST_F(Worker, StartsASecondEngineWhenTheGateOpensAgainWhileTheFirstRuns)
{
    static std::atomic<bool> firstMayEnd = false;  // the engines are waited for by nobody
    onEngine = [] { waitUntil([] { return firstMayEnd.load(); }); };
    polls = { WAIT_TIMEOUT, WAIT_TIMEOUT };
    g_engineGate = 0;
    int sleepsOfThePoll = 0;
    manager.onSleep = [&](DWORD ms) {
        if (ms == 3000 && ++sleepsOfThePoll == 1) g_engineGate = 0;
    };

    serviceWorker(nullptr);

    EXPECT_TRUE(enginesStarted(2));
    EXPECT_THAT(workersNotes(), ElementsAre("capabilityCheck", "poll 0", "sleep 2000", "sleep 3000", "poll 0",
                                            "sleep 2000", "sleep 3000", "poll 0"));
    firstMayEnd = true;
}

TEST_F(Worker, SeveralOpeningsBetweenTwoPollsStartOneEngine)
{
    polls = { WAIT_TIMEOUT, WAIT_TIMEOUT };
    int sleepsOfThePoll = 0;
    manager.onSleep = [&](DWORD ms) {
        if (ms == 3000 && ++sleepsOfThePoll == 1) g_engineGate = 0;
        if (ms == 2000) g_engineGate = 0;
    };

    serviceWorker(nullptr);

    EXPECT_TRUE(enginesStarted(1));
    EXPECT_EQ(notedOf("sleep 2000").size(), 1U);
}

TEST_F(Worker, StopDuringTheDelayStillStartsTheEngineAndEndsAtTheNextPoll)
{
    polls = { WAIT_TIMEOUT };
    g_engineGate = 0;
    manager.onSleep = [](DWORD ms) {
        if (ms == 2000) requestEngineStop(true);
    };

    serviceWorker(nullptr);

    EXPECT_TRUE(enginesStarted(1));
    EXPECT_EQ(g_serviceStopping, 1);
    EXPECT_THAT(workersNotes(), ElementsAre("capabilityCheck", "poll 0", "sleep 2000", "sleep 3000", "poll 0"));
}

TEST_F(Worker, GateThatIsShutAgainDuringTheDelayStillStartsTheEngine)
{
    polls = { WAIT_TIMEOUT };
    g_engineGate = 0;
    manager.onSleep = [](DWORD ms) {
        if (ms == 2000) g_engineGate = 1;
    };

    serviceWorker(nullptr);

    EXPECT_TRUE(enginesStarted(1));
}

TEST(ServiceHost, AtItsStartTheGateIsShutAndTheServiceCountsAsRunning)
{
    EXPECT_EQ(g_engineGate, 1);
    EXPECT_TRUE(g_serviceRunning);
}

}  // namespace
}  // namespace kelvane::tests
