// A set of the processes of each second; what the one before lacks has started.
#include "simulator/standins/process_watch.h"

#include "simulator/formats/scenario.h"
#include "simulator/platform/process_event.h"
#include "simulator/standins/dll_folder.h"
#include "simulator/standins/thread_name.h"

#include <tlhelp32.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace kelvane::simulator {

namespace {

constexpr DWORD lookIntervalMs = 1000;
constexpr DWORD firstStormId = 1000000;  // above those of real processes
constexpr unsigned long stormMax = 1000;

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
    SetEvent(ending);
    thread.join();
    CloseHandle(ending);
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
    nameThread(L"wmi");
    while (WaitForSingleObject(ending, lookIntervalMs) == WAIT_TIMEOUT) {
        tellNew();
        tellStorm();
    }
}

void ProcessWatch::tellNew()
{
    std::set<Process> now = running();
    for (const auto& [id, name] : now) {
        if (known.contains({ id, name })) continue;
        std::ofstream(ownFolder() / "told.txt", std::ios::out | std::ios::app)
            << toUtf8(name) << ':' << id << std::endl;
        tell(name, id);
    }
    known = std::move(now);
}

void ProcessWatch::tellStorm()
{
    const std::string starts = readFile(ownFolder() / "storm.txt").value_or("0");
    const DWORD end = firstStormId + std::min(std::strtoul(starts.c_str(), nullptr, 10), stormMax);
    for (DWORD id = firstStormId; id < end; ++id) tell(L"storm.exe", id);
}

void ProcessWatch::tell(const std::wstring& name, DWORD id)
{
    IWbemClassObject* event = makeProcessEvent(name, id);
    sink->Indicate(1, &event);
    event->Release();
}

}  // namespace kelvane::simulator
