// Everything that runs at once in the service, at full tilt and for some seconds: the loop with its restarts, the
// framework's events, process starts, standby, log writers, a core that fails and heals.
//
// Written for the thread sanitizer, which ends the program at the first race; without it the same must hold.
#include "controller/scaling_loop.h"
#include "engine/event_sink.h"
#include "engine/standby_watcher.h"
#include "framework/events.h"
#include "simulator/platform/event_rendering.h"
#include "simulator/platform/process_event.h"
#include "simulator/platform/simulated_core.h"
#include "simulator/replay/imports.h"
#include "state/state.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/log_folder.h"

#include <gmock/gmock.h>

#include <chrono>
#include <deque>
#include <random>
#include <thread>

namespace kelvane::tests {
namespace {

using namespace std::chrono;
using simulator::Primitive;

constexpr auto duration = seconds(6);

using Random = std::mt19937;

std::uint32_t upTo(Random& random, std::uint32_t highest)
{
    return static_cast<std::uint32_t>(random() % (highest + 1));
}

class Stress : public testing::Test {
protected:
    Stress()
    {
        const auto noTime = [] { return std::uint64_t{ 0 }; };
        simulator::startCore(trace, noTime, [this] { primitives += 1; });
        // A thousandth of the pauses that the loop asks for.
        simulator::replacePlatform([](std::uint32_t ms) { std::this_thread::sleep_for(microseconds(ms)); });
        g_wmiConnected = 1;
        g_wmiQueryIssued = 1;
        DiagnosticLog::instance().configure(0, "info");
        DiagnosticLog::instance().open();
    }

    // Repeats `work` on a thread of its own until the time is over. Returns how often it was done so far.
    const std::atomic<int>& keepDoing(std::function<void(Random&)> work)
    {
        std::atomic<int>& count = counts.emplace_back(0);
        const auto seed = static_cast<unsigned>(counts.size());
        threads.emplace_back([this, &count, work = std::move(work), seed] {
            Random random(seed);
            for (; steady_clock::now() < end; ++count) work(random);
        });
        return count;
    }

    // Ends the last run of the loop, too.
    void waitForAll()
    {
        for (std::jthread& thread : threads) thread.join();
        while (!loopEnded) {
            requestEngineStop(true);
            std::this_thread::sleep_for(milliseconds(1));
        }
        loop.join();
    }

    std::atomic<int> primitives = 0;
    std::atomic<int> runs = 0;
    std::atomic<bool> loopEnded = false;
    std::thread loop;
    const steady_clock::time_point end = steady_clock::now() + duration;

private:
    std::ostream nowhere{ nullptr };
    simulator::Trace trace{ nowhere };
    std::deque<std::atomic<int>> counts;
    std::vector<std::jthread> threads;
};

// As the engine starts the loop, again and again.
void scale()
{
    g_serviceStopping = 0;
    g_engineState = engineRunning;
    scalingLoop();
}

void stopScaling(Random& random)
{
    std::this_thread::sleep_for(milliseconds(upTo(random, 100)));
    requestEngineStop(upTo(random, 3) == 0);
}

void sendEvent(Random& random)
{
    constexpr std::uint32_t types[] = { 5, 6, 34, 44, 72, 106, 183, 10000 };
    std::uint32_t words[4] = { upTo(random, 6), 0, 0, 0 };
    const OrqData payload = { 3, words, sizeof words, sizeof words };
    onFrameworkEvent(0, types[upTo(random, 7)], "TCPU", &payload);
}

// As the core sends it: only what is registered.
void letTheCoreSendAnEvent(Random& random)
{
    simulator::deliverEvent({ upTo(random, 1) == 0 ? 183U : 106U, upTo(random, 6) });
}

void startProcess(Random& random)
{
    constexpr const wchar_t* names[] = { L"game.exe", L"OneDrive.exe", L"svchost.exe",
                                         L"a program with a long name.exe" };
    static auto& sink = *new EventSink;
    IWbemClassObject* event = simulator::makeProcessEvent(names[upTo(random, 3)], upTo(random, 9999));
    sink.Indicate(1, &event);
    event->Release();
}

void passStandby(Random& random)
{
    std::this_thread::sleep_for(milliseconds(upTo(random, 20)));
    SubscriptionCallback(EvtSubscribeActionDeliver, nullptr, simulator::eventHandle(506 + upTo(random, 1)));
    g_reportPerfFailures = 1;
}

void changeReadings(Random& random)
{
    simulator::setReading({ Primitive::getRaplPower, upTo(random, 30000) });
    simulator::setReading({ Primitive::getIaClipReasons, upTo(random, 9) == 0 ? 0x400U : 0U });
    simulator::setPowerSource({ upTo(random, 9) != 0, static_cast<std::uint8_t>(upTo(random, 1)) });
}

void failAndHeal(Random& random)
{
    constexpr const char* operations[] = { "INIT",           "SESSION_CREATE",          "SESSION_CONNECT",
                                           "GET_RAPL_POWER", "SET_PERF_PREFERENCE_MAX", "REGISTER_EVENT/183" };
    const char* const operation = operations[upTo(random, 5)];
    simulator::setAnswer({ operation, 1000 });
    std::this_thread::sleep_for(milliseconds(upTo(random, 10)));
    simulator::setAnswer({ operation, 0 });
}

void writeLog(Random& random)
{
    constexpr int levels[] = { 0, 2, 3, 4 };
    logLine(levels[upTo(random, 3)], "level and ", upTo(random, 1000), " pieces", std::string(upTo(random, 40), 'x'));
    DiagnosticLog::instance().log(levels[upTo(random, 3)]) << "a text that is "
                                                           << "gathered"
                                                           << "\n";
}

TEST_F(Stress, ManyThreadsRaceForNothingWhileScalingStartsAndStops)
{
    loop = std::thread([this] {
        for (; steady_clock::now() < end; ++runs) scale();
        loopEnded = true;
    });
    std::vector<const std::atomic<int>*> done;
    for (const auto work : { stopScaling, sendEvent, sendEvent, letTheCoreSendAnEvent, startProcess, startProcess,
                             passStandby, changeReadings, failAndHeal, writeLog, writeLog, writeLog }) {
        done.push_back(&keepDoing(work));
    }

    waitForAll();

    EXPECT_GT(runs, 5);
    EXPECT_GT(primitives, 100);
    for (const std::atomic<int>* const count : done) EXPECT_GT(*count, 10);
    EXPECT_EQ(DiagnosticLogInspector::threadsWithText(), 0U);
    EXPECT_GT(std::filesystem::file_size(roamingFolder() / "KelvanneApp" / "logs" / "KelvanneApp.log"), 1000U);
}

}  // namespace
}  // namespace kelvane::tests
