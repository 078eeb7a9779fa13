#include "controller/process_watch_stop.h"
#include "state/state.h"

#include "controller/control_step.h"
#include "simulator/platform/unused_wmi.h"
#include "simulator/replay/recorded_log.h"
#include "tests/support/import_swap.h"
#include "tests/support/simulated_machine.h"

#include <windows.h>

#include <gmock/gmock.h>

#include <wbemcli.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> calls;           // what reached the slots and COM, in order
std::function<void()> onRelease = [] {};  // called on each Release

// COM interfaces have no virtual destructor.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// An object of any interface that notes its release.
template<class Interface>
class Slot : public Interface {
public:
    explicit Slot(const char* slotName) : name(slotName) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID /*riid*/, void** /*object*/) override { return E_NOINTERFACE; }

    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }

    ULONG STDMETHODCALLTYPE Release() override
    {
        onRelease();
        calls.push_back(std::string("release ") + name);
        return 1;
    }

private:
    const char* name;
};

class StubSink : public Slot<IWbemObjectSink> {
public:
    StubSink() : Slot("stub sink") {}

    HRESULT STDMETHODCALLTYPE Indicate(LONG /*count*/, IWbemClassObject** /*objects*/) override { return E_NOTIMPL; }

    HRESULT STDMETHODCALLTYPE SetStatus(LONG /*flags*/, HRESULT /*result*/, BSTR /*text*/,
                                        IWbemClassObject* /*object*/) override
    {
        return E_NOTIMPL;
    }
};

class Services : public simulator::UnusedServices<Slot<IWbemServices>> {
public:
    Services() : UnusedServices("services") {}

    HRESULT cancelResult = S_OK;
    IWbemObjectSink* cancelled = nullptr;

    HRESULT STDMETHODCALLTYPE CancelAsyncCall(IWbemObjectSink* sink) override
    {
        calls.push_back("cancel");
        cancelled = sink;
        return cancelResult;
    }
};

#pragma GCC diagnostic pop

void WINAPI noteCoUninitialize() { calls.push_back("CoUninitialize"); }

class StopProcessWatch : public testing::Test {
protected:
    StopProcessWatch()
    {
        g_wmiConnected = 1;
        g_wmiQueryIssued = 1;
    }

    void fillSlots() { g_processWatchSlots = { &services, &stubSink, &a, &b, &c, &d, &e }; }

    SimulatedMachine machine;
    ImportSwap<decltype(&CoUninitialize)> coUninitialize{ __imp_CoUninitialize, &noteCoUninitialize };
    Services services;
    StubSink stubSink;
    Slot<IUnknown> a{ "A" }, b{ "B" }, c{ "C" }, d{ "D" }, e{ "E" };
};

TEST_F(StopProcessWatch, SlotsAreEmptyForTheLifeOfTheProcess)
{
    EXPECT_EQ(g_processWatchSlots.services, nullptr);
    EXPECT_EQ(g_processWatchSlots.stubSink, nullptr);
    EXPECT_EQ(g_processWatchSlots.A, nullptr);
    EXPECT_EQ(g_processWatchSlots.B, nullptr);
    EXPECT_EQ(g_processWatchSlots.C, nullptr);
    EXPECT_EQ(g_processWatchSlots.D, nullptr);
    EXPECT_EQ(g_processWatchSlots.E, nullptr);
}

TEST_F(StopProcessWatch, OnlyLogsWithEmptySlots)
{
    g_serviceStopping = 1;

    stopProcessWatch(0);

    EXPECT_THAT(machine.happened(), ElementsAre("log 0 processid Stop Service is Called",
                                                "log 2 CancelAsyncCall call skipped with NULL pointer check ="));
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_EQ(g_serviceStopping, 1);
    EXPECT_EQ(g_wmiConnected, 1);
    EXPECT_EQ(g_wmiQueryIssued, 1);
}

TEST_F(StopProcessWatch, CancelsTheQueryAndReleasesInItsOrder)
{
    fillSlots();

    stopProcessWatch(0);

    EXPECT_THAT(calls, ElementsAre("cancel", "release A", "release C", "release D", "release E", "release stub sink",
                                   "release B", "CoUninitialize", "release services"));
    EXPECT_EQ(services.cancelled, &stubSink);
    EXPECT_EQ(g_processWatchSlots.stubSink, nullptr);
    EXPECT_EQ(g_processWatchSlots.services, nullptr);
    EXPECT_EQ(g_wmiConnected, 0);
    EXPECT_EQ(g_wmiQueryIssued, 0);
    EXPECT_THAT(machine.happened(), ElementsAre("log 0 processid Stop Service is Called"));
}

TEST_F(StopProcessWatch, SecondCallOnlyLogs)
{
    fillSlots();
    stopProcessWatch(0);
    calls.clear();

    stopProcessWatch(0);

    EXPECT_THAT(calls, IsEmpty());
    EXPECT_EQ(machine.messages().back(), "2 CancelAsyncCall call skipped with NULL pointer check =");
}

TEST_F(StopProcessWatch, KeepsTheResultOfTheCancelAndGoesOnAfterAFailure)
{
    fillSlots();
    services.cancelResult = E_ACCESSDENIED;

    stopProcessWatch(0);

    EXPECT_EQ(g_processWatchCancelResult, E_ACCESSDENIED);
    EXPECT_EQ(calls.size(), 9U);
    EXPECT_EQ(calls.back(), "release services");
}

TEST_F(StopProcessWatch, QueryThatWasNeverIssuedIsNotCancelled)
{
    fillSlots();
    g_wmiQueryIssued = 0;

    stopProcessWatch(0);

    EXPECT_EQ(calls.size(), 8U);
    EXPECT_EQ(calls.front(), "release A");
    EXPECT_EQ(g_wmiConnected, 0);
}

TEST_F(StopProcessWatch, NeedsBothMirroredObjectsAndAConnection)
{
    for (const char* missing : { "services", "stub sink", "connection" }) {
        SCOPED_TRACE(missing);
        fillSlots();
        g_wmiConnected = 1;
        if (missing == std::string("services")) g_processWatchSlots.services = nullptr;
        if (missing == std::string("stub sink")) g_processWatchSlots.stubSink = nullptr;
        if (missing == std::string("connection")) g_wmiConnected = 0;
        g_serviceStopping = 1;
        machine.forget();

        stopProcessWatch(0);

        EXPECT_THAT(calls, IsEmpty());
        EXPECT_EQ(g_serviceStopping, 1);
        EXPECT_EQ(g_wmiQueryIssued, 1);
        EXPECT_EQ(machine.messages().back(), "2 CancelAsyncCall call skipped with NULL pointer check =");
    }
}

TEST_F(StopProcessWatch, FurtherSlotsMayBeEmpty)
{
    g_processWatchSlots = { &services, &stubSink, nullptr, nullptr, nullptr, nullptr, nullptr };

    stopProcessWatch(0);

    EXPECT_THAT(calls, ElementsAre("cancel", "release stub sink", "CoUninitialize", "release services"));
}

TEST_F(StopProcessWatch, HandsItsArgumentOnBeforeAnythingIsReleased)
{
    for (const std::uint8_t argument : { std::uint8_t{ 1 }, std::uint8_t{ 0 } }) {
        SCOPED_TRACE(argument);
        fillSlots();
        g_wmiConnected = 1;
        g_wmiQueryIssued = 1;
        g_serviceStopping = argument == 1 ? 0 : 1;
        int wrong = 0;
        onRelease = [&] { wrong += g_serviceStopping == argument ? 0 : 1; };

        stopProcessWatch(argument);
        onRelease = [] {};

        EXPECT_EQ(wrong, 0);
        EXPECT_EQ(g_serviceStopping, argument);
    }
}

TEST_F(StopProcessWatch, FirstActiveIdleStopsTheWatchButNotTheService)
{
    fillSlots();
    g_serviceStopping = 1;
    pkgPower = 1000;
    LoopState loop;

    stepThroughActiveIdle(loop);

    EXPECT_EQ(calls.size(), 9U);
    EXPECT_EQ(g_serviceStopping, 0);
}

TEST_F(StopProcessWatch, HoldsTheStopLockWhileItReleasesAndNoLonger)
{
    fillSlots();
    const auto isFree = [] {
        bool taken = false;
        std::thread([&] {
            taken = g_loopStopLock().try_lock();
            if (taken) g_loopStopLock().unlock();
        }).join();
        return taken;
    };
    int freeWhileReleasing = 0;
    onRelease = [&] { freeWhileReleasing += isFree() ? 1 : 0; };

    stopProcessWatch(0);
    onRelease = [] {};

    EXPECT_EQ(calls.size(), 9U);
    EXPECT_EQ(freeWhileReleasing, 0);
    EXPECT_TRUE(isFree());
}

TEST_F(StopProcessWatch, AnnouncesItselfBeforeItWaitsForTheStopLock)
{
    std::atomic<int> lines = 0;
    simulator::recordLog([&](int, const std::string&) { lines += 1; });
    g_loopStopLock().lock();

    std::thread stopping([] { stopProcessWatch(0); });
    for (int waited = 0; lines == 0 && waited < 5000; ++waited) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const int linesWhileLocked = lines;
    g_loopStopLock().unlock();
    stopping.join();

    EXPECT_EQ(linesWhileLocked, 1);
    EXPECT_EQ(lines, 2);
}

}  // namespace
}  // namespace kelvane::tests
