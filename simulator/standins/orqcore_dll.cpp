// orqcore.dll: a framework core for machines without one, driven by files beside it (docs/stand-ins.md).
//
// The first Init of the process starts the clock: what the scenario has for the time 0 and what inputs.csv holds take
// effect before it returns, everything later at its own time, from a thread of this library's. trace.csv grows row
// by row.
#include "simulator/formats/demand.h"
#include "simulator/formats/scenario.h"
#include "simulator/formats/trace.h"
#include "simulator/platform/power_source.h"
#include "simulator/platform/simulated_core.h"
#include "simulator/standins/dll_folder.h"
#include "simulator/standins/import_table.h"
#include "simulator/standins/live_inputs.h"
#include "simulator/standins/thread_name.h"

#include <chrono>
#include <fstream>
#include <mutex>
#include <thread>

namespace kelvane::simulator {

namespace {

constexpr std::chrono::milliseconds pollInterval(50);

class LiveCore {
public:
    void start()
    {
        startCore(trace, [this] { return nowMs(); });
        replaceImport("KERNEL32.dll", "GetSystemPowerStatus", reinterpret_cast<void*>(&simulatedPowerStatus));
        readScenarioFile();
        worked = processorOf(scenario);
        if (worked) useProcessor(*worked);
        playDue();
        std::thread([this] { play(); }).detach();
    }

private:
    using Clock = std::chrono::steady_clock;

    std::uint64_t nowMs() const
    {
        using std::chrono::duration_cast, std::chrono::milliseconds;
        return static_cast<std::uint64_t>(duration_cast<milliseconds>(Clock::now() - began).count());
    }

    void readScenarioFile()
    {
        const std::filesystem::path path = folder / "scenario.csv";
        std::ifstream file(path, std::ios::in | std::ios::binary);
        if (!file) return;
        try {
            scenario = readScenario(file, "scenario.csv");
        } catch (const MalformedScenario& fault) {
            tellFault(fault.what());
        }
    }

    void play()
    {
        nameThread(L"orqcore");
        for (;;) {
            std::this_thread::sleep_for(pollInterval);
            playDue();
        }
    }

    void playDue()
    {
        for (; next < scenario.size() && scenario[next].timeMs <= nowMs(); ++next) take(scenario[next].input);
        inputs.poll([this](const Input& input) { applyLive(input); },
                    [this](const std::string& fault) { tellFault(fault); });
        if (worked) advanceProcessor();
    }

    // Power stays what the scenario made it: scripted, or that of a processor at work.
    void applyLive(const Input& input)
    {
        const auto* const reading = std::get_if<Reading>(&input);
        if (std::holds_alternative<Processor>(input) || std::holds_alternative<Seed>(input)) {
            tellFault("inputs.csv: processor and seed stand in the scenario");
        } else if (!worked && std::holds_alternative<Job>(input)) {
            tellFault("inputs.csv: a job needs a scenario with a processor or a job");
        } else if (worked && reading && reading->getter != Primitive::getSocWorkload) {
            tellFault("inputs.csv: power and clip reasons are those of the processor at work");
        } else {
            take(input);
        }
    }

    static void take(const Input& input)
    {
        std::visit([](const auto& any) { apply(any); }, input);
    }

    static void apply(const Reading& reading) { setReading(reading); }

    static void apply(const PowerSource& source) { setPowerSource(source); }

    static void apply(const Answer& answer) { setAnswer(answer); }

    static void apply(const FrameworkEvent& event) { deliverEvent(event); }

    // These come from elsewhere here: real processes, the event log's stand-in, the service control manager.
    static void apply(const ProcessStart& /*start*/) {}

    static void apply(const StandbyEvent& /*event*/) {}

    static void apply(const Stop& /*stop*/) {}

    static void apply(const Job& job) { addJob(job); }

    // In force from the start.
    static void apply(const Processor& /*processor*/) {}

    static void apply(const Seed& /*seed*/) {}

    void tellFault(const std::string& fault)
    {
        std::ofstream(folder / "error.txt", std::ios::out | std::ios::app | std::ios::binary) << fault << '\n';
    }

    const std::filesystem::path folder = ownFolder();
    const Clock::time_point began = Clock::now();
    std::ofstream traceFile{ folder / "trace.csv", std::ios::out | std::ios::trunc | std::ios::binary };
    Trace trace{ traceFile, TraceFlush::eachRow };
    Scenario scenario;
    const ProcessorSpec* worked = nullptr;  // the machine that does the scenario's work; null: power is scripted
    std::size_t next = 0;                   // the first line of the scenario that is not yet due
    LiveInputs inputs{ folder / "inputs.csv" };
};

// Only the scaling loop asks for INIT, so its thread can be named here.
std::optional<int> startAtInit(const CoreCall& call)
{
    static std::once_flag started;
    if (call.operation != "INIT") return std::nullopt;
    nameThread(L"loop");
    std::call_once(started, [] { (new LiveCore)->start(); });  // never destroyed: the process ends under its thread
    return std::nullopt;
}

}  // namespace

}  // namespace kelvane::simulator

extern "C" int GetOrqInterface(kelvane::OrqInterface* record)
{
    using namespace kelvane::simulator;
    watchCalls(startAtInit);
    return getSimulatedInterface(record);
}
