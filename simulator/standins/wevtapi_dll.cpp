// wevtapi.dll: an event log whose only entries are those that a test writes into event.txt (docs/stand-ins.md).
//
// The first subscription starts a thread that looks for the file and calls every subscription once for each entry, as
// the event log would from a thread of its own.
#include "simulator/platform/event_rendering.h"
#include "simulator/standins/dll_folder.h"
#include "simulator/standins/thread_name.h"

#include <chrono>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

namespace kelvane::simulator {

namespace {

constexpr std::chrono::milliseconds pollInterval(50);

struct Subscription {
    EVT_SUBSCRIBE_CALLBACK callback;
    PVOID context;
};

class EventLog {
public:
    // Entries from before the first subscription are none of the future ones that it asks for.
    EventLog()
    {
        std::filesystem::remove(eventFile, ignored);
        std::thread([this] { watch(); }).detach();
    }

    EVT_HANDLE add(const Subscription& subscription)
    {
        const std::lock_guard guard(lock);
        subscriptions.push_back(subscription);
        return reinterpret_cast<EVT_HANDLE>(subscriptions.size());
    }

private:
    void watch()
    {
        nameThread(L"wevtapi");
        for (;; std::this_thread::sleep_for(pollInterval)) {
            const std::uint32_t eventId = readEvent();
            if (eventId == standbyEntryEventId || eventId == standbyExitEventId) deliver(eventId);
        }
    }

    // The entry that event.txt tells of; 0 when there is none, or when the file is still being written.
    std::uint32_t readEvent()
    {
        const std::string text = readFile(eventFile).value_or("");
        const auto eventId = static_cast<std::uint32_t>(std::strtoul(text.c_str(), nullptr, 10));
        if (text.empty() || !std::filesystem::remove(eventFile, ignored)) return 0;
        return eventId;
    }

    void deliver(std::uint32_t eventId)
    {
        for (const Subscription& subscription : current()) {
            subscription.callback(EvtSubscribeActionDeliver, subscription.context, eventHandle(eventId));
        }
    }

    std::vector<Subscription> current()
    {
        const std::lock_guard guard(lock);
        return subscriptions;
    }

    const std::filesystem::path eventFile = ownFolder() / "event.txt";
    std::error_code ignored;
    std::mutex lock;
    std::vector<Subscription> subscriptions;
};

// Never destroyed: the process ends under its thread.
EventLog& eventLog()
{
    static auto& instance = *new EventLog;
    return instance;
}

// The error code in fail.txt; 0 without that file.
DWORD wantedFailure() { return std::strtoul(readFile(ownFolder() / "fail.txt").value_or("0").c_str(), nullptr, 10); }

}  // namespace

}  // namespace kelvane::simulator

extern "C" EVT_HANDLE WINAPI EvtSubscribe(EVT_HANDLE /*session*/, HANDLE /*signalEvent*/, LPCWSTR /*channel*/,
                                          LPCWSTR /*query*/, EVT_HANDLE /*bookmark*/, PVOID context,
                                          EVT_SUBSCRIBE_CALLBACK callback, DWORD /*flags*/)
{
    using namespace kelvane::simulator;
    if (const DWORD error = wantedFailure()) {
        SetLastError(error);
        return nullptr;
    }
    return eventLog().add({ callback, context });
}

extern "C" BOOL WINAPI EvtClose(EVT_HANDLE /*object*/) { return TRUE; }
