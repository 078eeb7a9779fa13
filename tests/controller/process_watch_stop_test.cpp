#include "controller/process_watch_stop.h"

#include "controller/control_step.h"
#include "controller/state.h"
#include "simulator/replay/recorded_log.h"
#include "tests/controller/part_of_step.h"
#include "tests/engine/fake_wmi.h"
#include "tests/support/import_swap.h"
#include "tests/support/store_watch.h"

#include <windows.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::function<void()> onRelease = [] {};  // called on each Release

template<class Fake>
class Slot : public Fake {
public:
    using Fake::Fake;

    STDMETHODIMP_(ULONG) Release() override
    {
        onRelease();
        return Fake::Release();
    }
};

class StopProcessWatch : public PartOfStep {
protected:
    StopProcessWatch()
    {
        g_wmiConnected = 1;
        g_wmiQueryIssued = 1;
    }

    void fillSlots() { g_processWatchSlots = { &services, &stubSink, &a, &b, &c, &d, &e }; }

    ImportSwap<decltype(&CoUninitialize)> coUninitialize{ __imp_CoUninitialize, [] { note("CoUninitialize"); } };
    Slot<FakeServices> services{ "services" };
    Slot<FakeSink> stubSink{ "stub sink" };
    Slot<FakeUnknown> a{ "A" }, b{ "B" }, c{ "C" }, d{ "D" }, e{ "E" };
};

TEST_F(StopProcessWatch, OnlyLogsWithTheSlotsAsTheyAreForTheLifeOfTheProcess)
{
    g_serviceStopping = 1;

    stopProcessWatch(0);

    EXPECT_THAT(machine.happened(), ElementsAre("log 0 processid Stop Service is Called",
                                                "log 2 CancelAsyncCall call skipped with NULL pointer check ="));
    EXPECT_THAT(noted(), IsEmpty());
    EXPECT_EQ(g_serviceStopping, 1);
    EXPECT_EQ(g_wmiConnected, 1);
    EXPECT_EQ(g_wmiQueryIssued, 1);
    const auto& [servicesSlot, stubSinkSlot, slotA, slotB, slotC, slotD, slotE] = g_processWatchSlots;
    EXPECT_TRUE(!servicesSlot && !stubSinkSlot && !slotA && !slotB && !slotC && !slotD && !slotE);
}

TEST_F(StopProcessWatch, CancelsTheQueryAndReleasesInItsOrderAlsoWhenThatFails)
{
    fillSlots();
    services.answer = E_ACCESSDENIED;

    stopProcessWatch(0);

    EXPECT_THAT(noted(),
                ElementsAre("services.CancelAsyncCall stub sink", "release A", "release C", "release D", "release E",
                            "release stub sink", "release B", "CoUninitialize", "release services"));
    EXPECT_EQ(g_processWatchCancelResult, E_ACCESSDENIED);
    EXPECT_EQ(g_processWatchSlots.stubSink, nullptr);
    EXPECT_EQ(g_processWatchSlots.services, nullptr);
    EXPECT_EQ(g_wmiConnected, 0);
    EXPECT_EQ(g_wmiQueryIssued, 0);
    EXPECT_THAT(machine.happened(), ElementsAre("log 0 processid Stop Service is Called"));

    forgetNotes();
    stopProcessWatch(0);

    EXPECT_THAT(noted(), IsEmpty());
    EXPECT_EQ(machine.messages().back(), "2 CancelAsyncCall call skipped with NULL pointer check =");
}

TEST_F(StopProcessWatch, QueryThatWasNeverIssuedIsNotCancelled)
{
    fillSlots();
    g_wmiQueryIssued = 0;

    stopProcessWatch(0);

    EXPECT_EQ(noted().size(), 8U);
    EXPECT_EQ(noted().front(), "release A");
    EXPECT_EQ(g_wmiConnected, 0);
}

struct MissingRow {
    bool services = true;
    bool stubSink = true;
    std::uint8_t connected = 1;
};

class StopWithoutProcessWatch : public WithRow<StopProcessWatch, MissingRow> {};

TEST_ROWS(StopWithoutProcessWatch, ROW(.services = false), ROW(.stubSink = false), ROW(.connected = 0));

TEST_ROW(StopWithoutProcessWatch, ReleasesNothing)
{
    fillSlots();
    if (!row().services) g_processWatchSlots.services = nullptr;
    if (!row().stubSink) g_processWatchSlots.stubSink = nullptr;
    g_wmiConnected = row().connected;
    g_serviceStopping = 1;

    stopProcessWatch(0);

    EXPECT_THAT(noted(), IsEmpty());
    EXPECT_EQ(g_serviceStopping, 1);
    EXPECT_EQ(g_wmiQueryIssued, 1);
    EXPECT_EQ(machine.messages().back(), "2 CancelAsyncCall call skipped with NULL pointer check =");
}

TEST_F(StopProcessWatch, FurtherSlotsMayBeEmpty)
{
    g_processWatchSlots = { &services, &stubSink, nullptr, nullptr, nullptr, nullptr, nullptr };

    stopProcessWatch(0);

    EXPECT_THAT(noted(), ElementsAre("services.CancelAsyncCall stub sink", "release stub sink", "CoUninitialize",
                                     "release services"));
}

TEST_F(StopProcessWatch, FirstActiveIdleStopsTheWatchButNotTheService)
{
    fillSlots();
    g_serviceStopping = 1;
    pkgPower = 1000;

    stepThroughActiveIdle(loop);

    EXPECT_EQ(noted().size(), 9U);
    EXPECT_EQ(g_serviceStopping, 0);
}

struct ArgumentRow {
    std::uint8_t before;
    std::uint8_t argument;
};

class StopProcessWatchArgument : public WithRow<StopProcessWatch, ArgumentRow> {};

TEST_ROWS(StopProcessWatchArgument, ROW(.before = 0, .argument = 1), ROW(.before = 1, .argument = 0));

TEST_ROW(StopProcessWatchArgument, IsHandedOnBeforeAnythingIsReleasedAndTheFlagsClearedAfterIt)
{
    fillSlots();
    g_serviceStopping = row().before;
    onRelease = [this] {
        EXPECT_EQ(g_serviceStopping, row().argument);
        EXPECT_EQ(g_wmiConnected, 1);
        EXPECT_EQ(g_wmiQueryIssued, 1);
    };

    const StoreWatch watch({ WATCHED(g_wmiConnected), WATCHED(g_wmiQueryIssued) }, noteStore);

    stopProcessWatch(row().argument);

    EXPECT_EQ(noted().size(), 11U);
    EXPECT_THAT(notedOf("store"), ElementsAre("store g_wmiConnected 0", "store g_wmiQueryIssued 0"));
    EXPECT_EQ(g_serviceStopping, row().argument);
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
    onRelease = [&] { EXPECT_FALSE(isFree()); };

    stopProcessWatch(0);

    EXPECT_EQ(noted().size(), 9U);
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
