// A set of the processes of each second; what the one before lacks has started.
#include "simulator/process_watch.h"

#include "simulator/dll_folder.h"
#include "simulator/process_event.h"
#include "simulator/scenario.h"

#include <tlhelp32.h>

#include <chrono>
#include <fstream>
#include <sstream>

namespace kelvane::simulator {

namespace {

constexpr std::chrono::seconds lookInterval(1);

std::set<std::wstring> unseenNames()
{
    std::set<std::wstring> names;
    std::istringstream lines(readFile(ownFolder() / "unseen.txt").value_or(""));
    for (std::string line; std::getline(lines, line);) names.insert(fromUtf8(line));
    return names;
}

}  // namespace

ProcessWatch::ProcessWatch(IWbemObjectSink* sinkToCall)
    : sink(sinkToCall), unseen(unseenNames()), known(running()), thread([this] { watch(); })
{
    sink->AddRef();
}

ProcessWatch::~ProcessWatch()
{
    {
        const std::lock_guard guard(lock);
        ending = true;
    }
    wakeUp.notify_one();
    thread.join();
    sink->Release();
}

std::set<ProcessWatch::Process> ProcessWatch::running() const
{
    std::set<Process> found;
    auto* const snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(snapshot, &entry); more; more = Process32NextW(snapshot, &entry)) {
        const bool named = entry.szExeFile[0] != L'\0';  // a process that is just being made is not yet
        if (named && !unseen.contains(entry.szExeFile)) found.emplace(entry.th32ProcessID, entry.szExeFile);
    }
    CloseHandle(snapshot);
    return found;
}

void ProcessWatch::watch()
{
    std::unique_lock guard(lock);
    while (!wakeUp.wait_for(guard, lookInterval, [this] { return ending; })) {
        guard.unlock();
        tellNew();
        guard.lock();
    }
}

void ProcessWatch::tellNew()
{
    std::set<Process> now = running();
    for (const auto& [id, name] : now) {
        if (known.contains({ id, name })) continue;
        std::ofstream(ownFolder() / "told.txt", std::ios::out | std::ios::app)
            << toUtf8(name) << ':' << id << std::endl;
        IWbemClassObject* event = makeProcessEvent(name, id);
        sink->Indicate(1, &event);
        event->Release();
    }
    known = std::move(now);
}

}  // namespace kelvane::simulator
