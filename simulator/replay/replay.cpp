// The virtual clock: only Sleep moves it, and delivers on its way what the scenario has due.
#include "simulator/replay/replay.h"
#include "state/state.h"

#include "controller/scaling_loop.h"
#include "engine/event_sink.h"
#include "engine/standby_watcher.h"
#include "simulator/formats/demand.h"
#include "simulator/formats/trace.h"
#include "simulator/platform/event_rendering.h"
#include "simulator/platform/process_event.h"
#include "simulator/platform/simulated_core.h"
#include "simulator/replay/imports.h"
#include "simulator/replay/recorded_log.h"

namespace kelvane::simulator {

namespace {

struct ClockStoodStill {};

EventSink& eventSink()
{
    static auto& sink = *new EventSink;
    return sink;
}

class Clock {
public:
    Clock(Scenario inputs, bool watchesProcesses) : scenario(std::move(inputs)), tellsProcesses(watchesProcesses) {}

    std::uint64_t now() const { return nowMs; }

    // Inputs take effect in the file's order, each at its own time.
    void advance(std::uint64_t ms)
    {
        const std::uint64_t endMs = nowMs + ms;
        for (; next < scenario.size() && scenario[next].timeMs <= endMs; ++next) {
            nowMs = scenario[next].timeMs;
            advanceProcessor();
            std::visit([this](const auto& input) { this->apply(input); }, scenario[next].input);
        }
        nowMs = endMs;
        advanceProcessor();
    }

private:
    static void apply(const Reading& reading) { setReading(reading); }

    static void apply(const PowerSource& source) { setPowerSource(source); }

    static void apply(const Answer& answer) { setAnswer(answer); }

    static void apply(const FrameworkEvent& event) { deliverEvent(event); }

    void apply(const ProcessStart& start) const
    {
        if (!tellsProcesses) return;
        IWbemClassObject* event = makeProcessEvent(fromUtf8(start.name), start.id);
        eventSink().Indicate(1, &event);
        event->Release();
    }

    static void apply(const StandbyEvent& event)
    {
        SubscriptionCallback(EvtSubscribeActionDeliver, nullptr, eventHandle(event.eventId));
    }

    static void apply(const Stop& stop) { requestEngineStop(stop.service); }

    static void apply(const Job& job) { addJob(job); }

    // In force from the start.
    static void apply(const Processor& /*processor*/) {}

    static void apply(const Seed& /*seed*/) {}

    const Scenario scenario;
    const bool tellsProcesses;
    std::size_t next = 0;  // the first line that is not yet due
    std::uint64_t nowMs = 0;
};

}  // namespace

ReplayEnd replay(const Scenario& scenario, std::ostream& out, const Controller& controller)
{
    Trace trace(out);
    Clock clock(withProcessStarts(scenario), controller.watchesProcesses);
    int primitivesSinceSleep = 0;
    startCore(
        trace, [&] { return clock.now(); },
        [&] {
            primitivesSinceSleep += 1;
            if (primitivesSinceSleep == primitivesWithoutSleepMax) throw ClockStoodStill();
        });
    if (const ProcessorSpec* spec = processorOf(scenario)) useProcessor(*spec, controller.onTick);
    recordLog([&](int level, const std::string& text) { trace.log(clock.now(), level, text); });
    replacePlatform([&](std::uint32_t ms) {
        trace.sleep(clock.now(), ms);
        primitivesSinceSleep = 0;
        clock.advance(ms);
    });
    g_wmiConnected = 1;  // as the engine's start-up leaves them
    g_wmiQueryIssued = 1;

    ReplayEnd end = ReplayEnd::loopEnded;
    clock.advance(0);
    try {
        controller.run();
    } catch (const ClockStoodStill&) {
        end = ReplayEnd::clockStoodStill;
    }
    recordLog(nullptr);
    return end;
}

ReplayEnd replay(const Scenario& scenario, std::ostream& out)
{
    return replay(scenario, out, { scalingLoop, true, {} });
}

}  // namespace kelvane::simulator
