// What the standby watcher holds when it does something: locks, and the buffer of the rendered event.
#include "engine/standby_watcher.h"

#include "simulator/replay/recorded_log.h"
#include "state/state.h"
#include "tests/engine/fake_event_service.h"
#include "tests/engine/watched_buffer.h"
#include "tests/support/store_watch.h"

#include <gmock/gmock.h>

#include <pthread.h>

#include <atomic>

namespace {

std::atomic<DWORD> countedThread = 0;  // the test's own; no variable of a thread, since those take locks on Windows
int heldLocks = 0;                     // mutexes that it holds

void count(int more)
{
    if (countedThread != 0 && countedThread == GetCurrentThreadId()) heldLocks += more;
}

}  // namespace

// The linker sends every locking of a mutex here first.
extern "C" {
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex)
{
    count(1);
    return __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex)
{
    count(-1);
    return __real_pthread_mutex_unlock(mutex);
}
}

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

// Of all that happens on an event: how many locks are held, and how many buffers.
std::vector<std::string> happeningsOf(const std::wstring& xml)
{
    countedThread = GetCurrentThreadId();
    std::vector<std::string> seen;
    const auto see = [&](const std::string& what) {
        const int locks = heldLocks;  // what follows may take some
        seen.push_back(std::to_string(locks) + " " + std::to_string(WatchedBuffer::held) + " " + what);
    };
    eventService.setXml(xml);
    const WatchedBuffer buffer(eventService.bytes.size(), "");
    WatchedBuffer::onAllocate = [&] { see("allocate"); };
    eventService.onRender = [&] { see("render"); };
    simulator::recordLog([&](int, const std::string& text) { see(text); });
    const StoreWatch watch({ WATCHED(g_reportPerfFailures), WATCHED(g_loopStopEnabled), WATCHED(g_engineState),
                             WATCHED(g_serviceStopping), WATCHED(g_standbyExitCount) },
                           [&](const std::string& name, const std::string& value) { see(name + " " + value); });
    SubscriptionCallback(EvtSubscribeActionDeliver, nullptr, reinterpret_cast<EVT_HANDLE>(0xE7));
    simulator::recordLog(nullptr);
    return seen;
}

// The log holds two locks of its own while it writes a line.
TEST(StandbyLocks, OfAnEntryAreTheRendersAndForTheFlagsAndThenTheRequestTheStopsToo)
{
    g_sessionHandle = 5;

    EXPECT_THAT(happeningsOf(L"<EventID>506</EventID>"),
                ElementsAre("1 0 allocate", "1 1 render", "3 0 Entering MS-506 ", "2 0 g_reportPerfFailures 0",
                            "2 0 g_loopStopEnabled 1", "2 0 g_engineState 0", "2 0 g_serviceStopping 0"));
    EXPECT_EQ(heldLocks, 0);
}

TEST(StandbyLocks, OfAnExitAreTheRendersAlone)
{
    g_sessionHandle = ~std::uint64_t{ 0 };

    EXPECT_THAT(happeningsOf(L"<EventID>507</EventID>"),
                ElementsAre("1 0 allocate", "1 1 render", "1 0 g_standbyExitCount 1"));
    EXPECT_EQ(heldLocks, 0);
}

}  // namespace
}  // namespace kelvane::tests
