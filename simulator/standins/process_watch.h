// simulator/standins/process_watch.h: tells a WMI sink of the processes that really start.
//
// Once a second the processes of the machine (under Wine: of the prefix) are compared with those of the second before.
// The sink is called once for each new one, on a thread of this module's. A process that starts and ends between two
// looks is not seen, nor is one that a line of unseen.txt, beside the library, names: the tools that steer a test.
// While storm.txt lies there too, as many made-up starts as it says are told each second, more than could be made.
#pragma once

#include <windows.h>

#include <wbemcli.h>

#include <set>
#include <string>
#include <thread>
#include <utility>

namespace kelvane::simulator {

class ProcessWatch {
public:
    // Processes that run now are not told. Takes a reference to the sink.
    explicit ProcessWatch(IWbemObjectSink* sinkToCall);

    // Waits until the sink has returned from a call that is under way; no further one comes.
    ~ProcessWatch();

    ProcessWatch(const ProcessWatch&) = delete;
    ProcessWatch& operator=(const ProcessWatch&) = delete;

    IWbemObjectSink* watcher() const { return sink; }

private:
    using Process = std::pair<DWORD, std::wstring>;  // id, name

    std::set<Process> running() const;
    void watch();
    void tellNew();
    void tellStorm();
    void tell(const std::wstring& name, DWORD id);

    IWbemObjectSink* sink;
    const std::set<std::wstring> unseen;
    std::set<Process> known;
    // No mutex: a contended one would keep a handle after each run, and the service's own would be miscounted.
    HANDLE ending = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::thread thread;
};

}  // namespace kelvane::simulator
